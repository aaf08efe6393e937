// Allocation on the engine test double, which allocates nothing itself: scalar values allocate
// nothing.
#include "../unit/DoubleTest.h"
#include "Allocations.h"

namespace {

using Allocation = HandleTest;

// One call through each worker of scalar values; the engine copies strings it is given.
TEST_F(Allocation, ScalarValuesAllocateNothing) {
    enginedouble::SetRecording(false);
    enginedouble::Answer("GetValue(int*)", enginedouble::Read<int>{1, 5});
    int number = 0;
    allocations::Start();
    GetValueInt(object_, "k", &number);
    SetValueFsoFloat(filter_, "k", 1);
    SetValueStr(object_, "k", "a string the engine copies");
    AppendValueFsoBool(filter_, "k", true);
    RemoveValue(object_, "k");
    SetValueFsoEmptyList(filter_, "k");
    allocations::Stop();
    EXPECT_EQ(allocations::Mallocs() + allocations::Callocs(), 0);
    EXPECT_EQ(number, 5);
}

}  // namespace
