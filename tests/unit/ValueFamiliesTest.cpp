// The value functions on objects and their Fso twins on filter specs, one row for each worker
// and family (the functions of one worker differ only in the value's type): argument checks under
// the function's own name, the exceptions of its engine operation as its family translates them
// (and the catch-all for the rest). What reads hand out on each status is in ValueOutputsTest.
#include <type_traits>

#include "DoubleTest.h"

namespace {

// A value of each type the writes take; a missing one has no pointer and a size that would need
// one.
template <class T, bool missing = false>
T Sample() {
    if constexpr (std::is_pointer_v<T>)
        return missing ? nullptr : reinterpret_cast<T>("text");
    else
        return T(missing ? 4 : 1);
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

struct ValueFunction {
    const char* name;
    const char* operation;  // the engine operation it must reach
    const Results* results;
    int (*call)(void* handle, const char* key);
    int (*callWithoutValue)(void* handle, const char* key);  // writes of a string or bytes only
};

template <auto read>
ValueFunction ReadEntry(const char* name, const char* operation) {
    return {name, operation, &kValueReads, CallRead<read>, nullptr};
}
template <auto write>
ValueFunction WriteEntry(const char* name, const char* operation, const Results& results) {
    ValueFunction entry{name, operation, &results, CallWrite<write>, nullptr};
    if (TakesPointer(write)) entry.callWithoutValue = CallWrite<write, true>;
    return entry;
}

// clang-format off
#define READS(type, operation)                                                          \
    ReadEntry<GetValue##type>("GetValue" #type, operation),                            \
    ReadEntry<GetValueFso##type>("GetValueFso" #type, operation)
#define WRITES(verb, type, operation, results)                                         \
    WriteEntry<verb##type>(#verb #type, operation, results),                           \
    WriteEntry<verb##Fso##type>(#verb "Fso" #type, operation, results)
// clang-format on

const ValueFunction kReads[] = {
    READS(Int, "GetValue(int*)"),
    READS(Str, "GetValue(string*)"),
    READS(StringArray, "GetValue(vector<string>*)"),
    READS(Binary, "GetValueBinary"),
    READS(IntArray, "GetValue(vector<int>*)"),
    READS(BoolArray, "GetValue(vector<bool>*)"),
};

const ValueFunction kWrites[] = {
    WRITES(SetValue, Int, "SetValue(int)", kValueWrites),
    WRITES(SetValue, Float, "SetValue(float)", kValueWrites),
    WRITES(SetValue, Str, "SetValue(const char*)", kValueWrites),
    WRITES(AppendValue, Int, "AppendValue(int)", kValueAppends),
    WRITES(AppendValue, String, "AppendValue(string)", kValueAppends),
    WRITES(SetValue, EmptyList, "SetValueEmptyList", kUntranslated),
    WRITES(SetValue, Binary, "SetValueBinary", kUntranslated),
    WriteEntry<RemoveValue>("RemoveValue", "Remove", kUntranslated),
    WriteEntry<RemoveValueFso>("RemoveValueFso", "Remove", kUntranslated),
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
    EXPECT_TRUE(enginedouble::Recorded().calls.empty());
}

TEST_P(ValueFunctions, TranslateOnlyTheirFamilysExceptions) {
    const ValueFunction& function = GetParam();
    ExpectTranslations(
        function.operation, nullptr, [&] { return function.call(Handle(), "k"); },
        *function.results);
}

const auto kByName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Reads, ValueFunctions, ::testing::ValuesIn(kReads), kByName);
INSTANTIATE_TEST_SUITE_P(Writes, ValueFunctions, ::testing::ValuesIn(kWrites), kByName);

}  // namespace
