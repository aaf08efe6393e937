// Values in memory on the stand-in engine: every value function of the library, on object
// handles and on filter spec handles through their Fso twins.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

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
    CALL(AppendString, AppendValue##Fso##String)
// clang-format on

struct Objects {
    using Handle = ConfigStoreObjectStruct;
    VALUE_CALLS()
    CALL(Remove, RemoveValue)
    static ConfigStoreObjectStruct* Make() {
        ConfigStoreObjectStruct* object = nullptr;
        CreateObject("values", "tests", "integration", nullptr, "", &object);
        return object;
    }
    static void Destroy(ConfigStoreObjectStruct* object) { DestroyConfigStoreObject(object); }
};

struct FilterSpecs {
    using Handle = FilterSpecObjectStruct;
    VALUE_CALLS(Fso)
    CALL(Remove, RemoveValueFso)
    static FilterSpecObjectStruct* Make() {
        FilterSpecObjectStruct* filter = nullptr;
        CreateFilterSpecObject("values", "tests", "integration", nullptr, &filter);
        return filter;
    }
    static void Destroy(FilterSpecObjectStruct* filter) { DestroyFilterSpecObject(filter); }
};

namespace {

template <class T>
struct Exactly {
    using type = T;  // keeps an argument out of template deduction
};

// Writes `value` under one key and expects `expected` back through `get`.
template <class H, class T, class U>
void ExpectStored(H* h, ConfigStoreCStatus (*set)(H*, const char*, T),
                  typename Exactly<T>::type value, ConfigStoreCStatus (*get)(H*, const char*, U*),
                  typename Exactly<U>::type expected) {
    ASSERT_EQ(set(h, "value", value), CS_C_OK);
    U read{};
    EXPECT_EQ(get(h, "value", &read), CS_C_OK);
    EXPECT_EQ(read, expected);
}

// The status of a read, with whatever it handed out released.
template <class H, class T>
int ReadStatus(ConfigStoreCStatus (*get)(H*, const char*, T*), H* h, const char* key) {
    T value{};
    const int status = get(h, key, &value);
    if constexpr (std::is_pointer_v<T>) std::free(value);  // strings come on every outcome
    return status;
}

template <class T>
using Element = std::conditional_t<std::is_same_v<T, char*>, std::string, T>;

// The same for lists and binary values, whose elements go to `list` when one is given.
template <class H, class T, class N>
int ReadStatus(ConfigStoreCStatus (*get)(H*, const char*, T**, N*), H* h, const char* key,
               std::vector<Element<T>>* list = nullptr) {
    T* values = nullptr;
    N count = 0;
    const int status = get(h, key, &values, &count);
    if (list != nullptr) list->assign(values, values + count);
    if constexpr (std::is_same_v<T, char*>) {
        DestroyStringArrayValue(&values, static_cast<int>(count));
    } else {
        std::free(values);
    }
    return status;
}

template <class H, class T, class N>
std::vector<Element<T>> ListOf(ConfigStoreCStatus (*get)(H*, const char*, T**, N*), H* h,
                               const char* key) {
    std::vector<Element<T>> list;
    EXPECT_EQ(ReadStatus(get, h, key, &list), CS_C_OK) << key;
    return list;
}

template <class C>
class HandleValues : public ::testing::Test {
protected:
    ~HandleValues() override { C::Destroy(handle); }
    typename C::Handle* const handle = C::Make();
};

using HandleKinds = ::testing::Types<Objects, FilterSpecs>;
TYPED_TEST_SUITE(HandleValues, HandleKinds);

TYPED_TEST(HandleValues, ScalarsReadBackTheirWholeRange) {
    using C = TypeParam;
    auto* h = this->handle;
    ASSERT_NE(h, nullptr);
    ExpectStored(h, C::SetInt, INT_MIN, C::GetInt, INT_MIN);
    ExpectStored(h, C::SetUint16, USHRT_MAX, C::GetUint16, USHRT_MAX);
    ExpectStored(h, C::SetUint32, UINT_MAX, C::GetUint32, UINT_MAX);
    ExpectStored(h, C::SetLong, LONG_MIN, C::GetLong, LONG_MIN);
    ExpectStored(h, C::SetLonglong, LLONG_MAX, C::GetLonglong, LLONG_MAX);
    ExpectStored(h, C::SetBool, true, C::GetBool, true);
    ExpectStored(h, C::SetBool, false, C::GetBool, false);
    ExpectStored(h, C::SetDouble, -2.5e-300, C::GetDouble, -2.5e-300);
    ExpectStored(h, C::SetFloat, 0.1f, C::GetDouble, static_cast<double>(0.1f));
    ExpectStored(h, C::SetUint32, 7U, C::GetDouble, 7.0);  // every number reads as a double
    ExpectStored(h, C::SetInt, -7, C::GetLonglong, -7LL);  // and as any type its value fits
}

TYPED_TEST(HandleValues, ReadsOfAnotherTypeOrOutOfRangeAreInvalidType) {
    using C = TypeParam;
    using H = typename C::Handle;
    H* h = this->handle;
    ASSERT_NE(h, nullptr);
    const unsigned char bytes[] = {1, 2};
    for (const int written :
         {C::SetInt(h, "negative", -1), C::SetInt(h, "wide", 70000),
          C::SetUint32(h, "uint", 3000000000U), C::SetLonglong(h, "big", 1LL << 40),
          C::SetDouble(h, "half", 0.5), C::SetBool(h, "flag", true), C::SetStr(h, "text", "7"),
          C::SetBinary(h, "blob", bytes, sizeof bytes), C::AppendInt(h, "ints", 1),
          C::AppendInt(h, "mixed", 1), C::AppendLonglong(h, "mixed", 1LL << 40),
          C::AppendString(h, "words", "a"), C::AppendBool(h, "flags", true),
          C::SetEmptyList(h, "empty")}) {
        ASSERT_EQ(written, CS_C_OK);
    }
#define READER(get) [](H* handle, const char* key) { return ReadStatus(C::get, handle, key); }
    int (*const readers[])(H*, const char*) = {
        READER(GetInt),      READER(GetUint16), READER(GetUint32),    READER(GetLong),
        READER(GetLonglong), READER(GetBool),   READER(GetDouble),    READER(GetStr),
        READER(GetBinary),   READER(GetInts),   READER(GetLonglongs), READER(GetDoubles),
        READER(GetBools),    READER(GetStrings)};
#undef READER
    // One column per reader above: o reads the value, x is CS_C_INVALID_TYPE.
    const std::pair<const char*, const char*> table[] = {
        {"negative", "oxxooxoxxxxxxx"}, {"wide", "oxoooxoxxxxxxx"},  {"uint", "xxoooxoxxxxxxx"},
        {"big", "xxxooxoxxxxxxx"},      {"half", "xxxxxxoxxxxxxx"},  {"flag", "xxxxxoxxxxxxxx"},
        {"text", "xxxxxxxoxxxxxx"},     {"blob", "xxxxxxxxoxxxxx"},  {"ints", "xxxxxxxxxoooxx"},
        {"mixed", "xxxxxxxxxxooxx"},    {"words", "xxxxxxxxxxxxxo"}, {"flags", "xxxxxxxxxxxxox"},
        {"empty", "xxxxxxxxxooooo"}};
    for (const auto& [key, outcomes] : table) {
        for (std::size_t column = 0; column < std::size(readers); ++column) {
            EXPECT_EQ(readers[column](h, key),
                      outcomes[column] == 'o' ? CS_C_OK : CS_C_INVALID_TYPE)
                << key << ", reader " << column;
        }
    }
}

TYPED_TEST(HandleValues, StringsListsAndBinaryValuesReadBackWhole) {
    using C = TypeParam;
    auto* h = this->handle;
    ASSERT_NE(h, nullptr);
    char* text = nullptr;
    ASSERT_EQ(C::SetStr(h, "name", "gr\u00fc\u00dfe \"quoted\""), CS_C_OK);
    EXPECT_EQ(C::GetStr(h, "name", &text), CS_C_OK);
    EXPECT_STREQ(text, "gr\u00fc\u00dfe \"quoted\"");
    std::free(text);

    // Appends to an absent key create the list.
    for (const int appended :
         {C::AppendInt(h, "ints", 1), C::AppendInt(h, "ints", INT_MIN),
          C::AppendLonglong(h, "longs", LLONG_MIN), C::AppendDouble(h, "doubles", 0.5),
          C::AppendDouble(h, "doubles", -1e300), C::AppendBool(h, "bools", true),
          C::AppendBool(h, "bools", false), C::SetEmptyList(h, "none"), C::SetEmptyList(h, "words"),
          C::AppendString(h, "words", "a"), C::AppendString(h, "words", "")}) {
        ASSERT_EQ(appended, CS_C_OK);
    }
    EXPECT_EQ(ListOf(C::GetInts, h, "ints"), (std::vector<int>{1, INT_MIN}));
    EXPECT_EQ(ListOf(C::GetLonglongs, h, "longs"), (std::vector<long long>{LLONG_MIN}));
    EXPECT_EQ(ListOf(C::GetDoubles, h, "doubles"), (std::vector<double>{0.5, -1e300}));
    EXPECT_EQ(ListOf(C::GetBools, h, "bools"), (std::vector<bool>{true, false}));
    EXPECT_EQ(ListOf(C::GetInts, h, "none"), std::vector<int>{});
    EXPECT_EQ(ListOf(C::GetStrings, h, "words"), (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(C::AppendBool(h, "ints", true), CS_C_INVALID_TYPE);
    EXPECT_EQ(C::AppendString(h, "doubles", "x"), CS_C_INVALID_TYPE);
    EXPECT_EQ(C::AppendInt(h, "name", 1), CS_C_INVALID_TYPE);  // not a list

    const unsigned char bytes[] = {0, 0xff, 'a', 0};
    for (const unsigned long size : {4UL, 0UL}) {
        ASSERT_EQ(C::SetBinary(h, "blob", size == 0 ? nullptr : bytes, size), CS_C_OK);
        EXPECT_EQ(ListOf(C::GetBinary, h, "blob"), std::vector<unsigned char>(bytes, bytes + size));
    }

    ASSERT_EQ(C::Remove(h, "name"), CS_C_OK);
    EXPECT_EQ(C::Remove(h, "never-there"), CS_C_OK);
    text = nullptr;
    EXPECT_EQ(C::GetStr(h, "name", &text), CS_C_NOT_FOUND);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(ReadStatus(C::GetInts, h, "name"), CS_C_NOT_FOUND);
}

TYPED_TEST(HandleValues, ValuesADocumentCannotHoldAreRefused) {
    using C = TypeParam;
    auto* h = this->handle;
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(C::SetDouble(h, "nan", std::nan("")), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(C::SetFloat(h, "infinite", INFINITY), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(C::AppendDouble(h, "nans", NAN), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(C::SetStr(h, "latin1", "gr\xfc"), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(C::AppendString(h, "cut", "\xc3"), CS_C_INVALID_ARGUMENT);
    for (const char* key : {"IS_BOOT", "APPLY_BOOT", "BACKUP_FILES", "", "\xff"}) {
        EXPECT_EQ(C::SetInt(h, key, 1), CS_C_INVALID_ARGUMENT) << key;
    }
    for (const char* key : {"nan", "infinite", "nans", "latin1", "cut", "IS_BOOT"}) {
        EXPECT_EQ(ReadStatus(C::GetStr, h, key), CS_C_NOT_FOUND) << key << " was written";
    }
}

}  // namespace
