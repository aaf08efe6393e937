// Every value function on objects and its Fso twin on filter specs, table-driven: argument checks
// under its own name, the engine object it reaches, the exceptions of its engine operation as its
// family translates them (and the catch-all for the rest), and the mapping of read statuses.
#include <type_traits>

#include "DoubleTest.h"

namespace {

using enginedouble::Read;

// A value of each type the functions take or the engine delivers; a missing one has no pointer
// and a size that would need one.
template <class T, bool missing = false>
T Sample() {
    if constexpr (std::is_arithmetic_v<T>)
        return T(missing ? 4 : 1);
    else if constexpr (std::is_pointer_v<T>)
        return missing ? nullptr : reinterpret_cast<T>("text");
    else if constexpr (std::is_same_v<T, std::string>)
        return "text";
    else
        return T(2, Sample<typename T::value_type>());
}

// Calls a read with zero-filled outputs and releases what it hands out.
template <class Handle, class Value, class... Size>
int Call(int (*read)(Handle*, const char*, Value*, Size*...), void* handle, const char* key) {
    Value value{};
    std::common_type_t<Size..., int> size = 0;
    const int result =
        read(static_cast<Handle*>(handle), key, &value, static_cast<Size*>(&size)...);
    Release(value, static_cast<int>(size));
    return result;
}
template <bool missing, class Handle, class... Args>
int Write(int (*write)(Handle*, const char*, Args...), void* handle, const char* key) {
    return write(static_cast<Handle*>(handle), key, Sample<Args, missing>()...);
}
template <class Handle, class... Args>
constexpr bool TakesPointer(int (*)(Handle*, const char*, Args...)) {
    return (std::is_pointer_v<Args> || ...);
}

template <auto read>
int CallRead(void* handle, const char* key) {
    return Call(read, handle, key);
}
template <auto write, bool missing = false>
int CallWrite(void* handle, const char* key) {
    return Write<missing>(write, handle, key);
}
template <class T>
void ScriptStatus(const char* operation, int status) {
    enginedouble::Answer(operation, Read<T>{status, Sample<T>()});
}

struct ValueFunction {
    const char* name;
    const char* operation;  // the engine operation it must reach
    const char* worker;     // the tag of its engine-exception lines
    const Results* results;
    int (*call)(void* handle, const char* key);
    void (*scriptStatus)(const char* operation, int status);  // reads only
    int (*callWithoutValue)(void* handle, const char* key);   // writes of a string or bytes only
};

template <auto read, class T>
ValueFunction ReadEntry(const char* name, const char* operation, const char* worker) {
    return {name, operation, worker, &kValueReads, CallRead<read>, ScriptStatus<T>, nullptr};
}
template <auto write>
ValueFunction WriteEntry(const char* name, const char* operation, const char* worker,
                         const Results& results) {
    ValueFunction entry{name, operation, worker, &results, CallWrite<write>, nullptr, nullptr};
    if (worker == nullptr) entry.worker = name;
    if (TakesPointer(write)) entry.callWithoutValue = CallWrite<write, true>;
    return entry;
}

// clang-format off
#define READS(type, T, operation, worker)                                              \
    ReadEntry<GetValue##type, T>("GetValue" #type, operation, worker),                 \
    ReadEntry<GetValueFso##type, T>("GetValueFso" #type, operation, worker)
#define WRITES(verb, type, operation, worker, results)                                 \
    WriteEntry<verb##type>(#verb #type, operation, worker, results),                   \
    WriteEntry<verb##Fso##type>(#verb "Fso" #type, operation, worker, results)
// clang-format on

const char* const kRead = "GetValueInternal";
const char* const kArray = "GetValueArrayInternal";
const char* const kSet = "SetValueInternal";
const char* const kAppend = "AppendValueInternal";

const ValueFunction kReads[] = {
    READS(Int, int, "GetValue(int*)", kRead),
    READS(Uint16, unsigned short, "GetValue(unsigned short*)", kRead),
    READS(Uint32, unsigned int, "GetValue(unsigned int*)", kRead),
    READS(Long, long, "GetValue(long*)", kRead),
    READS(Longlong, long long, "GetValue(long long*)", kRead),
    READS(Bool, bool, "GetValue(bool*)", kRead),
    READS(Double, double, "GetValue(double*)", kRead),
    READS(Str, std::string, "GetValue(string*)", kRead),
    READS(StringArray, std::vector<std::string>, "GetValue(vector<string>*)",
          "GetValueStringArrayInternal"),
    READS(Binary, std::string, "GetValueBinary", "GetValueBinaryInternal"),
    READS(IntArray, std::vector<int>, "GetValue(vector<int>*)", kArray),
    READS(DoubleArray, std::vector<double>, "GetValue(vector<double>*)", kArray),
    READS(LonglongArray, std::vector<long long>, "GetValue(vector<long long>*)", kArray),
    READS(BoolArray, std::vector<bool>, "GetValue(vector<bool>*)", kArray),
};

const ValueFunction kWrites[] = {
    WRITES(SetValue, Int, "SetValue(int)", kSet, kValueWrites),
    WRITES(SetValue, Uint16, "SetValue(unsigned short)", kSet, kValueWrites),
    WRITES(SetValue, Uint32, "SetValue(unsigned int)", kSet, kValueWrites),
    WRITES(SetValue, Long, "SetValue(long)", kSet, kValueWrites),
    WRITES(SetValue, Longlong, "SetValue(long long)", kSet, kValueWrites),
    WRITES(SetValue, Bool, "SetValue(bool)", kSet, kValueWrites),
    WRITES(SetValue, Double, "SetValue(double)", kSet, kValueWrites),
    WRITES(SetValue, Float, "SetValue(float)", kSet, kValueWrites),
    WRITES(SetValue, Str, "SetValue(const char*)", kSet, kValueWrites),
    WRITES(AppendValue, Int, "AppendValue(int)", kAppend, kValueAppends),
    WRITES(AppendValue, Longlong, "AppendValue(long long)", kAppend, kValueAppends),
    WRITES(AppendValue, Double, "AppendValue(double)", kAppend, kValueAppends),
    WRITES(AppendValue, Bool, "AppendValue(bool)", kAppend, kValueAppends),
    WRITES(AppendValue, String, "AppendValue(string)", kAppend, kValueAppends),
    // These log engine exceptions under their own names.
    WRITES(SetValue, EmptyList, "SetValueEmptyList", nullptr, kUntranslated),
    WRITES(SetValue, Binary, "SetValueBinary", nullptr, kUntranslated),
    WriteEntry<RemoveValue>("RemoveValue", "Remove", nullptr, kUntranslated),
    WriteEntry<RemoveValueFso>("RemoveValueFso", "Remove", nullptr, kUntranslated),
};

void PrintTo(const ValueFunction& function, std::ostream* out) {
    *out << function.name;
}

class ValueFunctions : public HandleTest, public ::testing::WithParamInterface<ValueFunction> {
protected:
    void* Handle() {
        if (std::string(GetParam().name).find("Fso") != std::string::npos) return filter_;
        return object_;
    }
};

TEST_P(ValueFunctions, RefuseMissingHandleKeyOrValueUnderTheirOwnName) {
    const ValueFunction& function = GetParam();
    EXPECT_EQ(function.call(nullptr, nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(function.call(Handle(), nullptr), CS_C_INVALID_ARGUMENT);
    std::vector<ExpectedLine> lines{{"%s: argument object not provided", {function.name}},
                                    {"%s: argument 'key' not provided", {function.name}}};
    if (function.callWithoutValue != nullptr) {
        EXPECT_EQ(function.callWithoutValue(Handle(), nullptr), CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(function.callWithoutValue(Handle(), "k"), CS_C_INVALID_ARGUMENT);
        lines.push_back({"%s: argument 'key' not provided", {function.name}});
        lines.push_back({"%s: argument 'value' not provided", {function.name}});
    }
    ExpectLog(lines);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

// Value code reads either handle as an object handle; the double does not use the engine object.
TEST_P(ValueFunctions, ReachTheEngineObjectOfTheirHandle) {
    GetParam().call(Handle(), "k");
    const void* engineObject = Handle() == filter_ ? static_cast<void*>(filter_->engineObject.get())
                                                   : object_->engineObject.get();
    ASSERT_EQ(enginedouble::Calls().size(), 1u);
    EXPECT_EQ(enginedouble::Calls()[0].target, engineObject);
}

TEST_P(ValueFunctions, TranslateOnlyTheirFamilysExceptions) {
    const ValueFunction& function = GetParam();
    ExpectTranslations(
        function.operation, function.worker, [&] { return function.call(Handle(), "k"); },
        *function.results);
}

const auto kByName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Reads, ValueFunctions, ::testing::ValuesIn(kReads), kByName);
INSTANTIATE_TEST_SUITE_P(Writes, ValueFunctions, ::testing::ValuesIn(kWrites), kByName);

class ValueReads : public ValueFunctions {};

TEST_P(ValueReads, MapTheEnginesStatus) {
    const ValueFunction& function = GetParam();
    const int expected[] = {CS_C_NOT_FOUND, CS_C_OK, CS_C_VALUE_IS_DEFAULT, CS_C_VALUE_IS_DEFAULT};
    for (int status = 0; status < 4; ++status) {
        function.scriptStatus(function.operation, status);
        EXPECT_EQ(function.call(Handle(), "k"), expected[status]) << "status " << status;
    }
    ExpectLog({});
}

INSTANTIATE_TEST_SUITE_P(All, ValueReads, ::testing::ValuesIn(kReads), kByName);

}  // namespace
