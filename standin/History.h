// What each commit changed, kept in the store's file beside the objects: for each identity and
// durable class a commit wrote or removed, one row with the document it held before (none where
// there was nothing), and on the commit's first row who committed it and when. What a commit
// made of a class reads back from the class's next row, or from the present. Cached data is not
// recorded. Rows come in commit order (commits take the store's write lock), which retention and
// every reader rely on.
#pragma once

#include <kivconfigstore/ObjectIds.h>

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Documents.h"
#include "Files.h"
#include "Sql.h"

namespace standin {

// The writer's share: rows recorded as the store writes, sealed as it commits. A new class's
// row (it held nothing) waits in memory and goes in with others, many rows a statement: a
// transaction that makes many objects would otherwise pay a statement for each. Rows go in in
// the order recorded: the waiting ones before any other, and all of them as the commit is sealed.
class History {
public:
    explicit History(const StoreFiles& files)
        : commits_(files.historyCommits), days_(files.historyDays) {}
    bool On() const { return commits_ > 0 && days_ > 0; }

    // A transaction begins: its changes are numbered from the next row on.
    void Begin();
    // Before a durable class of `id` is written in commit `version`: what it holds now.
    // `stored`: whether the class holds a document (the writer read it already).
    void Writing(Database& db, const KivConfigStore::ConfigStoreObjectId& id, int dataClass,
                 long long version, bool stored);
    // Before every durable class of `id` is removed: what they hold now, dated by Seal.
    void Removing(Database& db, const KivConfigStore::ConfigStoreObjectId& id);
    // Before a transaction commits `version` (0: nothing durable changed): dates its removals,
    // notes who committed it, and forgets what retention no longer keeps, a few rows at a time.
    void Seal(Database& db, long long version, bool external);

    // Where a write of the transaction begins, for Undone.
    struct Mark {
        std::size_t waiting, written;
        long long first;
    };
    Mark Marked() const { return {waiting_.size(), written_, first_}; }
    // A write that began at `mark` failed: its rows are gone, and, where `rolledBack` (its
    // savepoint undone), so are those it wrote of earlier writes, which wait again.
    void Undone(const Mark& mark, bool rolledBack);

private:
    // Writes the waiting rows.
    void WriteWaiting(Database& db);
    void Started(long long row) {
        if (first_ == 0) first_ = row;
    }

    struct Waiting {
        std::size_t identity;  // where the identity starts in identities_
        int dataClass;
    };

    long long commits_;
    long long days_;
    long long first_ = 0;     // the transaction's first row, 0 before it has one
    bool removed_ = false;    // the transaction recorded a removal, still undated
    long long recorded_ = 0;  // rows recorded since retention last ran (committed or not)
    // The transaction's rows of new classes, of version version_: waiting_[written_] on wait.
    // Written ones stay until the commit, since undoing a write may undo their writing.
    std::string identities_;  // their identities (Identities.h)
    std::vector<Waiting> waiting_;
    std::size_t written_ = 0;
    long long version_ = 0;
    std::vector<SqlValue> arguments_;  // of the statement that writes many rows, kept for reuse
};

// One identity's durable class, as the history names it.
struct HistorySlot {
    KivConfigStore::ConfigStoreObjectId id{std::string(), std::string(), std::string(),
                                           std::string()};
    int dataClass = 0;
};

// A slot as one string, for maps.
std::string KeyOf(const HistorySlot& slot);

// A slot and a document it held at some time; none where it held nothing.
struct SlotDocument {
    HistorySlot slot;
    std::optional<std::string> document;
};

// What one commit changed: each slot once, with the document it held before the commit.
struct HistoryCommit {
    long long version = 0;
    long long time = 0;  // milliseconds since the epoch
    long long uid = -1, pid = -1;
    std::string program, context;  // context: "external" or "internal"
    std::vector<SlotDocument> changes;
};

// The slots that commits after some version changed, in the order first changed, each with the
// document it held at that version.
struct SlotsChanged {
    std::vector<SlotDocument> slots;
    std::unordered_map<std::string, std::size_t> index;  // by KeyOf
    // `slot`'s entry; null when no commit after the version changed it.
    const SlotDocument* Find(const HistorySlot& slot) const {
        const auto found = index.find(KeyOf(slot));
        return found == index.end() ? nullptr : &slots[found->second];
    }
};

// The history's clock: milliseconds since the epoch.
long long NowMilliseconds();

// Reads the history of a store, and the apply work its commits left, without changing anything:
// a store that does not exist has none. Failures raise the engine's exceptions.
class HistoryReader {
public:
    explicit HistoryReader(const std::string& nameSpace);

    // Whether this process's commits record history (its settings do not turn it off).
    bool Recording() const { return files_.historyCommits > 0 && files_.historyDays > 0; }
    // The store's latest version (0 before its first commit).
    long long Version();
    // The history holds every commit after this version; before it, retention forgot them (or
    // they were made with history off).
    long long KeptAfter();
    // The commits the history holds, newest first; `version` (not 0): that one only. Their
    // changes carry no documents unless `documents`.
    std::vector<HistoryCommit> Commits(long long version = 0, bool documents = false);
    // Each slot that commits after `version` changed, with what it held after `version`.
    SlotsChanged ChangedAfter(long long version);
    // The version of the oldest commit the history holds that made `slot` (it held nothing
    // before); 0 when there is none.
    long long MadeIn(const HistorySlot& slot);
    // What `slot` holds now; none where it holds nothing.
    std::optional<std::string> Present(const HistorySlot& slot);
    // Components whose apply modules commits left due: component -> the latest version due.
    std::map<std::string, long long> DueWork();

private:
    std::optional<std::string> Expanded(const Cursor& rows, int column);

    StoreFiles files_;
    Database db_;
    Documents documents_;
    bool kept_ = false;  // the file holds the history's tables (a file of an older format not)
};

}  // namespace standin
