// Writing objects to the store under each data class, deleting objects, and recording a boot
// status. The store receives its own copy of the handle's reference; the handle is unchanged.
#include "configstorec.h"
#include "core/Checks.h"
#include "core/Families.h"
#include "store/Identity.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::RejectArgument;
namespace message = binding::message;

namespace {

using ObjectPtr = std::shared_ptr<engine::ConfigStoreObject>;
using ContextWrite = void (engine::ConfigStore::*)(ObjectPtr, const engine::USERDATA_CONTEXT&);
using PlainWrite = void (engine::ConfigStore::*)(ObjectPtr);

// Set, Update and SetUserData: the store, then the context, then the object.
int WriteWithContextInternal(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                             const char* context, ContextWrite write, const char* caller) {
    return Guard<binding::ObjectWrites>(caller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, caller);
        engine::USERDATA_CONTEXT parsed;
        if (int refused = ParseUserDataContext(context, &parsed, caller)) return refused;
        if (object == nullptr) return RejectArgument(message::kObjectMissing, caller);
        ((*store->engineStore).*write)(object->engineObject, parsed);
        return CS_C_OK;
    });
}

// SetVitalData and SetCachedData take no context.
int WriteInternal(ConfigStoreStruct* store, ConfigStoreObjectStruct* object, PlainWrite write,
                  const char* caller) {
    return Guard<binding::ObjectWrites>(caller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, caller);
        if (object == nullptr) return RejectArgument(message::kObjectMissing, caller);
        ((*store->engineStore).*write)(object->engineObject);
        return CS_C_OK;
    });
}

}  // namespace

ConfigStoreCStatus Set(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                       const char* context) {
    return WriteWithContextInternal(store, object, context, &engine::ConfigStore::Set, "Set");
}

ConfigStoreCStatus Update(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                          const char* context) {
    return WriteWithContextInternal(store, object, context, &engine::ConfigStore::Update, "Update");
}

ConfigStoreCStatus SetUserData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                               const char* context) {
    return WriteWithContextInternal(store, object, context, &engine::ConfigStore::SetUserData,
                                    "SetUserData");
}

ConfigStoreCStatus SetVitalData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object) {
    return WriteInternal(store, object, &engine::ConfigStore::SetVitalData, "SetVitalData");
}

ConfigStoreCStatus SetCachedData(ConfigStoreStruct* store, ConfigStoreObjectStruct* object) {
    return WriteInternal(store, object, &engine::ConfigStore::SetCachedData, "SetCachedData");
}

ConfigStoreCStatus Delete(ConfigStoreStruct* store, const char* key, const char* group,
                          const char* component, const char* instanceId) {
    constexpr const char* kCaller = "Delete";
    return Guard<binding::ObjectReads>(kCaller, [&]() -> int {
        if (int refused = CheckStoreAndObjectId(store, key, group, component, kCaller)) {
            return refused;
        }
        store->engineStore->Delete(binding::IdentityOf(key, group, component, instanceId));
        return CS_C_OK;
    });
}

ConfigStoreCStatus DeleteInstances(ConfigStoreStruct* store, FilterSpecObjectStruct* filter) {
    constexpr const char* kCaller = "DeleteInstances";
    return Guard<binding::ObjectReads>(kCaller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, kCaller);
        if (filter == nullptr) return RejectArgument(message::kFilterMissing, kCaller);
        store->engineStore->DeleteInstances(filter->engineObject);
        return CS_C_OK;
    });
}

// All four identity fields reach the engine, "" standing in for a missing instance id.
ConfigStoreCStatus SetBootStatus(const char* key, const char* group, const char* component,
                                 const char* instanceId, bool status) {
    constexpr const char* kCaller = "SetBootStatus";
    return Guard<binding::ObjectReads>(kCaller, [&]() -> int {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        engine::SetBootStatus(engine::ConfigStoreObjectId(key, group, component,
                                                          instanceId == nullptr ? "" : instanceId),
                              status);
        return CS_C_OK;
    });
}
