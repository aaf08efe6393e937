// Exception families: each family translates its own exceptions in handler order, and the
// catch-all answers everything else, so that nothing escapes.
#include <functional>
#include <new>
#include <stdexcept>

#include "DoubleTest.h"
#include "core/Families.h"

namespace {

using namespace KivConfigStore;
using namespace binding;

struct NotAStandardException {};

// Throws an error of a chosen kind from inside a guarded region of a chosen family.
template <class Handlers>
int Raise(const std::function<void()>& raise) {
    return Guard<Handlers>("Tag", [&] {
        raise();
        return CS_C_OK;
    });
}

const std::function<void()> kConfigStore = [] { throw ConfigStoreException("store"); };
const std::function<void()> kValidation = [] { throw ValidationException("validation"); };
const std::function<void()> kInvalidArgument = [] { throw InvalidArgumentException("argument"); };
const std::function<void()> kInvalidType = [] { throw InvalidTypeException("type"); };
const std::function<void()> kRuntime = [] { throw std::runtime_error("runtime"); };

struct FamilyCase {
    const char* name;
    std::function<int(const std::function<void()>&)> run;
    // Results for ConfigStore, Validation, InvalidArgument, InvalidType, runtime_error.
    int results[5];
};

const FamilyCase kFamilies[] = {
    {"ValueReads", Raise<ValueReads>, {5, 5, 5, 4, 5}},
    {"ArrayReads", Raise<ArrayReads>, {5, 5, 5, 4, 5}},
    {"ValueWrites", Raise<ValueWrites>, {5, 5, 2, 5, 5}},
    {"ValueAppends", Raise<ValueAppends>, {5, 5, 2, 4, 5}},
    {"ObjectReads", Raise<ObjectReads>, {1, 1, 1, 1, 5}},
    {"ObjectWrites", Raise<ObjectWrites>, {1, 3, 1, 1, 5}},
    {"ObjectCreation", Raise<ObjectCreation>, {1, 1, 2, 1, 5}},
    {"InstanceReads", Raise<InstanceReads>, {1, 1, 2, 1, 5}},
    {"InstanceWrites", Raise<InstanceWrites>, {1, 3, 2, 1, 5}},
    {"StoreLevel", Raise<StoreLevel>, {1, 1, 1, 1, 5}},
    {"Untranslated", Raise<Untranslated>, {5, 5, 5, 5, 5}},
};

void PrintTo(const FamilyCase& c, std::ostream* out) {
    *out << c.name;
}

class ExceptionFamilies : public DoubleTest, public ::testing::WithParamInterface<FamilyCase> {};

TEST_P(ExceptionFamilies, TranslateEachExceptionWithOneLine) {
    const FamilyCase& family = GetParam();
    const std::function<void()>* errors[] = {&kConfigStore, &kValidation, &kInvalidArgument,
                                             &kInvalidType, &kRuntime};
    const char* texts[] = {"store", "validation", "argument", "type", "runtime"};
    for (int i = 0; i < 5; ++i) {
        enginedouble::Reset();
        EXPECT_EQ(family.run(*errors[i]), family.results[i]) << texts[i];
        ExpectLog({{"%s: %s", {"Tag", texts[i]}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, ExceptionFamilies, ::testing::ValuesIn(kFamilies),
                         [](const auto& info) { return std::string(info.param.name); });

class CatchAll : public DoubleTest {};

TEST_F(CatchAll, AnswersAllocationFailureAndForeignExceptions) {
    EXPECT_EQ(Raise<StoreLevel>([] { throw std::bad_alloc(); }), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(Raise<ObjectWrites>([] { throw NotAStandardException(); }), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(Raise<Untranslated>([] { throw 42; }), CS_C_INTERNAL_ERROR);
    ExpectLog({{"%s: %s", {"Tag", std::bad_alloc().what()}},
               {"%s: %s", {"Tag", "unknown exception"}},
               {"%s: %s", {"Tag", "unknown exception"}}});
}

TEST_F(CatchAll, PassesResultsThroughWithoutLogging) {
    EXPECT_EQ(Guard<ObjectReads>("Tag", [] { return CS_C_NOT_FOUND; }), CS_C_NOT_FOUND);
    ExpectLog({});
}

}  // namespace
