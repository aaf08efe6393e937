// Schemas as people write them: the cases of the JSON Schema Test Suite (Debian's
// json-schema-test-suite, draft 4 and draft 7, optional/ and remote references aside), through the
// public interface only. A configuration object holds an object, so the cases taken are those whose
// instance is an object without reserved member names (starting with "$"). Each schema of a suite
// file is the schema file of an identity of its own, <components>/<draft>/<file>-<N>/case.json;
// each instance is imported as that identity's values and must be accepted exactly when the suite
// calls it valid. A schema the engine refuses at load makes it refuse every write of the identity:
// its valid cases fail, its invalid ones pass (as a caller sees it, the engine refused what it
// must refuse), and the log line names the cause. A crash ends the test.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "configstorec.h"

namespace fs = std::filesystem;

namespace {

std::string Json(const rapidjson::Value& value) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    value.Accept(writer);
    return text.GetString();
}

bool IsObjectCase(const rapidjson::Value& instance) {
    return instance.IsObject() &&
           std::none_of(instance.MemberBegin(), instance.MemberEnd(),
                        [](const auto& member) { return member.name.GetString()[0] == '$'; });
}

// Prints each failing case with why: accepted, or refused with the status and the engine's log.
TEST(SchemaConformance, ObjectCasesOfTheStandardSuitePass) {
    const fs::path suite = SCHEMA_SUITE_DIR;
    if (suite.empty() || !fs::is_directory(suite / "draft4")) {
        GTEST_SKIP() << "the JSON Schema Test Suite is not installed (json-schema-test-suite, "
                        "scripts/install-deps.sh), found at configure time";
    }
    const fs::path root = fs::temp_directory_path() / ("conformance." + std::to_string(getpid()));
    setenv("CONFIGSTORE_DIR", (root / "state").c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", (root / "run").c_str(), 1);
    setenv("CONFIGSTORE_COMPONENTS_DIR", (root / "components").c_str(), 1);
    setenv("CONFIGSTORE_LOG", "stderr", 1);
    for (const char* draft : {"draft4", "draft7"}) {
        int passed = 0, total = 0;
        for (const auto& entry : fs::directory_iterator(suite / draft)) {
            // Remote references name schemas served over HTTP, which schema files never reach.
            const fs::path& file = entry.path();
            if (file.extension() != ".json" || file.filename() == "refRemote.json") continue;
            std::ifstream input(file);
            rapidjson::IStreamWrapper stream(input);
            rapidjson::Document schemas;
            ASSERT_FALSE(schemas.ParseStream(stream).HasParseError()) << file;
            for (auto& schema : schemas.GetArray()) {
                // The suite names no draft in its schemas: a schema file names its own.
                rapidjson::Value& body = schema["schema"];
                if (draft == std::string("draft7") && body.IsObject() &&
                    !body.HasMember("$schema")) {
                    body.AddMember("$schema", "http://json-schema.org/draft-07/schema#",
                                   schemas.GetAllocator());
                }
                const std::string group =
                    file.stem().string() + "-" + std::to_string(&schema - schemas.Begin());
                fs::create_directories(root / "components" / draft / group);
                std::ofstream(root / "components" / draft / group / "case.json")
                    << R"({"version": "1.0", "singleton": true, "schema": )" + Json(body) << "}";
                for (const auto& test : schema["tests"].GetArray()) {
                    if (!IsObjectCase(test["data"])) continue;
                    const std::string document =
                        R"({"format":"configstore/1","objects":[{"key":"case","group":")" + group +
                        R"(","component":")" + draft + R"(","values":)" + Json(test["data"]) +
                        "}]}";
                    ErrorInfoStruct** errors = nullptr;
                    int count = 0;
                    ::testing::internal::CaptureStderr();
                    const int status = Import(document.c_str(), &errors, &count);
                    std::string log = ::testing::internal::GetCapturedStderr();
                    DestroyErrorInfoList(&errors, count);
                    std::replace(log.begin(), log.end(), '\n', ' ');
                    ++total;
                    if ((status == CS_C_OK) == test["valid"].GetBool()) {
                        ++passed;
                    } else {
                        std::printf(
                            "failing: %s: %s: %s: %s, status %d: %s\n", group.c_str(),
                            schema["description"].GetString(), test["description"].GetString(),
                            status == CS_C_OK ? "accepted" : "refused", status, log.c_str());
                    }
                }
            }
        }
        std::printf("schema conformance: %s %d/%d object cases passed (refRemote.json left out)\n",
                    draft, passed, total);
        // The least share of each draft's cases that must pass.
        EXPECT_GE(passed, 0.98 * total) << draft;
    }
    fs::remove_all(root);
}

}  // namespace
