// What the store's source files share: its statements, the scope of one write and the reading
// of stored documents.
#pragma once

#include <string>
#include <string_view>

#include "Store.h"

namespace standin {

extern const Sql kSelectIdentity, kStoreMain, kStoreRuntime, kDeleteMain, kDeleteRuntime;
extern const Sql kBegin, kCommit, kRollback, kSavepoint, kRelease;

// Creates the store's database at `path`, whole, unless it exists.
void CreateDatabase(const std::string& path);
// Sets up the store's database and attaches its runtime database, created where missing; a file
// that is not a store database, or is damaged, is refused untouched. When the runtime database
// cannot be used, an empty stand-in takes its place, refusing changes and boot status reads with
// the failure.
void OpenFiles(Database& db, const StoreFiles& files);

// How long a write waits for another's transaction, in this process or another, before it fails.
constexpr int kBusyMilliseconds = 5000;

// A stored document, which the engine wrote itself: one that does not parse is damage.
Json ParseStored(std::string_view text, const ConfigStoreObjectId& id, int dataClass);

// The store's lock for one operation, and the connection that operation uses. A transaction
// belongs to the thread that began it: another thread's reads see only what was committed
// (through a second connection), and its writes wait for the transaction to end as another
// process's would, failing with 1011 after the busy timeout.
class Store::Access {
public:
    enum Purpose { kRead, kWrite };
    Access(Store& store, Purpose purpose);
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;
    // The connection of this operation.
    Database& db() { return *db_; }

private:
    std::unique_lock<std::mutex> lock_;
    Database* db_;
};

// One write's share of the store: its own transaction, or inside the caller's a savepoint, so
// that a write that fails leaves nothing behind either way. A write that changes the database
// with one statement needs no savepoint: SQLite undoes a failed statement by itself (or, after
// an I/O or memory failure, the whole transaction, savepoint or not).
class Store::WriteScope {
public:
    explicit WriteScope(Store& store) : store_(store) {
        if (!store_.inTransaction_) store_.db_.Do(kBegin);
    }
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;
    ~WriteScope() {
        if (done_) return;
        if (!store_.inTransaction_) {
            store_.db_.ExecuteQuietly("ROLLBACK");
        } else if (savepoint_) {
            store_.db_.ExecuteQuietly("ROLLBACK TO write; RELEASE write");
        }
    }
    // Before the first change: the number of statements that will change the database.
    void WillChange(int statements) {
        if (!store_.inTransaction_ || statements < 2 || savepoint_) return;
        store_.db_.Do(kSavepoint);
        savepoint_ = true;
    }
    // The write changed `id`'s class `className`; it counts once the scope commits.
    void Changed(const ConfigStoreObjectId& id, const char* className) {
        changes_.Add(id, className);
    }
    // `version` is the one the write's durable changes carry, 0 for none: a transaction's later
    // writes carry it too.
    void Commit(long long version = 0) {
        if (!store_.inTransaction_ || savepoint_) {
            store_.db_.Do(store_.inTransaction_ ? kRelease : kCommit);
        }
        done_ = true;
        if (store_.inTransaction_ && version != 0) store_.transactionVersion_ = version;
        store_.committed_.Append(std::move(changes_));
    }

private:
    Store& store_;
    Changes changes_;
    bool savepoint_ = false;
    bool done_ = false;
};

}  // namespace standin
