// Lists of objects: reads through a filter spec become arrays of new top-level
// handles; list writes hand the store one reference per handle, in array order.
#include "configstorec.h"
#include "core/Checks.h"
#include "core/Families.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::RejectArgument;
namespace message = binding::message;

namespace {

using FilterPtr = std::shared_ptr<engine::FilterSpecObject>;
using ListRead = engine::ObjectList (engine::ConfigStore::*)(const FilterPtr&);
using ListWrite = void (engine::ConfigStore::*)(engine::ObjectList);
using ContextListWrite = void (engine::ConfigStore::*)(engine::ObjectList,
                                                       const engine::USERDATA_CONTEXT&);

// The engine references of the caller's array; count 0 or less reads nothing.
int CollectObjects(ConfigStoreObjectStruct** objects, int count, engine::ObjectList* list,
                   const char* caller) {
    if (count <= 0) return CS_C_OK;
    if (objects == nullptr) return RejectArgument(message::kObjectMissing, caller);
    list->reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (objects[i] == nullptr) return RejectArgument(message::kObjectMissing, caller);
        list->push_back(objects[i]->engineObject);
    }
    return CS_C_OK;
}

}  // namespace

// The store and filter lines carry this worker's own name; engine failures the caller's.
ConfigStoreCStatus GetInstancesCInternal(ConfigStoreStruct* store, FilterSpecObjectStruct* filter,
                                         ConfigStoreObjectStruct*** objects, int* count,
                                         ListRead read, const char* caller) {
    constexpr const char* kWorker = "GetInstancesCInternal";
    return Guard<binding::InstanceReads>(caller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, kWorker);
        if (filter == nullptr) return RejectArgument(message::kFilterMissing, kWorker);
        return WrapConfigStoreObjectList(((*store->engineStore).*read)(filter->engineObject),
                                         objects, count);
    });
}

ConfigStoreCStatus GetInstances(ConfigStoreStruct* store, FilterSpecObjectStruct* filter,
                                ConfigStoreObjectStruct*** objects, int* count) {
    return GetInstancesCInternal(store, filter, objects, count, &engine::ConfigStore::GetInstances,
                                 "GetInstances");
}

ConfigStoreCStatus GetDefaultConfigInstances(ConfigStoreStruct* store,
                                             FilterSpecObjectStruct* filter,
                                             ConfigStoreObjectStruct*** objects, int* count) {
    return GetInstancesCInternal(store, filter, objects, count,
                                 &engine::ConfigStore::GetDefaultConfigInstances,
                                 "GetDefaultConfigInstances");
}

// Every instance of an identity; the identity never carries an instance id.
ConfigStoreCStatus GetDesiredUserConfigInstances(const char* key, const char* group,
                                                 const char* component,
                                                 ConfigStoreObjectStruct*** objects, int* count) {
    constexpr const char* kCaller = "GetDesiredUserConfigInstances";
    return Guard<binding::InstanceReads>(kCaller, [&]() -> int {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        return WrapConfigStoreObjectList(engine::GetDesiredUserConfigInstances(
                                             engine::ConfigStoreObjectId(key, group, component)),
                                         objects, count);
    });
}

ConfigStoreCStatus SetInstancesCInternal(ConfigStoreStruct* store,
                                         ConfigStoreObjectStruct** objects, int count,
                                         ListWrite write, const char* caller) {
    return Guard<binding::InstanceWrites>(caller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, caller);
        engine::ObjectList list;
        if (int refused = CollectObjects(objects, count, &list, caller)) return refused;
        ((*store->engineStore).*write)(list);
        return CS_C_OK;
    });
}

ConfigStoreCStatus SetInstancesCInternalContext(ConfigStoreStruct* store,
                                                ConfigStoreObjectStruct** objects, int count,
                                                ContextListWrite write, const char* context,
                                                const char* caller) {
    return Guard<binding::InstanceWrites>(caller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, caller);
        engine::USERDATA_CONTEXT parsed;
        if (int refused = ParseUserDataContext(context, &parsed, caller)) return refused;
        engine::ObjectList list;
        if (int refused = CollectObjects(objects, count, &list, caller)) return refused;
        ((*store->engineStore).*write)(list, parsed);
        return CS_C_OK;
    });
}

ConfigStoreCStatus SetInstances(ConfigStoreStruct* store, ConfigStoreObjectStruct** objects,
                                int count, const char* context) {
    return SetInstancesCInternalContext(store, objects, count, &engine::ConfigStore::SetInstances,
                                        context, "SetInstances");
}

ConfigStoreCStatus SetUserDataInstances(ConfigStoreStruct* store, ConfigStoreObjectStruct** objects,
                                        int count, const char* context) {
    return SetInstancesCInternalContext(store, objects, count,
                                        &engine::ConfigStore::SetUserDataInstances, context,
                                        "SetUserDataInstances");
}

ConfigStoreCStatus SetVitalDataInstances(ConfigStoreStruct* store,
                                         ConfigStoreObjectStruct** objects, int count) {
    return SetInstancesCInternal(store, objects, count, &engine::ConfigStore::SetVitalDataInstances,
                                 "SetVitalDataInstances");
}

ConfigStoreCStatus SetCachedDataInstances(ConfigStoreStruct* store,
                                          ConfigStoreObjectStruct** objects, int count) {
    return SetInstancesCInternal(store, objects, count,
                                 &engine::ConfigStore::SetCachedDataInstances,
                                 "SetCachedDataInstances");
}
