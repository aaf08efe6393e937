// Values in memory on the stand-in engine: every value function of the library, on object
// handles and on filter spec handles through their Fso twins, with each family's outcomes. The
// engine's own tests hold its full table of types and ranges.
#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>

#include "configstorec.h"

// The value functions of each kind of handle under one set of names; outside the anonymous
// namespace so that test names show them plainly.
// clang-format off
#define CALL(name, function) static constexpr auto name = function;
#define VALUE_CALLS(Fso) \
    CALL(SetInt, SetValue##Fso##Int)             CALL(GetInt, GetValue##Fso##Int) \
    CALL(SetUint16, SetValue##Fso##Uint16)       CALL(GetUint16, GetValue##Fso##Uint16) \
    CALL(SetUint32, SetValue##Fso##Uint32)       CALL(GetUint32, GetValue##Fso##Uint32) \
    CALL(SetLong, SetValue##Fso##Long)           CALL(GetLong, GetValue##Fso##Long) \
    CALL(SetLonglong, SetValue##Fso##Longlong)   CALL(GetLonglong, GetValue##Fso##Longlong) \
    CALL(SetBool, SetValue##Fso##Bool)           CALL(GetBool, GetValue##Fso##Bool) \
    CALL(SetDouble, SetValue##Fso##Double)       CALL(GetDouble, GetValue##Fso##Double) \
    CALL(SetFloat, SetValue##Fso##Float) \
    CALL(SetStr, SetValue##Fso##Str)             CALL(GetStr, GetValue##Fso##Str) \
    CALL(SetBinary, SetValue##Fso##Binary)       CALL(GetBinary, GetValue##Fso##Binary) \
    CALL(SetEmptyList, SetValue##Fso##EmptyList) CALL(GetStrings, GetValue##Fso##StringArray) \
    CALL(GetInts, GetValue##Fso##IntArray)       CALL(GetLonglongs, GetValue##Fso##LonglongArray) \
    CALL(GetDoubles, GetValue##Fso##DoubleArray) CALL(GetBools, GetValue##Fso##BoolArray) \
    CALL(AppendInt, AppendValue##Fso##Int)       CALL(AppendLonglong, AppendValue##Fso##Longlong) \
    CALL(AppendDouble, AppendValue##Fso##Double) CALL(AppendBool, AppendValue##Fso##Bool) \
    CALL(AppendString, AppendValue##Fso##String) CALL(Remove, RemoveValue##Fso)
// clang-format on

struct Objects {
    using Handle = ConfigStoreObjectStruct;
    VALUE_CALLS()
    CALL(Destroy, DestroyConfigStoreObject)
    static int Make(Handle** h) { return CreateObject("values", "tests", "integration", 0, "", h); }
};

struct FilterSpecs {
    using Handle = FilterSpecObjectStruct;
    VALUE_CALLS(Fso)
    CALL(Destroy, DestroyFilterSpecObject)
    static int Make(Handle** h) {
        return CreateFilterSpecObject("values", "tests", "integration", 0, h);
    }
};

namespace {

// A status by its name; a read's outcome passes through.
std::string Outcome(int status) {
    const char* const names[] = {
        "OK",           "STORE_ERROR",    "INVALID_ARGUMENT", "VALIDATION_ERROR",
        "INVALID_TYPE", "INTERNAL_ERROR", "NOT_FOUND",        "VALUE_IS_DEFAULT"};
    return status >= 0 && status < 8 ? names[status] : std::to_string(status);
}

template <class T>
std::string Show(T value) {
    if constexpr (std::is_same_v<T, char*>) {
        return value;
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else {
        char text[32];
        return std::string(text, std::to_chars(text, text + sizeof text, +value).ptr);
    }
}

// A read's outcome with the value it delivered ("OK:7", "OK:[1,2]"), then whatever it handed
// out released.
template <class H, class T>
std::string Read(ConfigStoreCStatus (*get)(H*, const char*, T*), H* h, const char* key) {
    T value{};
    const int status = get(h, key, &value);
    std::string text = Outcome(status);
    if constexpr (std::is_pointer_v<T>) {  // a string comes on every outcome but NOT_FOUND
        if (value != nullptr) text += ":" + Show(value);
        std::free(value);
    } else if (status == CS_C_OK) {
        text += ":" + Show(value);
    }
    return text;
}

template <class H, class T, class N>
std::string Read(ConfigStoreCStatus (*get)(H*, const char*, T**, N*), H* h, const char* key) {
    T* values = nullptr;
    N count = 0;
    const int status = get(h, key, &values, &count);
    std::string text = Outcome(status);
    if (status == CS_C_OK || values != nullptr) text += ":[";
    for (N i = 0; i < count; ++i) text += (i > 0 ? "," : "") + Show(values[i]);
    if (status == CS_C_OK || values != nullptr) text += "]";
    if constexpr (std::is_same_v<T, char*>) {
        DestroyStringArrayValue(&values, static_cast<int>(count));
    } else {
        std::free(values);
    }
    return text;
}

// The worker behind GetValueStringArray and GetValueFsoStringArray, for either kind of handle.
template <class H>
ConfigStoreCStatus StringsByWorker(H* handle, const char* key, char*** values, int* count) {
    return GetValueStringArrayInternal(handle, key, values, count, "StringsByWorker");
}

template <class C>
class HandleValues : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(C::Make(&handle), CS_C_OK); }
    void TearDown() override { C::Destroy(handle); }
    typename C::Handle* handle = nullptr;
};

using HandleKinds = ::testing::Types<Objects, FilterSpecs>;
TYPED_TEST_SUITE(HandleValues, HandleKinds);

TYPED_TEST(HandleValues, EachFamilyReachesTheEngineAndMapsItsOutcomes) {
    using C = TypeParam;
    auto* const h = this->handle;
    const unsigned char bytes[] = {0, 0xff, 'a', 0};
    // Each row: a write, then a read showing what it did.
    // clang-format off
#define ROW(write, read, expected) \
    {#write, [&] { const std::string w = Outcome(write); return w + " " + read; }, expected}
    // clang-format on
    const std::tuple<const char*, std::function<std::string()>, const char*> rows[] = {
        ROW(C::SetInt(h, "i", INT_MIN), Read(C::GetInt, h, "i"), "OK OK:-2147483648"),
        ROW(C::SetUint16(h, "u16", USHRT_MAX), Read(C::GetUint16, h, "u16"), "OK OK:65535"),
        ROW(C::SetUint32(h, "u32", UINT_MAX), Read(C::GetUint32, h, "u32"), "OK OK:4294967295"),
        ROW(C::SetLong(h, "l", LONG_MIN), Read(C::GetLong, h, "l"), "OK OK:-9223372036854775808"),
        ROW(C::SetLonglong(h, "ll", LLONG_MAX), Read(C::GetLonglong, h, "ll"),
            "OK OK:9223372036854775807"),
        ROW(C::SetBool(h, "b", true), Read(C::GetBool, h, "b"), "OK OK:true"),
        ROW(C::SetDouble(h, "d", -2.5e-300), Read(C::GetDouble, h, "d"), "OK OK:-2.5e-300"),
        ROW(C::SetFloat(h, "f", 0.1f), Read(C::GetDouble, h, "f"), "OK OK:0.10000000149011612"),
        ROW(C::SetStr(h, "s", "gr\u00fc\u00dfe \"q\""), Read(C::GetStr, h, "s"),
            "OK OK:gr\u00fc\u00dfe \"q\""),
        ROW(C::SetBinary(h, "bin", bytes, 4), Read(C::GetBinary, h, "bin"), "OK OK:[0,255,97,0]"),
        ROW(C::SetEmptyList(h, "is"), Read(C::GetInts, h, "is"), "OK OK:[]"),
        ROW(C::AppendInt(h, "is", INT_MIN), Read(C::GetInts, h, "is"), "OK OK:[-2147483648]"),
        // Appends to an absent key create the list.
        ROW(C::AppendLonglong(h, "lls", LLONG_MIN), Read(C::GetLonglongs, h, "lls"),
            "OK OK:[-9223372036854775808]"),
        ROW(C::AppendDouble(h, "ds", -1e300), Read(C::GetDoubles, h, "ds"), "OK OK:[-1e+300]"),
        ROW(C::AppendBool(h, "bs", false), Read(C::GetBools, h, "bs"), "OK OK:[false]"),
        ROW(C::AppendString(h, "ss", "a"), Read(C::GetStrings, h, "ss"), "OK OK:[a]"),
        ROW(C::AppendString(h, "ss", "b"), Read(StringsByWorker<typename C::Handle>, h, "ss"),
            "OK OK:[a,b]"),
        // A read or append of another type, and a value no document can hold, are refused; the
        // engine's tests hold the full table of types and ranges.
        ROW(C::SetInt(h, "seven", 7), Read(C::GetStr, h, "seven"), "OK INVALID_TYPE:"),
        ROW(C::AppendBool(h, "is", true), Read(C::GetStrings, h, "is"),
            "INVALID_TYPE INVALID_TYPE"),
        ROW(C::SetDouble(h, "nan", NAN), Read(C::GetDouble, h, "nan"),
            "INVALID_ARGUMENT NOT_FOUND"),
        ROW(C::Remove(h, "s"), Read(C::GetStr, h, "s"), "OK NOT_FOUND"),
    };
#undef ROW
    for (const auto& [write, run, expected] : rows) EXPECT_EQ(run(), expected) << write;
}

}  // namespace
