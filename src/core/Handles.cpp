// Making top-level handles from engine objects, and destroying handle trees.
#include "Handles.h"

#include <utility>

#include "Buffers.h"
#include "Families.h"

using binding::Guard;
using binding::Untranslated;

namespace {

// Children go first, by key and then in list order; a handle's engine reference is released
// after those of all its descendants.
template <class Handle>
void DestroyTree(Handle* handle) {
    for (auto& entry : handle->children.Entries()) {
        for (Handle* child : entry.second) DestroyTree(child);
    }
    handle->children.Entries().clear();
    handle->engineObject.reset();
    delete handle;
}

}  // namespace

int WrapConfigStoreObject(std::shared_ptr<KivConfigStore::ConfigStoreObject> object,
                          ConfigStoreObjectStruct** handle) {
    if (!object) {
        *handle = nullptr;
        return CS_C_NOT_FOUND;
    }
    *handle = NewHandle<ConfigStoreObjectStruct>(std::move(object), true);
    return CS_C_OK;
}

int WrapConfigStoreObjectList(const KivConfigStore::ObjectList& objects,
                              ConfigStoreObjectStruct*** handles, int* count) {
    const int size = binding::CountOf(objects.size());
    *count = 0;
    if (size == 0) {
        *handles = nullptr;
        return CS_C_NOT_FOUND;
    }
    // Built aside and published whole: a failure part way leaves the caller nothing to release.
    auto array = binding::AllocateArray<ConfigStoreObjectStruct*>(size);
    int made = 0;
    try {
        for (; made < size; ++made)
            array[made] = NewHandle<ConfigStoreObjectStruct>(objects[made], true);
    } catch (...) {
        while (made > 0) DestroyTree(array[--made]);
        throw;
    }
    *handles = array.release();
    *count = size;
    return CS_C_OK;
}

ConfigStoreCStatus DestroyConfigStoreObjectInternal(ConfigStoreObjectStruct* object) {
    return Guard<Untranslated>("DestroyConfigStoreObjectInternal", [&] {
        DestroyTree(object);
        return CS_C_OK;
    });
}

int DestroyFilterSpecObjectInternal(FilterSpecObjectStruct* filter) {
    DestroyTree(filter);
    return CS_C_OK;
}
