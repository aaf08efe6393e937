#include "Store.h"

#include <algorithm>
#include <unordered_map>

#include "ObjectState.h"

namespace standin {

using KivConfigStore::EngineState;
using KivConfigStore::INTERNAL;
using KivConfigStore::InvalidArgumentException;

namespace {

// Identifies the engine's files ("KCS1") and the layout of their tables.
constexpr int kApplicationId = 0x4b435331;
constexpr int kFormat = 1;

// Both databases hold objects in one layout; the runtime one only cached data, and the boot
// status, which must not outlive a reboot either.
std::string ObjectsTable(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".objects(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, class INTEGER NOT NULL, document TEXT NOT NULL,"
           " version INTEGER NOT NULL, PRIMARY KEY(key, grp, component, instance, class))"
           " WITHOUT ROWID;";
}
const char* const kMainTables =
    "CREATE TABLE main.counter(id INTEGER PRIMARY KEY CHECK(id = 0), changes INTEGER NOT NULL);"
    "INSERT INTO main.counter VALUES(0, 0);";
const char* const kRuntimeTables =
    "CREATE TABLE runtime.boot(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
    " instance TEXT NOT NULL, PRIMARY KEY(key, grp, component, instance)) WITHOUT ROWID;";

#define IDENTITY "key = ?1 AND grp = ?2 AND component = ?3 AND instance = ?4"
const Sql kSelectIdentity{
    "SELECT class, document, version FROM main.objects WHERE " IDENTITY
    " UNION ALL SELECT class, document, version FROM runtime.objects WHERE " IDENTITY,
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kStoreMain{"INSERT OR REPLACE INTO main.objects VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
                     KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kStoreRuntime{"INSERT OR REPLACE INTO runtime.objects VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
                        KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kDeleteMain{"DELETE FROM main.objects WHERE " IDENTITY,
                      KivConfigStore::ERR_DB_DELETE_FAILED};
const Sql kDeleteRuntime{"DELETE FROM runtime.objects WHERE " IDENTITY,
                         KivConfigStore::ERR_DB_DELETE_FAILED};
// Two plain one-row statements: with RETURNING, SQLite would give every write a statement
// journal, a 64 KiB buffer allocated and freed again each time.
const Sql kCountChange{"UPDATE main.counter SET changes = changes + 1 WHERE id = 0",
                       KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kReadChanges{"SELECT changes FROM main.counter WHERE id = 0",
                       KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kIsBooting{"SELECT 1 FROM runtime.boot WHERE " IDENTITY,
                     KivConfigStore::ERR_DB_READ_FAILED};
const Sql kSetBooting{"INSERT OR IGNORE INTO runtime.boot VALUES(?1, ?2, ?3, ?4)",
                      KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kClearBooting{"DELETE FROM runtime.boot WHERE " IDENTITY,
                        KivConfigStore::ERR_DB_DELETE_FAILED};
#undef IDENTITY

const Sql kBegin{"BEGIN IMMEDIATE", KivConfigStore::ERR_TRANSACTION_START_FAILED};
const Sql kCommit{"COMMIT", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED};
const Sql kRollback{"ROLLBACK", KivConfigStore::ERR_TRANSACTION_ROLLBACK_FAILED};
const Sql kSavepoint{"SAVEPOINT write", KivConfigStore::ERR_TRANSACTION_START_FAILED};
const Sql kRelease{"RELEASE write", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED};

// Checks one database of the store (main or runtime) and creates its tables when it is new.
// A file that is not a store database, or is damaged, is refused untouched.
void PrepareDatabase(Database& db, const std::string& schema, const std::string& path,
                     const char* otherTables, bool durable) {
    const std::string check = db.Pragma(schema + ".quick_check");
    if (check != "ok") {
        Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED, path + ": " + check);
    }
    const long long pages = db.PragmaNumber(schema + ".page_count");
    const long long application = db.PragmaNumber(schema + ".application_id");
    if (pages > 0 && application != kApplicationId) {
        Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
             path + ": not a configuration store database");
    }
    if (db.Pragma(schema + ".journal_mode = WAL") != "wal") {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "cannot use a write-ahead log", path);
    }
    db.Execute("PRAGMA " + schema + (durable ? ".synchronous = FULL" : ".synchronous = OFF"),
               KivConfigStore::ERR_DB_OPEN_FAILED);
    // A store made before opens without a write lock, so that it never waits for another
    // process's transaction.
    if (db.PragmaNumber(schema + ".user_version") == kFormat) return;
    db.Execute("BEGIN IMMEDIATE", KivConfigStore::ERR_TRANSACTION_START_FAILED);
    try {
        // Another process may have created the tables since the check above.
        const long long format = db.PragmaNumber(schema + ".user_version");
        if (format == 0) {
            db.Execute(ObjectsTable(schema) + otherTables,
                       KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
            db.Execute("PRAGMA " + schema + ".application_id = " + std::to_string(kApplicationId) +
                           "; PRAGMA " + schema + ".user_version = " + std::to_string(kFormat),
                       KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        } else if (format != kFormat) {
            Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
                 path + ": store format " + std::to_string(format) + " is not " +
                     std::to_string(kFormat));
        }
        db.Execute("COMMIT", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED);
    } catch (...) {
        db.ExecuteQuietly("ROLLBACK");
        throw;
    }
}

// Sets up the store's main database and attaches its runtime database.
void OpenFiles(Database& db, const StoreFiles& files) {
    db.SetBusyTimeout(5000);
    PrepareDatabase(db, "main", files.database, kMainTables, true);
    db.Attach(files.runtimeDatabase, "runtime");
    PrepareDatabase(db, "runtime", files.runtimeDatabase, kRuntimeTables, false);
}

}  // namespace

void CheckIdentity(const ConfigStoreObjectId& id) {
    const std::pair<const char*, const std::string*> fields[] = {{"key", &id.key},
                                                                 {"group", &id.group},
                                                                 {"component", &id.component},
                                                                 {"instance id", &id.instanceId}};
    for (const auto& field : fields) {
        const std::string& text = *field.second;
        if (text.empty() && field.second != &id.instanceId) {
            Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                           std::string("empty ") + field.first);
        }
        if (!IsValidUtf8(text.data(), text.size()) || text.find('\0') != std::string::npos) {
            Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                           std::string(field.first) + " is not valid text");
        }
    }
}

void NotSupportedYet(const char* operation) {
    Fail(KivConfigStore::ERR_INTERNAL_ERROR, std::string(operation) + " is not supported yet");
}

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
        if (!store_.inTransaction_ || statements < 2) return;
        store_.db_.Do(kSavepoint);
        savepoint_ = true;
    }
    void Commit() {
        if (!store_.inTransaction_ || savepoint_) {
            store_.db_.Do(store_.inTransaction_ ? kRelease : kCommit);
        }
        done_ = true;
    }

private:
    Store& store_;
    bool savepoint_ = false;
    bool done_ = false;
};

std::shared_ptr<Store> Store::Shared(const std::string& nameSpace) {
    static std::mutex registryMutex;
    // Never destroyed, so that stores released during the process's exit still find it.
    static auto* registry = new std::unordered_map<std::string, std::weak_ptr<Store>>();
    const std::lock_guard<std::mutex> lock(registryMutex);
    auto& entry = (*registry)[nameSpace];
    std::shared_ptr<Store> store = entry.lock();
    if (!store) {
        const StoreFiles files = FilesOf(nameSpace);
        const bool newMain = !FileExists(files.database);
        const bool newRuntime = !FileExists(files.runtimeDatabase);
        try {
            store = std::make_shared<Store>(files);
        } catch (...) {
            // Never leave a half-made file behind; files that were there stay untouched.
            if (newRuntime) RemoveDatabaseFiles(files.runtimeDatabase);
            if (newMain) RemoveDatabaseFiles(files.database);
            throw;
        }
        entry = store;
    }
    return store;
}

Store::Store(const StoreFiles& files) : files_(files), db_(files.database, true) {
    OpenFiles(db_, files_);
}

Store::~Store() {
    if (!inTransaction_) return;
    db_.ExecuteQuietly("ROLLBACK");
    CSLogger::Log(CS_LOG_WARNING, "%s: store released with a transaction open, rolled back",
                  files_.database.c_str());
}

StoredClasses Store::LoadStored(const ConfigStoreObjectId& id, long long* version) {
    StoredClasses stored;
    auto rows = db_.Run(kSelectIdentity, id.key, id.group, id.component, id.instanceId);
    while (rows.Next()) {
        const long long dataClass = rows.Integer(0);
        if (dataClass < 0 || dataClass > kValueClasses) continue;
        const std::string_view text = rows.Text(1);
        Json document;
        const std::string problem = ParseJson(text.data(), text.size(), document);
        if (!problem.empty() || !document.IsObject()) {
            Fail(KivConfigStore::ERR_JSON_INVALID,
                 "stored " + std::string(NameOf(static_cast<DataClass>(dataClass))) + " of " +
                     id.component + "/" + id.group + "/" + id.key + " is damaged");
        }
        stored[static_cast<std::size_t>(dataClass)].emplace(std::move(document));
        if (dataClass < static_cast<long long>(DataClass::CachedData)) {
            *version = std::max(*version, rows.Integer(2));
        }
    }
    return stored;
}

long long Store::NextVersion() {
    if (VersionKnown()) return transactionVersion_;
    db_.Do(kCountChange);
    auto row = db_.Run(kReadChanges);
    if (!row.Next()) db_.Raise(kCountChange.failure);
    return row.Integer(0);
}

std::shared_ptr<ConfigStoreObject> Store::Get(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    ObjectValues& values = EngineState::Of(*object);
    bool found = false;
    const std::lock_guard<std::mutex> lock(mutex_);
    StoredClasses stored = LoadStored(id, &values.version);
    for (int dataClass = 0; dataClass < kValueClasses; ++dataClass) {
        if (!stored[dataClass]) continue;
        AddLoaded(values, static_cast<DataClass>(dataClass), *stored[dataClass]);
        found = true;
    }
    return found ? object : nullptr;
}

std::shared_ptr<ConfigStoreObject> Store::GetDesired(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    ObjectValues& values = EngineState::Of(*object);
    const std::lock_guard<std::mutex> lock(mutex_);
    StoredClasses stored = LoadStored(id, &values.version);
    auto& desired = stored[static_cast<int>(DataClass::Desired)];
    if (!desired) return nullptr;
    // Written back with Set, the desired configuration becomes the configuration.
    AddLoaded(values, DataClass::Configuration, *desired);
    return object;
}

void Store::Write(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context) {
    if (object == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no object");
    }
    const ConfigStoreObjectId& id = object->objectId;
    CheckIdentity(id);
    ObjectValues& values = EngineState::Of(*object);
    const bool external = context != nullptr && *context != INTERNAL;
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    if (external && db_.Run(kIsBooting, id.key, id.group, id.component, id.instanceId).Next()) {
        Fail(KivConfigStore::ERR_EXTERNAL_CONTEXT_DURING_BOOT);
    }
    long long ignored = 0;
    StoredClasses stored = LoadStored(id, &ignored);
    const bool recordDesired =
        external && (kind.target == DataClass::Configuration || kind.target == DataClass::UserData);
    const WrittenClasses written = ApplyWrite(values, kind, recordDesired, stored);
    bool durable = false;
    int statements = 0;
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        if (written[dataClass] == nullptr) continue;
        durable |= dataClass != static_cast<int>(DataClass::CachedData);
        ++statements;
    }
    if (durable && !VersionKnown()) ++statements;
    scope.WillChange(statements);
    const long long version = durable ? NextVersion() : 0;
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        if (written[dataClass] == nullptr) continue;
        const bool cached = dataClass == static_cast<int>(DataClass::CachedData);
        db_.Do(cached ? kStoreRuntime : kStoreMain, id.key, id.group, id.component, id.instanceId,
               dataClass, ToText(*written[dataClass]), cached ? 0 : version);
    }
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
    MarkWritten(values, kind.target, version);
}

void Store::Set(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) {
    Write(object.get(), {DataClass::Configuration, false}, &context);
}
void Store::SetUserData(std::shared_ptr<ConfigStoreObject> object,
                        const USERDATA_CONTEXT& context) {
    Write(object.get(), {DataClass::UserData, false}, &context);
}
void Store::SetVitalData(std::shared_ptr<ConfigStoreObject> object) {
    Write(object.get(), {DataClass::VitalData, false}, nullptr);
}
void Store::SetCachedData(std::shared_ptr<ConfigStoreObject> object) {
    Write(object.get(), {DataClass::CachedData, false}, nullptr);
}
void Store::Update(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) {
    Write(object.get(), {DataClass::Configuration, true}, &context);
}

void Store::Delete(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    scope.WillChange(2);  // two deletes, then perhaps the change counter
    db_.Do(kDeleteMain, id.key, id.group, id.component, id.instanceId);
    const bool durable = db_.Changes() > 0;
    db_.Do(kDeleteRuntime, id.key, id.group, id.component, id.instanceId);
    const long long version = durable ? NextVersion() : 0;
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
}

void Store::SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    CheckIdentity(id);
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    scope.WillChange(1);
    db_.Do(status ? kSetBooting : kClearBooting, id.key, id.group, id.component, id.instanceId);
    scope.Commit();
}

void Store::BeginTransaction() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (inTransaction_)
        Fail(KivConfigStore::ERR_TRANSACTION_START_FAILED, "a transaction is already open");
    db_.Do(kBegin);
    inTransaction_ = true;
    transactionVersion_ = 0;
}

void Store::CommitTransaction() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!inTransaction_)
        Fail(KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED, "no transaction is open");
    try {
        db_.Do(kCommit);
    } catch (...) {
        // SQLite keeps the transaction open after some failures (the caller may retry or
        // cancel) and rolls it back after others.
        inTransaction_ = db_.InTransaction();
        throw;
    }
    inTransaction_ = false;
}

void Store::CancelTransaction() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!inTransaction_)
        Fail(KivConfigStore::ERR_TRANSACTION_CANCEL_FAILED, "no transaction is open");
    inTransaction_ = false;
    if (db_.InTransaction()) db_.Do(kRollback);
}

// Lists, defaults and filters are the next part of the engine.
std::shared_ptr<ConfigStoreObject> Store::GetDefaultConfig(const ConfigStoreObjectId&) {
    NotSupportedYet("GetDefaultConfig");
}
ObjectList Store::GetDefaultConfigInstances(const std::shared_ptr<FilterSpecObject>&) {
    NotSupportedYet("GetDefaultConfigInstances");
}
void Store::DeleteInstances(const std::shared_ptr<FilterSpecObject>&) {
    NotSupportedYet("DeleteInstances");
}
ObjectList Store::GetInstances(const std::shared_ptr<FilterSpecObject>&) {
    NotSupportedYet("GetInstances");
}
void Store::SetInstances(ObjectList, const USERDATA_CONTEXT&) {
    NotSupportedYet("SetInstances");
}
void Store::SetUserDataInstances(ObjectList, const USERDATA_CONTEXT&) {
    NotSupportedYet("SetUserDataInstances");
}
void Store::SetCachedDataInstances(ObjectList) {
    NotSupportedYet("SetCachedDataInstances");
}
void Store::SetVitalDataInstances(ObjectList) {
    NotSupportedYet("SetVitalDataInstances");
}

}  // namespace standin
