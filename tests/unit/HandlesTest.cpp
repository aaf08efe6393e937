// The layout of handles and the destruction of handle trees. Wrapping engine objects in handles
// is checked with the fetches and instance reads.
#include "DoubleTest.h"

namespace {

using enginedouble::MakeObject;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::FilterSpecObject;

using Handles = DoubleTest;

ConfigStoreObjectStruct* Child(const std::string& key, const std::string& instanceId) {
    return NewHandle<ConfigStoreObjectStruct>(MakeObject(key, instanceId), false);
}
FilterSpecObjectStruct* FilterHandle(const std::string& key, bool isTopLevel) {
    return NewHandle<FilterSpecObjectStruct>(
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId(key, "", "", "")), isTopLevel);
}

TEST_F(Handles, EngineObjectIsTheFirstFieldOfBothObjectHandles) {
    ConfigStoreObjectStruct object;
    FilterSpecObjectStruct filter;
    EXPECT_EQ(static_cast<void*>(&object.engineObject), static_cast<void*>(&object));
    EXPECT_EQ(static_cast<void*>(&filter.engineObject), static_cast<void*>(&filter));
}

TEST_F(Handles, DestroyingATreeReleasesChildrenByKeyThenListOrderDepthFirst) {
    auto* top = NewHandle<ConfigStoreObjectStruct>(MakeObject("top"), true);
    ConfigStoreObjectStruct* nested = Child("b", "1");
    nested->children["z"] = {Child("z", "1"), Child("z", "2")};
    top->children["b"] = {nested, Child("b", "2")};
    top->children["a"] = {Child("a", "")};
    EXPECT_EQ(DestroyConfigStoreObject(top), CS_C_OK);
    EXPECT_EQ(enginedouble::ReleasedObjects(),
              (std::vector<std::string>{"a", "z/1", "z/2", "b/1", "b/2", "top"}));

    enginedouble::Reset();
    FilterSpecObjectStruct* filter = FilterHandle("top", true);
    FilterSpecObjectStruct* nestedFilter = FilterHandle("n", false);
    nestedFilter->children["m"] = {FilterHandle("m", false)};
    filter->children["n"] = {nestedFilter, FilterHandle("l", false)};
    EXPECT_EQ(DestroyFilterSpecObject(filter), CS_C_OK);
    EXPECT_EQ(enginedouble::ReleasedObjects(), (std::vector<std::string>{"m", "n", "l", "top"}));
    EXPECT_EQ(DestroyFilterSpecObject(new FilterSpecObjectStruct), CS_C_OK);  // no engine object
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
    ExpectLog({});
}

TEST_F(Handles, TopLevelDestroyersRefuseWhatTheyDoNotOwn) {
    ConfigStoreObjectStruct empty;  // a top-level handle that holds no engine object
    ConfigStoreObjectStruct* child = Child("c", "");
    FilterSpecObjectStruct* childFilter = FilterHandle("f", false);
    EXPECT_EQ(DestroyConfigStoreObject(nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DestroyConfigStoreObject(&empty), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DestroyConfigStoreObject(child), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DestroyFilterSpecObject(nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DestroyFilterSpecObject(childFilter), CS_C_INVALID_ARGUMENT);
    const std::string objects = "DestroyConfigStoreObject";
    const std::string filters = "DestroyFilterSpecObject";
    ExpectLog({{"%s: Invalid argument", {objects}},
               {"%s: Invalid argument", {objects}},
               {"%s: Cannot invoke DestroyConfigStoreObject on SubObject", {objects}},
               {"%s: Invalid argument", {filters}},
               {"%s: Cannot invoke DestroyFilterSpecObject on SubObject", {filters}}});

    // The refused child handles are intact and still owned by whoever made them.
    EXPECT_EQ(child->engineObject->objectId.key, "c");
    EXPECT_EQ(DestroyConfigStoreObjectInternal(child), CS_C_OK);
    EXPECT_EQ(DestroyFilterSpecObjectInternal(childFilter), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

}  // namespace
