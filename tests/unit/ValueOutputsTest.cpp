// What value functions write to their out-parameters on each outcome, and what they pass in.
#include <climits>

#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::Read;

using ValueOutputs = HandleTest;

TEST_F(ValueOutputs, ScalarReadsLeaveTheValueToTheEngine) {
    int value = 99;
    EXPECT_EQ(GetValueInt(object_, "missing", &value), CS_C_NOT_FOUND);
    EXPECT_EQ(GetValueInt(nullptr, "k", &value), CS_C_INVALID_ARGUMENT);
    enginedouble::Throw("GetValue(int*)", InvalidTypeException("a string"));
    EXPECT_EQ(GetValueInt(object_, "k", &value), CS_C_INVALID_TYPE);
    EXPECT_EQ(value, 99);

    enginedouble::Answer("GetValue(long*)", Read<long>{2, LONG_MIN});
    long fromDefault = 0;
    EXPECT_EQ(GetValueFsoLong(filter_, "k", &fromDefault), CS_C_VALUE_IS_DEFAULT);
    EXPECT_EQ(fromDefault, LONG_MIN);
}

TEST_F(ValueOutputs, StringReadHandsOutAStringUnlessNotFound) {
    enum Handed { kNull, kStored, kEmpty };
    const struct {
        const char* key;  // NULL: refused before the read
        int status;       // -1: the engine raises InvalidTypeException
        std::string stored;
        int result;
        Handed handed;
    } cases[] = {
        {"k", 1, "blue", CS_C_OK, kStored},
        {"k", 1, "", CS_C_OK, kStored},
        {"k", 1, std::string("ab\0cd", 5), CS_C_OK, kStored},  // cut at the NUL
        {"k", 2, "default", CS_C_VALUE_IS_DEFAULT, kStored},
        {"k", 0, "", CS_C_NOT_FOUND, kNull},
        {nullptr, 1, "blue", CS_C_INVALID_ARGUMENT, kEmpty},
        {"k", -1, "", CS_C_INVALID_TYPE, kEmpty},
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
        EXPECT_EQ(GetValueStr(object_, c.key, &value), c.result);
        if (c.handed == kNull) {
            EXPECT_EQ(value, nullptr);
            continue;
        }
        ASSERT_NE(value, &sentinel);
        const std::string expected = Delivered(c.handed == kStored ? c.stored : "");
        EXPECT_EQ(std::string(value, expected.size()), expected);
        std::free(value);
    }
}

// Elements as the caller receives them: strings cut at a NUL, booleans as the bytes 1 and 0.
template <class T>
void ExpectElement(const T& delivered, const T& stored) {
    EXPECT_EQ(delivered, stored);
}
void ExpectElement(char* delivered, const std::string& stored) {
    EXPECT_EQ(std::string(delivered, stored.size() + 1), Delivered(stored));
}
void ExpectElement(const bool& delivered, bool stored) {
    unsigned char byte = 2;
    std::memcpy(&byte, &delivered, 1);
    EXPECT_EQ(byte, stored ? 1 : 0);
}

// An array read hands out the engine's elements in order; without elements it leaves the array
// alone with a count of 0, not found gives NULL and 0, and a refused type leaves both alone.
template <class C, class E>
void ExpectArrayRead(int (*read)(ConfigStoreObjectStruct*, const char*, C**, int*),
                     ConfigStoreObjectStruct* object, const char* operation,
                     const std::vector<E>& stored) {
    SCOPED_TRACE(operation);
    C sentinel{};
    C* values = &sentinel;
    int count = -1;
    enginedouble::Answer(operation, Read<std::vector<E>>{1, stored});
    ASSERT_EQ(read(object, "k", &values, &count), CS_C_OK);
    ASSERT_EQ(count, static_cast<int>(stored.size()));
    for (int i = 0; i < count; ++i) ExpectElement(values[i], static_cast<E>(stored[i]));
    Release(values, count);

    for (int status : {1, 2}) {
        values = &sentinel;
        count = -1;
        enginedouble::Answer(operation, Read<std::vector<E>>{status, {}});
        EXPECT_EQ(read(object, "k", &values, &count),
                  status == 1 ? CS_C_OK : CS_C_VALUE_IS_DEFAULT);
        EXPECT_EQ(values, &sentinel);
        EXPECT_EQ(count, 0);
    }
    enginedouble::Answer(operation, Read<std::vector<E>>{0, {}});
    EXPECT_EQ(read(object, "k", &values, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(values, nullptr);
    EXPECT_EQ(count, 0);

    values = &sentinel;
    count = -1;
    enginedouble::Throw(operation, InvalidTypeException("a number"));
    EXPECT_EQ(read(object, "k", &values, &count), CS_C_INVALID_TYPE);
    EXPECT_EQ(values, &sentinel);
    EXPECT_EQ(count, -1);
}

TEST_F(ValueOutputs, ArrayReads) {
    ExpectArrayRead<int, int>(GetValueIntArray, object_, "GetValue(vector<int>*)", {3, 1, 2});
    ExpectArrayRead<double, double>(GetValueDoubleArray, object_, "GetValue(vector<double>*)",
                                    {0.5, -2.25});
    ExpectArrayRead<long long, long long>(
        GetValueLonglongArray, object_, "GetValue(vector<long long>*)", {LLONG_MAX, LLONG_MIN, 0});
    ExpectArrayRead<bool, bool>(GetValueBoolArray, object_, "GetValue(vector<bool>*)",
                                {true, false, true});
    ExpectArrayRead<char*, std::string>(GetValueStringArray, object_, "GetValue(vector<string>*)",
                                        {"x", "", std::string("ab\0cd", 5)});
    // Releasing a string list accepts nothing to release.
    char** none = nullptr;
    EXPECT_EQ(DestroyStringArrayValue(&none, 0), CS_C_OK);
    EXPECT_EQ(DestroyStringArrayValue(nullptr, 5), CS_C_OK);
    char** empty = static_cast<char**>(std::calloc(1, sizeof(char*)));
    EXPECT_EQ(DestroyStringArrayValue(&empty, 0), CS_C_OK);  // the array alone is released
}

TEST_F(ValueOutputs, BinaryPassesTheEnginesBufferThrough) {
    enginedouble::Answer("GetValueBinary", Read<std::string>{1, std::string("a\0b", 3)});
    unsigned char* data = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(GetValueBinary(object_, "k", &data, &size), CS_C_OK);
    ASSERT_EQ(size, 3u);
    EXPECT_EQ(std::memcmp(data, "a\0b", 3), 0);
    std::free(data);

    enginedouble::Answer("GetValueBinary", Read<std::string>{0, ""});
    unsigned char byte = 0;
    data = &byte;
    size = 77;
    EXPECT_EQ(GetValueFsoBinary(filter_, "k", &data, &size), CS_C_NOT_FOUND);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 77u);
}

TEST_F(ValueOutputs, ValuesReachTheEngineUnconverted) {
    SetValueFloat(object_, "f", 0.1f);
    SetValueDouble(object_, "d", 0.1);
    SetValueLong(object_, "", LONG_MIN);  // an empty key is a key
    SetValueUint16(object_, "u", 65535);
    SetValueUint32(object_, "u", 4294967295u);
    AppendValueFsoString(filter_, "s", "text");
    SetValueBinary(object_, "b", nullptr, 0);  // an empty binary value
    const std::vector<std::vector<std::string>> expected = {{"f", "0.10000000149011612"},
                                                            {"d", "0.10000000000000001"},
                                                            {"", std::to_string(LONG_MIN)},
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
