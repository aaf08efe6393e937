// Allocation failure on the stand-in engine, the binding's and the engine's objects linked in:
// every exported function with each of its allocations (the library's, the engine's and SQLite's)
// failing in turn, on a store in temporary directories that is put back to the same content before
// every run.
#include "Sweep.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <tuple>
#include <vector>

#include "Allocations.h"
#include "core/Handles.h"

// The engine lists its schema directories again once a second has passed, and keeps the new
// listing: a run slow enough (under an emulator) would count it as a leak. Steady time stands
// still in this program, so the listings kept are those of each row's first run.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock == CLOCK_MONOTONIC) {
        *time = timespec{1000, 0};
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

namespace sweep {
namespace {

namespace fs = std::filesystem;

constexpr char kFan[] =
    R"({"i": 5, "u": 7, "l": 9, "ll": 11, "b": true, "d": 1.5, "s": "a text long enough",)"
    R"( "il": [1, 2], "dl": [1.5, 2.5], "lll": [3, 4], "bl": [true, false],)"
    R"( "sl": ["a", "a string long enough for the heap"], "bin": {"$base64": "AAECAwQ="}})";

constexpr const char* kInterfaces[] = {"eth0", "eth1"};

std::string Contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

class Standin {
public:
    // The directories are chosen before the first store opens.
    Standin() {
        char pattern[] = "/tmp/alloc-sweep-XXXXXX";
        root_ = mkdtemp(pattern);
        setenv("CONFIGSTORE_DIR", (root_ / "state").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (root_ / "run").c_str(), 1);
        setenv("CONFIGSTORE_COMPONENTS_DIR", COMPONENTS_DIR, 1);
        setenv("CONFIGSTORE_LOG", "stderr", 1);
        Handles h;
        GetStore(nullptr, &h.store);
        CreateObject("fan", "g", "c", nullptr, kFan, &h.object);
        CreateObject("pump", "g", "c", nullptr, R"({"i": 1})", &h.other);
        for (int i = 0; i < 2; ++i) {
            CreateObject("interface", "interfaces", "network", kInterfaces[i],
                         R"({"mtu": 1400, "description": "a description long enough"})",
                         &h.instances[i]);
        }
        for (const char* instance : {"1", "2"}) {
            ConfigStoreObjectStruct* blade = nullptr;
            CreateSubObject(h.object, "blade", instance, &blade);
            SetValueInt(blade, "i", 1);
        }
        Set(h.store, h.object, nullptr);
        Set(h.store, h.other, nullptr);
        SetInstances(h.store, h.instances, 2, nullptr);
        Close(h);
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.is_regular_file()) snapshot_[entry.path()] = Contents(entry.path());
        }
    }
    ~Standin() { fs::remove_all(root_); }

    // Puts the files back first: those added since go, those changed are rewritten (making and
    // deleting files costs the file system more than the whole call swept).
    void Open(Handles& h) {
        std::vector<fs::path> added;
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.is_regular_file() && snapshot_.count(entry.path()) == 0) {
                added.push_back(entry.path());
            }
        }
        for (const fs::path& path : added) fs::remove(path);
        for (const auto& [path, bytes] : snapshot_) {
            if (fs::exists(path) && Contents(path) == bytes) continue;
            fs::create_directories(path.parent_path());
            std::ofstream(path, std::ios::binary) << bytes;
        }
        GetStore(nullptr, &h.store);
        Get(h.store, "fan", "g", "c", nullptr, &h.object);
        Get(h.store, "pump", "g", "c", nullptr, &h.other);
        for (int i = 0; i < 2; ++i) {
            Get(h.store, "interface", "interfaces", "network", kInterfaces[i], &h.instances[i]);
        }
        CreateFilterSpecObject("fan", "g", "c", nullptr, &h.filter);
        CreateFilterSpecObject("interface", "interfaces", "network", nullptr, &h.interfaces);
        CreateFilterSpecObject("blade", "g", "c", nullptr, &h.blades);
        // The filter holds the object's values (kFan), so that it still selects it.
        for (const auto& [key, number] : {std::pair{"i", 5}, {"u", 7}, {"l", 9}, {"ll", 11}}) {
            SetValueFsoLonglong(h.filter, key, number);
        }
        SetValueFsoBool(h.filter, "b", true);
        SetValueFsoDouble(h.filter, "d", 1.5);
        SetValueFsoStr(h.filter, "s", "a text long enough");
        SetValueFsoEmptyList(h.filter, "sl");
        AppendValueFsoString(h.filter, "sl", "a");
        AppendValueFsoString(h.filter, "sl", "a string long enough for the heap");
        for (int i : {1, 2}) AppendValueFsoInt(h.filter, "il", i);
        for (double d : {1.5, 2.5}) AppendValueFsoDouble(h.filter, "dl", d);
        for (long long l : {3, 4}) AppendValueFsoLonglong(h.filter, "lll", l);
        for (bool b : {true, false}) AppendValueFsoBool(h.filter, "bl", b);
        const unsigned char bytes[] = {0, 1, 2, 3, 4};
        SetValueFsoBinary(h.filter, "bin", bytes, sizeof bytes);
    }

    // Destroys every handle and leaves them NULL.
    void Close(Handles& h) {
        for (ConfigStoreObjectStruct* object :
             {h.object, h.other, h.instances[0], h.instances[1]}) {
            if (object != nullptr) DestroyConfigStoreObject(object);
        }
        for (FilterSpecObjectStruct* filter : {h.filter, h.interfaces, h.blades}) {
            if (filter != nullptr) DestroyFilterSpecObject(filter);
        }
        DestroyStore(h.store);
        h = Handles();
    }

    // The keys and handle counts of both child caches.
    static std::string Caches(const Handles& h) {
        std::string text;
        for (const auto& [key, children] : h.object->children.Entries()) {
            text += key + ":" + std::to_string(children.size()) + " ";
        }
        for (const auto& [key, children] : h.filter->children.Entries()) {
            text += key + ":" + std::to_string(children.size()) + " ";
        }
        return text;
    }

    // Everything the store exports, and what SQLite's integrity check says of each file.
    std::string Stored() {
        FilterSpecObjectStruct* everything = nullptr;
        CreateFilterSpecObject("", "", "", nullptr, &everything);
        char* document = nullptr;
        std::string text = "export " + std::to_string(Export(&everything, 1, &document)) + ": ";
        text += document != nullptr ? document : "";
        free(document);
        DestroyFilterSpecObject(everything);
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.path().extension() != ".db") continue;
            sqlite3* db = nullptr;
            sqlite3_open_v2(entry.path().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
            sqlite3_exec(
                db, "PRAGMA integrity_check",
                [](void* out, int, char** values, char**) {
                    *static_cast<std::string*>(out) += std::string(" ") + values[0];
                    return 0;
                },
                &text, nullptr);
            sqlite3_close(db);
        }
        return text;
    }

private:
    fs::path root_;
    std::map<fs::path, std::string> snapshot_;
};

// Every output, pointers by address.
auto Fields(const Outputs& o) {
    return std::tie(o.text, o.parts[0], o.parts[1], o.parts[2], o.parts[3], o.strings, o.ints,
                    o.doubles, o.longs, o.bools, o.bytes, o.store, o.object, o.child, o.objects,
                    o.children, o.filter, o.subFilter, o.errors, o.size, o.count, o.errorCount);
}

// Releases whatever a call handed out, as its owner must.
void Release(Outputs& o) {
    auto set = [](const void* pointer, const void* unset) {
        return pointer != nullptr && pointer != unset;
    };
    if (set(o.text, Unset<char>())) std::free(o.text);
    for (char* part : o.parts) {
        if (set(part, Unset<char>())) std::free(part);
    }
    if (set(o.strings, Unset<char*>())) DestroyStringArrayValue(&o.strings, o.count);
    for (void* buffer :
         {static_cast<void*>(o.ints), static_cast<void*>(o.doubles), static_cast<void*>(o.longs),
          static_cast<void*>(o.bools), static_cast<void*>(o.bytes)}) {
        if (set(buffer, Unset<void>())) std::free(buffer);
    }
    if (set(o.store, Unset<ConfigStoreStruct>())) DestroyStore(o.store);
    if (set(o.object, Unset<ConfigStoreObjectStruct>())) DestroyConfigStoreObject(o.object);
    if (set(o.objects, Unset<ConfigStoreObjectStruct*>())) {
        for (int i = 0; i < o.count; ++i) DestroyConfigStoreObject(o.objects[i]);
        std::free(o.objects);
    }
    if (set(o.children, Unset<ConfigStoreObjectStruct*>())) std::free(o.children);
    if (set(o.filter, Unset<FilterSpecObjectStruct>())) DestroyFilterSpecObject(o.filter);
    if (set(o.errors, Unset<ErrorInfoStruct*>())) DestroyErrorInfoList(&o.errors, o.errorCount);
    o = Outputs();
}

// The outputs a failed call may leave: those it found, or what the row documents instead.
void ExpectKept(const Row& row, Outputs after, const Outputs& before) {
    if ((row.flags & kEmptyText) && after.text != before.text) {
        EXPECT_STREQ(after.text, "");
        after.text = before.text;
    }
    if ((row.flags & kNullChild) && after.child == nullptr) after.child = before.child;
    if (after.count == 0) after.count = before.count;  // a list's count may be reset
    EXPECT_TRUE(Fields(after) == Fields(before)) << "outputs changed";
}

struct Counts {
    int points = 0;
    int leaks = 0;
};

// Fails the 1st, then every `step`-th allocation of the row's call until the call makes fewer.
Counts SweepRow(Standin& engine, const Row& row, const std::string& base, int step) {
    Counts counts;
    Handles h;
    Outputs o;
    Scalars s;
    // A first run fills the caches of the process and says what success is.
    engine.Open(h);
    if (row.prepare) row.prepare(h, o);
    const int success = row.call(h, o, s);
    const int successCount = o.count;
    Release(o);
    engine.Close(h);
    const std::string changed = row.flags & kWrites ? engine.Stored() : base;
    // The cache with every "blade" loaded, as a failed call may leave it.
    std::string loaded = "no loading";
    if (row.flags & kLoadsBlades) {
        engine.Open(h);
        ConfigStoreObjectStruct* blade = nullptr;
        GetSubObject(h.object, "blade", "1", &blade);
        loaded = engine.Caches(h);
        engine.Close(h);
    }

    for (int n = 1;; n += step) {
        SCOPED_TRACE(testing::Message() << row.function << ", allocation " << n);
        engine.Open(h);
        if (row.prepare) row.prepare(h, o);
        const Outputs before = o;
        const std::string caches = engine.Caches(h);
        allocations::Start();
        allocations::FailAt(n);
        const int result = row.call(h, o, s);
        allocations::Stop();
        if (!allocations::Failed()) {
            EXPECT_EQ(result, success);
            // A success empties the line that the failed run before it left.
            if (result == CS_C_OK) {
                EXPECT_STREQ(ConfigStoreCLastError(), "");
            }
            Release(o);
            engine.Close(h);
            return counts;
        }
        ++counts.points;
        if (result == success) {
            EXPECT_EQ(o.count, successCount);
        } else {
            const bool storeError = result == CS_C_STORE_ERROR && (row.flags & kStore);
            if (result != CS_C_INTERNAL_ERROR && !storeError) ADD_FAILURE() << "status " << result;
            EXPECT_STRNE(ConfigStoreCLastError(),
                         "");  // the failure's line, kept without allocating
            ExpectKept(row, o, before);
            const std::string cachesAfter = engine.Caches(h);
            EXPECT_TRUE(cachesAfter == caches || cachesAfter == loaded) << cachesAfter;
        }
        Release(o);
        engine.Close(h);
        if (allocations::UnfreedBlocks() > 0) {
            ++counts.leaks;
            ADD_FAILURE() << allocations::UnfreedBlocks() << " blocks leaked";
        }
        if (row.flags & kWrites) {
            const std::string stored = engine.Stored();
            EXPECT_TRUE(stored == base || stored == changed)
                << "neither the old nor the new content:\n"
                << stored;
        }
        if (n > 100000) {
            ADD_FAILURE() << "the call never stops allocating";
            return counts;
        }
    }
}

// Each row runs in a child process, so that a crash is counted and the rows after it still run.
// The child's log lines are silenced: every failure writes one.
void Sweep(Standin& engine) {
    Counts total;
    int functions = 0, crashes = 0;
    int count = 0;
    const Row* rows = Rows(&count);
    Handles h;
    engine.Open(h);
    GetValueInt(nullptr, "", nullptr);  // the first log line sets the log up
    engine.Close(h);
    const std::string base = engine.Stored();
    const char* only = std::getenv("ALLOC_SWEEP_ROWS");  // a substring of the functions to run
    // Every allocation by default; every n-th where runs are slow (tests/alloc/CMakeLists.txt).
    const char* stepped = std::getenv("ALLOC_SWEEP_STEP");
    const int step = stepped != nullptr ? std::max(1, std::atoi(stepped)) : 1;
    for (int r = 0; r < count; ++r) {
        const Row& row = rows[r];
        if (only != nullptr && std::strstr(row.function, only) == nullptr) continue;
        int channel[2];
        if (pipe(channel) != 0) std::abort();
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child < 0) std::abort();
        if (child == 0) {
            const int quiet = open("/dev/null", O_WRONLY);
            dup2(quiet, STDERR_FILENO);
            const auto* result = testing::UnitTest::GetInstance()->current_test_info()->result();
            const int parts = result->total_part_count();
            const Counts counts = SweepRow(engine, row, base, step);
            if (write(channel[1], &counts, sizeof counts) != sizeof counts) _exit(3);
            std::fflush(nullptr);
            _exit(result->total_part_count() > parts ? 1 : 0);
        }
        close(channel[1]);
        Counts counts;
        const bool reported = read(channel[0], &counts, sizeof counts) == sizeof counts;
        close(channel[0]);
        int status = 0;
        waitpid(child, &status, 0);
        ++functions;
        if (WIFSIGNALED(status) || !reported) {
            ++crashes;
            ADD_FAILURE() << row.function << " crashed";
            continue;
        }
        EXPECT_EQ(WEXITSTATUS(status), 0) << row.function << " failed";
        total.points += counts.points;
        total.leaks += counts.leaks;
    }
    std::printf("allocation failure: %d points over %d functions, %d crashes, %d leaks\n",
                total.points, functions, crashes, total.leaks);
}

TEST(AllocationSweep, TheTableNamesEveryExportedFunction) {
    std::set<std::string> exported;
    std::ifstream list(EXPORTS_FILE);
    for (std::string name; std::getline(list, name);) {
        // A C++ symbol _Z<length><identifier>...: the row names its identifier.
        std::size_t digits = 0;
        if (name.rfind("_Z", 0) == 0) {
            const int length = std::stoi(name.substr(2), &digits);
            name = name.substr(2 + digits, static_cast<std::size_t>(length));
        }
        if (!name.empty()) exported.insert(name);
    }
    int count = 0;
    const Row* rows = Rows(&count);
    std::set<std::string> named;
    for (int i = 0; i < count; ++i) EXPECT_TRUE(named.insert(rows[i].function).second);
    EXPECT_EQ(named, exported);
}

TEST(AllocationSweep, EveryFunctionOnTheStandin) {
    Standin engine;
    Sweep(engine);
}

}  // namespace
}  // namespace sweep
