// The context parser. The argument checks are exercised through every exported function.
#include "DoubleTest.h"
#include "core/Checks.h"

namespace {

using KivConfigStore::USERDATA_CONTEXT;

using ContextParsing = DoubleTest;

TEST_F(ContextParsing, KnowsTwoContextsAndRefusesAnythingElseLeavingTheOutputAlone) {
    const auto untouched = static_cast<USERDATA_CONTEXT>(7);
    const struct {
        const char* text;
        USERDATA_CONTEXT parsed;  // `untouched`: refused
    } cases[] = {{nullptr, KivConfigStore::EXTERNAL},
                 {"EXTERNAL", KivConfigStore::EXTERNAL},
                 {"INTERNAL", KivConfigStore::INTERNAL},
                 {"internal", untouched},
                 {"", untouched},
                 {"EXTERNAL ", untouched}};
    std::vector<ExpectedLine> lines;
    for (const auto& c : cases) {
        USERDATA_CONTEXT context = untouched;
        const bool known = c.parsed != untouched;
        EXPECT_EQ(ParseUserDataContext(c.text, &context, "Update"),
                  known ? CS_C_OK : CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(context, c.parsed);
        if (!known) lines.push_back({"%s unknown context type '%s'", {"Update", c.text}});
    }
    ExpectLog(lines);
}

}  // namespace
