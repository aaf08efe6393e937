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

const unsigned char kBytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr char kDocument[] =
    R"({"format": "configstore/1", "objects": [{"key": "vane", "group": "g", "component": "c",)"
    R"( "values": {"i": 3, "s": "imported text"}}, {"key": "fan", "group": "g", "component": "c",)"
    R"( "values": {"i": 4}}]})";

// The handle leaves the fixture's hands before it is destroyed.
template <class Handle>
int Take(Handle*& handle, int (*destroy)(Handle*)) {
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

// Both instances, in the internal context where the write takes one.
template <class... Context>
int WriteBoth(Handles& h,
              int (*write)(ConfigStoreStruct*, ConfigStoreObjectStruct**, int, Context...)) {
    return write(h.store, h.instances, 2, (static_cast<Context>("INTERNAL"))...);
}

const Row kRows[] = {
    // Handles
    {"GetStore", CALL(GetStore(nullptr, &o.store)), kStore},
    {"DestroyStore", CALL(Take(h.store, DestroyStore))},
    {"DestroyConfigStoreObject", CALL(Take(h.other, DestroyConfigStoreObject))},
    {"_Z32DestroyConfigStoreObjectInternalP23ConfigStoreObjectStruct",
     CALL(Take(h.other, DestroyConfigStoreObjectInternal))},
    {"DestroyFilterSpecObject", CALL(Take(h.interfaces, DestroyFilterSpecObject))},

    // Objects and their identity
    {"Get", CALL(Get(h.store, "fan", "g", "c", nullptr, &o.object)), kStore},
    {"GetDefaultConfig", CALL(GetDefaultConfig(h.store, "clock", "time", "system", "", &o.object)),
     kStore},
    {"GetDesiredUserConfig", CALL(GetDesiredUserConfig("fan", "g", "c", nullptr, &o.object)),
     kStore},
    {"CreateObject", CALL(CreateObject("fan", "g", "c", "7", R"({"i": 1, "s": "t"})", &o.object)),
     kStore},
    {"CreateFilterSpecObject", CALL(CreateFilterSpecObject("fan", "g", "c", "1", &o.filter))},
    {"GetConfigStoreObjectId",
     CALL(GetConfigStoreObjectId(h.object, &o.parts[0], &o.parts[1], &o.parts[2], &o.parts[3]))},
    {"GetVersion", CALL(GetVersion(h.object, &o.text))},
    {"GetSchemaVersion", CALL(GetSchemaVersion("clock", "time", "system", &o.text)), kStore},
    {"GenerateInstanceId", CALL(GenerateInstanceId(&o.text))},

    // Scalar values
    {"GetValueInt", CALL(GetValueInt(h.object, "i", &s.i))},
    {"GetValueUint16", CALL(GetValueUint16(h.object, "u", &s.u16))},
    {"GetValueUint32", CALL(GetValueUint32(h.object, "u", &s.u32))},
    {"GetValueLong", CALL(GetValueLong(h.object, "l", &s.l))},
    {"GetValueLonglong", CALL(GetValueLonglong(h.object, "ll", &s.ll))},
    {"GetValueBool", CALL(GetValueBool(h.object, "b", &s.b))},
    {"GetValueDouble", CALL(GetValueDouble(h.object, "d", &s.d))},
    {"GetValueFsoInt", CALL(GetValueFsoInt(h.filter, "i", &s.i))},
    {"GetValueFsoUint16", CALL(GetValueFsoUint16(h.filter, "u", &s.u16))},
    {"GetValueFsoUint32", CALL(GetValueFsoUint32(h.filter, "u", &s.u32))},
    {"GetValueFsoLong", CALL(GetValueFsoLong(h.filter, "l", &s.l))},
    {"GetValueFsoLonglong", CALL(GetValueFsoLonglong(h.filter, "ll", &s.ll))},
    {"GetValueFsoBool", CALL(GetValueFsoBool(h.filter, "b", &s.b))},
    {"GetValueFsoDouble", CALL(GetValueFsoDouble(h.filter, "d", &s.d))},
    {"SetValueInt", CALL(SetValueInt(h.object, "new", 1))},
    {"SetValueUint16", CALL(SetValueUint16(h.object, "new", 2))},
    {"SetValueUint32", CALL(SetValueUint32(h.object, "new", 3))},
    {"SetValueLong", CALL(SetValueLong(h.object, "new", 4))},
    {"SetValueLonglong", CALL(SetValueLonglong(h.object, "new", 5))},
    {"SetValueBool", CALL(SetValueBool(h.object, "new", true))},
    {"SetValueDouble", CALL(SetValueDouble(h.object, "new", 6.5))},
    {"SetValueFloat", CALL(SetValueFloat(h.object, "new", 7.5f))},
    {"SetValueFsoInt", CALL(SetValueFsoInt(h.filter, "new", 1))},
    {"SetValueFsoUint16", CALL(SetValueFsoUint16(h.filter, "new", 2))},
    {"SetValueFsoUint32", CALL(SetValueFsoUint32(h.filter, "new", 3))},
    {"SetValueFsoLong", CALL(SetValueFsoLong(h.filter, "new", 4))},
    {"SetValueFsoLonglong", CALL(SetValueFsoLonglong(h.filter, "new", 5))},
    {"SetValueFsoBool", CALL(SetValueFsoBool(h.filter, "new", true))},
    {"SetValueFsoDouble", CALL(SetValueFsoDouble(h.filter, "new", 6.5))},
    {"SetValueFsoFloat", CALL(SetValueFsoFloat(h.filter, "new", 7.5f))},
    {"AppendValueInt", CALL(AppendValueInt(h.object, "il", 3))},
    {"AppendValueLonglong", CALL(AppendValueLonglong(h.object, "lll", 5))},
    {"AppendValueDouble", CALL(AppendValueDouble(h.object, "dl", 3.5))},
    {"AppendValueBool", CALL(AppendValueBool(h.object, "bl", true))},
    {"_Z17AppendValueFsoIntP22FilterSpecObjectStructPKci",
     CALL(AppendValueFsoInt(h.filter, "il", 3))},
    {"_Z22AppendValueFsoLonglongP22FilterSpecObjectStructPKcx",
     CALL(AppendValueFsoLonglong(h.filter, "lll", 5))},
    {"_Z20AppendValueFsoDoubleP22FilterSpecObjectStructPKcd",
     CALL(AppendValueFsoDouble(h.filter, "dl", 3.5))},
    {"_Z18AppendValueFsoBoolP22FilterSpecObjectStructPKcb",
     CALL(AppendValueFsoBool(h.filter, "bl", true))},
    {"RemoveValue", CALL(RemoveValue(h.object, "i"))},
    {"RemoveValueFso", CALL(RemoveValueFso(h.filter, "i"))},

    // Strings, lists and binary values
    {"GetValueStr", CALL(GetValueStr(h.object, "s", &o.text)), kEmptyText},
    {"GetValueFsoStr", CALL(GetValueFsoStr(h.filter, "s", &o.text)), kEmptyText},
    {"GetValueStringArray", CALL(GetValueStringArray(h.object, "sl", &o.strings, &o.count))},
    {"_Z22GetValueFsoStringArrayP22FilterSpecObjectStructPKcPPPcPi",
     CALL(GetValueFsoStringArray(h.filter, "sl", &o.strings, &o.count))},
    {"_Z27GetValueStringArrayInternalPvPKcPPPcPiS1_",
     CALL(
         GetValueStringArrayInternal(h.object, "sl", &o.strings, &o.count, "GetValueStringArray"))},
    {"DestroyStringArrayValue",
     CALL(Spent(DestroyStringArrayValue(&o.strings, o.count), o.strings, o.count)), 0, StringList},
    {"GetValueBinary", CALL(GetValueBinary(h.object, "bin", &o.bytes, &o.size))},
    {"_Z17GetValueFsoBinaryP22FilterSpecObjectStructPKcPPhPm",
     CALL(GetValueFsoBinary(h.filter, "bin", &o.bytes, &o.size))},
    {"GetValueIntArray", CALL(GetValueIntArray(h.object, "il", &o.ints, &o.count))},
    {"GetValueDoubleArray", CALL(GetValueDoubleArray(h.object, "dl", &o.doubles, &o.count))},
    {"GetValueLonglongArray", CALL(GetValueLonglongArray(h.object, "lll", &o.longs, &o.count))},
    {"GetValueBoolArray", CALL(GetValueBoolArray(h.object, "bl", &o.bools, &o.count))},
    {"_Z19GetValueFsoIntArrayP22FilterSpecObjectStructPKcPPiS3_",
     CALL(GetValueFsoIntArray(h.filter, "il", &o.ints, &o.count))},
    {"_Z22GetValueFsoDoubleArrayP22FilterSpecObjectStructPKcPPdPi",
     CALL(GetValueFsoDoubleArray(h.filter, "dl", &o.doubles, &o.count))},
    {"_Z24GetValueFsoLonglongArrayP22FilterSpecObjectStructPKcPPxPi",
     CALL(GetValueFsoLonglongArray(h.filter, "lll", &o.longs, &o.count))},
    {"_Z20GetValueFsoBoolArrayP22FilterSpecObjectStructPKcPPbPi",
     CALL(GetValueFsoBoolArray(h.filter, "bl", &o.bools, &o.count))},
    {"SetValueStr", CALL(SetValueStr(h.object, "s", "a new text long enough for the heap"))},
    {"SetValueFsoStr", CALL(SetValueFsoStr(h.filter, "s", "a new text long enough for the heap"))},
    {"AppendValueString", CALL(AppendValueString(h.object, "sl", "an element long enough too"))},
    {"_Z20AppendValueFsoStringP22FilterSpecObjectStructPKcS2_",
     CALL(AppendValueFsoString(h.filter, "sl", "an element long enough too"))},
    {"SetValueBinary", CALL(SetValueBinary(h.object, "bin", kBytes, sizeof kBytes))},
    {"SetValueFsoBinary", CALL(SetValueFsoBinary(h.filter, "bin", kBytes, sizeof kBytes))},
    {"SetValueEmptyList", CALL(SetValueEmptyList(h.object, "il"))},
    {"_Z20SetValueFsoEmptyListP22FilterSpecObjectStructPKc",
     CALL(SetValueFsoEmptyList(h.filter, "il"))},

    // Store writes
    {"Set", CALL(Set(h.store, h.object, nullptr)), kStore | kWrites, Change},
    {"Update", CALL(Update(h.store, h.object, "INTERNAL")), kStore | kWrites, Change},
    {"SetUserData", CALL(SetUserData(h.store, h.object, nullptr)), kStore | kWrites, Change},
    {"SetVitalData", CALL(SetVitalData(h.store, h.object)), kStore | kWrites, Change},
    {"SetCachedData", CALL(SetCachedData(h.store, h.object)), kStore | kWrites, Change},
    {"Delete", CALL(Delete(h.store, "fan", "g", "c", nullptr)), kStore | kWrites},
    {"DeleteInstances", CALL(DeleteInstances(h.store, h.filter)), kStore | kWrites},
    {"SetBootStatus", CALL(SetBootStatus("fan", "g", "c", nullptr, true)), kStore | kWrites},
    {"SetInstances", CALL(WriteBoth(h, SetInstances)), kStore | kWrites, Change},
    {"SetUserDataInstances", CALL(WriteBoth(h, SetUserDataInstances)), kStore | kWrites, Change},
    {"SetVitalDataInstances", CALL(WriteBoth(h, SetVitalDataInstances)), kStore | kWrites, Change},
    {"SetCachedDataInstances", CALL(WriteBoth(h, SetCachedDataInstances)), kStore | kWrites,
     Change},
    {"_Z21SetInstancesCInternalP17ConfigStoreStructPP23ConfigStoreObjectStructiMN14KivConfigStore"
     "11ConfigStoreEFvSt6vectorISt10shared_ptrINS4_17ConfigStoreObjectEESaIS9_EEEPKc",
     CALL(SetInstancesCInternal(h.store, h.instances, 2, &Engine::SetVitalDataInstances, "Vital")),
     kStore | kWrites, Change},
    {"_Z28SetInstancesCInternalContextP17ConfigStoreStructPP23ConfigStoreObjectStructiMN14KivConfig"
     "Store11ConfigStoreEFvSt6vectorISt10shared_ptrINS4_17ConfigStoreObjectEESaIS9_EERKNS4_16USERD"
     "ATA_CONTEXTEEPKcSI_",
     CALL(SetInstancesCInternalContext(h.store, h.instances, 2, &Engine::SetInstances, "INTERNAL",
                                       "Set")),
     kStore | kWrites, Change},

    // Lists of objects
    {"GetInstances", CALL(GetInstances(h.store, h.filter, &o.objects, &o.count)), kStore},
    {"GetDefaultConfigInstances",
     CALL(GetDefaultConfigInstances(h.store, h.interfaces, &o.objects, &o.count)), kStore},
    {"GetDesiredUserConfigInstances",
     CALL(GetDesiredUserConfigInstances("fan", "g", "c", &o.objects, &o.count)), kStore},
    {"_Z21GetInstancesCInternalP17ConfigStoreStructP22FilterSpecObjectStructPPP23ConfigStoreObjectS"
     "tructPiMN14KivConfigStore11ConfigStoreEFSt6vectorISt10shared_ptrINS8_17ConfigStoreObjectEESa"
     "ISD_EERKSB_INS8_16FilterSpecObjectEEEPKc",
     CALL(GetInstancesCInternal(h.store, h.filter, &o.objects, &o.count, &Engine::GetInstances,
                                "Instances")),
     kStore},

    // Transactions
    {"BeginTransaction", CALL(BeginTransaction(h.store)), kStore | kWrites},
    {"CommitTransaction", CALL(CommitTransaction(h.store)), kStore | kWrites, ChangeInTransaction},
    {"CancelTransaction", CALL(CancelTransaction(h.store)), kStore | kWrites, ChangeInTransaction},
    {"_Z19TransactionInternalP17ConfigStoreStructMN14KivConfigStore11ConfigStoreEFvvEPKc",
     CALL(TransactionInternal(h.store, &Engine::CommitTransaction, "Commit")), kStore | kWrites,
     ChangeInTransaction},

    // Import and export
    {"Import", CALL(Import(kDocument, &o.errors, &o.errorCount)), kStore | kWrites},
    {"GetErrorInfoKey", CALL(GetErrorInfoKey(o.errors[0], &o.text)), 0, Refused},
    {"GetErrorInfoMessage", CALL(GetErrorInfoMessage(o.errors[0], &o.text)), 0, Refused},
    {"DestroyErrorInfoList",
     CALL(Spent(DestroyErrorInfoList(&o.errors, o.errorCount), o.errors, o.errorCount)), 0,
     Refused},
    {"Export", CALL(Export(&h.filter, 1, &o.text)), kStore},

    // Sub-objects and sub-object filters
    {"CreateSubObject", CALL(CreateSubObject(h.object, "blade", "3", &o.child)),
     kStore | kLoadsBlades},
    {"GetSubObject", CALL(GetSubObject(h.object, "blade", "2", &o.child)), kStore | kNullChild},
    {"GetSubObjectInstances",
     CALL(GetSubObjectInstances(h.object, h.blades, &o.children, &o.count)), kStore | kLoadsBlades},
    {"DeleteSubObject", CALL(DeleteSubObject(h.object, "blade", "1"))},
    {"DeleteSubObjectInstances", CALL(DeleteSubObjectInstances(h.object, h.blades))},
    {"CreateSubObjectFilter", CALL(CreateSubObjectFilter(h.filter, "blade", "1", &o.subFilter)),
     kStore},
    {"GetSubObjectFilter", CALL(GetSubObjectFilter(h.filter, "blade", nullptr, &o.subFilter)),
     kStore, SubFilter},
    {"DeleteSubObjectFilter", CALL(DeleteSubObjectFilter(h.filter, "blade", nullptr)), 0,
     SubFilter},
};

}  // namespace

const Row* Rows(int* count) {
    *count = static_cast<int>(sizeof kRows / sizeof kRows[0]);
    return kRows;
}

}  // namespace sweep
