#include "History.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <unordered_map>

#include "Identities.h"
#include "Layout.h"
#include "Statements.h"

namespace standin {

namespace {

// Retention looks at the oldest rows only, twice as many as this process recorded since it last
// pruned and a few more: what it removes keeps up with what commits add, a backlog (a lowered
// setting, another process's commits) is worked off a little at a time, and no commit pays more
// than a constant share of its own rows.
constexpr long long kRowsPruned = 64;
// Pruning every so many commits dirties the oldest pages once for all of them.
constexpr long long kPruneEvery = 16;
constexpr long long kDayMilliseconds = 24LL * 60 * 60 * 1000;

HistorySlot SlotOf(const Cursor& rows, int first) {
    HistorySlot slot;
    for (std::string* field :
         {&slot.id.key, &slot.id.group, &slot.id.component, &slot.id.instanceId}) {
        *field = std::string(rows.Text(first++));
    }
    slot.dataClass = static_cast<int>(rows.Integer(first));
    return slot;
}

}  // namespace

long long NowMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string KeyOf(const HistorySlot& slot) {
    std::string key;
    AppendIdentity(key, slot.id);
    return key + std::to_string(slot.dataClass);
}

void History::Begin() {
    first_ = 0;
    removed_ = false;
    identities_.clear();
    waiting_.clear();
    written_ = 0;
}

void History::Writing(Database& db, const KivConfigStore::ConfigStoreObjectId& id, int dataClass,
                      long long version, bool stored) {
    if (!On()) return;
    ++recorded_;
    if (!stored) {
        waiting_.push_back({identities_.size(), dataClass});
        AppendIdentity(identities_, id);
        version_ = version;
        return;
    }
    WriteWaiting(db);
    db.Do(kRecordWrite, version, id.key, id.group, id.component, id.instanceId, dataClass);
    Started(db.LastRowId());
}

void History::Removing(Database& db, const KivConfigStore::ConfigStoreObjectId& id) {
    if (!On()) return;
    WriteWaiting(db);
    db.Do(kRecordRemoval, id.key, id.group, id.component, id.instanceId);
    const long long rows = db.Changes();
    if (rows == 0) return;
    removed_ = true;
    recorded_ += rows;
    Started(db.LastRowId() - rows + 1);
}

void History::WriteWaiting(Database& db) {
    while (written_ < waiting_.size()) {
        const std::size_t rows = waiting_.size() - written_ >= kRowsAtOnce ? kRowsAtOnce : 1;
        arguments_.clear();
        for (std::size_t row = written_; row < written_ + rows; ++row) {
            arguments_.emplace_back(version_);
            for (std::string_view field : IdentityFields(identities_, waiting_[row].identity)) {
                arguments_.emplace_back(field);
            }
            arguments_.emplace_back(static_cast<long long>(waiting_[row].dataClass));
        }
        db.RunList(rows == kRowsAtOnce ? kRecordNewRows : kRecordNew, arguments_).Next();
        Started(db.LastRowId() - static_cast<long long>(rows) + 1);
        written_ += rows;
    }
}

void History::Undone(const Mark& mark, bool rolledBack) {
    if (rolledBack) {
        written_ = std::min(written_, mark.written);
        first_ = mark.first;
    }
    // What the write itself left waiting goes; what it wrote (without a savepoint) stays, as a
    // row of a class that the commit leaves as it was.
    const std::size_t kept = std::max(mark.waiting, written_);
    if (kept < waiting_.size()) {
        identities_.resize(waiting_[kept].identity);
        waiting_.resize(kept);
    }
}

void History::Seal(Database& db, long long version, bool external) {
    // With history off, counting the commit marked the history before it forgotten.
    if (version == 0 || !On()) return;
    WriteWaiting(db);
    if (first_ == 0) return;
    const long long now = NowMilliseconds();
    if (removed_) db.Do(kDateRemovals, version, first_);
    db.Do(kNoteCommit, first_, now, static_cast<long long>(getuid()),
          static_cast<long long>(getpid()), std::string_view(program_invocation_short_name),
          std::string_view(external ? "external" : "internal"));
    if (version % kPruneEvery == 0) {
        const long long window = 2 * recorded_ + kRowsPruned;
        recorded_ = 0;
        auto forgettable =
            db.Run(kForgettable, version - commits_, now - days_ * kDayMilliseconds, window);
        if (forgettable.Next() && !forgettable.IsNull(0)) {
            const long long upTo = forgettable.Integer(0);
            db.Do(kForget, upTo, window);
            db.Do(kNoteForgotten, upTo);
        }
    }
    Begin();
}

HistoryReader::HistoryReader(const std::string& nameSpace)
    : files_([&] {
          StoreFiles files = FilesOf(nameSpace);
          files.readOnly = true;
          files.fullCheck = false;
          return files;
      }()),
      db_(ConnectionPathOf(files_), files_.database) {
    OpenFiles(db_, files_);
    kept_ = !db_.Pragma("main.table_list(history)").empty();
}

long long HistoryReader::Version() {
    if (!kept_) {
        auto row = db_.Run(kReadChanges);
        return row.Next() ? row.Integer(0) : 0;
    }
    auto row = db_.Run(kNextKeptVersion);
    return row.Next() ? row.Integer(0) - 1 : 0;
}

long long HistoryReader::KeptAfter() {
    if (!kept_) return Version();
    auto row = db_.Run(kVersions);
    return row.Next() ? row.Integer(1) : 0;
}

std::optional<std::string> HistoryReader::Expanded(const Cursor& rows, int column) {
    if (rows.IsNull(column)) return std::nullopt;
    const StoredDocument stored = rows.Document(column);
    if (!stored.compressed) return std::string(stored.bytes);
    const std::string_view text = documents_.Expand(db_, stored);
    if (text.empty()) {
        Fail(KivConfigStore::ERR_JSON_INVALID,
             "a document in the history of " + files_.database + " is damaged");
    }
    return std::string(text);
}

std::vector<HistoryCommit> HistoryReader::Commits(long long version, bool documents) {
    std::vector<HistoryCommit> commits;
    if (!kept_) return commits;
    // Newest first, so each commit's own rows come last to first: a slot written twice in one
    // commit keeps its first row's document, the one before the commit.
    std::unordered_map<std::string, std::size_t> seen;  // slot -> its change in the newest commit
    auto rows = db_.Run(kHistoryRows, version, documents ? 1LL : 0LL);
    while (rows.Next()) {
        if (commits.empty() || commits.back().version != rows.Integer(0)) {
            commits.emplace_back();
            commits.back().version = rows.Integer(0);
            seen.clear();
        }
        HistoryCommit& commit = commits.back();
        if (!rows.IsNull(6)) {
            commit.time = rows.Integer(6);
            commit.uid = rows.IsNull(7) ? -1 : rows.Integer(7);
            commit.pid = rows.IsNull(8) ? -1 : rows.Integer(8);
            commit.program = std::string(rows.Text(9));
            commit.context = std::string(rows.Text(10));
        }
        SlotDocument change{SlotOf(rows, 1), Expanded(rows, 11)};
        const auto [known, added] = seen.emplace(KeyOf(change.slot), commit.changes.size());
        if (added) {
            commit.changes.push_back(std::move(change));
        } else {
            commit.changes[known->second] = std::move(change);
        }
    }
    // Each commit's slots in the order it changed them.
    for (HistoryCommit& commit : commits) {
        std::reverse(commit.changes.begin(), commit.changes.end());
    }
    return commits;
}

std::optional<std::string> HistoryReader::Present(const HistorySlot& slot) {
    auto rows = db_.Run(kStoredClass, slot.id.key, slot.id.group, slot.id.component,
                        slot.id.instanceId, slot.dataClass);
    return rows.Next() ? Expanded(rows, 0) : std::nullopt;
}

SlotsChanged HistoryReader::ChangedAfter(long long version) {
    SlotsChanged changed;
    if (!kept_) return changed;
    auto rows = db_.Run(kHistoryAfter, version);
    while (rows.Next()) {
        HistorySlot slot = SlotOf(rows, 0);
        // The first row after the version holds what the slot held at it.
        if (!changed.index.emplace(KeyOf(slot), changed.slots.size()).second) continue;
        changed.slots.push_back({std::move(slot), Expanded(rows, 5)});
    }
    return changed;
}

long long HistoryReader::MadeIn(const HistorySlot& slot) {
    if (!kept_) return 0;
    auto rows = db_.Run(kMadeIn, slot.id.key, slot.id.group, slot.id.component, slot.id.instanceId,
                        slot.dataClass);
    return rows.Next() ? rows.Integer(0) : 0;
}

std::map<std::string, long long> HistoryReader::DueWork() {
    std::map<std::string, long long> due;
    if (!kept_) return due;
    auto rows = db_.Run(kDueWork);
    while (rows.Next()) due.emplace(std::string(rows.Text(0)), rows.Integer(1));
    return due;
}

}  // namespace standin
