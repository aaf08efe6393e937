// Values in memory on the stand-in engine: every value function of the library, on an object
// handle and, through its Fso twin, on a filter spec handle, with each family's outcomes. The
// engine's own tests hold its full table of types and ranges.
#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

#include "configstorec.h"

namespace {

// A status by its name without the prefix: "OK", "NOT_FOUND".
std::string Outcome(int status) {
    return ConfigStoreCStatusName(status) + std::strlen("CS_C_");
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
    std::string text = Outcome(get(h, key, &value));
    if constexpr (std::is_pointer_v<T>) {  // a string comes on every outcome but NOT_FOUND
        if (value != nullptr) text += ":" + Show(value);
        std::free(value);
    } else if (text == "OK") {
        text += ":" + Show(value);
    }
    return text;
}

template <class H, class T, class N>
std::string Read(ConfigStoreCStatus (*get)(H*, const char*, T**, N*), H* h, const char* key) {
    T* values = nullptr;
    N count = 0;
    std::string text = Outcome(get(h, key, &values, &count));
    const bool shown = text == "OK" || values != nullptr;
    if (shown) text += ":[";
    for (N i = 0; i < count; ++i) text += (i > 0 ? "," : "") + Show(values[i]);
    if (shown) text += "]";
    if constexpr (std::is_same_v<T, char*>) {
        DestroyStringArrayValue(&values, static_cast<int>(count));
    } else {
        std::free(values);
    }
    return text;
}

TEST(HandleValues, EachFamilyReachesTheEngineOnBothHandlesAndMapsItsOutcomes) {
    ConfigStoreObjectStruct* o = nullptr;
    FilterSpecObjectStruct* f = nullptr;
    ASSERT_EQ(CreateObject("values", "tests", "integration", nullptr, "", &o), CS_C_OK);
    ASSERT_EQ(CreateFilterSpecObject("values", "tests", "integration", nullptr, &f), CS_C_OK);
    const unsigned char bytes[] = {0, 0xff, 'a', 0};
    struct Row {  // outcomes as the rows run: in order, each write before its read
        const char* write;
        std::string objectWrite, objectRead, filterWrite, filterRead;
        const char* expected;
    };
    // A write, then the read that shows what it did, on each handle.
    // clang-format off
#define ROW(expected, write, fsoWrite, read, fsoRead, key, ...) \
    {#write, Outcome(write(o, key, ##__VA_ARGS__)), Read(read, o, key), \
     Outcome(fsoWrite(f, key, ##__VA_ARGS__)), Read(fsoRead, f, key), expected}
    const Row rows[] = {
        ROW("OK OK:-2147483648", SetValueInt, SetValueFsoInt, GetValueInt, GetValueFsoInt, "i", INT_MIN),
        ROW("OK OK:65535", SetValueUint16, SetValueFsoUint16, GetValueUint16, GetValueFsoUint16, "u16", USHRT_MAX),
        ROW("OK OK:4294967295", SetValueUint32, SetValueFsoUint32, GetValueUint32, GetValueFsoUint32, "u32", UINT_MAX),
        ROW("OK OK:-9223372036854775808", SetValueLong, SetValueFsoLong, GetValueLong, GetValueFsoLong, "l", LONG_MIN),
        ROW("OK OK:9223372036854775807", SetValueLonglong, SetValueFsoLonglong, GetValueLonglong, GetValueFsoLonglong, "ll", LLONG_MAX),
        ROW("OK OK:true", SetValueBool, SetValueFsoBool, GetValueBool, GetValueFsoBool, "b", true),
        ROW("OK OK:-2.5e-300", SetValueDouble, SetValueFsoDouble, GetValueDouble, GetValueFsoDouble, "d", -2.5e-300),
        ROW("OK OK:0.10000000149011612", SetValueFloat, SetValueFsoFloat, GetValueDouble, GetValueFsoDouble, "f", 0.1f),
        ROW("OK OK:gr\u00fc\u00dfe \"q\"", SetValueStr, SetValueFsoStr, GetValueStr, GetValueFsoStr, "s", "gr\u00fc\u00dfe \"q\""),
        ROW("OK OK:[0,255,97,0]", SetValueBinary, SetValueFsoBinary, GetValueBinary, GetValueFsoBinary, "bin", bytes, 4),
        ROW("OK OK:[]", SetValueEmptyList, SetValueFsoEmptyList, GetValueIntArray, GetValueFsoIntArray, "is"),
        ROW("OK OK:[-2147483648]", AppendValueInt, AppendValueFsoInt, GetValueIntArray, GetValueFsoIntArray, "is", INT_MIN),
        // Appends to an absent key create the list.
        ROW("OK OK:[-9223372036854775808]", AppendValueLonglong, AppendValueFsoLonglong, GetValueLonglongArray, GetValueFsoLonglongArray, "lls", LLONG_MIN),
        ROW("OK OK:[-1e+300]", AppendValueDouble, AppendValueFsoDouble, GetValueDoubleArray, GetValueFsoDoubleArray, "ds", -1e300),
        ROW("OK OK:[false]", AppendValueBool, AppendValueFsoBool, GetValueBoolArray, GetValueFsoBoolArray, "bs", false),
        ROW("OK OK:[b]", AppendValueString, AppendValueFsoString, GetValueStringArray, GetValueFsoStringArray, "ss", "b"),
        // A read of another type, and a value no document can hold, are refused.
        ROW("OK INVALID_TYPE:", SetValueInt, SetValueFsoInt, GetValueStr, GetValueFsoStr, "i", 7),
        ROW("INVALID_ARGUMENT NOT_FOUND", SetValueDouble, SetValueFsoDouble, GetValueDouble, GetValueFsoDouble, "nan", NAN),
        ROW("OK NOT_FOUND", RemoveValue, RemoveValueFso, GetValueStr, GetValueFsoStr, "s"),
    };
    // clang-format on
#undef ROW
    for (const Row& row : rows) {
        EXPECT_EQ(row.objectWrite + " " + row.objectRead, row.expected) << row.write;
        EXPECT_EQ(row.filterWrite + " " + row.filterRead, row.expected) << row.write;
    }
    // The worker behind both string list reads (the rows read through it), called directly.
    char** strings = nullptr;
    int count = 0;
    EXPECT_EQ(GetValueStringArrayInternal(f, "ss", &strings, &count, "Worker"), CS_C_OK);
    EXPECT_EQ(count == 1 ? std::string(strings[0]) : "", "b");
    EXPECT_EQ(DestroyStringArrayValue(&strings, count), CS_C_OK);
    EXPECT_EQ(DestroyConfigStoreObject(o) + DestroyFilterSpecObject(f), CS_C_OK);
}

}  // namespace
