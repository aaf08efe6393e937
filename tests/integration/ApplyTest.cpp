// Apply modules on the stand-in engine: after a commit, each changed component's modules run,
// stage by stage, with exactly what changed on their standard input; a module that fails is
// logged and recorded while the write stands.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

#include "Integration.h"

namespace {

using namespace integration;
namespace fs = std::filesystem;

// Each module appends its stage, component, namespace, input and open descriptors to one log,
// so that the log shows the order of the runs too.
constexpr char kRecorder[] =
    "#!/bin/sh\n"
    "{ echo \"$CONFIGSTORE_APPLY_STAGE $(basename \"$0\") $CONFIGSTORE_NAMESPACE"
    " ${APPLY_BOOT-}\"; cat; echo fds $(ls /proc/self/fd); } >> \"$APPLY_LOG\"\n";

class ApplyTest : public ::testing::Test {
protected:
    const std::string nameSpace = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    const fs::path root = fs::temp_directory_path() / ("configstorec-apply-" + nameSpace);
    Store store{nullptr, DestroyStore};

    void SetUp() override {
        fs::remove_all(root);
        fs::create_directories(root);
        setenv("CONFIGSTORE_APPLY_DIR", (root / "modules").c_str(), 1);
        setenv("APPLY_LOG", (root / "log").c_str(), 1);
        setenv("APPLY_BOOT", "1", 1);  // a commit is no boot run: never passed on
        store = Open(nameSpace);
    }
    void TearDown() override {
        store.reset();
        fs::remove_all(root);
    }

    void Module(const std::string& stage, const std::string& component, const std::string& text,
                bool executable = true) {
        fs::create_directories(root / "modules" / stage);
        const fs::path path = root / "modules" / stage / component;
        fs::remove(path);
        std::ofstream(path) << text;
        chmod(path.c_str(), executable ? 0755 : 0644);
    }

    std::string Log() const {
        std::ifstream file(root / "log");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // The result record of `component`: "status code exitValue" and the end of its output, or the
    // status of its read.
    std::string Result(const char* component) {
        Filter filter = MakeFilter("apply", "results", "configstore", component);
        ConfigStoreObjectStruct** objects = nullptr;
        int count = 0;
        const int found = GetInstances(store.get(), filter.get(), &objects, &count);
        if (found != CS_C_OK || count != 1) return "status " + std::to_string(found);
        char* status = nullptr;
        char* output = nullptr;
        EXPECT_EQ(GetValueStr(objects[0], "status", &status), CS_C_OK);
        EXPECT_EQ(GetValueStr(objects[0], "output", &output), CS_C_OK);
        std::string text = std::string(status ? status : "") + " " + IntOf(objects[0], "code") +
                           " " + IntOf(objects[0], "exitValue");
        const std::string printed = output ? output : "";
        EXPECT_LE(printed.size(), 4 * 4096u);  // the last 4 KiB, escaped
        if (!printed.empty())
            text +=
                " " + printed.substr(printed.size() - std::min<std::size_t>(printed.size(), 16));
        free(status);
        free(output);
        Listed(objects, count);
        return text;
    }
};

ConfigStoreCStatus Write(ConfigStoreStruct* store, const char* key, const char* component,
                         const char* instance = nullptr, const char* context = "INTERNAL") {
    Object object = Make(key, instance, "{\"mtu\": 1500}", "links", component);
    return Set(store, object.get(), context);
}

// One input line of the "links" group.
std::string Line(const char* key, const char* component, const char* instance,
                 const char* dataClass) {
    return std::string("{\"key\":\"") + key + "\",\"group\":\"links\",\"component\":\"" +
           component + "\"" +
           (*instance ? std::string(",\"instanceId\":\"") + instance + "\"" : "") +
           ",\"class\":\"" + dataClass + "\"}\n";
}

// What the recorder logs for one run in namespace "Commits": only descriptors 0, 1, 2 and the
// one ls opens.
std::string Ran(const char* stage, const char* component, const std::string& input) {
    return std::string(stage) + " " + component + " Commits \n" + input + "fds 0 1 2 3\n";
}

// Which runs a commit makes: component "a" has network and system modules, "b" an early one.
struct Commit {
    const char* name;
    std::function<void(ConfigStoreStruct*)> write;
    std::string log;
};
const Commit kCommits[] = {
    {"an external write: its configuration and desired configuration",
     [](ConfigStoreStruct* s) { EXPECT_EQ(Write(s, "eth", "a", nullptr, "EXTERNAL"), CS_C_OK); },
     Ran("network", "a", Line("eth", "a", "", "configuration") + Line("eth", "a", "", "desired")) +
         Ran("system", "a",
             Line("eth", "a", "", "configuration") + Line("eth", "a", "", "desired"))},
    {"a transaction: each change once, early stage first",
     [](ConfigStoreStruct* s) {
         ASSERT_EQ(BeginTransaction(s), CS_C_OK);
         Write(s, "eth", "a", "0");
         Object cached = Make("wlan", nullptr, "{\"up\": true}", "links", "b");
         SetCachedData(s, cached.get());
         Write(s, "eth", "a", "0");
         Write(s, "untouched", "c");
         ASSERT_EQ(CommitTransaction(s), CS_C_OK);
     },
     Ran("system-early", "b", Line("wlan", "b", "", "cachedData")) +
         Ran("network", "a", Line("eth", "a", "0", "configuration")) +
         Ran("system", "a", Line("eth", "a", "0", "configuration"))},
    {"a cancelled transaction: nothing",
     [](ConfigStoreStruct* s) {
         ASSERT_EQ(BeginTransaction(s), CS_C_OK);
         Write(s, "eth", "a");
         ASSERT_EQ(CancelTransaction(s), CS_C_OK);
     },
     ""},
    {"components that are no path component: nothing, not even a failure",
     [](ConfigStoreStruct* s) {
         EXPECT_EQ(Write(s, "eth", "../../outside/a"), CS_C_OK);
         EXPECT_EQ(Write(s, "eth", std::string(300, 'a').c_str()), CS_C_OK);
     },
     ""},
    {"a delete",
     [](ConfigStoreStruct* s) {
         Write(s, "wlan", "b");
         std::remove(getenv("APPLY_LOG"));
         ASSERT_EQ(Delete(s, "wlan", "links", "b", nullptr), CS_C_OK);
     },
     Ran("system-early", "b", Line("wlan", "b", "", "deleted"))},
};

TEST_F(ApplyTest, Commits) {
    Module("network", "a", kRecorder);
    Module("system", "a", kRecorder);
    Module("system-early", "b", kRecorder);
    Module("../outside", "a", kRecorder);  // where "../../outside/a" leads from a stage
    const int callers = dup(2);            // a descriptor of the caller's own, which no module gets
    for (const Commit& commit : kCommits) {
        SCOPED_TRACE(commit.name);
        fs::remove(root / "log");
        ::testing::internal::CaptureStderr();
        commit.write(store.get());
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(Log(), commit.log);
    }
    close(callers);
    EXPECT_EQ(Result("a"), "ok 0 0");
    EXPECT_EQ(Result("c"), "status 6");  // no module, no record
}

// A module that fails is logged with its code and the end of what it printed, and recorded; the
// write is stored all the same. Nothing a module prints reaches the caller's output, and at the
// time limit everything it started is killed, a child in a session of its own too (its pid in
// the log). A null module is a link to an executable outside the apply directory.
struct Failure {
    const char* module;
    bool executable;
    const char* logged;
    const char* result;
};
const Failure kFailures[] = {
    {"#!/bin/sh\nseq 20000\necho out\necho err >&2\nexit 3\n", true,
     "Child process terminated with exit value: 3: ", "failed 1104 3 0000\\nout\\nerr\\n"},
    {"#!/bin/sh\nsetsid sh -c 'echo $$ >\"$APPLY_LOG\"; exec sleep 10' &\nsleep 10\n", true,
     "Failed to wait for child process: ", "failed 1103 absent"},
    {"#!/bin/sh\nexit 0\n", false, "Torvane_ForkExec failed, errno: ", "failed 1102 absent"},
    {nullptr, true, "Torvane_ForkExec failed, errno: 13: ", "failed 1102 absent"},
    {"#!/bin/sh\nexit 0\n", true, "", "ok 0 0"},
};

// Whether process `pid` runs within a second: one that was killed is gone, or a zombie until
// its reaper (init, where no subreaper took it) gets to it.
bool Running(const std::string& pid) {
    for (int tries = 0; tries < 100; ++tries) {
        std::ifstream file("/proc/" + pid + "/stat");
        const std::string stat((std::istreambuf_iterator<char>(file)), {});
        const std::size_t name = stat.rfind(')');
        if (name == std::string::npos || name + 2 >= stat.size() || stat[name + 2] == 'Z') {
            return false;
        }
        usleep(10000);
    }
    return true;
}

TEST_F(ApplyTest, FailuresAreLoggedAndTheWriteStands) {
    setenv("CONFIGSTORE_APPLY_TIMEOUT", "0.5", 1);
    for (const Failure& failure : kFailures) {
        SCOPED_TRACE(failure.module ? failure.module : "a link outside");
        const std::string path = (root / "modules" / "storage" / "d").string();
        if (failure.module != nullptr) {
            Module("storage", "d", failure.module, failure.executable);
        } else {
            Module("..", "outside", "#!/bin/sh\nexit 0\n");
            fs::remove(path);
            fs::create_symlink(root / "outside", path);
        }
        fs::remove(root / "log");
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(Write(store.get(), "disk", "d"), CS_C_OK);
        const std::string log = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
        if (const std::string child = Log(); !child.empty()) {
            EXPECT_FALSE(Running(child)) << "left running: " << child;
        }
        if (*failure.logged == '\0') {
            EXPECT_EQ(log, "");
        } else {
            EXPECT_NE(log.find(failure.logged), std::string::npos) << log;
            EXPECT_NE(log.find(path), std::string::npos) << log;
        }
        EXPECT_EQ(Result("d"), failure.result);
        EXPECT_EQ(ReadBack(nameSpace, "disk", "mtu", "links", "d"), "mtu=1500\n");
    }
    unsetenv("CONFIGSTORE_APPLY_TIMEOUT");
}

}  // namespace
