// Allocation on the engine test double, which allocates nothing itself: scalar values allocate
// nothing, strings and arrays are allocated once at their final size.
#include "../unit/DoubleTest.h"
#include "Allocations.h"

namespace {

using enginedouble::Answer;
using enginedouble::Read;
using KivConfigStore::ConfigStoreObjectId;

class Allocation : public HandleTest {
protected:
    void SetUp() override {
        HandleTest::SetUp();
        enginedouble::SetRecording(false);
    }

    // Runs `work` with counting on.
    static void Count(const std::function<void()>& work) {
        allocations::Start();
        work();
        allocations::Stop();
    }
};

// One call through each worker of scalar values; the engine copies strings it is given.
TEST_F(Allocation, ScalarValuesAllocateNothing) {
    Answer("GetValue(int*)", Read<int>{1, 5});
    int number = 0;
    Count([&] {
        GetValueInt(object_, "k", &number);
        SetValueFsoFloat(filter_, "k", 1);
        SetValueStr(object_, "k", "a string the engine copies");
        AppendValueFsoBool(filter_, "k", true);
        RemoveValue(object_, "k");
        SetValueFsoEmptyList(filter_, "k");
    });
    EXPECT_EQ(allocations::Mallocs(), 0);
    EXPECT_EQ(allocations::Callocs(), 0);
    EXPECT_EQ(number, 5);
}

TEST_F(Allocation, CopiesAreAllocatedOnceAtTheirFinalSize) {
    const std::string text = std::string(20, 'x') + '\0' + "tail";
    Answer("GetValue(string*)", Read<std::string>{1, text});
    char* value = nullptr;
    Count([&] { GetValueStr(object_, "k", &value); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), text.size() + 1);  // a NUL inside cuts no bytes
    std::free(value);

    object_->engineObject->objectId = ConfigStoreObjectId("key", "group", "component", "");
    char* parts[4] = {};
    Count([&] { GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]); });
    ASSERT_EQ(allocations::Callocs(), 3);  // key, component, group
    EXPECT_EQ(allocations::CallocBytes(0), 4u);
    EXPECT_EQ(allocations::CallocBytes(1), 10u);
    EXPECT_EQ(allocations::CallocBytes(2), 6u);
    for (char* part : parts) std::free(part);

    Answer("GetValue(vector<bool>*)", Read<std::vector<bool>>{1, {true, false}});
    Answer("GetValue(vector<string>*)", Read<std::vector<std::string>>{1, {"a", "bb", "ccc"}});
    bool* flags = nullptr;
    char** strings = nullptr;
    int count = 0;
    Count([&] { GetValueFsoBoolArray(filter_, "k", &flags, &count); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), 2u);
    Count([&] { GetValueStringArray(object_, "k", &strings, &count); });
    ASSERT_EQ(allocations::Callocs(), 4);
    EXPECT_EQ(allocations::CallocBytes(0), 3 * sizeof(char*));
    EXPECT_EQ(allocations::CallocBytes(3), 4u);
    std::free(flags);
    DestroyStringArrayValue(&strings, count);
}

}  // namespace
