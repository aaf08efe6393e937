#include "Store.h"

#include <unistd.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "Layout.h"
#include "ObjectState.h"
#include "Processes.h"
#include "Statements.h"

namespace standin {

using KivConfigStore::EngineState;
using KivConfigStore::INTERNAL;
using KivConfigStore::InvalidArgumentException;

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

std::shared_ptr<Store> Store::Shared(const std::string& nameSpace, const CommitObserver& observer) {
    static std::mutex registryMutex;
    // Never destroyed, so that stores released during the process's exit still find it.
    static auto* registry = new std::unordered_map<std::string, std::weak_ptr<Store>>();
    const std::lock_guard<std::mutex> lock(registryMutex);
    // A reader's store and a writer's are two (a space is in no namespace's name).
    auto& entry = (*registry)[ReadOnlyRequested(nameSpace) ? nameSpace + " read-only" : nameSpace];
    std::shared_ptr<Store> store = entry.lock();
    if (!store) {
        const StoreFiles files = FilesOf(nameSpace);
        if (!files.readOnly) {
            CreateDatabase(files.database);
        } else if (nameSpace != KivConfigStore::sGlobalNamespace && !Exists(files.database)) {
            // Only the global namespace reads as empty before its first write: a reader of a
            // misspelt namespace learns that, rather than reading nothing.
            Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
                 "namespace '" + nameSpace + "' does not exist (nothing was ever stored in it)",
                 files.database);
        }
        store = std::make_shared<Store>(files, observer);
        entry = store;
    }
    return store;
}

Store::Store(const StoreFiles& files, CommitObserver observer)
    : files_(files),
      observer_(std::move(observer)),
      db_(ConnectionPathOf(files), files.database),
      history_(files) {
    OpenFiles(db_, files_);
    files_.fullCheck = false;  // a second connection (Access) opens files checked already
}

Store::Access::Access(Store& store, Purpose purpose) : lock_(store.mutex_), db_(&store.db_) {
    const auto foreign = [&store] {
        return store.inTransaction_ && store.transactionOwner_ != std::this_thread::get_id();
    };
    if (!foreign()) return;
    if (purpose == kRead) {
        if (store.reader_ == nullptr) {
            auto reader = std::make_unique<Database>(store.files_.database, store.files_.database);
            OpenFiles(*reader, store.files_);
            store.reader_ = std::move(reader);
        }
        db_ = store.reader_.get();
        return;
    }
    if (!store.transactionEnded_.wait_for(lock_, std::chrono::milliseconds(kBusyMilliseconds),
                                          [&] { return !foreign(); })) {
        Fail(KivConfigStore::ERR_TRANSACTION_START_FAILED,
             "database is locked (a transaction of another thread, " + store.files_.database + ")");
    }
}

namespace {
[[noreturn]] void RefuseReadOnly() {
    Fail(KivConfigStore::ERR_DB_WRITE_FAILED,
         "the store is open read-only (CONFIGSTORE_READ_ONLY=1)");
}
}  // namespace

Store::WriteScope::WriteScope(Store& store)
    : store_(store), history_(store.history_.Marked()), external_(store.commitExternal_) {
    if (store_.files_.readOnly) RefuseReadOnly();
    if (store_.inTransaction_) return;
    store_.db_.Do(kBegin);
    store_.TransactionBegins();
}

Store::WriteScope::~WriteScope() {
    if (done_) return;
    if (!store_.inTransaction_) {
        store_.db_.ExecuteQuietly(kRollback.text);
        return;
    }
    if (savepoint_) store_.db_.ExecuteQuietly(kUndoSavepoint);
    store_.history_.Undone(history_, savepoint_);
    store_.commitExternal_ = external_;
}

void Store::WriteScope::WillChange(int statements) {
    if (!store_.inTransaction_ || statements < 2 || savepoint_) return;
    store_.db_.Do(kSavepoint);
    savepoint_ = true;
}

void Store::WriteScope::Commit(long long version) {
    if (store_.inTransaction_) {
        if (savepoint_) store_.db_.Do(kRelease);
    } else {
        // Inside a transaction, the next object's write checks (TrainIfDue) before its savepoint.
        store_.documents_.TrainIfDue(store_.db_, true);
        store_.Seal(version, changes_);
        store_.db_.Do(kCommit);
    }
    done_ = true;
    if (store_.inTransaction_ && version != 0) store_.transactionVersion_ = version;
    changes_.version = version;
    store_.committed_.Append(std::move(changes_));
}

Store::~Store() {
    if (!inTransaction_) return;
    db_.ExecuteQuietly(kRollback.text);
    CSLogger::Log(CS_LOG_WARNING, "%s: store released with a transaction open, rolled back",
                  files_.database.c_str());
}

Json ParseStored(std::string_view text, const ConfigStoreObjectId& id, int dataClass) {
    Json document;
    if (!ParseWritten(text.data(), text.size(), document) || !document.IsObject()) {
        Fail(KivConfigStore::ERR_JSON_INVALID,
             "stored " + std::string(NameOf(static_cast<DataClass>(dataClass))) + " of " +
                 NameOf(id) + " is damaged");
    }
    return document;
}

namespace {

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
    Json merged;
    Assign(merged, schema.defaults);
    for (const JsonValue* document : classes) {
        if (document == nullptr) continue;
        Merge(merged, *document);
    }
    Validate(schema, merged);
}

}  // namespace

StoredClasses Store::LoadStored(Database& db, const ConfigStoreObjectId& id, long long* version) {
    StoredClasses stored;
    auto rows = db.Run(kSelectIdentity, id.key, id.group, id.component, id.instanceId);
    while (rows.Next()) {
        const long long dataClass = rows.Integer(0);
        if (dataClass < 0 || dataClass > kValueClasses) continue;
        stored[static_cast<std::size_t>(dataClass)].emplace(
            ParseStored(documents_.Expand(db, rows.Document(1)), id, static_cast<int>(dataClass)));
        if (dataClass < static_cast<long long>(DataClass::CachedData)) {
            *version = std::max(*version, rows.Integer(2));
        }
    }
    return stored;
}

long long Store::NextVersion() {
    if (VersionKnown()) return transactionVersion_;
    if (history_.On()) {
        auto next = db_.Run(kNextKeptVersion);
        if (!next.Next()) db_.Raise(kNextKeptVersion.failure);
        return next.Integer(0);
    }
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
    Access access(*this, Access::kRead);
    StoredClasses stored = LoadStored(access.db(), id, &values.version);
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
    Access access(*this, Access::kRead);
    StoredClasses stored = LoadStored(access.db(), id, &values.version);
    auto& desired = stored[static_cast<int>(DataClass::Desired)];
    if (!desired) return nullptr;
    // Written back with Set, the desired configuration becomes the configuration.
    AddLoaded(values, DataClass::Configuration, *desired);
    return object;
}

void Store::StoreObject(ConfigStoreObject& object, WriteKind kind, bool external, WriteScope& scope,
                        long long& version) {
    const ConfigStoreObjectId& id = object.objectId;
    CheckIdentity(id);
    const std::shared_ptr<const Schema> schema = SchemaChecked(id);
    ObjectValues& values = EngineState::Of(object);
    if (external && IsBooting(id)) Fail(KivConfigStore::ERR_EXTERNAL_CONTEXT_DURING_BOOT);
    scope.TrainIfDue();
    long long ignored = 0;
    StoredClasses stored = LoadStored(db_, id, &ignored);
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
    commitExternal_ |= durable && external;
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        if (written[dataClass] == nullptr) continue;
        const bool cached = dataClass == static_cast<int>(DataClass::CachedData);
        const std::string text = ToText(*written[dataClass]);
        if (!cached) history_.Writing(db_, id, dataClass, version, stored[dataClass].has_value());
        // Cached data lives in the runtime database, which keeps text.
        db_.Do(cached ? kStoreRuntime : kStoreMain, id.key, id.group, id.component, id.instanceId,
               dataClass, cached ? StoredDocument{text} : documents_.Pack(db_, text),
               cached ? 0 : version);
        scope.Changed(id, NameOf(static_cast<DataClass>(dataClass)));
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
    scope.TrainIfDue();
    scope.WillChange(version == 0 && !VersionKnown() ? 2 : 1);
    if (version == 0) version = NextVersion();
    const std::string text = ToText(values.values);
    history_.Writing(db_, id, static_cast<int>(DataClass::Desired), version, true);
    db_.Do(kStoreMain, id.key, id.group, id.component, id.instanceId,
           static_cast<int>(DataClass::Desired), documents_.Pack(db_, text), version);
    scope.Changed(id, NameOf(DataClass::Desired));
}

Changes Store::WriteOne(ConfigStoreObject* object, WriteKind kind,
                        const USERDATA_CONTEXT* context) {
    if (object == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "no object");
    }
    const bool external = context != nullptr && *context != INTERNAL;
    const Access access(*this, Access::kWrite);
    WriteScope scope(*this);
    long long version = 0;
    StoreObject(*object, kind, external, scope, version);
    scope.Commit(version);
    MarkWritten(EngineState::Of(*object), kind.target, version);
    return TakeCommitted();
}

void Store::Write(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context) {
    Notify(WriteOne(object, kind, context));
}

void Store::Record(std::shared_ptr<ConfigStoreObject> object) {
    WriteOne(object.get(), {DataClass::CachedData, false}, nullptr);
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
    SchemaChecked(id);
    Changes changes;
    {
        const Access access(*this, Access::kWrite);
        WriteScope scope(*this);
        scope.WillChange(2);  // two deletes, then perhaps the change counter
        history_.Removing(db_, id);
        db_.Do(kDeleteMain, id.key, id.group, id.component, id.instanceId);
        const bool durable = db_.Changes() > 0;
        db_.Do(kDeleteRuntime, id.key, id.group, id.component, id.instanceId);
        if (durable || db_.Changes() > 0) scope.Changed(id, kDeletedClass);
        const long long version = durable ? NextVersion() : 0;
        scope.Commit(version);
        changes = TakeCommitted();
    }
    Notify(changes);
}

void Store::SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    CheckIdentity(id);
    const Access access(*this, Access::kWrite);
    WriteScope scope(*this);
    scope.WillChange(1);
    if (status) {
        const long long pid = getpid();
        db_.Do(kSetBooting, id.key, id.group, id.component, id.instanceId, pid, StartTimeOf(pid));
    } else {
        db_.Do(kClearBooting, id.key, id.group, id.component, id.instanceId);
    }
    scope.Commit();
}

bool Store::IsBooting(const ConfigStoreObjectId& id) {
    auto setter = db_.Run(kBootSetter, id.key, id.group, id.component, id.instanceId);
    if (!setter.Next()) return false;
    // A process id comes back after its process ends; with its start time, it names one process.
    return setter.IsNull(0) || StartTimeOf(setter.Integer(0)) == setter.Integer(1);
}

void Store::TransactionBegins() {
    documents_.TransactionBegins();
    history_.Begin();
    commitExternal_ = false;
}

void Store::Seal(long long version, const Changes& last) {
    history_.Seal(db_, version, commitExternal_);
    if (version == 0) return;
    for (const std::string& component : ComponentsToApply({&committed_, &last})) {
        db_.Do(kNoteDue, component, version);
    }
}

void Store::BeginTransaction() {
    if (files_.readOnly) RefuseReadOnly();
    const Access access(*this, Access::kWrite);
    if (inTransaction_)
        Fail(KivConfigStore::ERR_TRANSACTION_START_FAILED, "a transaction is already open");
    db_.Do(kBegin);
    TransactionBegins();
    inTransaction_ = true;
    transactionOwner_ = std::this_thread::get_id();
    rolledBack_ = false;
    transactionVersion_ = 0;
    committed_ = Changes();
}

void Store::CommitTransaction() {
    Changes changes;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!OwnsTransaction())
            Fail(KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED, "no transaction is open");
        try {
            documents_.TrainIfDue(db_, true);
            Seal(transactionVersion_, Changes());
            db_.Do(kCommit);
        } catch (...) {
            // SQLite keeps the transaction open after some failures (the caller may retry or
            // cancel) and rolls it back after others.
            inTransaction_ = db_.InTransaction();
            rolledBack_ = !inTransaction_;
            if (!inTransaction_) {
                committed_ = Changes();
                transactionEnded_.notify_all();
            }
            throw;
        }
        inTransaction_ = false;
        transactionEnded_.notify_all();
        changes = TakeCommitted();
    }
    Notify(changes);
}

Changes Store::TakeCommitted() {
    return inTransaction_ ? Changes() : std::exchange(committed_, Changes());
}

void Store::Notify(const Changes& changes) {
    if (changes.Empty() || !observer_) return;
    observer_(files_, changes,
              [this](std::shared_ptr<ConfigStoreObject> object) { Record(std::move(object)); });
}

void Store::CancelTransaction() {
    const std::lock_guard<std::mutex> lock(mutex_);
    // Cancelling what a failed commit of this thread rolled back already is no second failure.
    if (!inTransaction_ && transactionOwner_ == std::this_thread::get_id() &&
        std::exchange(rolledBack_, false)) {
        return;
    }
    if (!OwnsTransaction())
        Fail(KivConfigStore::ERR_TRANSACTION_CANCEL_FAILED, "no transaction is open");
    inTransaction_ = false;
    transactionEnded_.notify_all();
    committed_ = Changes();
    if (db_.InTransaction()) db_.Do(kRollback);
}

}  // namespace standin
