#include "Sweep.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Allocations.h"

namespace sweep {

namespace {

// The outputs as text, each pointer "unset", "NULL" or "set".
std::string Described(const Outputs& o) {
    auto state = [](const void* pointer) -> std::string {
        return pointer == Unset<void>() ? "unset" : pointer == nullptr ? "NULL" : "set";
    };
    std::string text;
    const std::pair<const char*, const void*> pointers[] = {
        {"text", o.text},         {"key", o.parts[0]},      {"component", o.parts[1]},
        {"group", o.parts[2]},    {"instance", o.parts[3]}, {"strings", o.strings},
        {"ints", o.ints},         {"doubles", o.doubles},   {"longs", o.longs},
        {"bools", o.bools},       {"bytes", o.bytes},       {"store", o.store},
        {"object", o.object},     {"child", o.child},       {"objects", o.objects},
        {"children", o.children}, {"filter", o.filter},     {"subFilter", o.subFilter},
        {"errors", o.errors}};
    for (const auto& [name, pointer] : pointers) {
        if (pointer != Unset<void>()) text += std::string(name) + " " + state(pointer) + ", ";
    }
    return text + "size " + std::to_string(o.size) + ", count " + std::to_string(o.count) +
           ", errors " + std::to_string(o.errorCount);
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
    EXPECT_EQ(Described(after), Described(before)) << "outputs changed";
}

struct Counts {
    int points = 0;
    int leaks = 0;
};

// Fails the 1st, then every `step`-th allocation of the row's call until the call makes fewer.
Counts SweepRow(Engine& engine, const Row& row, const std::string& base, int step) {
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
            const bool storeError =
                result == CS_C_STORE_ERROR && (row.flags & kStore) && engine.StoreErrors();
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

}  // namespace

void Engine::Close(Handles& h) {
    for (ConfigStoreObjectStruct* object : {h.object, h.other, h.instances[0], h.instances[1]}) {
        if (object != nullptr) DestroyConfigStoreObject(object);
    }
    for (FilterSpecObjectStruct* filter : {h.filter, h.interfaces, h.blades}) {
        if (filter != nullptr) DestroyFilterSpecObject(filter);
    }
    DestroyStore(h.store);
    h = Handles();
}

// Each row runs in a child process, so that a crash is counted and the rows after it still run.
// The child's log lines are silenced: every failure writes one.
void Run(Engine& engine) {
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
            ADD_FAILURE() << row.function << " crashed on " << engine.Name();
            continue;
        }
        EXPECT_EQ(WEXITSTATUS(status), 0) << row.function << " failed on " << engine.Name();
        total.points += counts.points;
        total.leaks += counts.leaks;
    }
    std::printf("allocation failure: %d points over %d functions on %s, %d crashes, %d leaks\n",
                total.points, functions, engine.Name(), crashes, total.leaks);
}

}  // namespace sweep
