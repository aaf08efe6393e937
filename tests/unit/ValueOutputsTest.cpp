// What value functions write to their out-parameters on each outcome, and what they pass in.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "ValueTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::Read;

class ValueOutputs : public ValueTest {};

TEST_F(ValueOutputs, ScalarReadsLeaveTheValueToTheEngine) {
    int value = 99;
    EXPECT_EQ(GetValueInt(ObjectHandle(), "missing", &value), CS_C_NOT_FOUND);
    EXPECT_EQ(GetValueInt(nullptr, "k", &value), CS_C_INVALID_ARGUMENT);
    enginedouble::Throw("GetValue(int*)", InvalidTypeException("a string"));
    EXPECT_EQ(GetValueInt(ObjectHandle(), "k", &value), CS_C_INVALID_TYPE);
    EXPECT_EQ(value, 99);

    enginedouble::Answer("GetValue(long*)", Read<long>{2, LONG_MIN});
    long fromDefault = 0;
    EXPECT_EQ(GetValueFsoLong(FilterHandle(), "k", &fromDefault), CS_C_VALUE_IS_DEFAULT);
    EXPECT_EQ(fromDefault, LONG_MIN);
}

TEST_F(ValueOutputs, StringReadHandsOutAStringUnlessNotFound) {
    const struct {
        const char* key;  // NULL: refused before the read
        int status;       // -1: the engine raises InvalidTypeException
        std::string stored;
        int result;
        const char* buffer;  // the whole buffer handed out, its NUL included; NULL: *value NULL
        size_t size;
    } cases[] = {
        {"k", 1, "blue", CS_C_OK, "blue", 5},
        {"k", 1, "", CS_C_OK, "", 1},
        {"k", 1, std::string("ab\0cd", 5), CS_C_OK, "ab\0\0\0", 6},  // cut at the NUL
        {"k", 2, "default", CS_C_VALUE_IS_DEFAULT, "default", 8},
        {"k", 0, "", CS_C_NOT_FOUND, nullptr, 0},
        {nullptr, 1, "blue", CS_C_INVALID_ARGUMENT, "", 1},
        {"k", -1, "", CS_C_INVALID_TYPE, "", 1},
    };
    for (const auto& c : cases) {
        enginedouble::Reset();
        if (c.status < 0) {
            enginedouble::Throw("GetValue(string*)", InvalidTypeException("a number"));
        } else {
            enginedouble::Answer("GetValue(string*)", Read<std::string>{c.status, c.stored});
        }
        char sentinel = 0;
        char* value = &sentinel;
        EXPECT_EQ(GetValueStr(ObjectHandle(), c.key, &value), c.result);
        if (c.buffer == nullptr) {
            EXPECT_EQ(value, nullptr);
        } else {
            ASSERT_NE(value, &sentinel);
            EXPECT_EQ(std::string(value, c.size), std::string(c.buffer, c.size));
            std::free(value);
        }
    }
}

TEST_F(ValueOutputs, StringListRead) {
    char* sentinel[1] = {nullptr};
    char** values = sentinel;
    int count = -1;

    enginedouble::Answer("GetValue(vector<string>*)",
                         Read<std::vector<std::string>>{1, {"x", "", std::string("ab\0cd", 5)}});
    ASSERT_EQ(GetValueStringArray(ObjectHandle(), "k", &values, &count), CS_C_OK);
    ASSERT_EQ(count, 3);
    EXPECT_STREQ(values[0], "x");
    EXPECT_STREQ(values[1], "");
    EXPECT_EQ(std::string(values[2], 6), std::string("ab\0\0\0\0", 6));  // cut at the NUL
    EXPECT_EQ(DestroyStringArrayValue(&values, count), CS_C_OK);

    values = sentinel;
    count = -1;
    enginedouble::Answer("GetValue(vector<string>*)", Read<std::vector<std::string>>{2, {}});
    EXPECT_EQ(GetValueFsoStringArray(FilterHandle(), "k", &values, &count), CS_C_VALUE_IS_DEFAULT);
    EXPECT_EQ(values, sentinel);  // an empty list leaves the array alone
    EXPECT_EQ(count, 0);

    enginedouble::Answer("GetValue(vector<string>*)", Read<std::vector<std::string>>{0, {}});
    EXPECT_EQ(GetValueStringArray(ObjectHandle(), "k", &values, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(values, nullptr);
    EXPECT_EQ(count, 0);

    values = sentinel;
    count = -1;
    enginedouble::Throw("GetValue(vector<string>*)", InvalidTypeException("a number"));
    EXPECT_EQ(GetValueStringArray(ObjectHandle(), "k", &values, &count), CS_C_INVALID_TYPE);
    EXPECT_EQ(values, sentinel);
    EXPECT_EQ(count, -1);
}

template <class T>
void ExpectArray(int (*read)(ConfigStoreObjectStruct*, const char*, T**, int*),
                 ConfigStoreObjectStruct* object, const char* operation,
                 const std::vector<T>& stored) {
    enginedouble::Answer(operation, Read<std::vector<T>>{1, stored});
    T* values = nullptr;
    int count = -1;
    ASSERT_EQ(read(object, "k", &values, &count), CS_C_OK) << operation;
    ASSERT_EQ(count, static_cast<int>(stored.size()));
    for (int i = 0; i < count; ++i) EXPECT_EQ(values[i], stored[i]) << operation << i;
    std::free(values);
}

TEST_F(ValueOutputs, TypedArraysKeepTheEnginesOrder) {
    ExpectArray<int>(GetValueIntArray, ObjectHandle(), "GetValue(vector<int>*)", {3, 1, 2});
    ExpectArray<double>(GetValueDoubleArray, ObjectHandle(), "GetValue(vector<double>*)",
                        {0.5, -2.25});
    ExpectArray<long long>(GetValueLonglongArray, ObjectHandle(), "GetValue(vector<long long>*)",
                           {LLONG_MAX, LLONG_MIN, 0});

    enginedouble::Answer("GetValue(vector<bool>*)",
                         Read<std::vector<bool>>{1, {true, false, true}});
    bool* flags = nullptr;
    int count = 0;
    ASSERT_EQ(GetValueBoolArray(ObjectHandle(), "k", &flags, &count), CS_C_OK);
    ASSERT_EQ(count, 3);
    unsigned char bytes[3];
    std::memcpy(bytes, flags, 3);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 0);
    EXPECT_EQ(bytes[2], 1);
    std::free(flags);
}

TEST_F(ValueOutputs, TypedArrayOutcomesWithoutElements) {
    double sentinel = 0;
    double* values = &sentinel;
    int count = -1;
    enginedouble::Answer("GetValue(vector<double>*)", Read<std::vector<double>>{1, {}});
    EXPECT_EQ(GetValueDoubleArray(ObjectHandle(), "k", &values, &count), CS_C_OK);
    EXPECT_EQ(values, &sentinel);
    EXPECT_EQ(count, 0);

    enginedouble::Answer("GetValue(vector<double>*)", Read<std::vector<double>>{0, {}});
    EXPECT_EQ(GetValueDoubleArray(ObjectHandle(), "k", &values, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(values, nullptr);
    EXPECT_EQ(count, 0);

    long long kept = 0;
    long long* longs = &kept;
    count = -1;
    enginedouble::Throw("GetValue(vector<long long>*)", InvalidTypeException("a string"));
    EXPECT_EQ(GetValueFsoLonglongArray(FilterHandle(), "k", &longs, &count), CS_C_INVALID_TYPE);
    EXPECT_EQ(longs, &kept);
    EXPECT_EQ(count, -1);
}

TEST_F(ValueOutputs, BinaryPassesTheEnginesBufferThrough) {
    enginedouble::Answer("GetValueBinary", Read<std::string>{1, std::string("a\0b", 3)});
    unsigned char* data = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(GetValueBinary(ObjectHandle(), "k", &data, &size), CS_C_OK);
    ASSERT_EQ(size, 3u);
    EXPECT_EQ(std::memcmp(data, "a\0b", 3), 0);
    std::free(data);

    enginedouble::Answer("GetValueBinary", Read<std::string>{0, ""});
    unsigned char byte = 0;
    data = &byte;
    size = 77;
    EXPECT_EQ(GetValueFsoBinary(FilterHandle(), "k", &data, &size), CS_C_NOT_FOUND);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 77u);
}

TEST_F(ValueOutputs, StringListReleaseAcceptsNothingToRelease) {
    char** none = nullptr;
    EXPECT_EQ(DestroyStringArrayValue(&none, 0), CS_C_OK);
    EXPECT_EQ(DestroyStringArrayValue(nullptr, 5), CS_C_OK);
    char** empty = static_cast<char**>(std::calloc(1, sizeof(char*)));
    EXPECT_EQ(DestroyStringArrayValue(&empty, 0), CS_C_OK);  // the array alone is released
    ExpectLog({});
}

TEST_F(ValueOutputs, MissingValuesAreRefusedAfterHandleAndKey) {
    const struct {
        const char* name;
        int (*call)(void* handle, const char* key);
    } writes[] = {
        {"SetValueStr",
         [](void* h, const char* k) {
             return SetValueStr(static_cast<ConfigStoreObjectStruct*>(h), k, nullptr);
         }},
        {"SetValueFsoStr",
         [](void* h, const char* k) {
             return SetValueFsoStr(static_cast<FilterSpecObjectStruct*>(h), k, nullptr);
         }},
        {"AppendValueString",
         [](void* h, const char* k) {
             return AppendValueString(static_cast<ConfigStoreObjectStruct*>(h), k, nullptr);
         }},
        {"AppendValueFsoString",
         [](void* h, const char* k) {
             return AppendValueFsoString(static_cast<FilterSpecObjectStruct*>(h), k, nullptr);
         }},
        {"SetValueBinary",
         [](void* h, const char* k) {
             return SetValueBinary(static_cast<ConfigStoreObjectStruct*>(h), k, nullptr, 4);
         }},
        {"SetValueFsoBinary",
         [](void* h, const char* k) {
             return SetValueFsoBinary(static_cast<FilterSpecObjectStruct*>(h), k, nullptr, 4);
         }},
    };
    for (const auto& write : writes) {
        enginedouble::Reset();
        void* handle = std::string(write.name).find("Fso") == std::string::npos
                           ? static_cast<void*>(ObjectHandle())
                           : static_cast<void*>(FilterHandle());
        EXPECT_EQ(write.call(handle, nullptr), CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(write.call(handle, "k"), CS_C_INVALID_ARGUMENT);
        ExpectLog({{"%s: argument 'key' not provided", {write.name}},
                   {"%s: argument 'value' not provided", {write.name}}});
        EXPECT_TRUE(enginedouble::Calls().empty()) << write.name;
    }
}

TEST_F(ValueOutputs, ValuesReachTheEngineUnconverted) {
    SetValueFloat(ObjectHandle(), "f", 0.1f);
    SetValueDouble(ObjectHandle(), "d", 0.1);
    SetValueLong(ObjectHandle(), "l", LONG_MIN);
    SetValueUint16(ObjectHandle(), "u", 65535);
    SetValueUint32(ObjectHandle(), "u", 4294967295u);
    AppendValueFsoString(FilterHandle(), "s", "text");
    SetValueBinary(ObjectHandle(), "b", nullptr, 0);  // an empty binary value
    const std::vector<std::vector<std::string>> expected = {{"f", "0.10000000149011612"},
                                                            {"d", "0.10000000000000001"},
                                                            {"l", std::to_string(LONG_MIN)},
                                                            {"u", "65535"},
                                                            {"u", "4294967295"},
                                                            {"s", "text"},
                                                            {"b", "(null)", "0"}};
    ASSERT_EQ(enginedouble::Calls().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(enginedouble::Calls()[i].args, expected[i]) << i;
    }
}

}  // namespace
