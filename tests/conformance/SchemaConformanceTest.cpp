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
#include <string>
#include <vector>

#include "configstorec.h"

namespace fs = std::filesystem;

namespace {

// The least share of each draft's cases that must pass.
constexpr double kLeastPassed = 0.98;
// Remote references name schemas served over HTTP, which a store's schema files never reach.
constexpr char kLeftOut[] = "refRemote.json";

struct Case {
    std::string name;  // "file: schema description: test description"
    std::string key;   // of the schema's identity
    const rapidjson::Value* instance;
    bool valid;
};

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

// In the child: each case's outcome on a line of `out`, "+" when it passes, else "-" and why:
// "accepted", or "refused" with the status and the engine's log lines.
void Run(const std::vector<Case>& cases, const std::string& component, const std::string& group,
         FILE* out) {
    for (const Case& c : cases) {
        const std::string document = R"({"format":"configstore/1","objects":[{"key":")" + c.key +
                                     R"(","group":")" + group + R"(","component":")" + component +
                                     R"(","values":)" + Json(*c.instance) + "}]}";
        ErrorInfoStruct** errors = nullptr;
        int count = 0;
        ::testing::internal::CaptureStderr();
        const int status = Import(document.c_str(), &errors, &count);
        std::string log = ::testing::internal::GetCapturedStderr();
        DestroyErrorInfoList(&errors, count);
        std::replace(log.begin(), log.end(), '\n', ' ');
        if ((status == CS_C_OK) == c.valid) {
            std::fprintf(out, "+\n");
        } else if (status == CS_C_OK) {
            std::fprintf(out, "-accepted\n");
        } else {
            std::fprintf(out, "-refused, status %d: %s\n", status, log.c_str());
        }
        std::fflush(out);
    }
}

struct Tally {
    int passed = 0, total = 0, crashes = 0;
};

// Writes the schema files of one suite file and runs its object cases in a child process.
void RunFile(const fs::path& file, const fs::path& components, const std::string& draft,
             Tally& tally) {
    std::ifstream input(file);
    rapidjson::IStreamWrapper stream(input);
    rapidjson::Document suite;
    ASSERT_FALSE(suite.ParseStream(stream).HasParseError()) << file;
    const std::string group = file.stem().string();
    fs::create_directories(components / draft / group);
    std::vector<Case> cases;
    for (rapidjson::SizeType i = 0; i < suite.Size(); ++i) {
        const std::string key = "case" + std::to_string(i);
        // The suite names no draft in its schemas: a schema file names the one it is written in.
        rapidjson::Value& schema = suite[i]["schema"];
        if (draft == "draft7" && schema.IsObject() && !schema.HasMember("$schema")) {
            schema.AddMember("$schema", "http://json-schema.org/draft-07/schema#",
                             suite.GetAllocator());
        }
        std::ofstream(components / draft / group / (key + ".json"))
            << R"({"version": "1.0", "singleton": true, "schema": )" + Json(schema) << "}";
        for (const auto& test : suite[i]["tests"].GetArray()) {
            if (!IsObjectCase(test["data"])) continue;
            cases.push_back({group + ": " + suite[i]["description"].GetString() + ": " +
                                 test["description"].GetString(),
                             key, &test["data"], test["valid"].GetBool()});
        }
    }
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    std::fflush(stdout);  // else the child inherits, and writes again, what is still buffered
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipeEnds[0]);
        Run(cases, draft, group, fdopen(pipeEnds[1], "w"));
        _exit(0);
    }
    close(pipeEnds[1]);
    FILE* in = fdopen(pipeEnds[0], "r");
    std::size_t done = 0;
    char* line = nullptr;
    std::size_t capacity = 0;
    for (; getline(&line, &capacity, in) > 0 && done < cases.size(); ++done) {
        if (line[0] == '+') ++tally.passed;
        if (line[0] != '+') std::printf("failing: %s: %s", cases[done].name.c_str(), line + 1);
    }
    std::free(line);
    std::fclose(in);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || done < cases.size()) {
        ++tally.crashes;
        std::printf("crash: %s: status %d, at %s\n", file.c_str(), status,
                    done < cases.size() ? cases[done].name.c_str() : "the end");
    }
    tally.total += static_cast<int>(cases.size());
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
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(suite / draft)) {
            if (entry.path().extension() == ".json" && entry.path().filename() != kLeftOut) {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        Tally tally;
        for (const fs::path& file : files) RunFile(file, root / "components", draft, tally);
        std::printf("schema conformance: %s %d/%d object cases passed, %d crashes (%s left out)\n",
                    draft.c_str(), tally.passed, tally.total, tally.crashes, kLeftOut);
        EXPECT_EQ(tally.crashes, 0) << draft;
        EXPECT_GE(tally.passed, kLeastPassed * tally.total) << draft;
    }
    fs::remove_all(root);
}

}  // namespace
