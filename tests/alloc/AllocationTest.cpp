// Allocation on the engine test double, which allocates nothing itself: scalar values allocate
// nothing.
#include "../unit/DoubleTest.h"
#include "Allocations.h"

namespace {

using enginedouble::Answer;
using enginedouble::Read;

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

}  // namespace
