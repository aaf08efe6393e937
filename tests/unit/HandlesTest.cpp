// The destruction of handle trees. Which handles a destroyer refuses is in the table of refusals.
#include "DoubleTest.h"

namespace {

using enginedouble::MakeObject;

using Handles = DoubleTest;

ConfigStoreObjectStruct* Child(const std::string& key, const std::string& instanceId) {
    return NewHandle<ConfigStoreObjectStruct>(MakeObject(key, instanceId), false);
}

TEST_F(Handles, DestroyingATreeReleasesChildrenByKeyThenListOrderDepthFirst) {
    auto* top = NewHandle<ConfigStoreObjectStruct>(MakeObject("top"), true);
    ConfigStoreObjectStruct* nested = Child("b", "1");
    nested->children.Insert("z") = {Child("z", "1"), Child("z", "2")};
    top->children.Insert("b") = {nested, Child("b", "2")};
    top->children.Insert("a") = {Child("a", "")};
    EXPECT_EQ(DestroyConfigStoreObject(top), CS_C_OK);
    EXPECT_EQ(enginedouble::ReleasedObjects(),
              (std::vector<std::string>{"a", "z/1", "z/2", "b/1", "b/2", "top"}));
    // A filter spec handle may hold no engine object (its trees go with DeleteSubObjectFilter).
    EXPECT_EQ(DestroyFilterSpecObject(new FilterSpecObjectStruct), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
    ExpectLog({});
}

}  // namespace
