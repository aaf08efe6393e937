// One row per exported function: the call the sweep makes fail, on the handles of sweep::Handles.
#include <kivconfigstore/ConfigStore.h>

#include "Sweep.h"

namespace sweep {
namespace {

using Engine = KivConfigStore::ConfigStore;

#define CALL(expr)                                  \
    [](Handles& h, Outputs& o, Scalars& s) -> int { \
        (void)h, (void)o, (void)s;                  \
        return expr;                                \
    }
// The row of a function called directly: its name, and the call with these arguments.
#define ROW(function, ...) #function, CALL(function(__VA_ARGS__))
// The rows of a value function and its Fso twin, which makes the same call on the filter spec.
// clang-format off
#define TWINS(verb, type, ...) \
    {ROW(verb##type, h.object, __VA_ARGS__)}, {ROW(verb##Fso##type, h.filter, __VA_ARGS__)}
// clang-format on

const unsigned char kBytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr char kDocument[] =
    R"({"format": "configstore/1", "objects": [{"key": "vane", "group": "g", "component": "c",)"
    R"( "values": {"i": 3, "s": "imported text"}}, {"key": "fan", "group": "g", "component": "c",)"
    R"( "values": {"i": 4}}]})";

// The handle leaves the fixture's hands before it is destroyed. One already taken (in the calls
// fuzz target's sequences) is not offered again: the internal release takes live handles only.
template <class Handle>
int Take(Handle*& handle, int (*destroy)(Handle*)) {
    if (handle == nullptr) return CS_C_INVALID_ARGUMENT;
    Handle* taken = handle;
    handle = nullptr;
    return destroy(taken);
}

// A released list is no output any more.
template <class T>
int Spent(int result, T*& list, int& count) {
    list = Unset<T>();
    count = -1;
    return result;
}

// Changes both objects in memory, so that a store write has something to store.
void Change(Handles& h, Outputs&) {
    SetValueInt(h.object, "i", 6);
    SetValueStr(h.object, "s", "changed text long enough for the heap");
    SetValueInt(h.other, "i", 8);
    for (int i = 0; i < 2; ++i) SetValueInt(h.instances[i], "mtu", 1300 + i);
}

void ChangeInTransaction(Handles& h, Outputs& o) {
    BeginTransaction(h.store);
    Change(h, o);
    Set(h.store, h.object, nullptr);
}

#define PREPARE(expr) [](Handles& h, Outputs& o) { (void)h, (void)o, (void)(expr); }
const auto Refused = PREPARE(Import("{", &o.errors, &o.errorCount));
const auto StringList = PREPARE(GetValueStringArray(h.object, "sl", &o.strings, &o.count));
const auto SubFilter = PREPARE(CreateSubObjectFilter(h.filter, "blade", nullptr, &o.subFilter));

const Row kRows[] = {
    // Handles
    {ROW(GetStore, nullptr, &o.store), kStore},
    {"DestroyStore", CALL(Take(h.store, DestroyStore))},
    {"DestroyConfigStoreObject", CALL(Take(h.other, DestroyConfigStoreObject))},
    {"DestroyConfigStoreObjectInternal", CALL(Take(h.other, DestroyConfigStoreObjectInternal))},
    {"DestroyFilterSpecObject", CALL(Take(h.interfaces, DestroyFilterSpecObject))},

    // Objects and their identity
    {ROW(Get, h.store, "fan", "g", "c", nullptr, &o.object), kStore},
    {ROW(GetDefaultConfig, h.store, "clock", "time", "system", "", &o.object), kStore},
    {ROW(GetDesiredUserConfig, "fan", "g", "c", nullptr, &o.object), kStore},
    {ROW(CreateObject, "fan", "g", "c", "7", R"({"i": 1, "s": "t"})", &o.object), kStore},
    {ROW(CreateFilterSpecObject, "fan", "g", "c", "1", &o.filter)},
    {ROW(GetConfigStoreObjectId, h.object, &o.parts[0], &o.parts[1], &o.parts[2], &o.parts[3])},
    {ROW(GetVersion, h.object, &o.text)},
    {ROW(GetSchemaVersion, "clock", "time", "system", &o.text), kStore},
    {ROW(GenerateInstanceId, &o.text)},

    // Scalar values
    TWINS(GetValue, Int, "i", &s.i),
    TWINS(GetValue, Uint16, "u", &s.u16),
    TWINS(GetValue, Uint32, "u", &s.u32),
    TWINS(GetValue, Long, "l", &s.l),
    TWINS(GetValue, Longlong, "ll", &s.ll),
    TWINS(GetValue, Bool, "b", &s.b),
    TWINS(GetValue, Double, "d", &s.d),
    TWINS(SetValue, Int, "new", 1),
    TWINS(SetValue, Uint16, "new", 2),
    TWINS(SetValue, Uint32, "new", 3),
    TWINS(SetValue, Long, "new", 4),
    TWINS(SetValue, Longlong, "new", 5),
    TWINS(SetValue, Bool, "new", true),
    TWINS(SetValue, Double, "new", 6.5),
    TWINS(SetValue, Float, "new", 7.5f),
    TWINS(AppendValue, Int, "il", 3),
    TWINS(AppendValue, Longlong, "lll", 5),
    TWINS(AppendValue, Double, "dl", 3.5),
    TWINS(AppendValue, Bool, "bl", true),
    {ROW(RemoveValue, h.object, "i")},
    {ROW(RemoveValueFso, h.filter, "i")},

    // Strings, lists and binary values
    {ROW(GetValueStr, h.object, "s", &o.text), kEmptyText},
    {ROW(GetValueFsoStr, h.filter, "s", &o.text), kEmptyText},
    TWINS(GetValue, StringArray, "sl", &o.strings, &o.count),
    {ROW(GetValueStringArrayInternal, h.object, "sl", &o.strings, &o.count, "GetValueStringArray")},
    {"DestroyStringArrayValue",
     CALL(Spent(DestroyStringArrayValue(&o.strings, o.count), o.strings, o.count)), 0, StringList},
    TWINS(GetValue, Binary, "bin", &o.bytes, &o.size),
    TWINS(GetValue, IntArray, "il", &o.ints, &o.count),
    TWINS(GetValue, DoubleArray, "dl", &o.doubles, &o.count),
    TWINS(GetValue, LonglongArray, "lll", &o.longs, &o.count),
    TWINS(GetValue, BoolArray, "bl", &o.bools, &o.count),
    TWINS(SetValue, Str, "s", "a new text long enough for the heap"),
    TWINS(AppendValue, String, "sl", "an element long enough too"),
    TWINS(SetValue, Binary, "bin", kBytes, sizeof kBytes),
    TWINS(SetValue, EmptyList, "il"),

    // Store writes
    {ROW(Set, h.store, h.object, nullptr), kStore | kWrites, Change},
    {ROW(Update, h.store, h.object, "INTERNAL"), kStore | kWrites, Change},
    {ROW(SetUserData, h.store, h.object, nullptr), kStore | kWrites, Change},
    {ROW(SetVitalData, h.store, h.object), kStore | kWrites, Change},
    {ROW(SetCachedData, h.store, h.object), kStore | kWrites, Change},
    {ROW(Delete, h.store, "fan", "g", "c", nullptr), kStore | kWrites},
    {ROW(DeleteInstances, h.store, h.filter), kStore | kWrites},
    {ROW(SetBootStatus, "fan", "g", "c", nullptr, true), kStore | kWrites},
    {ROW(SetInstances, h.store, h.instances, 2, "INTERNAL"), kStore | kWrites, Change},
    {ROW(SetUserDataInstances, h.store, h.instances, 2, "INTERNAL"), kStore | kWrites, Change},
    {ROW(SetVitalDataInstances, h.store, h.instances, 2), kStore | kWrites, Change},
    {ROW(SetCachedDataInstances, h.store, h.instances, 2), kStore | kWrites, Change},
    {ROW(SetInstancesCInternal, h.store, h.instances, 2, &Engine::SetVitalDataInstances, "Vital"),
     kStore | kWrites, Change},
    {ROW(SetInstancesCInternalContext, h.store, h.instances, 2, &Engine::SetInstances, "INTERNAL",
         "Set"),
     kStore | kWrites, Change},

    // Lists of objects
    {ROW(GetInstances, h.store, h.filter, &o.objects, &o.count), kStore},
    {ROW(GetDefaultConfigInstances, h.store, h.interfaces, &o.objects, &o.count), kStore},
    {ROW(GetDesiredUserConfigInstances, "fan", "g", "c", &o.objects, &o.count), kStore},
    {ROW(GetInstancesCInternal, h.store, h.filter, &o.objects, &o.count, &Engine::GetInstances,
         "Instances"),
     kStore},

    // Transactions
    {ROW(BeginTransaction, h.store), kStore | kWrites},
    {ROW(CommitTransaction, h.store), kStore | kWrites, ChangeInTransaction},
    {ROW(CancelTransaction, h.store), kStore | kWrites, ChangeInTransaction},
    {ROW(TransactionInternal, h.store, &Engine::CommitTransaction, "Commit"), kStore | kWrites,
     ChangeInTransaction},

    // Import and export
    {ROW(Import, kDocument, &o.errors, &o.errorCount), kStore | kWrites},
    {ROW(GetErrorInfoKey, o.errors[0], &o.text), 0, Refused},
    {ROW(GetErrorInfoMessage, o.errors[0], &o.text), 0, Refused},
    {"DestroyErrorInfoList",
     CALL(Spent(DestroyErrorInfoList(&o.errors, o.errorCount), o.errors, o.errorCount)), 0,
     Refused},
    {ROW(Export, &h.filter, 1, &o.text), kStore},

    // Sub-objects and sub-object filters
    {ROW(CreateSubObject, h.object, "blade", "3", &o.child), kStore},
    {ROW(GetSubObject, h.object, "blade", "2", &o.child), kStore | kNullChild},
    {ROW(GetSubObjectInstances, h.object, h.blades, &o.children, &o.count), kStore},
    {ROW(DeleteSubObject, h.object, "blade", "1")},
    {ROW(DeleteSubObjectInstances, h.object, h.blades)},
    {ROW(CreateSubObjectFilter, h.filter, "blade", "1", &o.subFilter), kStore},
    {ROW(GetSubObjectFilter, h.filter, "blade", nullptr, &o.subFilter), kStore, SubFilter},
    {ROW(DeleteSubObjectFilter, h.filter, "blade", nullptr), 0, SubFilter},
};

}  // namespace

const Row* Rows(int* count) {
    *count = static_cast<int>(sizeof kRows / sizeof kRows[0]);
    return kRows;
}

}  // namespace sweep
