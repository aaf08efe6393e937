// Fuzz target: the input is a sequence of calls of the C interface, every exported function,
// on the stand-in engine. Handles come from pools of earlier results and are used exactly as
// the header allows: child handles are never destroyed and are dropped with their parent,
// nothing is used after its release, and everything is released at the end of the input.
// Any result outside the interface's codes stops the run.
#include <fuzzer/FuzzedDataProvider.h>
#include <kivconfigstore/ConfigStore.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <limits>
#include <string>
#include <vector>

#include "FuzzStore.h"
#include "configstorec.h"

namespace {

using Engine = KivConfigStore::ConfigStore;
using Object = ConfigStoreObjectStruct;
using Filter = FilterSpecObjectStruct;

constexpr int kMaxCalls = 64;

// A handle in a pool; parent is null for a top-level handle.
template <class Handle>
struct Held {
    Handle* handle;
    Handle* parent;
};

// Value keys, also sub-object keys: names of the example schemas, reserved names, odd ones.
// clang-format off
const std::vector<std::string> kValueKeys = {
    "mtu", "enabled", "name", "servers", "timezone", "ntp", "description", "$subObjects",
    "IS_BOOT", "APPLY_BOOT", "BACKUP_FILES", "bad\xff\xfeutf8", std::string(300, 'k'),
    "address"};
// clang-format on
const std::vector<std::string> kKeys = {"interface", "clock", "address", "k"};
const std::vector<std::string> kGroups = {"interfaces", "time", "g"};
const std::vector<std::string> kComponents = {"network", "system", "c"};
const std::vector<std::string> kInstanceIds = {"eth0", "eth1", "v4", "1b4e28ba-2fa1"};
const std::vector<std::string> kNamespaces = {"global", "other", ".hidden", "bad/name"};
const std::vector<std::string> kContexts = {"EXTERNAL", "INTERNAL", "external"};
const std::vector<std::string> kDocuments = {
    "{}",
    R"({"mtu": 9000, "enabled": false, "servers": ["a", "b"]})",
    R"({"mtu": 1})",
    R"({"$subObjects": {"address": {"v4": {"address": "192.0.2.10/24"}, "": {}}}})",
    R"({"blob": {"$base64": "AQID"}, "bad": {"$base64": "!!"}})",
    R"({"format": "configstore/1", "objects": [{"key": "interface", "group": "interfaces",
        "component": "network", "instanceId": "eth0", "values": {"mtu": 9000}}]})",
    R"({"format": "configstore/1", "objects": [{"key": "clock", "group": "time",
        "component": "system", "class": "userData", "values": {"ntp": 1}}]})",
    "[1]",
    R"({"a": )"};

// Every result is one of the interface's codes, and a success leaves no last error.
void Check(ConfigStoreCStatus status) {
    if (status < CS_C_OK || status > CS_C_VALUE_IS_DEFAULT) std::abort();
    if (status == CS_C_OK && *ConfigStoreCLastError() != '\0') std::abort();
}

class Session {
public:
    explicit Session(FuzzedDataProvider& input) : in(input) {}
    ~Session() {
        EndCall();
        ReleaseAll();
    }

    FuzzedDataProvider& in;
    std::vector<ConfigStoreStruct*> stores;
    std::vector<Held<Object>> objects;
    std::vector<Held<Filter>> filters;
    std::vector<std::pair<ErrorInfoStruct**, int>> errorLists;
    std::vector<std::pair<char**, int>> stringLists;

    // Text of one call: NULL, empty, from a vocabulary, or the input's own bytes.
    const char* Text(const std::vector<std::string>& words) {
        const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, words.size() + 3);
        if (pick == 0) return nullptr;
        if (pick == 1) return Keep("");
        if (pick == 2) return Keep(in.ConsumeRandomLengthString(48));
        if (pick == 3) return Keep("..");
        return Keep(words[pick - 4]);
    }
    const char* Key() { return Text(kValueKeys); }
    const char* Context() { return Text(kContexts); }
    const char* Document() { return Text(kDocuments); }

    // A handle from a pool, or NULL.
    template <class Handle>
    Handle* Pick(const std::vector<Held<Handle>>& pool) {
        const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, pool.size());
        return pick < pool.size() ? pool[pick].handle : nullptr;
    }
    Object* AnObject() { return Pick(objects); }
    Filter* AFilter() { return Pick(filters); }
    ConfigStoreStruct* AStore() {
        const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, stores.size());
        return pick < stores.size() ? stores[pick] : nullptr;
    }
    // A top-level handle taken out of its pool with its children, or NULL.
    template <class Handle>
    Handle* TakeTopLevel(std::vector<Held<Handle>>& pool, bool allowNull) {
        std::vector<Handle*> tops;
        for (const auto& held : pool) {
            if (held.parent == nullptr) tops.push_back(held.handle);
        }
        const std::size_t limit = tops.size() - (allowNull || tops.empty() ? 0 : 1);
        const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, limit);
        if (pick >= tops.size()) return nullptr;
        Drop(pool, tops[pick], true);
        return tops[pick];
    }

    template <class Handle>
    void Adopt(std::vector<Held<Handle>>& pool, Handle* handle, Handle* parent = nullptr) {
        if (handle == nullptr) return;
        for (const auto& held : pool) {
            if (held.handle == handle) return;
        }
        pool.push_back({handle, parent});
    }
    // Forgets a handle's children and their descendants, and the handle itself when asked.
    template <class Handle>
    void Drop(std::vector<Held<Handle>>& pool, Handle* handle, bool itself) {
        std::vector<Handle*> gone{handle};
        for (std::size_t i = 0; i < gone.size(); ++i) {
            for (const auto& held : pool) {
                if (held.parent == gone[i]) gone.push_back(held.handle);
            }
        }
        pool.erase(std::remove_if(pool.begin(), pool.end(),
                                  [&](const Held<Handle>& held) {
                                      return (itself || held.handle != handle) &&
                                             std::count(gone.begin(), gone.end(), held.handle);
                                  }),
                   pool.end());
    }

    // An array of up to four pool entries (NULL among them) and a count that may be zero or
    // negative but never exceeds the array.
    template <class Handle>
    std::vector<Handle*> Array(const std::vector<Held<Handle>>& pool, int* count) {
        std::vector<Handle*> array(in.ConsumeIntegralInRange<std::size_t>(0, 4));
        for (auto& entry : array) entry = Pick(pool);
        *count = in.ConsumeIntegralInRange<int>(-1, static_cast<int>(array.size()));
        return array;
    }

    template <class T>
    T Number() {
        if constexpr (std::is_same_v<T, bool>) {
            return in.ConsumeBool();
        } else if constexpr (std::is_floating_point_v<T>) {
            switch (in.ConsumeIntegralInRange(0, 3)) {
                case 0:
                    return std::numeric_limits<T>::quiet_NaN();
                case 1:
                    return -std::numeric_limits<T>::infinity();
                case 2:
                    return static_cast<T>(0.1);
                default:
                    return in.ConsumeFloatingPoint<T>();
            }
        } else {
            return in.ConsumeIntegral<T>();
        }
    }

    // Outputs of one call: texts it hands out are freed, handles join their pools after it.
    char** Out() { return &outputs.emplace_back(nullptr); }
    Object** NewObject() { return &newObjects.emplace_back(nullptr); }
    Filter** NewFilter() { return &newFilters.emplace_back(nullptr); }

    void EndCall() {
        for (Object* object : newObjects) Adopt(objects, object);
        for (Filter* filter : newFilters) Adopt(filters, filter);
        for (char* text : outputs) std::free(text);
        newObjects.clear(), newFilters.clear(), outputs.clear(), texts.clear();
    }

private:
    std::deque<std::string> texts;
    std::deque<char*> outputs;
    std::deque<Object*> newObjects;
    std::deque<Filter*> newFilters;

    const char* Keep(std::string text) { return texts.emplace_back(std::move(text)).c_str(); }

    void ReleaseAll() {
        for (auto& [list, count] : stringLists) Check(DestroyStringArrayValue(&list, count));
        for (auto& [list, count] : errorLists) Check(DestroyErrorInfoList(&list, count));
        for (const auto& held : objects) {
            if (held.parent == nullptr) Check(DestroyConfigStoreObject(held.handle));
        }
        for (const auto& held : filters) {
            if (held.parent == nullptr) Check(DestroyFilterSpecObject(held.handle));
        }
        for (ConfigStoreStruct* store : stores) Check(DestroyStore(store));
    }
};

// ---- Call shapes shared by families of functions -----------------------------------------

template <class Handle>
Handle* HandleOf(Session& s) {
    if constexpr (std::is_same_v<Handle, Object>)
        return s.AnObject();
    else
        return s.AFilter();
}

template <class Handle, class T>
void Read(Session& s, ConfigStoreCStatus (*read)(Handle*, const char*, T*)) {
    T value{};
    Check(read(HandleOf<Handle>(s), s.Key(), &value));
    if constexpr (std::is_pointer_v<T>) std::free(value);
}

template <class Handle, class T>
void Write(Session& s, ConfigStoreCStatus (*write)(Handle*, const char*, T)) {
    Check(write(HandleOf<Handle>(s), s.Key(), s.Number<T>()));
}

template <class Handle>
void WriteText(Session& s, ConfigStoreCStatus (*write)(Handle*, const char*, const char*)) {
    Check(write(HandleOf<Handle>(s), s.Key(), s.Text(kValueKeys)));
}

template <class Handle>
void WriteBinary(Session& s, ConfigStoreCStatus (*write)(Handle*, const char*, const unsigned char*,
                                                         unsigned long)) {
    const std::vector<unsigned char> bytes =
        s.in.ConsumeBytes<unsigned char>(s.in.ConsumeIntegralInRange<std::size_t>(0, 16));
    const unsigned char* data = s.in.ConsumeBool() ? nullptr : bytes.data();
    Check(write(HandleOf<Handle>(s), s.Key(), data, bytes.size()));
}

template <class Handle>
void ReadBinary(Session& s,
                ConfigStoreCStatus (*read)(Handle*, const char*, unsigned char**, unsigned long*)) {
    unsigned char* data = nullptr;
    unsigned long size = 0;
    Check(read(HandleOf<Handle>(s), s.Key(), &data, &size));
    std::free(data);
}

template <class Handle, class T>
void ReadList(Session& s, ConfigStoreCStatus (*read)(Handle*, const char*, T**, int*)) {
    T* values = nullptr;
    int count = 0;
    Check(read(HandleOf<Handle>(s), s.Key(), &values, &count));
    if constexpr (std::is_same_v<T, char*>) {
        if (values != nullptr) s.stringLists.emplace_back(values, count);
    } else {
        std::free(values);
    }
}

template <class Handle>
void KeyOnly(Session& s, ConfigStoreCStatus (*operation)(Handle*, const char*)) {
    Check(operation(HandleOf<Handle>(s), s.Key()));
}

// Operations on an identity: key, group, component and, where taken, an instance id.
struct Identity {
    const char* key;
    const char* group;
    const char* component;
    const char* instanceId;
};
Identity IdentityOf(Session& s) {
    return {s.Text(kKeys), s.Text(kGroups), s.Text(kComponents), s.Text(kInstanceIds)};
}

void FetchObject(Session& s,
                 ConfigStoreCStatus (*fetch)(ConfigStoreStruct*, const char*, const char*,
                                             const char*, const char*, Object**)) {
    const Identity id = IdentityOf(s);
    Check(fetch(s.AStore(), id.key, id.group, id.component, id.instanceId, s.NewObject()));
}

void TakeObjects(Session& s, Object** list, int count) {
    for (int i = 0; i < count; ++i) s.Adopt(s.objects, list[i]);
    std::free(list);
}

void FilterList(Session& s,
                ConfigStoreCStatus (*list)(ConfigStoreStruct*, Filter*, Object***, int*)) {
    Object** objects = nullptr;
    int count = 0;
    Check(list(s.AStore(), s.AFilter(), &objects, &count));
    TakeObjects(s, objects, count);
}

// Writes that take a context are given one.
template <class Parameter>
const char* ContextFor(Session& s) {
    return s.Context();
}

template <class... Context>
void WriteObject(Session& s, ConfigStoreCStatus (*write)(ConfigStoreStruct*, Object*, Context...)) {
    Check(write(s.AStore(), s.AnObject(), ContextFor<Context>(s)...));
}

template <class... Context>
void WriteList(Session& s,
               ConfigStoreCStatus (*write)(ConfigStoreStruct*, Object**, int, Context...)) {
    int count = 0;
    std::vector<Object*> list = s.Array(s.objects, &count);
    Check(
        write(s.AStore(), list.empty() ? nullptr : list.data(), count, ContextFor<Context>(s)...));
}

void Transaction(Session& s, ConfigStoreCStatus (*operation)(ConfigStoreStruct*)) {
    Check(operation(s.AStore()));
}

template <class Operation>
Operation OneOf(Session& s, std::initializer_list<Operation> operations) {
    return operations.begin()[s.in.ConsumeIntegralInRange<std::size_t>(0, operations.size() - 1)];
}

void ErrorText(Session& s, ConfigStoreCStatus (*read)(ErrorInfoStruct*, char**)) {
    ErrorInfoStruct* info = nullptr;
    if (!s.errorLists.empty()) {
        const auto& [list, count] =
            s.errorLists[s.in.ConsumeIntegralInRange<std::size_t>(0, s.errorLists.size() - 1)];
        if (count > 0) info = list[s.in.ConsumeIntegralInRange(0, count - 1)];
    }
    char* text = nullptr;
    Check(read(info, &text));
    std::free(text);
}

// A list of the pool, released through its destroy function; NULL with count 0 releases nothing.
template <class List>
void DestroyList(Session& s, std::vector<std::pair<List*, int>>& pool,
                 ConfigStoreCStatus (*destroy)(List**, int)) {
    List* none = nullptr;
    if (pool.empty() || s.in.ConsumeBool()) {
        Check(destroy(s.in.ConsumeBool() ? nullptr : &none, 0));
        return;
    }
    const std::size_t pick = s.in.ConsumeIntegralInRange<std::size_t>(0, pool.size() - 1);
    Check(destroy(&pool[pick].first, pool[pick].second));
    pool.erase(pool.begin() + static_cast<std::ptrdiff_t>(pick));
}

void SubObject(Session& s,
               ConfigStoreCStatus (*find)(Object*, const char*, const char*, Object**)) {
    Object* parent = s.AnObject();
    Object* child = nullptr;
    Check(find(parent, s.Key(), s.Text(kInstanceIds), &child));
    s.Adopt(s.objects, child, parent);
}

void SubFilter(Session& s,
               ConfigStoreCStatus (*find)(Filter*, const char*, const char*, Filter**)) {
    Filter* parent = s.AFilter();
    Filter* child = nullptr;
    Check(find(parent, s.Key(), s.Text(kInstanceIds), &child));
    s.Adopt(s.filters, child, parent);
}

// ---- Calls with shapes of their own -----------------------------------------------------

void CloseStore(Session& s) {
    const std::size_t pick = s.in.ConsumeIntegralInRange<std::size_t>(0, s.stores.size());
    ConfigStoreStruct* store = pick < s.stores.size() ? s.stores[pick] : nullptr;
    if (store != nullptr) s.stores.erase(s.stores.begin() + static_cast<std::ptrdiff_t>(pick));
    Check(DestroyStore(store));
}

void SelectedSubObjects(Session& s) {
    Object* parent = s.AnObject();
    Object** children = nullptr;
    int count = 0;
    Check(GetSubObjectInstances(parent, s.AFilter(), &children, &count));
    for (int i = 0; i < count; ++i) s.Adopt(s.objects, children[i], parent);
    std::free(children);
}

// A deleted sub-object's handle is gone: every child of the parent is forgotten, which covers
// it whatever the instance ids and whatever the filter selects.
template <class Handle, class Selection>
void DeleteChildren(Session& s, std::vector<Held<Handle>>& pool, Selection select) {
    Handle* parent = HandleOf<Handle>(s);
    Check(select(parent));
    if (parent != nullptr) s.Drop(pool, parent, false);
}

// ---- The table: one entry per exported function ------------------------------------------

struct Call {
    const char* name;
    void (*run)(Session&);
};

#define FAMILY(shape, function) [](Session& s) { shape(s, function); }

// clang-format off
const Call kCalls[] = {
    {"GetStore", [](Session& s) {
        ConfigStoreStruct* store = nullptr;
        Check(GetStore(s.Text(kNamespaces), &store));
        if (store != nullptr) s.stores.push_back(store); }},
    {"DestroyStore", CloseStore},
    {"DestroyConfigStoreObject", [](Session& s) { Check(DestroyConfigStoreObject(s.TakeTopLevel(s.objects, true))); }},
    // A live handle only; a child's parent would keep its entry, so top-level ones only.
    {"DestroyConfigStoreObjectInternal", [](Session& s) {
        Object* object = s.TakeTopLevel(s.objects, false);
        if (object != nullptr) Check(DestroyConfigStoreObjectInternal(object)); }},
    {"DestroyFilterSpecObject", [](Session& s) { Check(DestroyFilterSpecObject(s.TakeTopLevel(s.filters, true))); }},
    {"Get", FAMILY(FetchObject, Get)},
    {"GetDefaultConfig", FAMILY(FetchObject, GetDefaultConfig)},
    {"GetDesiredUserConfig", [](Session& s) {
        const Identity id = IdentityOf(s);
        Check(GetDesiredUserConfig(id.key, id.group, id.component, id.instanceId, s.NewObject())); }},
    {"CreateObject", [](Session& s) {
        const Identity id = IdentityOf(s);
        const char* document = s.Document();
        Check(CreateObject(id.key, id.group, id.component, id.instanceId, document, s.NewObject())); }},
    {"CreateFilterSpecObject", [](Session& s) {
        const Identity id = IdentityOf(s);
        Check(CreateFilterSpecObject(id.key, id.group, id.component, id.instanceId, s.NewFilter())); }},
    {"GetConfigStoreObjectId", [](Session& s) { Check(GetConfigStoreObjectId(s.AnObject(), s.Out(), s.Out(), s.Out(), s.Out())); }},
    {"GetVersion", [](Session& s) { Check(GetVersion(s.AnObject(), s.Out())); }},
    {"GetSchemaVersion", [](Session& s) {
        const Identity id = IdentityOf(s);
        Check(GetSchemaVersion(id.key, id.group, id.component, s.Out())); }},
    {"GenerateInstanceId", [](Session& s) { Check(GenerateInstanceId(s.Out())); }},
    {"ConfigStoreCLastError", [](Session&) { if (ConfigStoreCLastError() == nullptr) std::abort(); }},
    {"ConfigStoreCStatusName", [](Session& s) {
        if (ConfigStoreCStatusName(s.Number<int>()) == nullptr) std::abort(); }},
    {"GetValueInt", FAMILY(Read, GetValueInt)},
    {"GetValueUint16", FAMILY(Read, GetValueUint16)},
    {"GetValueUint32", FAMILY(Read, GetValueUint32)},
    {"GetValueLong", FAMILY(Read, GetValueLong)},
    {"GetValueLonglong", FAMILY(Read, GetValueLonglong)},
    {"GetValueBool", FAMILY(Read, GetValueBool)},
    {"GetValueDouble", FAMILY(Read, GetValueDouble)},
    {"GetValueStr", FAMILY(Read, GetValueStr)},
    {"GetValueFsoInt", FAMILY(Read, GetValueFsoInt)},
    {"GetValueFsoUint16", FAMILY(Read, GetValueFsoUint16)},
    {"GetValueFsoUint32", FAMILY(Read, GetValueFsoUint32)},
    {"GetValueFsoLong", FAMILY(Read, GetValueFsoLong)},
    {"GetValueFsoLonglong", FAMILY(Read, GetValueFsoLonglong)},
    {"GetValueFsoBool", FAMILY(Read, GetValueFsoBool)},
    {"GetValueFsoDouble", FAMILY(Read, GetValueFsoDouble)},
    {"GetValueFsoStr", FAMILY(Read, GetValueFsoStr)},
    {"SetValueInt", FAMILY(Write, SetValueInt)},
    {"SetValueUint16", FAMILY(Write, SetValueUint16)},
    {"SetValueUint32", FAMILY(Write, SetValueUint32)},
    {"SetValueLong", FAMILY(Write, SetValueLong)},
    {"SetValueLonglong", FAMILY(Write, SetValueLonglong)},
    {"SetValueBool", FAMILY(Write, SetValueBool)},
    {"SetValueDouble", FAMILY(Write, SetValueDouble)},
    {"SetValueFloat", FAMILY(Write, SetValueFloat)},
    {"SetValueFsoInt", FAMILY(Write, SetValueFsoInt)},
    {"SetValueFsoUint16", FAMILY(Write, SetValueFsoUint16)},
    {"SetValueFsoUint32", FAMILY(Write, SetValueFsoUint32)},
    {"SetValueFsoLong", FAMILY(Write, SetValueFsoLong)},
    {"SetValueFsoLonglong", FAMILY(Write, SetValueFsoLonglong)},
    {"SetValueFsoBool", FAMILY(Write, SetValueFsoBool)},
    {"SetValueFsoDouble", FAMILY(Write, SetValueFsoDouble)},
    {"SetValueFsoFloat", FAMILY(Write, SetValueFsoFloat)},
    {"SetValueStr", FAMILY(WriteText, SetValueStr)},
    {"SetValueFsoStr", FAMILY(WriteText, SetValueFsoStr)},
    {"AppendValueInt", FAMILY(Write, AppendValueInt)},
    {"AppendValueLonglong", FAMILY(Write, AppendValueLonglong)},
    {"AppendValueDouble", FAMILY(Write, AppendValueDouble)},
    {"AppendValueBool", FAMILY(Write, AppendValueBool)},
    {"AppendValueString", FAMILY(WriteText, AppendValueString)},
    {"AppendValueFsoInt", FAMILY(Write, AppendValueFsoInt)},
    {"AppendValueFsoLonglong", FAMILY(Write, AppendValueFsoLonglong)},
    {"AppendValueFsoDouble", FAMILY(Write, AppendValueFsoDouble)},
    {"AppendValueFsoBool", FAMILY(Write, AppendValueFsoBool)},
    {"AppendValueFsoString", FAMILY(WriteText, AppendValueFsoString)},
    {"RemoveValue", FAMILY(KeyOnly, RemoveValue)},
    {"RemoveValueFso", FAMILY(KeyOnly, RemoveValueFso)},
    {"SetValueEmptyList", FAMILY(KeyOnly, SetValueEmptyList)},
    {"SetValueFsoEmptyList", FAMILY(KeyOnly, SetValueFsoEmptyList)},
    {"SetValueBinary", FAMILY(WriteBinary, SetValueBinary)},
    {"SetValueFsoBinary", FAMILY(WriteBinary, SetValueFsoBinary)},
    {"GetValueBinary", FAMILY(ReadBinary, GetValueBinary)},
    {"GetValueFsoBinary", FAMILY(ReadBinary, GetValueFsoBinary)},
    {"GetValueStringArray", FAMILY(ReadList, GetValueStringArray)},
    {"GetValueFsoStringArray", FAMILY(ReadList, GetValueFsoStringArray)},
    {"GetValueIntArray", FAMILY(ReadList, GetValueIntArray)},
    {"GetValueDoubleArray", FAMILY(ReadList, GetValueDoubleArray)},
    {"GetValueLonglongArray", FAMILY(ReadList, GetValueLonglongArray)},
    {"GetValueBoolArray", FAMILY(ReadList, GetValueBoolArray)},
    {"GetValueFsoIntArray", FAMILY(ReadList, GetValueFsoIntArray)},
    {"GetValueFsoDoubleArray", FAMILY(ReadList, GetValueFsoDoubleArray)},
    {"GetValueFsoLonglongArray", FAMILY(ReadList, GetValueFsoLonglongArray)},
    {"GetValueFsoBoolArray", FAMILY(ReadList, GetValueFsoBoolArray)},
    {"GetValueStringArrayInternal", [](Session& s) {
        void* handle = s.in.ConsumeBool() ? static_cast<void*>(s.AnObject()) : s.AFilter();
        char** values = nullptr;
        int count = 0;
        Check(GetValueStringArrayInternal(handle, s.Key(), &values, &count, "fuzz"));
        if (values != nullptr) s.stringLists.emplace_back(values, count); }},
    {"DestroyStringArrayValue", [](Session& s) { DestroyList(s, s.stringLists, DestroyStringArrayValue); }},
    {"Set", FAMILY(WriteObject, Set)},
    {"Update", FAMILY(WriteObject, Update)},
    {"SetUserData", FAMILY(WriteObject, SetUserData)},
    {"SetVitalData", FAMILY(WriteObject, SetVitalData)},
    {"SetCachedData", FAMILY(WriteObject, SetCachedData)},
    {"Delete", [](Session& s) {
        const Identity id = IdentityOf(s);
        Check(Delete(s.AStore(), id.key, id.group, id.component, id.instanceId)); }},
    {"DeleteInstances", [](Session& s) { Check(DeleteInstances(s.AStore(), s.AFilter())); }},
    {"SetBootStatus", [](Session& s) {
        const Identity id = IdentityOf(s);
        Check(SetBootStatus(id.key, id.group, id.component, id.instanceId, s.in.ConsumeBool())); }},
    {"GetInstances", FAMILY(FilterList, GetInstances)},
    {"GetDefaultConfigInstances", FAMILY(FilterList, GetDefaultConfigInstances)},
    {"GetInstancesCInternal", [](Session& s) {
        const auto read = OneOf(s, {&Engine::GetInstances, &Engine::GetDefaultConfigInstances});
        Object** objects = nullptr;
        int count = 0;
        Check(GetInstancesCInternal(s.AStore(), s.AFilter(), &objects, &count, read, "fuzz"));
        TakeObjects(s, objects, count); }},
    {"GetDesiredUserConfigInstances", [](Session& s) {
        const Identity id = IdentityOf(s);
        Object** objects = nullptr;
        int count = 0;
        Check(GetDesiredUserConfigInstances(id.key, id.group, id.component, &objects, &count));
        TakeObjects(s, objects, count); }},
    {"SetInstances", FAMILY(WriteList, SetInstances)},
    {"SetUserDataInstances", FAMILY(WriteList, SetUserDataInstances)},
    {"SetVitalDataInstances", FAMILY(WriteList, SetVitalDataInstances)},
    {"SetCachedDataInstances", FAMILY(WriteList, SetCachedDataInstances)},
    {"SetInstancesCInternal", [](Session& s) {
        int count = 0;
        std::vector<Object*> list = s.Array(s.objects, &count);
        const auto write = OneOf(s, {&Engine::SetVitalDataInstances, &Engine::SetCachedDataInstances});
        Check(SetInstancesCInternal(s.AStore(), list.data(), count, write, "fuzz")); }},
    {"SetInstancesCInternalContext", [](Session& s) {
        int count = 0;
        std::vector<Object*> list = s.Array(s.objects, &count);
        const auto write = OneOf(s, {&Engine::SetInstances, &Engine::SetUserDataInstances});
        Check(SetInstancesCInternalContext(s.AStore(), list.data(), count, write, s.Context(), "fuzz")); }},
    {"BeginTransaction", FAMILY(Transaction, BeginTransaction)},
    {"CommitTransaction", FAMILY(Transaction, CommitTransaction)},
    {"CancelTransaction", FAMILY(Transaction, CancelTransaction)},
    {"TransactionInternal", [](Session& s) {
        const auto operation = OneOf(
            s, {&Engine::BeginTransaction, &Engine::CommitTransaction, &Engine::CancelTransaction});
        Check(TransactionInternal(s.AStore(), operation, "fuzz")); }},
    {"Import", [](Session& s) {
        ErrorInfoStruct** errors = nullptr;
        int count = 0;
        Check(Import(s.Document(), &errors, &count));
        if (errors != nullptr) s.errorLists.emplace_back(errors, count); }},
    {"GetErrorInfoKey", FAMILY(ErrorText, GetErrorInfoKey)},
    {"GetErrorInfoMessage", FAMILY(ErrorText, GetErrorInfoMessage)},
    {"DestroyErrorInfoList", [](Session& s) { DestroyList(s, s.errorLists, DestroyErrorInfoList); }},
    {"Export", [](Session& s) {
        int count = 0;
        std::vector<Filter*> list = s.Array(s.filters, &count);
        Check(Export(list.empty() ? nullptr : list.data(), count, s.Out())); }},
    {"CreateSubObject", FAMILY(SubObject, CreateSubObject)},
    {"GetSubObject", FAMILY(SubObject, GetSubObject)},
    {"GetSubObjectInstances", SelectedSubObjects},
    {"DeleteSubObject", [](Session& s) {
        DeleteChildren(s, s.objects, [&](Object* parent) {
            return DeleteSubObject(parent, s.Key(), s.Text(kInstanceIds)); }); }},
    {"DeleteSubObjectInstances", [](Session& s) {
        DeleteChildren(s, s.objects, [&](Object* parent) {
            return DeleteSubObjectInstances(parent, s.AFilter()); }); }},
    {"CreateSubObjectFilter", FAMILY(SubFilter, CreateSubObjectFilter)},
    {"GetSubObjectFilter", FAMILY(SubFilter, GetSubObjectFilter)},
    {"DeleteSubObjectFilter", [](Session& s) {
        DeleteChildren(s, s.filters, [&](Filter* parent) {
            return DeleteSubObjectFilter(parent, s.Key(), s.Text(kInstanceIds)); }); }},
};
// clang-format on

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    SetUpFuzzStore();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    {
        Session session(input);
        for (int call = 0; call < kMaxCalls && input.remaining_bytes() > 0; ++call) {
            kCalls[input.ConsumeIntegralInRange<std::size_t>(0, std::size(kCalls) - 1)].run(
                session);
            session.EndCall();
        }
    }
    EmptyFuzzStore();
    return 0;
}
