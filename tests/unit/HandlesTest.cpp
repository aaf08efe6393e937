// Top-level handles made from engine objects, and the destruction of handle trees.
#include <cstdlib>

#include "DoubleTest.h"
#include "core/Handles.h"

namespace {

using enginedouble::MakeObject;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::FilterSpecObject;

class Handles : public DoubleTest {};

ConfigStoreObjectStruct* Child(const std::string& key, const std::string& instanceId) {
    return new ConfigStoreObjectStruct{MakeObject(key, instanceId), {}, false};
}

FilterSpecObjectStruct* FilterHandle(const std::string& key, bool isTopLevel) {
    return new FilterSpecObjectStruct{
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId(key, "", "", "")), {}, isTopLevel};
}

TEST_F(Handles, EngineObjectIsTheFirstFieldOfBothObjectHandles) {
    ConfigStoreObjectStruct object;
    FilterSpecObjectStruct filter;
    EXPECT_EQ(static_cast<void*>(&object.engineObject), static_cast<void*>(&object));
    EXPECT_EQ(static_cast<void*>(&filter.engineObject), static_cast<void*>(&filter));
}

TEST_F(Handles, WrapMakesTopLevelHandlesOrAnswersNotFound) {
    ConfigStoreObjectStruct sentinel;
    ConfigStoreObjectStruct* handle = &sentinel;
    EXPECT_EQ(WrapConfigStoreObject(nullptr, &handle), CS_C_NOT_FOUND);
    EXPECT_EQ(handle, nullptr);

    auto object = MakeObject("k");
    ASSERT_EQ(WrapConfigStoreObject(object, &handle), CS_C_OK);
    EXPECT_EQ(handle->engineObject, object);
    EXPECT_TRUE(handle->children.empty());
    EXPECT_TRUE(handle->isTopLevel);
    EXPECT_EQ(DestroyConfigStoreObject(handle), CS_C_OK);
    ExpectLog({});
}

TEST_F(Handles, WrapListKeepsOrderAndAnswersNotFoundWhenEmpty) {
    ConfigStoreObjectStruct* sentinel = nullptr;
    ConfigStoreObjectStruct** handles = &sentinel;
    int count = -1;
    EXPECT_EQ(WrapConfigStoreObjectList({}, &handles, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(handles, nullptr);
    EXPECT_EQ(count, 0);

    const KivConfigStore::ObjectList objects{MakeObject("a"), MakeObject("b"), MakeObject("c")};
    ASSERT_EQ(WrapConfigStoreObjectList(objects, &handles, &count), CS_C_OK);
    ASSERT_EQ(count, 3);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(handles[i]->engineObject, objects[i]);
        EXPECT_TRUE(handles[i]->isTopLevel);
        EXPECT_EQ(DestroyConfigStoreObject(handles[i]), CS_C_OK);
    }
    std::free(handles);
    ExpectLog({});
}

TEST_F(Handles, DestroyingATreeReleasesChildrenByKeyThenListOrderDepthFirst) {
    auto* top = new ConfigStoreObjectStruct{MakeObject("top"), {}, true};
    ConfigStoreObjectStruct* nested = Child("b", "1");
    nested->children["z"] = {Child("z", "1"), Child("z", "2")};
    top->children["b"] = {nested, Child("b", "2")};
    top->children["a"] = {Child("a", "")};

    EXPECT_EQ(DestroyConfigStoreObject(top), CS_C_OK);
    EXPECT_EQ(enginedouble::ReleasedObjects(),
              (std::vector<std::string>{"a", "z/1", "z/2", "b/1", "b/2", "top"}));
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

TEST_F(Handles, DestroyingAFilterTreeReleasesEveryHandle) {
    FilterSpecObjectStruct* top = FilterHandle("top", true);
    FilterSpecObjectStruct* nested = FilterHandle("n", false);
    nested->children["m"] = {FilterHandle("m", false)};
    top->children["n"] = {nested};

    EXPECT_EQ(DestroyFilterSpecObject(top), CS_C_OK);
    EXPECT_EQ(enginedouble::ReleasedObjects(), (std::vector<std::string>{"m", "n", "top"}));
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

TEST_F(Handles, TopLevelDestroyersRefuseWhatTheyDoNotOwn) {
    ConfigStoreObjectStruct empty;  // a top-level handle that holds no engine object
    ConfigStoreObjectStruct* child = Child("c", "");
    FilterSpecObjectStruct* childFilter = FilterHandle("f", false);
    const char* const kInvalid = "%s: Invalid argument";
    const struct {
        int result;
        ExpectedLine line;
    } refusals[] = {
        {DestroyConfigStoreObject(nullptr), {kInvalid, {"DestroyConfigStoreObject"}}},
        {DestroyConfigStoreObject(&empty), {kInvalid, {"DestroyConfigStoreObject"}}},
        {DestroyConfigStoreObject(child),
         {"%s: Cannot invoke DestroyConfigStoreObject on SubObject", {"DestroyConfigStoreObject"}}},
        {DestroyFilterSpecObject(nullptr), {kInvalid, {"DestroyFilterSpecObject"}}},
        {DestroyFilterSpecObject(childFilter),
         {"%s: Cannot invoke DestroyFilterSpecObject on SubObject", {"DestroyFilterSpecObject"}}},
    };
    std::vector<ExpectedLine> lines;
    for (const auto& refusal : refusals) {
        EXPECT_EQ(refusal.result, CS_C_INVALID_ARGUMENT);
        lines.push_back(refusal.line);
    }
    ExpectLog(lines);

    // The refused child handles are intact and still owned by whoever made them.
    EXPECT_EQ(child->engineObject->objectId.key, "c");
    EXPECT_EQ(DestroyConfigStoreObjectInternal(child), CS_C_OK);
    EXPECT_EQ(DestroyFilterSpecObjectInternal(childFilter), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

TEST_F(Handles, FilterHandleWithoutEngineObjectIsStillReleased) {
    EXPECT_EQ(DestroyFilterSpecObject(new FilterSpecObjectStruct), CS_C_OK);
    ExpectLog({});
}

}  // namespace
