// The engine's entry points outside the objects: store access and the free functions, which
// act on the default namespace's store.
#include <kivconfigstore/ConfigStore.h>
#include <uuid/uuid.h>

#include <cstdlib>

#include "Apply.h"
#include "Exchange.h"
#include "Filters.h"
#include "ObjectState.h"
#include "Store.h"

namespace {

// CONFIGSTORE_NAMESPACE names the default namespace; without it, it is sGlobalNamespace's text.
std::shared_ptr<standin::Store> StoreOf(const std::string& nameSpace) {
    return standin::Store::Shared(nameSpace, standin::RunApplyModules);
}

std::shared_ptr<standin::Store> DefaultStore() {
    const char* chosen = std::getenv("CONFIGSTORE_NAMESPACE");
    if (chosen == nullptr || *chosen == '\0') return StoreOf(KivConfigStore::sGlobalNamespace);
    return StoreOf(chosen);
}

}  // namespace

namespace KivConfigStore {

// The default namespace's name stands for whichever namespace is the default.
std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& nameSpace) {
    if (nameSpace == sGlobalNamespace) return DefaultStore();
    return StoreOf(nameSpace);
}

std::shared_ptr<ConfigStoreObject> CreateObject(const ConfigStoreObjectId& id,
                                                const std::string& value) {
    standin::CheckIdentity(id);
    standin::Json document(rapidjson::kObjectType);
    if (!value.empty()) {
        const std::string problem = standin::ParseJson(value.data(), value.size(), document);
        if (!problem.empty()) {
            standin::Fail<InvalidArgumentException>(ERR_JSON_PARSE_FAILED, problem);
        }
        if (!document.IsObject()) {
            standin::Fail<InvalidArgumentException>(ERR_JSON_INVALID,
                                                    "the document is not a JSON object");
        }
    }
    const auto schema = standin::SchemaChecked(id);
    auto object = std::make_shared<ConfigStoreObject>(id);
    EngineState::Of(*object).Adopt(document);
    standin::UseDefaults(EngineState::Of(*object), schema);
    return object;
}

std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(const ConfigStoreObjectId& id) {
    return DefaultStore()->GetDesired(id);
}

void SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    DefaultStore()->SetBootStatus(id, status);
}

std::string GenerateInstanceId() {
    uuid_t uuid;
    uuid_generate_random(uuid);
    char text[37];
    uuid_unparse_lower(uuid, text);
    return text;
}

ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId& id) {
    return DefaultStore()->GetDesiredInstances(id);
}

std::string GetSchemaVersion(const ConfigStoreObjectId& id) {
    const auto schema = standin::SchemaOf(id.component, id.group, id.key);
    if (schema == nullptr) {
        standin::Fail(ERR_SCHEMA_NOT_FOUND, {}, standin::NameOf(id));
    }
    return schema->version;
}

// Refuses nothing (a missing filter selects nothing): the binding calls it without a handler.
ObjectList FilterConfigStoreObjects(ObjectList& objects,
                                    const std::shared_ptr<FilterSpecObject>& filter) {
    ObjectList selected;
    if (filter == nullptr) return selected;
    for (const auto& object : objects) {
        if (object != nullptr && standin::Selects(*filter, *object)) selected.push_back(object);
    }
    return selected;
}

bool Import(const std::string& document, std::vector<ErrorInfo>& errors) {
    return standin::ImportDocument(*DefaultStore(), document, errors);
}

std::string Export(std::vector<std::shared_ptr<FilterSpecObject>> filters) {
    return standin::ExportDocument(*DefaultStore(), filters, standin::LeftOutOfExport);
}

}  // namespace KivConfigStore
