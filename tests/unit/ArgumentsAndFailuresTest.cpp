// Every function but the value functions (which have their own table), as two tables: the
// arguments it refuses, with the one line each refusal writes, and how the failures of the engine
// operation it reaches become result codes. A refused call never reaches the engine; neither a
// refused nor a failed call touches the caller's outputs.
#include "DoubleTest.h"

namespace {

using namespace line;

// The out-parameters of the tables' calls.
struct Outputs {
    ConfigStoreStruct* store;
    ConfigStoreObjectStruct* object;
    ConfigStoreObjectStruct** objects;
    FilterSpecObjectStruct* filter;
    ErrorInfoStruct** errors;
    char* text;
    int count;
};

class Calls : public HandleTest {
protected:
    // Filled with a pattern that no call may change when it refuses or fails.
    Calls() {
        std::memset(&out_, 0x5a, sizeof out_);
        std::memcpy(&before_, &out_, sizeof out_);
    }
    void ExpectOutputsUntouched() { EXPECT_EQ(std::memcmp(&out_, &before_, sizeof out_), 0); }

    Outputs out_;
    Outputs before_;
};

// The name of the function a row calls: the tag of its lines.
std::string NameOf(const char* call) {
    return std::string(call, std::strchr(call, '('));
}

struct Refusal {
    const char* call;
    std::function<int()> run;
    const char* format;             // NULL: refused without a line
    const char* tag = nullptr;      // when the line names a worker rather than the function
    const char* context = nullptr;  // the unknown context the line names
    int result = CS_C_INVALID_ARGUMENT;
};

// clang-format off
#define REFUSED(call, ...) {#call, [&] { return call; }, __VA_ARGS__}
// clang-format on

TEST_F(Calls, RefuseMissingArgumentsInOrderWithOneLineUnderTheirName) {
    ConfigStoreStruct* s = store_;
    ConfigStoreObjectStruct* o = object_;
    FilterSpecObjectStruct* f = filter_;
    Outputs& out = out_;
    FilterSpecObjectStruct* withHole[] = {f, nullptr};
    ConfigStoreObjectStruct* objectsWithHole[] = {o, nullptr};
    ConfigStoreObjectStruct empty;  // a top-level handle without an engine object
    auto* child = NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject("child"), false);
    auto* childFilter = NewHandle<FilterSpecObjectStruct>(nullptr, false);
    const char* const kObjectChild = "%s: Cannot invoke DestroyConfigStoreObject on SubObject";
    const char* const kFilterChild = "%s: Cannot invoke DestroyFilterSpecObject on SubObject";
    const Refusal refusals[] = {
        // The identity after the store: key, component, group.
        REFUSED(Get(nullptr, nullptr, "g", "c", nullptr, &out.object), kStore),
        REFUSED(Get(s, nullptr, nullptr, nullptr, nullptr, &out.object), kKey),
        REFUSED(Get(s, "k", nullptr, nullptr, nullptr, &out.object), kComponent),
        REFUSED(Get(s, "k", nullptr, "c", nullptr, &out.object), kGroup),
        REFUSED(GetDesiredUserConfig(nullptr, "g", "c", nullptr, &out.object), kKey),
        REFUSED(CreateObject("k", nullptr, "c", nullptr, nullptr, &out.object), kGroup),
        REFUSED(CreateObject("k", "g", "c", nullptr, nullptr, &out.object), kValue),
        REFUSED(CreateFilterSpecObject("k", "g", nullptr, nullptr, &out.filter), kComponent),
        REFUSED(GetConfigStoreObjectId(nullptr, &out.text, &out.text, &out.text, &out.text), kStore,
                nullptr, nullptr, CS_C_VALIDATION_ERROR),
        REFUSED(GetVersion(nullptr, &out.text), "%s: obj not provided"),
        REFUSED(GetSchemaVersion(nullptr, "g", "c", &out.text), kKey),
        // Writes: the store, then the context, then each object.
        REFUSED(Set(nullptr, nullptr, "internal"), kStore),
        REFUSED(Update(s, nullptr, "internal"), kContext, nullptr, "internal"),
        REFUSED(SetUserData(s, nullptr, ""), kContext, nullptr, ""),
        REFUSED(Set(s, nullptr, "INTERNAL"), kObject),
        REFUSED(SetVitalData(nullptr, nullptr), kStore),
        REFUSED(SetCachedData(s, nullptr), kObject),
        REFUSED(SetInstances(nullptr, nullptr, 1, "x"), kStore),
        REFUSED(SetInstances(s, nullptr, 1, "EXTERNAL "), kContext, nullptr, "EXTERNAL "),
        REFUSED(SetUserDataInstances(s, nullptr, 1, nullptr), kObject),
        REFUSED(SetVitalDataInstances(s, objectsWithHole, 2), kObject),
        REFUSED(SetCachedDataInstances(nullptr, nullptr, 1), kStore),
        REFUSED(Delete(nullptr, nullptr, "g", "c", nullptr), kStore),
        REFUSED(Delete(s, "k", "g", nullptr, nullptr), kComponent),
        REFUSED(DeleteInstances(nullptr, nullptr), kStore),
        REFUSED(DeleteInstances(s, nullptr), kFilter),
        REFUSED(SetBootStatus("k", nullptr, "c", nullptr, true), kGroup),
        REFUSED(BeginTransaction(nullptr), kStore),
        REFUSED(CommitTransaction(nullptr), kStore, "TransactionInternal"),
        REFUSED(GetInstances(nullptr, nullptr, &out.objects, &out.count), kStore,
                "GetInstancesCInternal"),
        REFUSED(GetDefaultConfigInstances(s, nullptr, &out.objects, &out.count), kFilter,
                "GetInstancesCInternal"),
        REFUSED(GetDesiredUserConfigInstances("k", "g", nullptr, &out.objects, &out.count),
                kComponent),
        // Documents and selections; the error-info accessors refuse silently.
        REFUSED(Import(nullptr, &out.errors, &out.count), "%s: argument 'document' not provided"),
        REFUSED(Export(nullptr, -1, &out.text), kInvalid),
        REFUSED(Export(nullptr, 1, &out.text), kFilter),
        REFUSED(Export(withHole, 2, &out.text), kFilter),
        REFUSED(GetErrorInfoKey(nullptr, &out.text), nullptr),
        REFUSED(GetErrorInfoMessage(nullptr, &out.text), nullptr),
        // Handles: only the caller's own top-level handles are released.
        REFUSED(DestroyConfigStoreObject(nullptr), kInvalid),
        REFUSED(DestroyConfigStoreObject(&empty), kInvalid),
        REFUSED(DestroyConfigStoreObject(child), kObjectChild),
        REFUSED(DestroyFilterSpecObject(nullptr), kInvalid),
        REFUSED(DestroyFilterSpecObject(childFilter), kFilterChild),
        // Sub-objects and sub-object filters.
        REFUSED(CreateSubObject(nullptr, "k", nullptr, &out.object), kObject),
        REFUSED(GetSubObject(o, nullptr, nullptr, &out.object), kKey),
        REFUSED(DeleteSubObject(o, nullptr, nullptr), kKey),
        REFUSED(GetSubObjectInstances(nullptr, nullptr, &out.objects, &out.count), kObject),
        REFUSED(DeleteSubObjectInstances(o, nullptr), "%s: argument filter spec not provided"),
        REFUSED(CreateSubObjectFilter(nullptr, "k", nullptr, &out.filter), kObject),
        REFUSED(GetSubObjectFilter(f, nullptr, nullptr, &out.filter), kKey),
        REFUSED(DeleteSubObjectFilter(nullptr, nullptr, nullptr), kObject),
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.call);
        enginedouble::Reset();
        EXPECT_EQ(refusal.run(), refusal.result);
        std::vector<std::string> args{refusal.tag ? refusal.tag : NameOf(refusal.call)};
        if (refusal.context != nullptr) args.push_back(refusal.context);
        ExpectLog(refusal.format ? std::vector<ExpectedLine>{{refusal.format, args}}
                                 : std::vector<ExpectedLine>{});
        EXPECT_TRUE(enginedouble::Recorded().calls.empty());
        ExpectOutputsUntouched();
    }
    // The refused child handles are intact.
    EXPECT_EQ(DestroyConfigStoreObjectInternal(child), CS_C_OK);
    EXPECT_EQ(DestroyFilterSpecObjectInternal(childFilter), CS_C_OK);
}

struct Failure {
    const char* call;
    const char* scope;  // of the engine operation named as the function: a store's or none
    std::function<int()> run;
    Results results;
};

// clang-format off
#define ON_STORE(call, results) {#call, "ConfigStore::", [&] { return call; }, results}
#define ON_ENGINE(call, results) {#call, "", [&] { return call; }, results}
// clang-format on

// One row for each worker: functions that differ only in the engine operation they pass to a
// shared worker (Set, Update and SetUserData; Commit and Cancel; ...) are one row.
TEST_F(Calls, TranslateTheFailuresOfTheirEngineOperationAsTheirFamilyDoes) {
    ConfigStoreStruct* s = store_;
    ConfigStoreObjectStruct* o = object_;
    FilterSpecObjectStruct* f = filter_;
    Outputs& out = out_;
    const Failure failures[] = {
        ON_STORE(GetStore(nullptr, &out.store), kStoreFailures),
        ON_STORE(BeginTransaction(s), kStoreFailures),
        ON_STORE(CommitTransaction(s), kStoreFailures),
        ON_STORE(Get(s, "k", "g", "c", nullptr, &out.object), kStoreFailures),
        ON_ENGINE(GetDesiredUserConfig("k", "g", "c", nullptr, &out.object), kStoreFailures),
        ON_ENGINE(CreateObject("k", "g", "c", nullptr, "{}", &out.object), kArgumentOrStore),
        ON_ENGINE(GetVersion(o, &out.text), kUntranslated),
        ON_ENGINE(GetSchemaVersion("k", "g", "c", &out.text), kStoreFailures),
        ON_ENGINE(GenerateInstanceId(&out.text), kUntranslated),
        ON_STORE(Set(s, o, nullptr), kObjectWrites),
        ON_STORE(SetVitalData(s, o), kObjectWrites),
        ON_STORE(SetInstances(s, &o, 1, nullptr), kInstanceWrites),
        ON_STORE(SetVitalDataInstances(s, &o, 1), kInstanceWrites),
        ON_STORE(Delete(s, "k", "g", "c", nullptr), kStoreFailures),
        ON_STORE(DeleteInstances(s, f), kStoreFailures),
        ON_ENGINE(SetBootStatus("k", "g", "c", nullptr, true), kStoreFailures),
        ON_STORE(GetInstances(s, f, &out.objects, &out.count), kArgumentOrStore),
        ON_ENGINE(GetDesiredUserConfigInstances("k", "g", "c", &out.objects, &out.count),
                  kArgumentOrStore),
        ON_ENGINE(Import("{}", &out.errors, &out.count), kStoreFailures),
        ON_ENGINE(Export(&f, 1, &out.text), kStoreFailures),
        ON_ENGINE(CreateSubObject(o, "fan", nullptr, &out.object), kStoreFailures),
        ON_ENGINE(CreateSubObjectFilter(f, "fan", nullptr, &out.filter), kStoreFailures),
        ON_ENGINE(GetSubObjectFilter(f, "fan", nullptr, &out.filter), kStoreFailures),
        ON_ENGINE(DeleteSubObject(o, "fan", nullptr), kUntranslated),
        ON_ENGINE(DeleteSubObjectInstances(o, f), kUntranslated),
        ON_ENGINE(DeleteSubObjectFilter(f, "fan", nullptr), kUntranslated),
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.call);
        const std::string name = NameOf(failure.call);
        ExpectTranslations((failure.scope + name).c_str(), name.c_str(), failure.run,
                           failure.results);
        ExpectOutputsUntouched();
    }
}

}  // namespace
