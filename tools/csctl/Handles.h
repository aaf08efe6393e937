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

// An array of `count` items that the library hands out and `release` takes back whole.
template <typename Item, ConfigStoreCStatus (*release)(Item***, int)>
class ReleasedList {
public:
    ReleasedList() = default;
    ReleasedList(const ReleasedList&) = delete;
    ReleasedList& operator=(const ReleasedList&) = delete;
    ~ReleasedList() { release(&items, count); }
    Item** items = nullptr;
    int count = 0;
};
using ErrorList = ReleasedList<ErrorInfoStruct, DestroyErrorInfoList>;  // a refused import's
using StringList = ReleasedList<char, DestroyStringArrayValue>;         // GetValueStringArray's

}  // namespace csctl
