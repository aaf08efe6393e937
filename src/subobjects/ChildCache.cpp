#include "subobjects/ChildCache.h"

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/Families.h"

namespace engine = KivConfigStore;

namespace {

template <class Handle>
using MadeHandle = std::unique_ptr<Handle>;

// Moves freshly made child handles under `key` in one step: the list is grown first, so nothing
// after it can fail, and a key inserted for them is removed again if growing fails.
template <class Handle>
void AppendChildren(Handle* parent, const char* key, MadeHandle<Handle>* made, std::size_t count) {
    bool inserted = false;
    auto& handles = parent->children.Insert(key, &inserted);
    try {
        handles.reserve(handles.size() + count);
    } catch (...) {
        if (inserted) parent->children.Erase(key);
        throw;
    }
    for (std::size_t i = 0; i < count; ++i) handles.push_back(made[i].release());
}

}  // namespace

void AddSubObjectHandles(ConfigStoreObjectStruct* parent, const engine::ObjectList& subObjects,
                         const char* key) {
    if (subObjects.empty()) return;
    std::vector<MadeHandle<ConfigStoreObjectStruct>> made;
    made.reserve(subObjects.size());
    for (const auto& subObject : subObjects) {
        made.emplace_back(NewHandle<ConfigStoreObjectStruct>(subObject, false));
    }
    AppendChildren(parent, key, made.data(), made.size());
}

ConfigStoreObjectStruct* AddSubObjectHandle(ConfigStoreObjectStruct* parent,
                                            std::shared_ptr<engine::ConfigStoreObject> subObject,
                                            const char* key) {
    MadeHandle<ConfigStoreObjectStruct> made(
        NewHandle<ConfigStoreObjectStruct>(std::move(subObject), false));
    ConfigStoreObjectStruct* handle = made.get();
    AppendChildren(parent, key, &made, 1);
    return handle;
}

int getAllSubObjects(ConfigStoreObjectStruct* parent, const char* key) {
    return binding::Guard<binding::StoreLevel>("getAllSubObjects", [&]() -> int {
        if (parent->children.Contains(key)) return CS_C_OK;
        auto filter = std::make_shared<engine::FilterSpecObject>(engine::ConfigStoreObjectId(
            std::string(key), engine::kEmptyString, engine::kEmptyString, std::string()));
        const engine::ObjectList instances = parent->engineObject->GetSubObjectInstances(filter);
        filter.reset();
        AddSubObjectHandles(parent, instances, key);
        return CS_C_OK;
    });
}

int FindSubObjectIndex(const ConfigStoreObjectStruct* parent, const char* key,
                       const char* instanceId) {
    const auto* cached = parent->children.Find(key);
    if (cached == nullptr) return -1;
    const char* wanted = instanceId == nullptr ? "" : instanceId;
    const auto& handles = *cached;
    for (std::size_t position = 0; position < handles.size(); ++position) {
        if (handles[position]->engineObject->objectId.instanceId == wanted) {
            return static_cast<int>(position);
        }
    }
    return -1;
}

int AddSubObjectFilterHandle(std::shared_ptr<engine::FilterSpecObject> subFilter,
                             FilterSpecObjectStruct* parent, const char* key,
                             FilterSpecObjectStruct** handle) {
    if (!subFilter) {
        *handle = nullptr;
        return CS_C_NOT_FOUND;
    }
    MadeHandle<FilterSpecObjectStruct> made(
        NewHandle<FilterSpecObjectStruct>(std::move(subFilter), false));
    FilterSpecObjectStruct* child = made.get();
    AppendChildren(parent, key, &made, 1);
    *handle = child;
    return CS_C_OK;
}

void RemoveSubObjectHandle(ConfigStoreObjectStruct* parent, const char* key, int position) {
    auto& handles = *parent->children.Find(key);
    DestroyConfigStoreObjectInternal(handles[static_cast<std::size_t>(position)]);
    handles.erase(handles.begin() + position);
}

// A repeated create leaves several handles under one key; all of them go, so none is orphaned.
void RemoveSubObjectFilterHandles(FilterSpecObjectStruct* parent, const char* key) {
    for (FilterSpecObjectStruct* handle : *parent->children.Find(key)) {
        DestroyFilterSpecObjectInternal(handle);
    }
    parent->children.Erase(key);
}
