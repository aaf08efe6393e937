// A namespace's store: one SQLite connection to its database, with the runtime database of its
// cached data attached, shared by every user of the namespace in the process.
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include <array>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Classes.h"
#include "Commits.h"
#include "Documents.h"
#include "Files.h"
#include "History.h"
#include "ObjectState.h"
#include "Schemas.h"
#include "Sql.h"

namespace standin {

using KivConfigStore::ConfigStoreObject;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::FilterSpecObject;
using KivConfigStore::ObjectList;
using KivConfigStore::USERDATA_CONTEXT;

class Store final : public KivConfigStore::ConfigStore {
public:
    // The process's store of `nameSpace`, opened on first use; `observer` is told of its commits.
    static std::shared_ptr<Store> Shared(const std::string& nameSpace,
                                         const CommitObserver& observer);

    Store(const StoreFiles& files, CommitObserver observer);
    ~Store() override;

    std::shared_ptr<ConfigStoreObject> Get(const ConfigStoreObjectId& id) override;
    std::shared_ptr<ConfigStoreObject> GetDefaultConfig(const ConfigStoreObjectId& id) override;
    ObjectList GetDefaultConfigInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    void Set(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) override;
    void SetUserData(std::shared_ptr<ConfigStoreObject> object,
                     const USERDATA_CONTEXT& context) override;
    void SetVitalData(std::shared_ptr<ConfigStoreObject> object) override;
    void SetCachedData(std::shared_ptr<ConfigStoreObject> object) override;
    void Update(std::shared_ptr<ConfigStoreObject> object,
                const USERDATA_CONTEXT& context) override;
    void Delete(const ConfigStoreObjectId& id) override;
    void DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    ObjectList GetInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    void SetInstances(ObjectList objects, const USERDATA_CONTEXT& context) override;
    void SetUserDataInstances(ObjectList objects, const USERDATA_CONTEXT& context) override;
    void SetCachedDataInstances(ObjectList objects) override;
    void SetVitalDataInstances(ObjectList objects) override;
    void BeginTransaction() override;
    void CommitTransaction() override;
    void CancelTransaction() override;

    // The desired user configuration recorded for `id`, or empty.
    std::shared_ptr<ConfigStoreObject> GetDesired(const ConfigStoreObjectId& id);
    // The desired user configuration of every instance of `id` (its instance id unused).
    ObjectList GetDesiredInstances(const ConfigStoreObjectId& id);
    // While set, and while the process that set it lives, EXTERNAL writes to `id` are refused.
    void SetBootStatus(const ConfigStoreObjectId& id, bool status);

    // One stored identity: the text of each class it holds (the desired configuration too).
    struct StoredIdentity {
        ConfigStoreObjectId id{std::string(), std::string(), std::string(), std::string()};
        std::array<std::optional<std::string>, kValueClasses + 1> texts;
    };
    // Calls `visit` for each stored identity that `filter` selects, in key, group, component and
    // instance order, with the object its classes make (null when it holds only a desired
    // configuration, or when the visitor does not ask for objects and the filter holds no values
    // to compare). `visit` may take the identity's texts; it must not call the store.
    using Visit = std::function<void(StoredIdentity&, std::shared_ptr<ConfigStoreObject>)>;
    void ForEachSelected(const FilterSpecObject& filter, bool withObjects, const Visit& visit);

    // One object of an import: its class's document, replacing what the class holds.
    struct Replacement {
        std::shared_ptr<ConfigStoreObject> object;
        DataClass dataClass;
        std::string name;  // how errors name it
    };
    // Writes one replacement into the transaction of ReplaceAll; a refused one adds its error.
    using Replace = std::function<void(const Replacement&)>;
    // Calls `produce`, which hands each replacement to the Replace it is given, and writes them
    // all in one transaction (INTERNAL context), or none of them: true when all were stored and
    // `produce` returned true, else false with one error per refused replacement. Replacements
    // are written as they come, so that none needs to be held longer.
    bool ReplaceAll(const std::function<bool(const Replace&)>& produce,
                    std::vector<KivConfigStore::ErrorInfo>& errors);

private:
    // The store's lock for one operation, and the connection that operation uses. A
    // transaction belongs to the thread that began it: another thread's reads see only what was
    // committed (through a second connection), and its writes wait for the transaction to end
    // as another process's would, failing with 1011 after the busy timeout.
    class Access {
    public:
        enum Purpose { kRead, kWrite };
        Access(Store& store, Purpose purpose);
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;
        Database& db() { return *db_; }  // the connection of this operation

    private:
        std::unique_lock<std::mutex> lock_;
        Database* db_;
    };

    // One write's share of the store: its own transaction, or inside the caller's a savepoint,
    // so that a write that fails leaves nothing behind either way. A write that changes the
    // database with one statement needs no savepoint: SQLite undoes a failed statement by
    // itself (or, after an I/O or memory failure, the whole transaction, savepoint or not).
    class WriteScope {
    public:
        explicit WriteScope(Store& store);
        WriteScope(const WriteScope&) = delete;
        WriteScope& operator=(const WriteScope&) = delete;
        ~WriteScope();
        // Before the first change: the number of statements that will change the database.
        void WillChange(int statements);
        // The write changed `id`'s class `className`; it counts once the scope commits.
        void Changed(const ConfigStoreObjectId& id, const char* className) {
            changes_.Add(id, className);
        }
        // `version` is the one the write's durable changes carry, 0 for none: a transaction's
        // later writes carry it too.
        void Commit(long long version = 0);
        // Between two objects of the scope: a training due may run unless a savepoint is open.
        void TrainIfDue() {
            if (!savepoint_) store_.documents_.TrainIfDue(store_.db_, false);
        }

    private:
        Store& store_;
        Changes changes_;
        History::Mark history_;  // where the write began in the history's rows
        bool external_;          // whether the commit had a write from outside before this one
        bool savepoint_ = false;
        bool done_ = false;
    };

    void Write(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context);
    // Write's share under the lock: what it committed, for Notify.
    Changes WriteOne(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context);
    void WriteList(const ObjectList& objects, WriteKind kind, const USERDATA_CONTEXT* context);
    // One object's share of a write inside `scope`; `version` is counted at the first durable
    // write and then shared.
    void StoreObject(ConfigStoreObject& object, WriteKind kind, bool external, WriteScope& scope,
                     long long& version);
    void StoreDesired(ConfigStoreObject& object, WriteScope& scope, long long& version);
    // The identity's stored documents; `version` rises to the latest of its durable classes.
    StoredClasses LoadStored(Database& db, const ConfigStoreObjectId& id, long long* version);
    // An object made of an identity's stored class texts; null when no value class is stored.
    std::shared_ptr<ConfigStoreObject> Assemble(const StoredIdentity& identity, long long version,
                                                const std::shared_ptr<const Schema>& schema);
    void ForEachSelectedIn(Database& db, const FilterSpecObject& filter, bool withObjects,
                           const Visit& visit);
    long long NextVersion();
    // Before a commit of `version` (0: nothing durable), whose changes are those committed_ holds
    // and `last`: the commit's history sealed, and the apply work it leaves recorded in it.
    void Seal(long long version, const Changes& last);
    // What a transaction's first statement resets, ours or the caller's.
    void TransactionBegins();
    bool IsBooting(const ConfigStoreObjectId& id);
    // Under the lock: what a commit just changed, taken for its modules; nothing while a
    // transaction stays open.
    Changes TakeCommitted();
    // Without the lock: tells the observer what a commit changed. What it runs may take long
    // (apply modules are other processes): holding the lock would stall every other thread of
    // the process on this store meanwhile.
    void Notify(const Changes& changes);
    // The record writer handed to the observer: a cached-data write that notifies nobody.
    void Record(std::shared_ptr<ConfigStoreObject> object);
    // The calling thread began the open transaction.
    bool OwnsTransaction() const {
        return inTransaction_ && transactionOwner_ == std::this_thread::get_id();
    }
    // The open transaction has counted its change already: its writes carry that version.
    bool VersionKnown() const { return inTransaction_ && transactionVersion_ != 0; }

    std::mutex mutex_;
    StoreFiles files_;
    CommitObserver observer_;
    Database db_;
    // Opened when a thread reads while another thread's transaction is open: it sees only what
    // was committed, as another process would.
    std::unique_ptr<Database> reader_;
    Documents documents_;  // of both connections
    History history_;
    bool commitExternal_ = false;  // a durable write of the commit under way came from outside
    bool inTransaction_ = false;
    std::thread::id transactionOwner_;  // the thread that began the open transaction
    std::condition_variable transactionEnded_;
    bool rolledBack_ = false;  // a failed commit ended the transaction; a cancel may follow
    long long transactionVersion_ = 0;  // the version the open transaction's writes carry
    Changes committed_;  // what the open transaction's writes, or the write under way, changed
};

// A stored document, which the engine wrote itself: one that does not parse is damage.
Json ParseStored(std::string_view text, const ConfigStoreObjectId& id, int dataClass);

// Throws InvalidArgumentException unless key, group and component are given and every field
// is valid UTF-8.
void CheckIdentity(const ConfigStoreObjectId& id);

// The schema of `id`, or null; InvalidArgumentException when the identity breaks its
// singleton rule: an instance id on a singleton (1049), none on a multi-instance object (1048).
std::shared_ptr<const Schema> SchemaChecked(const ConfigStoreObjectId& id);
// For the operations on lists of instances: 1047 when `id` names a singleton's schema.
void CheckListOperation(const ConfigStoreObjectId& id);
// Lets an object's reads fall back to the schema's defaults.
void UseDefaults(EngineObject& object, const std::shared_ptr<const Schema>& schema);

}  // namespace standin
