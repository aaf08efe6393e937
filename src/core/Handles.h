// The bodies of the opaque handles the C interface hands out.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <kivconfigstore/ConfigStore.h>

#include "configstorec.h"

struct ConfigStoreStruct {
    std::shared_ptr<KivConfigStore::ConfigStore> engineStore;
};

// engineObject comes first in both object handles, so code that needs only the engine object
// can take either handle. A parent owns the child handles in `children`, keyed by sub-object key.
struct ConfigStoreObjectStruct {
    std::shared_ptr<KivConfigStore::ConfigStoreObject> engineObject;
    std::map<std::string, std::vector<ConfigStoreObjectStruct*>> children;
    bool isTopLevel = true;
};

struct FilterSpecObjectStruct {
    std::shared_ptr<KivConfigStore::FilterSpecObject> engineObject;
    std::map<std::string, std::vector<FilterSpecObjectStruct*>> children;
    bool isTopLevel = true;
};

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
