// Schemas as people write them: the cases of the JSON Schema Test Suite (Debian's
// json-schema-test-suite, draft 4 and draft 7, optional/ and remote references aside), through the
// public interface only. A configuration object holds an object, so the cases taken are those whose
// instance is an object without reserved member names (starting with "$"). Each schema of a suite
// file is a schema file of its own identity, <components>/<draft>/<file>/case<N>.json, all written
// before the engine lists their directory; each instance is imported as that identity's values and
// must be accepted exactly when the suite calls it valid. A schema the engine refuses at load
// makes it refuse every write of the identity: its valid cases fail, its invalid ones pass (as
// a caller sees it, the engine refused what it must refuse), and the log line names the cause.
// Each suite file runs in a child process: a crash counts against that file and the rest runs.
#include <sys/wait.h>
#include <unistd.h>

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
#include <set>
#include <string>
#include <vector>

#include "configstorec.h"

namespace fs = std::filesystem;

namespace {

// The least share of each draft's cases that must pass.
constexpr double kLeastPassed = 0.98;
// Remote references name schemas served over HTTP, which a store's schema files never reach.
const std::set<std::string> kLeftOut = {"refRemote.json"};

std::string Json(const rapidjson::Value& value) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    value.Accept(writer);
    return text.GetString();
}

struct Case {
    std::string name;  // "file: schema description: test description"
    std::string key;   // of the schema's identity
    const rapidjson::Value* instance;
    bool valid;
};

// In the child: imports each case, writing "+" to `passes` for each that passes and printing each
// that fails with why (accepted, or refused with the status and the engine's log).
void RunCases(const std::vector<Case>& cases, const std::string& draft, const std::string& group,
              FILE* passes) {
    for (const Case& c : cases) {
        const std::string document = R"({"format":"configstore/1","objects":[{"key":")" + c.key +
                                     R"(","group":")" + group + R"(","component":")" + draft +
                                     R"(","values":)" + Json(*c.instance) + "}]}";
        ErrorInfoStruct** errors = nullptr;
        int count = 0;
        ::testing::internal::CaptureStderr();
        const int status = Import(document.c_str(), &errors, &count);
        std::string log = ::testing::internal::GetCapturedStderr();
        DestroyErrorInfoList(&errors, count);
        std::replace(log.begin(), log.end(), '\n', ' ');
        if ((status == CS_C_OK) == c.valid) {
            std::fputc('+', passes);
        } else {
            std::printf("failing: %s: %s, status %d: %s\n", c.name.c_str(),
                        status == CS_C_OK ? "accepted" : "refused", status, log.c_str());
        }
    }
    std::fflush(passes);
    std::fflush(stdout);
}

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
    for (const std::string draft : {"draft4", "draft7"}) {
        std::set<fs::path> files;  // in order
        for (const auto& entry : fs::directory_iterator(suite / draft)) {
            if (entry.path().extension() == ".json" && !kLeftOut.count(entry.path().filename())) {
                files.insert(entry.path());
            }
        }
        int passed = 0, total = 0, crashes = 0;
        for (const fs::path& file : files) {
            std::ifstream input(file);
            rapidjson::IStreamWrapper stream(input);
            rapidjson::Document schemas;
            ASSERT_FALSE(schemas.ParseStream(stream).HasParseError()) << file;
            const std::string group = file.stem().string();
            fs::create_directories(root / "components" / draft / group);
            std::vector<Case> cases;
            for (auto& schema : schemas.GetArray()) {
                const std::string key = "case" + std::to_string(&schema - schemas.Begin());
                // The suite names no draft in its schemas: a schema file names its own.
                rapidjson::Value& body = schema["schema"];
                if (draft == "draft7" && body.IsObject() && !body.HasMember("$schema")) {
                    body.AddMember("$schema", "http://json-schema.org/draft-07/schema#",
                                   schemas.GetAllocator());
                }
                std::ofstream(root / "components" / draft / group / (key + ".json"))
                    << R"({"version": "1.0", "singleton": true, "schema": )" + Json(body) << "}";
                for (const auto& test : schema["tests"].GetArray()) {
                    const rapidjson::Value& data = test["data"];
                    if (!data.IsObject() ||
                        std::any_of(data.MemberBegin(), data.MemberEnd(), [](const auto& member) {
                            return member.name.GetString()[0] == '$';
                        })) {
                        continue;
                    }
                    cases.push_back({group + ": " + schema["description"].GetString() + ": " +
                                         test["description"].GetString(),
                                     key, &data, test["valid"].GetBool()});
                }
            }
            int ends[2];
            ASSERT_EQ(pipe(ends), 0);
            std::fflush(stdout);  // else the child inherits, and writes again, what is buffered
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                close(ends[0]);
                RunCases(cases, draft, group, fdopen(ends[1], "w"));
                _exit(0);
            }
            close(ends[1]);
            for (char pass; read(ends[0], &pass, 1) == 1;) ++passed;
            close(ends[0]);
            int status = 0;
            waitpid(child, &status, 0);
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                ++crashes;
                std::printf("crash: %s: status %d\n", file.c_str(), status);
            }
            total += static_cast<int>(cases.size());
        }
        std::printf("schema conformance: %s %d/%d object cases passed, %d crashes (%s left out)\n",
                    draft.c_str(), passed, total, crashes, kLeftOut.begin()->c_str());
        EXPECT_EQ(crashes, 0) << draft;
        EXPECT_GE(passed, kLeastPassed * total) << draft;
    }
    fs::remove_all(root);
}

}  // namespace
