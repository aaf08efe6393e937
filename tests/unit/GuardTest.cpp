// The guard under every exported function: handlers are tried in their family's order, each
// translated exception writes one line, and the catch-all answers everything else, so that
// nothing escapes. Which family each function runs under is checked with the function.
#include <new>

#include "DoubleTest.h"
#include "core/Families.h"

namespace {

using namespace binding;

// Raises `error` inside a region guarded by the family `Handlers`.
template <class Handlers>
int Raise(std::exception_ptr error) {
    return Guard<Handlers>("Tag", [&]() -> int { std::rethrow_exception(error); });
}

struct NotAStandardException {};
using Guards = DoubleTest;

TEST_F(Guards, TryHandlersInOrderSoThatTheFirstMatchWins) {
    const auto validation = std::make_exception_ptr(engine::ValidationException("invalid"));
    using ValidationFirst = Family<ValidationFailure, StoreFailure>;
    using StoreFirst = Family<StoreFailure, ValidationFailure>;
    EXPECT_EQ(Raise<ValidationFirst>(validation), CS_C_VALIDATION_ERROR);
    EXPECT_EQ(Raise<StoreFirst>(validation), CS_C_STORE_ERROR);
    EXPECT_EQ(Raise<Family<InvalidType>>(validation), CS_C_INTERNAL_ERROR);
    ExpectLog({{"%s: %s", {"Tag", "invalid"}},
               {"%s: %s", {"Tag", "invalid"}},
               {"%s: %s", {"Tag", "invalid"}}});
}

TEST_F(Guards, CatchAllAnswersAllocationFailureAndForeignExceptionsAndPassesResultsThrough) {
    EXPECT_EQ(Raise<StoreLevel>(std::make_exception_ptr(std::bad_alloc())), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(Raise<ObjectWrites>(std::make_exception_ptr(NotAStandardException())),
              CS_C_INTERNAL_ERROR);
    EXPECT_EQ(Raise<Untranslated>(std::make_exception_ptr(42)), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(Guard<ObjectReads>("Tag", [] { return CS_C_NOT_FOUND; }), CS_C_NOT_FOUND);
    ExpectLog({{"%s: %s", {"Tag", std::bad_alloc().what()}},
               {"%s: %s", {"Tag", "unknown exception"}},
               {"%s: %s", {"Tag", "unknown exception"}}});
}

}  // namespace
