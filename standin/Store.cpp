#include "Store.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "Filters.h"
#include "ObjectState.h"

namespace standin {

using KivConfigStore::EngineState;
using KivConfigStore::INTERNAL;
using KivConfigStore::InvalidArgumentException;

namespace {

// Identifies the engine's files ("KCS1") and the layout of their tables.
constexpr int kApplicationId = 0x4b435331;
constexpr int kFormat = 2;  // 2 added the index of filters that leave the key open

// Filters that name a key use the primary key; those that leave it open, this index.
std::string ComponentIndex(const std::string& schema) {
    return "CREATE INDEX IF NOT EXISTS " + schema +
           ".objects_by_component ON objects(component, grp, key, instance);";
}

// Both databases hold objects in one layout; the runtime one only cached data, and the boot
// status, which must not outlive a reboot either.
std::string ObjectsTable(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".objects(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, class INTEGER NOT NULL, document TEXT NOT NULL,"
           " version INTEGER NOT NULL, PRIMARY KEY(key, grp, component, instance, class))"
           " WITHOUT ROWID;" +
           ComponentIndex(schema);
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
            db.Execute("PRAGMA " + schema + ".application_id = " + std::to_string(kApplicationId),
                       KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        } else if (format == 1) {
            db.Execute(ComponentIndex(schema), KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        } else if (format != kFormat) {
            Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
                 path + ": store format " + std::to_string(format) + " is not " +
                     std::to_string(kFormat));
        }
        db.Execute("PRAGMA " + schema + ".user_version = " + std::to_string(kFormat),
                   KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
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

std::string NameOf(const ConfigStoreObjectId& id) {
    return id.component + "/" + id.group + "/" + id.key +
           (id.instanceId.empty() ? "" : "/" + id.instanceId);
}

std::shared_ptr<const Schema> SchemaChecked(const ConfigStoreObjectId& id) {
    std::shared_ptr<const Schema> schema = SchemaOf(id.component, id.group, id.key);
    if (schema != nullptr && schema->singleton && !id.instanceId.empty()) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INSTANCE_ID_ON_SINGLETON, {},
                                       NameOf(id));
    }
    if (schema != nullptr && !schema->singleton && id.instanceId.empty()) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INSTANCE_ID_MISSING, {}, NameOf(id));
    }
    return schema;
}

void CheckListOperation(const ConfigStoreObjectId& id) {
    if (id.key.empty() || id.group.empty() || id.component.empty()) return;
    const std::shared_ptr<const Schema> schema = SchemaOf(id.component, id.group, id.key);
    if (schema != nullptr && schema->singleton) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_NON_SINGLETON_API_ON_SINGLETON, {},
                                       NameOf(id));
    }
}

void UseDefaults(EngineObject& object, const std::shared_ptr<const Schema>& schema) {
    if (schema == nullptr || schema->defaults.ObjectEmpty()) return;
    object.defaults = std::shared_ptr<const JsonValue>(schema, &schema->defaults);
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
        if (!store_.inTransaction_ || statements < 2 || savepoint_) return;
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

namespace {

// A stored document, which the engine wrote itself: one that does not parse is damage.
Json ParseStored(std::string_view text, const ConfigStoreObjectId& id, int dataClass) {
    Json document;
    const std::string problem = ParseJson(text.data(), text.size(), document);
    if (!problem.empty() || !document.IsObject()) {
        Fail(KivConfigStore::ERR_JSON_INVALID,
             "stored " + std::string(NameOf(static_cast<DataClass>(dataClass))) + " of " +
                 NameOf(id) + " is damaged");
    }
    return document;
}

// The values a write leaves the identity with, over the schema's defaults, checked against the
// schema; without defaults and with one class stored, that class's document as it is.
void ValidateStored(const Schema& schema, const WrittenClasses& written,
                    const StoredClasses& stored) {
    std::array<const JsonValue*, kValueClasses> classes{};
    int count = 0;
    for (int dataClass = 0; dataClass < kValueClasses; ++dataClass) {
        classes[dataClass] = written[dataClass] != nullptr ? written[dataClass]
                             : stored[dataClass]           ? &*stored[dataClass]
                                                           : nullptr;
        count += classes[dataClass] != nullptr ? 1 : 0;
    }
    if (schema.defaults.ObjectEmpty() && count == 1) {
        for (const JsonValue* document : classes) {
            if (document != nullptr) Validate(schema, *document);
        }
        return;
    }
    JsonAllocator allocator;
    Json merged;
    merged.CopyFrom(schema.defaults, allocator);
    for (const JsonValue* document : classes) {
        if (document == nullptr) continue;
        for (const auto& member : document->GetObject()) {
            const auto present = merged.FindMember(member.name);
            if (present != merged.MemberEnd()) {
                present->value.CopyFrom(member.value, allocator);
            } else {
                merged.AddMember(JsonValue(member.name, allocator),
                                 JsonValue(member.value, allocator), allocator);
            }
        }
    }
    Validate(schema, merged);
}

#define SELECTED_COLUMNS "p.key, p.grp, p.component, p.instance, p.class, p.document"
const char* const kStoredTables[] = {"main.objects", "runtime.objects"};

const Sql kSelectDesired{
    "SELECT instance, document, version FROM main.objects"
    " WHERE key = ?1 AND grp = ?2 AND component = ?3 AND class = 4"
    " ORDER BY instance",
    KivConfigStore::ERR_DB_READ_FAILED};

}  // namespace

StoredClasses Store::LoadStored(const ConfigStoreObjectId& id, long long* version) {
    StoredClasses stored;
    auto rows = db_.Run(kSelectIdentity, id.key, id.group, id.component, id.instanceId);
    while (rows.Next()) {
        const long long dataClass = rows.Integer(0);
        if (dataClass < 0 || dataClass > kValueClasses) continue;
        stored[static_cast<std::size_t>(dataClass)].emplace(
            ParseStored(rows.Text(1), id, static_cast<int>(dataClass)));
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
    const std::shared_ptr<const Schema> schema = SchemaChecked(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    EngineObject& values = EngineState::Of(*object);
    UseDefaults(values, schema);
    bool found = values.defaults != nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    StoredClasses stored = LoadStored(id, &values.version);
    for (int dataClass = 0; dataClass < kValueClasses; ++dataClass) {
        if (!stored[dataClass]) continue;
        AddLoaded(values, static_cast<DataClass>(dataClass), *stored[dataClass]);
        found = true;
    }
    return found ? object : nullptr;
}

std::shared_ptr<ConfigStoreObject> Store::GetDefaultConfig(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    const std::shared_ptr<const Schema> schema = SchemaChecked(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    UseDefaults(EngineState::Of(*object), schema);
    return EngineState::Of(*object).defaults != nullptr ? object : nullptr;
}

std::shared_ptr<ConfigStoreObject> Store::GetDesired(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    SchemaChecked(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    EngineObject& values = EngineState::Of(*object);
    const std::lock_guard<std::mutex> lock(mutex_);
    StoredClasses stored = LoadStored(id, &values.version);
    auto& desired = stored[static_cast<int>(DataClass::Desired)];
    if (!desired) return nullptr;
    // Written back with Set, the desired configuration becomes the configuration.
    AddLoaded(values, DataClass::Configuration, *desired);
    return object;
}

ObjectList Store::GetDesiredInstances(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    CheckListOperation(id);
    ObjectList objects;
    const std::lock_guard<std::mutex> lock(mutex_);
    auto rows = db_.Run(kSelectDesired, id.key, id.group, id.component);
    while (rows.Next()) {
        const ConfigStoreObjectId instance(id.key, id.group, id.component,
                                           std::string(rows.Text(0)));
        auto object = std::make_shared<ConfigStoreObject>(instance);
        EngineObject& values = EngineState::Of(*object);
        Json document = ParseStored(rows.Text(1), instance, static_cast<int>(DataClass::Desired));
        AddLoaded(values, DataClass::Configuration, document);
        values.version = rows.Integer(2);
        objects.push_back(std::move(object));
    }
    return objects;
}

std::shared_ptr<ConfigStoreObject> Store::Assemble(const StoredIdentity& identity,
                                                   long long version,
                                                   const std::shared_ptr<const Schema>& schema) {
    auto object = std::make_shared<ConfigStoreObject>(identity.id);
    EngineObject& values = EngineState::Of(*object);
    bool found = false;
    for (int dataClass = 0; dataClass < kValueClasses; ++dataClass) {
        if (!identity.texts[dataClass]) continue;
        Json document = ParseStored(*identity.texts[dataClass], identity.id, dataClass);
        AddLoaded(values, static_cast<DataClass>(dataClass), document);
        found = true;
    }
    UseDefaults(values, schema);
    values.version = version;
    return found ? object : nullptr;
}

void Store::ForEachSelected(
    const FilterSpecObject& filter,
    const std::function<void(const StoredIdentity&, std::shared_ptr<ConfigStoreObject>)>& visit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ForEachSelectedLocked(filter, visit);
}

void Store::ForEachSelectedLocked(
    const FilterSpecObject& filter,
    const std::function<void(const StoredIdentity&, std::shared_ptr<ConfigStoreObject>)>& visit) {
    const Narrowing narrowing = NarrowingOf(
        filter, std::vector<std::string>(std::begin(kStoredTables), std::end(kStoredTables)));
    std::string query;
    for (const char* table : kStoredTables) {
        if (!query.empty()) query += " UNION ALL ";
        query += std::string("SELECT " SELECTED_COLUMNS ", p.version FROM ") + table + " p WHERE " +
                 narrowing.condition;
    }
    query += " ORDER BY 1, 2, 3, 4, 5";
    // One schema per key, group and component in a row: the rows come grouped by them.
    std::shared_ptr<const Schema> schema;
    StoredIdentity current;
    long long version = 0;
    bool pending = false;
    const auto flush = [&] {
        if (!pending) return;
        pending = false;
        std::shared_ptr<ConfigStoreObject> object = Assemble(current, version, schema);
        if (object != nullptr
                ? Selects(filter, *object)
                : Selects(filter, current.id, JsonValue(rapidjson::kObjectType), nullptr)) {
            visit(current, std::move(object));
        }
    };
    auto rows = db_.Query(query, KivConfigStore::ERR_DB_READ_FAILED, narrowing.arguments);
    while (rows.Next()) {
        const std::string_view fields[] = {rows.Text(0), rows.Text(1), rows.Text(2), rows.Text(3)};
        ConfigStoreObjectId& id = current.id;
        const bool sameSchema =
            pending && fields[0] == id.key && fields[1] == id.group && fields[2] == id.component;
        if (!sameSchema || fields[3] != id.instanceId) {
            flush();
            if (!sameSchema) {
                id.key = fields[0];
                id.group = fields[1];
                id.component = fields[2];
                schema = SchemaOf(id.component, id.group, id.key);
            }
            id.instanceId = fields[3];
            for (auto& text : current.texts) text.reset();
            version = 0;
            pending = true;
        }
        const long long dataClass = rows.Integer(4);
        if (dataClass < 0 || dataClass > kValueClasses) continue;
        current.texts[static_cast<std::size_t>(dataClass)].emplace(rows.Text(5));
        if (dataClass < static_cast<long long>(DataClass::CachedData)) {
            version = std::max(version, rows.Integer(6));
        }
    }
    flush();
}

ObjectList Store::GetInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    if (filter == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no filter spec");
    }
    CheckListOperation(filter->objectId);
    ObjectList objects;
    ForEachSelected(*filter, [&](const StoredIdentity&, std::shared_ptr<ConfigStoreObject> object) {
        if (object != nullptr) objects.push_back(std::move(object));
    });
    return objects;
}

ObjectList Store::GetDefaultConfigInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    if (filter == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no filter spec");
    }
    CheckListOperation(filter->objectId);
    ObjectList objects;
    ForEachSelected(*filter,
                    [&](const StoredIdentity& stored, std::shared_ptr<ConfigStoreObject> object) {
                        if (object == nullptr || EngineState::Of(*object).defaults == nullptr)
                            return;
                        auto defaults = std::make_shared<ConfigStoreObject>(stored.id);
                        EngineState::Of(*defaults).defaults = EngineState::Of(*object).defaults;
                        objects.push_back(std::move(defaults));
                    });
    return objects;
}

void Store::DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    if (filter == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no filter spec");
    }
    CheckListOperation(filter->objectId);
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<ConfigStoreObjectId> selected;
    ForEachSelectedLocked(*filter,
                          [&](const StoredIdentity& stored, std::shared_ptr<ConfigStoreObject>) {
                              selected.push_back(stored.id);
                          });
    if (selected.empty()) return;
    WriteScope scope(*this);
    scope.WillChange(2);
    bool durable = false;
    for (const ConfigStoreObjectId& id : selected) {
        db_.Do(kDeleteMain, id.key, id.group, id.component, id.instanceId);
        durable |= db_.Changes() > 0;
        db_.Do(kDeleteRuntime, id.key, id.group, id.component, id.instanceId);
    }
    const long long version = durable ? NextVersion() : 0;
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
}

void Store::StoreObject(ConfigStoreObject& object, WriteKind kind, bool external, WriteScope& scope,
                        long long& version) {
    const ConfigStoreObjectId& id = object.objectId;
    CheckIdentity(id);
    const std::shared_ptr<const Schema> schema = SchemaChecked(id);
    ObjectValues& values = EngineState::Of(object);
    if (external && db_.Run(kIsBooting, id.key, id.group, id.component, id.instanceId).Next()) {
        Fail(KivConfigStore::ERR_EXTERNAL_CONTEXT_DURING_BOOT);
    }
    long long ignored = 0;
    StoredClasses stored = LoadStored(id, &ignored);
    const bool recordDesired =
        external && (kind.target == DataClass::Configuration || kind.target == DataClass::UserData);
    const WrittenClasses written = ApplyWrite(values, kind, recordDesired, stored);
    if (schema != nullptr) ValidateStored(*schema, written, stored);
    bool durable = false;
    int statements = 0;
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        if (written[dataClass] == nullptr) continue;
        durable |= dataClass != static_cast<int>(DataClass::CachedData);
        ++statements;
    }
    if (durable && version == 0 && !VersionKnown()) ++statements;
    scope.WillChange(statements);
    if (durable && version == 0) version = NextVersion();
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        if (written[dataClass] == nullptr) continue;
        const bool cached = dataClass == static_cast<int>(DataClass::CachedData);
        db_.Do(cached ? kStoreRuntime : kStoreMain, id.key, id.group, id.component, id.instanceId,
               dataClass, ToText(*written[dataClass]), cached ? 0 : version);
    }
}

void Store::StoreDesired(ConfigStoreObject& object, WriteScope& scope, long long& version) {
    const ConfigStoreObjectId& id = object.objectId;
    CheckIdentity(id);
    const std::shared_ptr<const Schema> schema = SchemaChecked(id);
    const ObjectValues& values = EngineState::Of(object);
    if (schema != nullptr) {
        WrittenClasses written{};
        written[static_cast<int>(DataClass::Configuration)] = &values.values;
        ValidateStored(*schema, written, StoredClasses{});
    }
    scope.WillChange(version == 0 && !VersionKnown() ? 2 : 1);
    if (version == 0) version = NextVersion();
    db_.Do(kStoreMain, id.key, id.group, id.component, id.instanceId,
           static_cast<int>(DataClass::Desired), ToText(values.values), version);
}

void Store::Write(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context) {
    if (object == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no object");
    }
    const bool external = context != nullptr && *context != INTERNAL;
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    long long version = 0;
    StoreObject(*object, kind, external, scope, version);
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
    MarkWritten(EngineState::Of(*object), kind.target, version);
}

void Store::WriteList(const ObjectList& objects, WriteKind kind, const USERDATA_CONTEXT* context) {
    for (const auto& object : objects) {
        if (object == nullptr) {
            Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no object");
        }
        CheckIdentity(object->objectId);
        CheckListOperation(object->objectId);
        if (object->objectId.instanceId.empty()) {
            Fail<InvalidArgumentException>(KivConfigStore::ERR_INSTANCE_ID_MISSING, {},
                                           NameOf(object->objectId));
        }
    }
    if (objects.empty()) return;
    const bool external = context != nullptr && *context != INTERNAL;
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    scope.WillChange(objects.size() > 1 ? 2 : 1);
    long long version = 0;
    for (const auto& object : objects) StoreObject(*object, kind, external, scope, version);
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
    for (const auto& object : objects) MarkWritten(EngineState::Of(*object), kind.target, version);
}

bool Store::ReplaceAll(const std::vector<Replacement>& replacements, bool keep,
                       std::vector<KivConfigStore::ErrorInfo>& errors) {
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteScope scope(*this);
    scope.WillChange(2);
    long long version = 0;
    bool accepted = true;
    for (const Replacement& replacement : replacements) {
        if (replacement.object == nullptr) continue;  // refused before it reached the store
        try {
            if (replacement.dataClass == DataClass::Desired) {
                StoreDesired(*replacement.object, scope, version);
            } else {
                StoreObject(*replacement.object, {replacement.dataClass, false}, false, scope,
                            version);
            }
        } catch (const KivConfigStore::ValidationException& e) {
            errors.push_back({replacement.name, e.what()});
            accepted = false;
        } catch (const KivConfigStore::InvalidArgumentException& e) {
            errors.push_back({replacement.name, e.what()});
            accepted = false;
        }
    }
    if (!accepted || !keep) return false;  // the scope rolls every replacement back
    scope.Commit();
    if (inTransaction_ && version != 0) transactionVersion_ = version;
    return true;
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
void Store::SetInstances(ObjectList objects, const USERDATA_CONTEXT& context) {
    WriteList(objects, {DataClass::Configuration, false}, &context);
}
void Store::SetUserDataInstances(ObjectList objects, const USERDATA_CONTEXT& context) {
    WriteList(objects, {DataClass::UserData, false}, &context);
}
void Store::SetCachedDataInstances(ObjectList objects) {
    WriteList(objects, {DataClass::CachedData, false}, nullptr);
}
void Store::SetVitalDataInstances(ObjectList objects) {
    WriteList(objects, {DataClass::VitalData, false}, nullptr);
}

void Store::Delete(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    SchemaChecked(id);
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

}  // namespace standin
