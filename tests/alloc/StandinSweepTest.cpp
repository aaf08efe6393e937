// Allocation failure on the stand-in engine through the shared library: every exported function
// with each of its allocations (the library's, the engine's and SQLite's) failing in turn, on a
// store in temporary directories that is put back to the same content before every run.
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "Sweep.h"

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

class Standin : public sweep::Engine {
public:
    // The directories are chosen before the first store opens.
    Standin() {
        char pattern[] = "/tmp/alloc-sweep-XXXXXX";
        root_ = mkdtemp(pattern);
        setenv("CONFIGSTORE_DIR", (root_ / "state").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (root_ / "run").c_str(), 1);
        setenv("CONFIGSTORE_COMPONENTS_DIR", COMPONENTS_DIR, 1);
        setenv("CONFIGSTORE_LOG", "stderr", 1);
        sweep::Handles h;
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
    ~Standin() override { fs::remove_all(root_); }

    const char* Name() const override { return "the stand-in"; }
    bool StoreErrors() const override { return true; }

    // Puts the files back first: those added since go, those changed are rewritten (making and
    // deleting files costs the file system more than the whole call swept).
    void Open(sweep::Handles& h) override {
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

    // Everything the store exports, and what SQLite's integrity check says of each file.
    std::string Stored() override {
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

TEST(AllocationSweep, EveryFunctionOnTheStandin) {
    Standin engine;
    sweep::Run(engine);
}

}  // namespace
