// Allocation failure on the stand-in engine, the binding's and the engine's objects linked in:
// every exported function with each of its allocations (the library's, the engine's and SQLite's)
// failing in turn, on the populated store of Standin.cpp.
#include "Sweep.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <vector>

#include "Allocations.h"

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

// The outputs a failed call may leave: those it found, or what the row documents instead.
void ExpectKept(const Row& row, Outputs after, const Outputs& before) {
    if ((row.flags & kEmptyText) && after.text != before.text) {
        EXPECT_STREQ(after.text, "");
        after.text = before.text;
    }
    if ((row.flags & kNullChild) && after.child == nullptr) after.child = before.child;
    if (after.count == 0) after.count = before.count;  // a list's count may be reset
    EXPECT_EQ(std::memcmp(&after, &before, sizeof after), 0) << "outputs changed";
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
    engine.Open(h);
    ConfigStoreObjectStruct* blade = nullptr;
    GetSubObject(h.object, "blade", "1", &blade);
    const std::string loaded = engine.Caches(h);
    engine.Close(h);

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
            // The failure's line, kept without allocating.
            EXPECT_STRNE(ConfigStoreCLastError(), "");
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
    }
}

// Each row runs in a child process, so that a crash is counted and the rows after it still run.
// The child's log lines are silenced: every failure writes one.
void Sweep(Standin& engine) {
    Counts total;
    int functions = 0, crashes = 0, count = 0;
    const Row* rows = Rows(&count);
    GetValueInt(nullptr, "", nullptr);  // the first log line sets the log up
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
