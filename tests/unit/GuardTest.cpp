// Exception families: each family translates its own exceptions in handler order, and the
// catch-all answers everything else, so that nothing escapes.
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

struct FamilyCase {
    const char* name;
    int (*raise)(std::exception_ptr);
    Results results;
};

const FamilyCase kFamilies[] = {
    {"ValueReads", Raise<ValueReads>, kValueReads},
    {"ArrayReads", Raise<ArrayReads>, kValueReads},
    {"ValueWrites", Raise<ValueWrites>, kValueWrites},
    {"ValueAppends", Raise<ValueAppends>, kValueAppends},
    {"ObjectReads", Raise<ObjectReads>, kStoreFailures},
    {"ObjectWrites", Raise<ObjectWrites>, kObjectWrites},
    {"ObjectCreation", Raise<ObjectCreation>, kArgumentOrStore},
    {"InstanceReads", Raise<InstanceReads>, kArgumentOrStore},
    {"InstanceWrites", Raise<InstanceWrites>, kInstanceWrites},
    {"StoreLevel", Raise<StoreLevel>, kStoreFailures},
    {"Untranslated", Raise<Untranslated>, kUntranslated},
};

void PrintTo(const FamilyCase& c, std::ostream* out) {
    *out << c.name;
}

class ExceptionFamilies : public DoubleTest, public ::testing::WithParamInterface<FamilyCase> {};

TEST_P(ExceptionFamilies, TranslateEachExceptionWithOneLine) {
    const auto errors = EngineErrors();
    for (size_t i = 0; i < errors.size(); ++i) {
        enginedouble::Reset();
        EXPECT_EQ(GetParam().raise(errors[i].first), GetParam().results[i]) << errors[i].second;
        ExpectLog({{"%s: %s", {"Tag", errors[i].second}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, ExceptionFamilies, ::testing::ValuesIn(kFamilies),
                         [](const auto& info) { return std::string(info.param.name); });

struct NotAStandardException {};
using CatchAll = DoubleTest;

TEST_F(CatchAll, AnswersAllocationFailureAndForeignExceptionsAndPassesResultsThrough) {
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
