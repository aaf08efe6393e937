// What the store's history records of each kind of write, who it names, what it reads back, and
// what retention keeps.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/ErrorCodes.h>
#include <unistd.h>

#include <functional>

#include "History.h"
#include "StandinTest.h"

namespace {

using namespace KivConfigStore;
using namespace standin_test;

std::string Described(const std::optional<std::string>& document) {
    return document ? *document : "none";
}

// Each commit records, before it changes them, what each identity's durable classes held, and
// who committed it; cached data leaves no trace. What a slot held after a version reads back
// from the rows after it, or from the present.
TEST(History, EachCommitRecordsWhatItChangesAndWhoCommittedIt) {
    const std::string name = TestName();
    const auto store = ConfigStore::GetStore(name);
    const ConfigStoreObjectId x("x", "g", "c", ""), y("y", "g", "c", "i"), a("a", "g", "c", ""),
        b("b", "g", "c", "1"), c("c", "g", "c", "1");
    const auto set = [&](const ConfigStoreObjectId& id, const char* values) {
        store->Set(CreateObject(id, values), INTERNAL);
    };
    struct Case {
        const char* what;
        std::function<void()> commit;
        const char* changes;  // key, class and the document before, in the order changed
        const char* context;
    };
    const Case cases[] = {
        {"a new object", [&] { set(x, R"({"a":1})"); }, "x 0 none", "internal"},
        {"its user data", [&] { store->SetUserData(CreateObject(x, R"({"u":1})"), INTERNAL); },
         "x 1 none", "internal"},
        {"its vital data", [&] { store->SetVitalData(CreateObject(x, R"({"v":1})")); }, "x 2 none",
         "internal"},
        {"a change from outside, which records the desired configuration too",
         [&] { store->Set(CreateObject(x, R"({"a":2})"), EXTERNAL); }, R"(x 0 {"a":1}, x 4 none)",
         "external"},
        {"cached data", [&] { store->SetCachedData(CreateObject(x, R"({"c":1})")); }, "", ""},
        {"two writes of one object in a transaction: the document before both",
         [&] {
             store->BeginTransaction();
             set(y, R"({"b":1})");
             set(y, R"({"b":2})");
             store->CommitTransaction();
         },
         "y 0 none", "internal"},
        {"a removal: every durable class", [&] { store->Delete(x); },
         R"(x 0 {"a":2}, x 1 {"u":1}, x 2 {"v":1}, x 4 {"a":2})", "internal"},
        {"a list removal",
         [&] {
             store->DeleteInstances(Filter({"y", "g", "c", ""}));
         },
         R"(y 0 {"b":2})", "internal"},
        {"a list write that failed (c is booting) after writing b's row: its rows go, and the row "
         "of the new object before it, which b's row had to follow, stays",
         [&] {
             set(b, R"({"b":1})");
             setenv("CONFIGSTORE_NAMESPACE", name.c_str(), 1);  // the store of SetBootStatus
             SetBootStatus(c, true);
             store->BeginTransaction();
             set(a, R"({"a":1})");
             EXPECT_EQ(
                 CodeOf([&] {
                     store->SetInstances({CreateObject(b, "{}"), CreateObject(c, "{}")}, EXTERNAL);
                 }),
                 ERR_EXTERNAL_CONTEXT_DURING_BOOT);
             store->CommitTransaction();
             SetBootStatus(c, false);
             unsetenv("CONFIGSTORE_NAMESPACE");
         },
         "a 0 none", "internal"},
    };
    long long version = 0;
    for (const Case& test : cases) {
        test.commit();
        standin::HistoryReader history(name);
        const auto commits = history.Commits(0, true);
        if (*test.changes == '\0') {
            EXPECT_EQ(history.Version(), version) << test.what;
            continue;
        }
        version = history.Version();
        ASSERT_FALSE(commits.empty());
        const standin::HistoryCommit& commit = commits.front();
        std::string changes;
        for (const auto& change : commit.changes) {
            changes += (changes.empty() ? "" : ", ") + change.slot.id.key + " " +
                       std::to_string(change.slot.dataClass) + " " + Described(change.document);
        }
        EXPECT_EQ(changes, test.changes) << test.what;
        EXPECT_EQ(commit.version, version) << test.what;
        EXPECT_EQ(commit.context + " " + commit.program + " " + std::to_string(commit.pid),
                  test.context + std::string(" standin_tests ") + std::to_string(getpid()))
            << test.what;
    }
    // After the change from outside (version 4): x's configuration held {"a":2} until the
    // removal, and holds nothing now; y held nothing.
    standin::HistoryReader history(name);
    std::string states;
    for (const standin::SlotDocument& state : history.ChangedAfter(4).slots) {
        states += (states.empty() ? "" : ", ") + state.slot.id.key +
                  std::to_string(state.slot.dataClass) + " " + Described(state.document) + " " +
                  Described(history.Present(state.slot));
    }
    EXPECT_EQ(states, R"(y0 none none, x0 {"a":2} none, x1 {"u":1} none, x2 {"v":1} none,)"
                      R"( x4 {"a":2} none, b0 none {"b":1}, a0 none {"a":1})");
    EXPECT_EQ(history.KeptAfter(), 0);
}

// Retention keeps the newest commits, pruned every 16 commits (32 here: two are kept, or none);
// the history before them reads as forgotten. A setting that is not a number is refused.
TEST(History, RetentionKeepsTheNewestCommits) {
    for (const char* keep : {"2", "0"}) {
        setenv("CONFIGSTORE_HISTORY_COMMITS", keep, 1);
        const std::string name = TestName() + keep;
        const auto store = ConfigStore::GetStore(name);
        for (int n = 0; n < 32; ++n) {
            store->Set(
                CreateObject({"k", "g", "c", ""}, ("{\"n\": " + std::to_string(n) + "}").c_str()),
                INTERNAL);
        }
        standin::HistoryReader history(name);
        EXPECT_EQ(std::to_string(history.Commits().size()), keep);
        EXPECT_EQ(history.KeptAfter(), 32 - std::stoll(keep));
    }
    setenv("CONFIGSTORE_HISTORY_DAYS", "ninety", 1);
    EXPECT_EQ(CodeOf([] { ConfigStore::GetStore("refused"); }), ERR_DB_OPEN_FAILED);
    unsetenv("CONFIGSTORE_HISTORY_DAYS");
    unsetenv("CONFIGSTORE_HISTORY_COMMITS");
}

}  // namespace
