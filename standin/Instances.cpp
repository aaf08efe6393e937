// The store's lists: what a filter spec selects, instance lists and their writes, deletes by
// filter, and the replacements of an import.
#include <algorithm>
#include <iterator>

#include "Filters.h"
#include "Statements.h"
#include "Store.h"

namespace standin {

using KivConfigStore::EngineState;
using KivConfigStore::INTERNAL;
using KivConfigStore::InvalidArgumentException;

ObjectList Store::GetDesiredInstances(const ConfigStoreObjectId& id) {
    CheckIdentity(id);
    CheckListOperation(id);
    ObjectList objects;
    Access access(*this, Access::kRead);
    auto rows = access.db().Run(kSelectDesired, id.key, id.group, id.component);
    while (rows.Next()) {
        const ConfigStoreObjectId instance(id.key, id.group, id.component,
                                           std::string(rows.Text(0)));
        auto object = std::make_shared<ConfigStoreObject>(instance);
        EngineObject& values = EngineState::Of(*object);
        Json document = ParseStored(documents_.Expand(access.db(), rows.Document(1)), instance,
                                    static_cast<int>(DataClass::Desired));
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

void Store::ForEachSelected(const FilterSpecObject& filter, bool withObjects, const Visit& visit) {
    Access access(*this, Access::kRead);
    ForEachSelectedIn(access.db(), filter, withObjects, visit);
}

void Store::ForEachSelectedIn(Database& db, const FilterSpecObject& filter, bool withObjects,
                              const Visit& visit) {
    // Without values to compare, SQL's identity test is the whole decision.
    const bool assemble = withObjects || TestsValues(filter);
    const Query query = SelectStored(filter.objectId, SqlValueTestsOf(filter));
    // One schema per key, group and component in a row: the rows come grouped by them.
    std::shared_ptr<const Schema> schema;
    StoredIdentity current;
    long long version = 0;
    bool pending = false;
    const auto flush = [&] {
        if (!pending) return;
        pending = false;
        if (!assemble) return visit(current, nullptr);
        std::shared_ptr<ConfigStoreObject> object = Assemble(current, version, schema);
        if (object != nullptr
                ? Selects(filter, *object)
                : Selects(filter, current.id, JsonValue(rapidjson::kObjectType), nullptr)) {
            visit(current, std::move(object));
        }
    };
    auto rows = db.Query(query.text, KivConfigStore::ERR_DB_READ_FAILED, query.arguments);
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
                if (assemble) schema = SchemaOf(id.component, id.group, id.key);
            }
            id.instanceId = fields[3];
            for (auto& text : current.texts) text.reset();
            version = 0;
            pending = true;
        }
        const long long dataClass = rows.Integer(4);
        if (dataClass < 0 || dataClass > kValueClasses) continue;
        current.texts[static_cast<std::size_t>(dataClass)].emplace(
            documents_.Expand(db, rows.Document(5)));
        if (dataClass < static_cast<long long>(DataClass::CachedData)) {
            version = std::max(version, rows.Integer(6));
        }
    }
    flush();
}

ObjectList Store::GetInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    CheckListOperation(GivenFilter(filter.get()).objectId);
    ObjectList objects;
    ForEachSelected(*filter, true, [&](StoredIdentity&, std::shared_ptr<ConfigStoreObject> object) {
        if (object != nullptr) objects.push_back(std::move(object));
    });
    return objects;
}

ObjectList Store::GetDefaultConfigInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    CheckListOperation(GivenFilter(filter.get()).objectId);
    ObjectList objects;
    ForEachSelected(*filter, true,
                    [&](StoredIdentity& stored, std::shared_ptr<ConfigStoreObject> object) {
                        if (object == nullptr || EngineState::Of(*object).defaults == nullptr)
                            return;
                        auto defaults = std::make_shared<ConfigStoreObject>(stored.id);
                        EngineState::Of(*defaults).defaults = EngineState::Of(*object).defaults;
                        objects.push_back(std::move(defaults));
                    });
    return objects;
}

void Store::DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    CheckListOperation(GivenFilter(filter.get()).objectId);
    Changes changes;
    {
        const Access access(*this, Access::kWrite);
        std::vector<ConfigStoreObjectId> selected;
        ForEachSelectedIn(db_, *filter, false,
                          [&](StoredIdentity& stored, std::shared_ptr<ConfigStoreObject>) {
                              selected.push_back(stored.id);
                          });
        if (selected.empty()) return;
        WriteScope scope(*this);
        scope.WillChange(2);
        bool durable = false;
        for (const ConfigStoreObjectId& id : selected) {
            history_.Removing(db_, id);
            db_.Do(kDeleteMain, id.key, id.group, id.component, id.instanceId);
            durable |= db_.Changes() > 0;
            db_.Do(kDeleteRuntime, id.key, id.group, id.component, id.instanceId);
            scope.Changed(id, kDeletedClass);
        }
        const long long version = durable ? NextVersion() : 0;
        scope.Commit(version);
        changes = TakeCommitted();
    }
    Notify(changes);
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
    Changes changes;
    {
        const Access access(*this, Access::kWrite);
        WriteScope scope(*this);
        scope.WillChange(objects.size() > 1 ? 2 : 1);
        long long version = 0;
        for (const auto& object : objects) StoreObject(*object, kind, external, scope, version);
        scope.Commit(version);
        for (const auto& object : objects) {
            MarkWritten(EngineState::Of(*object), kind.target, version);
        }
        changes = TakeCommitted();
    }
    Notify(changes);
}

bool Store::ReplaceAll(const std::function<bool(const Replace&)>& produce,
                       std::vector<KivConfigStore::ErrorInfo>& errors) {
    Changes changes;
    {
        const Access access(*this, Access::kWrite);
        WriteScope scope(*this);
        scope.WillChange(2);
        long long version = 0;
        bool accepted = true;
        const Replace replace = [&](const Replacement& replacement) {
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
        };
        // Every replacement is tried, to find all the store refuses; the scope rolls back.
        if (!produce(replace) || !accepted) return false;
        scope.Commit(version);
        changes = TakeCommitted();
    }
    Notify(changes);
    return true;
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

}  // namespace standin
