// Apply modules on the stand-in engine: after a commit, each changed component's modules run,
// stage by stage, with exactly what changed on their standard input; a module that fails is
// logged and recorded while the write stands.
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Integration.h"

namespace {

using namespace integration;
namespace fs = std::filesystem;

const fs::path kRoot =
    fs::temp_directory_path() / ("configstorec-apply-" + std::to_string(getpid()));

// Each module appends its stage, component, namespace, input and open descriptors to one log,
// so that the log shows the order of the runs too.
constexpr char kRecorder[] =
    "#!/bin/sh\n"
    "{ echo \"$CONFIGSTORE_APPLY_STAGE $(basename \"$0\") $CONFIGSTORE_NAMESPACE"
    " ${APPLY_BOOT-}\"; cat; echo fds $(ls /proc/self/fd); } >> \"$APPLY_LOG\"\n";

std::string FileText(const fs::path& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Writes the module `at` ("stage/component") of the apply directory; no text makes it a link to
// the executable "elsewhere", out of the apply directory.
void Module(const std::string& at, const char* text) {
    const fs::path path = kRoot / "modules" / at;
    fs::create_directories(path.parent_path());
    fs::remove(path);
    if (text == nullptr) return fs::create_symlink(kRoot / "elsewhere", path);
    std::ofstream(path) << text;
    chmod(path.c_str(), 0755);
}

ConfigStoreCStatus Write(ConfigStoreStruct* store, const char* key, const char* component,
                         const char* instance = nullptr, const char* context = "INTERNAL") {
    Object object = Make(key, instance, "{\"mtu\": 1500}", "links", component);
    return Set(store, object.get(), context);
}

// What the recorder logs for one run in namespace "apply" with input lines of the "links" group,
// each "key component instance class": only descriptors 0, 1, 2 and the one ls opens.
std::string Ran(const char* stage, const char* component,
                std::initializer_list<std::array<const char*, 4>> lines) {
    std::string text = std::string(stage) + " " + component + " apply \n";
    for (const auto& [key, of, instance, dataClass] : lines) {
        text += std::string("{\"key\":\"") + key + "\",\"group\":\"links\",\"component\":\"" + of +
                "\"" + (*instance ? std::string(",\"instanceId\":\"") + instance + "\"" : "") +
                ",\"class\":\"" + dataClass + "\"}\n";
    }
    return text + "fds 0 1 2 3\n";
}

// The result record of `component`: "status code exitValue", then the last 16 characters of its
// output; or the status of its read.
std::string Result(ConfigStoreStruct* store, const char* component) {
    ConfigStoreObjectStruct* raw = nullptr;
    const int found = Get(store, "apply", "results", "configstore", component, &raw);
    const Object record(raw, DestroyConfigStoreObject);
    if (found != CS_C_OK) return "status " + std::to_string(found);
    char *status = nullptr, *output = nullptr;
    EXPECT_EQ(GetValueStr(raw, "status", &status) + GetValueStr(raw, "output", &output), 0);
    const std::string printed = output ? output : "", text = status ? status : "";
    for (char* read : {status, output}) free(read);
    EXPECT_LE(printed.size(), 4 * 4096u);  // the last 4 KiB, escaped
    return text + " " + IntOf(raw, "code") + " " + IntOf(raw, "exitValue") +
           (printed.empty() ? "" : " ") +
           printed.substr(printed.size() < 16 ? 0 : printed.size() - 16);
}

// A failed module is logged with its code and the end of its output, and recorded; the write
// stands. Nothing it prints reaches the caller's output; at the time limit all it started is
// killed, a child in a session of its own too (its pid in the log). A null module is a link out
// of the apply directory (csctl's tests run one that is not executable). A time limit that is no
// positive number of seconds runs nothing.
struct Failure {
    const char* module;
    const char *timeLimit, *logged, *result;
};
const Failure kFailures[] = {
    {"#!/bin/sh\nseq 20000\necho out\necho err >&2\nexit 3\n", "0.5",
     "Child process terminated with exit value: 3: ", "failed 1104 3 0000\\nout\\nerr\\n"},
    {"#!/bin/sh\nsetsid sh -c 'echo $$ >\"$APPLY_LOG\"; exec sleep 10' &\nsleep 10\n", "0.5",
     "Failed to wait for child process: ", "failed 1103 absent"},
    {nullptr, "0.5", "Torvane_ForkExec failed, errno: 13: ", "failed 1102 absent"},
    {"#!/bin/sh\necho ran\n", "0", "Invalid Argument: CONFIGSTORE_APPLY_TIMEOUT is '0'",
     "failed 1100 absent"},
};

// Whether process `pid` still runs after a second: one that was killed is gone, or a zombie until
// its reaper (init, where no subreaper took it) gets to it.
bool Running(const std::string& pid) {
    for (int tries = 0; tries < 100; ++tries, usleep(10000)) {
        const std::string stat = FileText("/proc/" + pid + "/stat");
        if (stat.empty() || stat.substr(stat.rfind(')') + 2, 1) == "Z") return false;
    }
    return true;
}

TEST(Apply, CommitsRunTheChangedComponentsModulesAndRecordTheirFailures) {
    fs::remove_all(kRoot);
    setenv("CONFIGSTORE_APPLY_DIR", (kRoot / "modules").c_str(), 1);
    setenv("APPLY_LOG", (kRoot / "log").c_str(), 1);
    setenv("APPLY_BOOT", "1", 1);  // a commit is no boot run: never passed on
    const Store store = Open("apply");
    ConfigStoreStruct* s = store.get();
    // "a" has network and system modules, "b" an early one; "../../outside/a" leads out.
    for (const char* at : {"network/a", "system/a", "system-early/b", "../outside/a"})
        Module(at, kRecorder);
    const int callers = dup(2);  // a descriptor of the caller's own, which no module gets
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Write(s, "eth", "a", nullptr, "EXTERNAL"), CS_C_OK);  // and the desired one
    // A transaction runs each change once, early stage first.
    ASSERT_EQ(BeginTransaction(s), CS_C_OK);
    Write(s, "eth", "a", "0");
    Object cached = Make("wlan", nullptr, "{\"up\": true}", "links", "b");
    SetCachedData(s, cached.get());
    Write(s, "eth", "a", "0");
    Write(s, "untouched", "c");
    ASSERT_EQ(CommitTransaction(s), CS_C_OK);
    // A cancelled transaction and components that are no path component run nothing.
    ASSERT_EQ(BeginTransaction(s), CS_C_OK);
    Write(s, "eth", "a");
    ASSERT_EQ(CancelTransaction(s), CS_C_OK);
    EXPECT_EQ(Write(s, "eth", "../../outside/a"), CS_C_OK);
    ASSERT_EQ(Delete(s, "wlan", "links", "b", nullptr), CS_C_OK);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    close(callers);
    EXPECT_EQ(
        FileText(kRoot / "log"),
        Ran("network", "a", {{"eth", "a", "", "configuration"}, {"eth", "a", "", "desired"}}) +
            Ran("system", "a", {{"eth", "a", "", "configuration"}, {"eth", "a", "", "desired"}}) +
            Ran("system-early", "b", {{"wlan", "b", "", "cachedData"}}) +
            Ran("network", "a", {{"eth", "a", "0", "configuration"}}) +
            Ran("system", "a", {{"eth", "a", "0", "configuration"}}) +
            Ran("system-early", "b", {{"wlan", "b", "", "deleted"}}));
    EXPECT_EQ(Result(s, "a"), "ok 0 0");
    EXPECT_EQ(Result(s, "c"), "status 6");  // no module, no record

    Module("../elsewhere", "#!/bin/sh\nexit 0\n");
    for (const Failure& failure : kFailures) {
        SCOPED_TRACE(failure.module ? failure.module : "a link outside");
        setenv("CONFIGSTORE_APPLY_TIMEOUT", failure.timeLimit, 1);
        const std::string path = (kRoot / "modules" / "storage" / "d").string();
        Module("storage/d", failure.module);
        fs::remove(kRoot / "log");
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(Write(s, "disk", "d"), CS_C_OK);
        const std::string log = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
        if (const std::string child = FileText(kRoot / "log"); !child.empty()) {
            EXPECT_FALSE(Running(child)) << "left running: " << child;
        }
        EXPECT_EQ(log.empty(), *failure.logged == '\0') << log;
        EXPECT_NE(log.find(failure.logged), std::string::npos) << log;
        EXPECT_TRUE(log.empty() || log.find(path) != std::string::npos) << log;
        EXPECT_EQ(Result(s, "d"), failure.result);
        EXPECT_EQ(ReadBack("apply", "disk", "mtu", "links", "d"), "mtu=1500\n");
    }
    unsetenv("CONFIGSTORE_APPLY_TIMEOUT");
    fs::remove_all(kRoot);
}

}  // namespace
