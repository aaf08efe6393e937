// The engine's entry points outside the objects: store access and the free functions, which
// act on the default namespace's store.
#include <kivconfigstore/ConfigStore.h>
#include <uuid/uuid.h>

#include "ObjectState.h"
#include "Store.h"

namespace KivConfigStore {

std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& nameSpace) {
    return standin::Store::Shared(nameSpace);
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
    auto object = std::make_shared<ConfigStoreObject>(id);
    EngineState::Of(*object).Adopt(document);
    return object;
}

std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(const ConfigStoreObjectId& id) {
    return standin::Store::Shared(sGlobalNamespace)->GetDesired(id);
}

void SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    standin::Store::Shared(sGlobalNamespace)->SetBootStatus(id, status);
}

std::string GenerateInstanceId() {
    uuid_t uuid;
    uuid_generate_random(uuid);
    char text[37];
    uuid_unparse_lower(uuid, text);
    return text;
}

// Instance lists, schemas, filters and the exchange format are the next part of the engine.
ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId&) {
    standin::NotSupportedYet("GetDesiredUserConfigInstances");
}
std::string GetSchemaVersion(const ConfigStoreObjectId&) {
    standin::NotSupportedYet("GetSchemaVersion");
}
ObjectList FilterConfigStoreObjects(ObjectList&, const std::shared_ptr<FilterSpecObject>&) {
    standin::NotSupportedYet("FilterConfigStoreObjects");
}
bool Import(const std::string&, std::vector<ErrorInfo>&) {
    standin::NotSupportedYet("Import");
}
std::string Export(std::vector<std::shared_ptr<FilterSpecObject>>) {
    standin::NotSupportedYet("Export");
}

}  // namespace KivConfigStore
