// What value functions write to their out-parameters on each outcome.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::Read;

using ValueOutputs = HandleTest;

// An engine status to script, or -1 for an InvalidTypeException from the engine.
void Script(const char* operation, int status, std::any answer) {
    if (status < 0) enginedouble::Throw(operation, InvalidTypeException("a number"));
    if (status >= 0) enginedouble::Answer(operation, std::move(answer));
}

TEST_F(ValueOutputs, ScalarAndBinaryReadsLeaveTheirOutputsToTheEngine) {
    int value = 99;
    EXPECT_EQ(GetValueInt(object_, "missing", &value), CS_C_NOT_FOUND);
    Script("GetValue(int*)", -1, {});
    EXPECT_EQ(GetValueInt(object_, "k", &value), CS_C_INVALID_TYPE);
    EXPECT_EQ(value, 99);
    // A missing binary value is NULL with its size untouched.
    unsigned char* data = reinterpret_cast<unsigned char*>(&value);
    unsigned long size = 77;
    EXPECT_EQ(GetValueFsoBinary(filter_, "k", &data, &size), CS_C_NOT_FOUND);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 77u);
}

// A string is handed out on every outcome but not found: the text up to its first NUL,
// zero-filled to the engine string's length + 1 (an empty one when refused).
TEST_F(ValueOutputs, StringReadHandsOutAStringUnlessNotFound) {
    const struct {
        const char* key;  // NULL: refused before the read
        int status;
        std::string stored;
        int result;
        std::string handed;  // with its terminator; empty: NULL
    } cases[] = {
        {"k", 1, std::string("ab\0cd", 5), CS_C_OK, std::string("ab\0\0\0\0", 6)},
        {"k", 2, "default", CS_C_VALUE_IS_DEFAULT, std::string("default\0", 8)},
        {"k", 0, "", CS_C_NOT_FOUND, ""},
        {nullptr, 1, "blue", CS_C_INVALID_ARGUMENT, std::string(1, '\0')},
        {"k", -1, "", CS_C_INVALID_TYPE, std::string(1, '\0')},
    };
    for (const auto& c : cases) {
        enginedouble::Reset();
        Script("GetValue(string*)", c.status, Read<std::string>{c.status, c.stored});
        char sentinel = 0;
        char* value = &sentinel;
        EXPECT_EQ(GetValueStr(object_, c.key, &value), c.result);
        if (c.handed.empty()) {
            EXPECT_EQ(value, nullptr);
            continue;
        }
        ASSERT_NE(value, &sentinel);
        EXPECT_EQ(std::string(value, c.handed.size()), c.handed);
        std::free(value);
    }
}

// Every list read delivers through one mechanism: without elements the array is left alone with
// a count of 0; not found gives NULL and 0; a refused type leaves both alone. Their results are
// in the table of value functions, their elements on the stand-in engine and in the allocation
// tests.
TEST_F(ValueOutputs, ArrayReads) {
    int sentinel = 0;
    for (int status : {1, 2, 0, -1}) {
        SCOPED_TRACE(status);
        int* values = &sentinel;
        int count = -1;
        Script("GetValue(vector<int>*)", status, Read<std::vector<int>>{status, {}});
        GetValueIntArray(object_, "k", &values, &count);
        EXPECT_EQ(values, status == 0 ? nullptr : &sentinel);
        EXPECT_EQ(count, status < 0 ? -1 : 0);
    }
    // Releasing a string list accepts nothing to release.
    char** none = nullptr;
    EXPECT_EQ(DestroyStringArrayValue(&none, 0), CS_C_OK);
    EXPECT_EQ(DestroyStringArrayValue(nullptr, 5), CS_C_OK);
}

}  // namespace
