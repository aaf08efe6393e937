// What the writes, deletes and the boot status hand the engine. Each write reaching its own store
// operation is shown by its engine failures; its effect, by the integration tests.
#include "DoubleTest.h"

namespace {

using Writes = HandleTest;

TEST_F(Writes, PassListsInArrayOrderAndIdentitiesAsGiven) {
    ConfigStoreObjectStruct* objects[] = {Object("c"), Object("a"), Object("b")};
    EXPECT_EQ(SetInstances(store_, objects, 3, "INTERNAL"), CS_C_OK);
    EXPECT_EQ(SetCachedDataInstances(store_, objects, 3), CS_C_OK);
    EXPECT_EQ(SetUserDataInstances(store_, nullptr, 0, nullptr), CS_C_OK);  // an empty list
    EXPECT_EQ(SetVitalDataInstances(store_, nullptr, -1), CS_C_OK);
    EXPECT_EQ(Delete(store_, "k", "g", "c", "i1"), CS_C_OK);
    EXPECT_EQ(SetBootStatus("k", "g", "c", nullptr, false), CS_C_OK);
    const std::vector<std::vector<std::string>> expected = {
        {"c,a,b", "INTERNAL"}, {"c,a,b"},          {"", "EXTERNAL"}, {""},
        {"k|g|c|i1"},          {"k|g|c|", "false"}};
    ASSERT_EQ(enginedouble::Calls().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(enginedouble::Calls()[i].args, expected[i]) << i;
    }
    ExpectLog({});
}

}  // namespace
