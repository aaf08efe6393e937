// The shared argument checks and the context parser.
#include <functional>

#include "DoubleTest.h"
#include "core/Checks.h"

namespace {

using KivConfigStore::USERDATA_CONTEXT;

struct CheckCase {
    const char* name;
    std::function<int()> run;
    std::vector<ExpectedLine> log;  // empty: the check passes
};

ConfigStoreStruct store;
ConfigStoreObjectStruct object;

const char* const kObject = "%s: argument object not provided";
const char* const kKey = "%s: argument 'key' not provided";
const char* const kComponent = "%s: argument 'component' not provided";
const char* const kGroup = "%s: argument 'group' not provided";
const char* const kStore = "%s: ConfigStoreCPtr not provided";

const CheckCase kCheckCases[] = {
    {"object and key present", [] { return CheckObjectAndKey(&object, "k", "Op"); }, {}},
    {"empty key passes", [] { return CheckObjectAndKey(&object, "", "Op"); }, {}},
    {"handle tested before key",
     [] { return CheckObjectAndKey(nullptr, nullptr, "Op"); },
     {{kObject, {"Op"}}}},
    {"missing key", [] { return CheckObjectAndKey(&object, nullptr, "Op"); }, {{kKey, {"Op"}}}},
    {"full identity", [] { return CheckStoreAndObjectId(&store, "k", "g", "c", "Get"); }, {}},
    {"empty identity strings pass",
     [] { return CheckStoreAndObjectId(&store, "", "", "", "Get"); },
     {}},
    {"store tested first",
     [] { return CheckStoreAndObjectId(nullptr, nullptr, nullptr, nullptr, "Get"); },
     {{kStore, {"Get"}}}},
    {"key before component and group",
     [] { return CheckStoreAndObjectId(&store, nullptr, nullptr, nullptr, "Get"); },
     {{kKey, {"Get"}}}},
    {"component before group",
     [] { return CheckStoreAndObjectId(&store, "k", nullptr, nullptr, "Get"); },
     {{kComponent, {"Get"}}}},
    {"group last",
     [] { return CheckStoreAndObjectId(&store, "k", nullptr, "c", "Get"); },
     {{kGroup, {"Get"}}}},
    {"identity without store", [] { return CheckObjectId("k", "g", "c", "Create"); }, {}},
    {"identity: key first",
     [] { return CheckObjectId(nullptr, nullptr, nullptr, "Create"); },
     {{kKey, {"Create"}}}},
    {"identity: component before group",
     [] { return CheckObjectId("k", nullptr, nullptr, "Create"); },
     {{kComponent, {"Create"}}}},
    {"identity: group",
     [] { return CheckObjectId("k", nullptr, "c", "Create"); },
     {{kGroup, {"Create"}}}},
};

void PrintTo(const CheckCase& c, std::ostream* out) {
    *out << c.name;
}

class ArgumentChecks : public DoubleTest, public ::testing::WithParamInterface<CheckCase> {};

TEST_P(ArgumentChecks, RefuseOnlyTheFirstMissingArgument) {
    const CheckCase& check = GetParam();
    EXPECT_EQ(check.run(), check.log.empty() ? CS_C_OK : CS_C_INVALID_ARGUMENT);
    ExpectLog(check.log);
}

INSTANTIATE_TEST_SUITE_P(All, ArgumentChecks, ::testing::ValuesIn(kCheckCases),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             for (char& c : name) {
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             }
                             return name;
                         });

class ContextParsing : public DoubleTest {};

TEST_F(ContextParsing, KnownContexts) {
    const struct {
        const char* text;
        USERDATA_CONTEXT expected;
    } cases[] = {{nullptr, KivConfigStore::EXTERNAL},
                 {"EXTERNAL", KivConfigStore::EXTERNAL},
                 {"INTERNAL", KivConfigStore::INTERNAL}};
    for (const auto& known : cases) {
        auto context = static_cast<USERDATA_CONTEXT>(7);
        EXPECT_EQ(ParseUserDataContext(known.text, &context, "Set"), CS_C_OK);
        EXPECT_EQ(context, known.expected);
    }
    ExpectLog({});
}

TEST_F(ContextParsing, UnknownContextIsRefusedAndLeavesOutputAlone) {
    for (const char* text : {"internal", "", "EXTERNAL "}) {
        enginedouble::Reset();
        auto context = static_cast<USERDATA_CONTEXT>(7);
        EXPECT_EQ(ParseUserDataContext(text, &context, "Update"), CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(context, static_cast<USERDATA_CONTEXT>(7));
        ExpectLog({{"%s unknown context type '%s'", {"Update", text}}});
    }
}

}  // namespace
