// Fetching and creating objects and filter specs; each success hands the caller a new
// top-level handle.
#include <memory>
#include <string>
#include <utility>

#include "configstorec.h"
#include "core/Checks.h"
#include "core/Families.h"
#include "store/Identity.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::IdentityOf;

namespace {

using ObjectGetter = std::shared_ptr<engine::ConfigStoreObject> (engine::ConfigStore::*)(
    const engine::ConfigStoreObjectId&);

// Get and GetDefaultConfig: the same steps on two store operations.
int GetObjectInternal(ConfigStoreStruct* store, const char* key, const char* group,
                      const char* component, const char* instanceId,
                      ConfigStoreObjectStruct** object, ObjectGetter getter, const char* caller) {
    return Guard<binding::ObjectReads>(caller, [&] {
        if (int refused = CheckStoreAndObjectId(store, key, group, component, caller)) {
            return refused;
        }
        engine::ConfigStore& engineStore = *store->engineStore;
        return WrapConfigStoreObject(
            (engineStore.*getter)(IdentityOf(key, group, component, instanceId)), object);
    });
}

}  // namespace

ConfigStoreCStatus Get(ConfigStoreStruct* store, const char* key, const char* group,
                       const char* component, const char* instanceId,
                       ConfigStoreObjectStruct** object) {
    return GetObjectInternal(store, key, group, component, instanceId, object,
                             &engine::ConfigStore::Get, "Get");
}

ConfigStoreCStatus GetDefaultConfig(ConfigStoreStruct* store, const char* key, const char* group,
                                    const char* component, const char* instanceId,
                                    ConfigStoreObjectStruct** object) {
    return GetObjectInternal(store, key, group, component, instanceId, object,
                             &engine::ConfigStore::GetDefaultConfig, "GetDefaultConfig");
}

ConfigStoreCStatus GetDesiredUserConfig(const char* key, const char* group, const char* component,
                                        const char* instanceId, ConfigStoreObjectStruct** object) {
    constexpr const char* kCaller = "GetDesiredUserConfig";
    return Guard<binding::ObjectReads>(kCaller, [&] {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        return WrapConfigStoreObject(
            engine::GetDesiredUserConfig(IdentityOf(key, group, component, instanceId)), object);
    });
}

// The engine's answer is wrapped as it comes, without the emptiness test of the reads.
ConfigStoreCStatus CreateObject(const char* key, const char* group, const char* component,
                                const char* instanceId, const char* value,
                                ConfigStoreObjectStruct** object) {
    constexpr const char* kCaller = "CreateObject";
    return Guard<binding::ObjectCreation>(kCaller, [&]() -> int {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        if (value == nullptr)
            return binding::RejectArgument(binding::message::kValueMissing, kCaller);
        auto created =
            engine::CreateObject(IdentityOf(key, group, component, instanceId), std::string(value));
        *object = NewHandle<ConfigStoreObjectStruct>(std::move(created), true);
        return CS_C_OK;
    });
}

// No store is contacted: the filter spec is made here, object and count together.
ConfigStoreCStatus CreateFilterSpecObject(const char* key, const char* group, const char* component,
                                          const char* instanceId, FilterSpecObjectStruct** filter) {
    constexpr const char* kCaller = "CreateFilterSpecObject";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        auto created = std::make_shared<engine::FilterSpecObject>(
            IdentityOf(key, group, component, instanceId));
        *filter = NewHandle<FilterSpecObjectStruct>(std::move(created), true);
        return CS_C_OK;
    });
}
