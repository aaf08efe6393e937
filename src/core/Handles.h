// The bodies of the opaque handles the C interface hands out.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/Objects.h>

#include "ChildTable.h"
#include "configstorec.h"

struct ConfigStoreStruct {
    std::shared_ptr<KivConfigStore::ConfigStore> engineStore;
};

namespace binding {

// The first member of both object handles: a worker that takes either handle as an untyped pointer
// reads the kind there. Both handle types keep a standard layout, so a handle and its first member
// share one address.
enum class HandleKind : unsigned char { Object, Filter };

}  // namespace binding

// A parent owns the child handles in `children`.
struct ConfigStoreObjectStruct {
    binding::HandleKind kind = binding::HandleKind::Object;
    std::shared_ptr<KivConfigStore::ConfigStoreObject> engineObject;
    binding::ChildTable<ConfigStoreObjectStruct> children;
    bool isTopLevel = true;
};

struct FilterSpecObjectStruct {
    binding::HandleKind kind = binding::HandleKind::Filter;
    std::shared_ptr<KivConfigStore::FilterSpecObject> engineObject;
    binding::ChildTable<FilterSpecObjectStruct> children;
    bool isTopLevel = true;
};

static_assert(std::is_standard_layout_v<ConfigStoreObjectStruct> &&
                  std::is_standard_layout_v<FilterSpecObjectStruct>,
              "a handle's kind is read through its address");

namespace binding {

// The engine object behind an object or filter handle given as an untyped pointer.
inline KivConfigStore::WritableObject& EngineValueObject(void* handle) {
    if (*static_cast<const HandleKind*>(handle) == HandleKind::Filter) {
        return *static_cast<FilterSpecObjectStruct*>(handle)->engineObject;
    }
    return *static_cast<ConfigStoreObjectStruct*>(handle)->engineObject;
}

}  // namespace binding

// A new handle holding one reference to the engine object: top-level handles belong to the caller,
// child handles to the parent whose `children` lists them.
template <class Handle>
Handle* NewHandle(decltype(Handle::engineObject) engineObject, bool isTopLevel) {
    auto* handle = new Handle;
    handle->engineObject = std::move(engineObject);
    handle->isTopLevel = isTopLevel;
    return handle;
}

// Turn engine objects into new top-level handles owned by the caller. An empty reference (or an
// empty list) gives CS_C_NOT_FOUND with a NULL output; list entries are not tested.
int WrapConfigStoreObject(std::shared_ptr<KivConfigStore::ConfigStoreObject> object,
                          ConfigStoreObjectStruct** handle);
int WrapConfigStoreObjectList(const KivConfigStore::ObjectList& objects,
                              ConfigStoreObjectStruct*** handles, int* count);

// Releases a filter handle of any kind with its cached children, depth first.
int DestroyFilterSpecObjectInternal(FilterSpecObjectStruct* filter);
