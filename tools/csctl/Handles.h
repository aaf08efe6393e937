// Owners of every handle and buffer the library hands to csctl, so that no path leaks one.
#pragma once

#include <configstorec.h>

#include <cstdlib>
#include <memory>

namespace csctl {

struct StoreRelease {
    void operator()(ConfigStoreStruct* store) const { DestroyStore(store); }
};
struct ObjectRelease {
    void operator()(ConfigStoreObjectStruct* object) const { DestroyConfigStoreObject(object); }
};
struct FilterRelease {
    void operator()(FilterSpecObjectStruct* filter) const { DestroyFilterSpecObject(filter); }
};
struct MemoryRelease {
    void operator()(void* memory) const { std::free(memory); }
};

using Store = std::unique_ptr<ConfigStoreStruct, StoreRelease>;
using Object = std::unique_ptr<ConfigStoreObjectStruct, ObjectRelease>;
using Filter = std::unique_ptr<FilterSpecObjectStruct, FilterRelease>;
template <typename T>
using Buffer = std::unique_ptr<T, MemoryRelease>;
using Text = Buffer<char>;

// An array of handles with a count, as GetInstances hands it out.
class ObjectList {
public:
    ObjectList() = default;
    ObjectList(const ObjectList&) = delete;
    ObjectList& operator=(const ObjectList&) = delete;
    ~ObjectList() {
        for (int i = 0; i < count; ++i) DestroyConfigStoreObject(objects[i]);
        std::free(objects);
    }
    ConfigStoreObjectStruct** objects = nullptr;
    int count = 0;
};

// The error entries of a refused import.
class ErrorList {
public:
    ErrorList() = default;
    ErrorList(const ErrorList&) = delete;
    ErrorList& operator=(const ErrorList&) = delete;
    ~ErrorList() { DestroyErrorInfoList(&entries, count); }
    ErrorInfoStruct** entries = nullptr;
    int count = 0;
};

// A string list from GetValueStringArray.
class StringList {
public:
    StringList() = default;
    StringList(const StringList&) = delete;
    StringList& operator=(const StringList&) = delete;
    ~StringList() { DestroyStringArrayValue(&strings, count); }
    char** strings = nullptr;
    int count = 0;
};

}  // namespace csctl
