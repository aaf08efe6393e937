// Sub-objects of configuration objects. The handles handed out are child handles: the parent
// owns them, keeps them in its cache and answers later requests from there.
#include <string>
#include <vector>

#include "configstorec.h"
#include "core/Buffers.h"
#include "core/Checks.h"
#include "core/Families.h"
#include "store/Identity.h"
#include "subobjects/ChildCache.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::RejectArgument;
using binding::SubObjectIdOf;
namespace message = binding::message;

namespace {

bool HasInstanceId(const char* instanceId) {
    return instanceId != nullptr && *instanceId != '\0';
}

// The cached sub-objects of one key that the filter spec selects.
engine::ObjectList FilterSubObjects(const std::vector<ConfigStoreObjectStruct*>& children,
                                    const FilterSpecObjectStruct* filter) {
    engine::ObjectList candidates;
    candidates.reserve(children.size());
    for (const ConfigStoreObjectStruct* child : children) candidates.push_back(child->engineObject);
    return engine::FilterConfigStoreObjects(candidates, filter->engineObject);
}

int CheckObjectAndFilter(const ConfigStoreObjectStruct* object,
                         const FilterSpecObjectStruct* filter, const char* caller) {
    if (object == nullptr) return RejectArgument(message::kObjectMissing, caller);
    if (filter == nullptr) return RejectArgument(message::kFilterSpecMissing, caller);
    return CS_C_OK;
}

// Makes sure the cache can answer for key and instance id: instances are loaded all at once,
// a singleton is fetched when its key is not cached yet.
int LoadForGet(ConfigStoreObjectStruct* object, const char* key, const char* instanceId) {
    if (HasInstanceId(instanceId)) return getAllSubObjects(object, key);
    if (object->children.Contains(key)) return CS_C_OK;
    return Guard<binding::StoreLevel>("getSubObject", [&]() -> int {
        auto found = object->engineObject->GetSubObject(SubObjectIdOf(key, nullptr));
        if (found) AddSubObjectHandle(object, std::move(found), key);
        return CS_C_OK;
    });
}

}  // namespace

ConfigStoreCStatus CreateSubObject(ConfigStoreObjectStruct* object, const char* key,
                                   const char* instanceId, ConfigStoreObjectStruct** subObject) {
    constexpr const char* kCaller = "CreateSubObject";
    return Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndKey(object, key, kCaller)) return refused;
        // The existing instances are cached first, so the new one comes after them.
        if (HasInstanceId(instanceId)) {
            if (int failed = getAllSubObjects(object, key)) return failed;
        }
        auto created = object->engineObject->CreateSubObject(SubObjectIdOf(key, instanceId));
        *subObject = created ? AddSubObjectHandle(object, std::move(created), key) : nullptr;
        return CS_C_OK;
    });
}

ConfigStoreCStatus GetSubObject(ConfigStoreObjectStruct* object, const char* key,
                                const char* instanceId, ConfigStoreObjectStruct** subObject) {
    return Guard<binding::Untranslated>("getSubObject", [&]() -> int {
        if (int refused = CheckObjectAndKey(object, key, "GetSubObject")) return refused;
        const int loaded = LoadForGet(object, key, instanceId);
        const int position = loaded == CS_C_OK ? FindSubObjectIndex(object, key, instanceId) : -1;
        if (position < 0) {
            *subObject = nullptr;
            return loaded == CS_C_OK ? CS_C_NOT_FOUND : loaded;
        }
        *subObject = (*object->children.Find(key))[static_cast<std::size_t>(position)];
        return CS_C_OK;
    });
}

// Every instance of the filter's key is loaded; the caller receives the cached handles of those
// the filter selects. Matches are resolved first, then the array is allocated once.
ConfigStoreCStatus GetSubObjectInstances(ConfigStoreObjectStruct* object,
                                         FilterSpecObjectStruct* filter,
                                         ConfigStoreObjectStruct*** objects, int* count) {
    constexpr const char* kCaller = "GetSubObjectInstances";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndFilter(object, filter, kCaller)) return refused;
        const std::string key = filter->engineObject->objectId.key;
        if (int failed = getAllSubObjects(object, key.c_str())) return failed;
        const auto* cached = object->children.Find(key);
        if (cached == nullptr) {
            *count = 0;
            return CS_C_OK;
        }
        const engine::ObjectList matches = FilterSubObjects(*cached, filter);
        std::vector<ConfigStoreObjectStruct*> handles;
        handles.reserve(matches.size());
        for (const auto& match : matches) {
            const int position =
                match ? FindSubObjectIndex(object, key.c_str(), match->objectId.instanceId.c_str())
                      : -1;
            if (position >= 0) handles.push_back((*cached)[static_cast<std::size_t>(position)]);
        }
        *count = 0;
        if (handles.empty()) {
            *objects = nullptr;
            return CS_C_OK;
        }
        const int size = binding::CountOf(handles.size());
        auto array = binding::AllocateArray<ConfigStoreObjectStruct*>(size);
        for (int i = 0; i < size; ++i) array[i] = handles[static_cast<std::size_t>(i)];
        *objects = array.release();
        *count = size;
        return CS_C_OK;
    });
}

// The engine is asked first, whether or not the sub-object is cached; a cached handle is then
// destroyed.
ConfigStoreCStatus DeleteSubObject(ConfigStoreObjectStruct* object, const char* key,
                                   const char* instanceId) {
    constexpr const char* kCaller = "DeleteSubObject";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndKey(object, key, kCaller)) return refused;
        object->engineObject->DeleteSubObject(SubObjectIdOf(key, instanceId));
        const int position = FindSubObjectIndex(object, key, instanceId);
        if (position >= 0) RemoveSubObjectHandle(object, key, position);
        return CS_C_OK;
    });
}

// An uncached key goes to the engine's bulk delete; a cached one is deleted match by match, so
// that the cache follows.
ConfigStoreCStatus DeleteSubObjectInstances(ConfigStoreObjectStruct* object,
                                            FilterSpecObjectStruct* filter) {
    constexpr const char* kCaller = "DeleteSubObjectInstances";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (int refused = CheckObjectAndFilter(object, filter, kCaller)) return refused;
        const std::string key = filter->engineObject->objectId.key;
        const auto* cached = object->children.Find(key);
        if (cached == nullptr) {
            object->engineObject->DeleteSubObjectInstances(filter->engineObject);
            return CS_C_OK;
        }
        for (const auto& match : FilterSubObjects(*cached, filter)) {
            if (match) DeleteSubObject(object, key.c_str(), match->objectId.instanceId.c_str());
        }
        return CS_C_OK;
    });
}
