// Sub-objects and sub-object filters: the parent's cache of child handles decides when the engine
// is asked.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;
using enginedouble::MakeObject;

// The fixture's filter spec selects sub-objects with the key "fan".
class SubObjects : public HandleTest {
protected:
    // The engine holds these instances of "fan".
    static void EngineHasFans(const std::vector<std::string>& instanceIds) {
        ObjectList fans;
        for (const auto& id : instanceIds) fans.push_back(MakeObject("fan", id));
        enginedouble::Answer("GetSubObjectInstances", fans);
    }
    std::vector<std::string> CachedFans() const {
        std::vector<std::string> ids;
        for (const auto* child : *object_->children.Find("fan")) {
            ids.push_back(child->engineObject->objectId.instanceId);
        }
        return ids;
    }
    static size_t Loads() { return CallsTo("GetSubObjectInstances").size(); }
};

// A singleton is fetched, instances are loaded; a key the engine holds nothing for is asked again.
// A created instance comes after the loaded ones.
TEST_F(SubObjects, FetchesAndCreatesAreServedFromTheCacheOnceTheEngineFoundSomething) {
    ConfigStoreObjectStruct* none = object_;
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &none), CS_C_NOT_FOUND);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(GetSubObject(object_, "fan", "1", &none), CS_C_NOT_FOUND);
    EXPECT_TRUE(object_->children.Empty());

    enginedouble::Answer("GetSubObject", MakeObject("pump"));
    ConfigStoreObjectStruct* first = nullptr;
    ConfigStoreObjectStruct* second = nullptr;
    ASSERT_EQ(GetSubObject(object_, "pump", nullptr, &first), CS_C_OK);
    ASSERT_EQ(GetSubObject(object_, "pump", "", &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_FALSE(first->isTopLevel);

    EngineHasFans({"1", "2"});
    ConfigStoreObjectStruct* created = nullptr;
    ASSERT_EQ(CreateSubObject(object_, "fan", "4", &created), CS_C_OK);
    EXPECT_EQ(CachedFans(), (std::vector<std::string>{"1", "2", "4"}));
    EXPECT_EQ(object_->children.Find("fan")->back(), created);
    ASSERT_EQ(GetSubObject(object_, "fan", "2", &second), CS_C_OK);
    ASSERT_EQ(GetSubObject(object_, "fan", "1", &first), CS_C_OK);
    EXPECT_EQ(GetSubObject(object_, "fan", "3", &none), CS_C_NOT_FOUND);
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &none), CS_C_NOT_FOUND);  // no singleton
    EXPECT_EQ(second->engineObject->objectId.instanceId, "2");
    EXPECT_EQ(first->engineObject->objectId.instanceId, "1");
    EXPECT_EQ(Loads(), 2u);
    EXPECT_EQ(CallsTo("GetSubObject").size(), 2u);

    enginedouble::Answer("CreateSubObject", std::shared_ptr<ConfigStoreObject>());
    EXPECT_EQ(CreateSubObject(object_, "tap", nullptr, &created), CS_C_OK);
    EXPECT_EQ(created, nullptr);  // the engine made nothing: nothing is cached
    EXPECT_FALSE(object_->children.Contains("tap"));
}

// The other failures are translated as the table of every function shows.
TEST_F(SubObjects, FailedLoadsCacheNothingAndAFailedGetHandsOutNull) {
    ConfigStoreObjectStruct sentinel;
    ConfigStoreObjectStruct* sub = &sentinel;
    enginedouble::Throw("GetSubObjectInstances", ConfigStoreException("load failed"));
    EXPECT_EQ(GetSubObject(object_, "fan", "1", &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(sub, nullptr);
    sub = &sentinel;
    EXPECT_EQ(CreateSubObject(object_, "fan", "1", &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(sub, &sentinel);
    enginedouble::Throw("GetSubObjectInstances", std::runtime_error("broken"));
    EXPECT_EQ(CreateSubObject(object_, "fan", "1", &sub), CS_C_INTERNAL_ERROR);
    enginedouble::Throw("GetSubObject", InvalidArgumentException("bad key"));
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(sub, nullptr);
    EXPECT_EQ(enginedouble::Recorded().log.size(), 4u);
    EXPECT_TRUE(object_->children.Empty());
}

// Deletes ask the engine; a cached key's bulk delete goes match by match so that the cache
// follows, and the last instance keeps the key loaded.
TEST_F(SubObjects, DeletesAskTheEngineAndTheCacheFollows) {
    EXPECT_EQ(DeleteSubObject(object_, "pump", nullptr), CS_C_OK);
    EXPECT_EQ(DeleteSubObjectInstances(object_, filter_), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObjectInstances").size(), 1u);
    EXPECT_TRUE(object_->children.Empty());

    EngineHasFans({"1", "2", "3"});
    ConfigStoreObjectStruct* fan = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", "1", &fan), CS_C_OK);
    const std::weak_ptr<ConfigStoreObject> engineFan = fan->engineObject;
    const auto& cached = *object_->children.Find("fan");
    enginedouble::Answer("FilterConfigStoreObjects",
                         ObjectList{cached[0]->engineObject, cached[2]->engineObject});
    EXPECT_EQ(DeleteSubObjectInstances(object_, filter_), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObject").size(), 3u);
    EXPECT_EQ(CallsTo("DeleteSubObjectInstances").size(), 1u);
    EXPECT_EQ(CachedFans(), (std::vector<std::string>{"2"}));
    EXPECT_EQ(engineFan.use_count(), 2);  // only the double's two scripts hold it now

    EXPECT_EQ(DeleteSubObject(object_, "fan", "2"), CS_C_OK);
    EXPECT_TRUE(object_->children.Find("fan")->empty());
    EXPECT_EQ(GetSubObject(object_, "fan", "1", &fan), CS_C_NOT_FOUND);
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &fan), CS_C_NOT_FOUND);
    EXPECT_EQ(Loads(), 1u);
    EXPECT_TRUE(CallsTo("GetSubObject").empty());
    EXPECT_FALSE(object_->children.Contains("pump"));
}

TEST_F(SubObjects, InstancesThroughAFilterAreTheCachedHandles) {
    ConfigStoreObjectStruct* sentinel = nullptr;
    ConfigStoreObjectStruct** list = &sentinel;
    int count = -1;
    EXPECT_EQ(GetSubObjectInstances(object_, filter_, &list, &count), CS_C_OK);
    EXPECT_EQ(count, 0);  // the key has no instance
    EXPECT_EQ(list, &sentinel);

    EngineHasFans({"1", "2"});
    ConfigStoreObjectStruct* two = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", "2", &two), CS_C_OK);
    // The filter selects "2" and an object the cache does not hold, which is left out.
    enginedouble::Answer("FilterConfigStoreObjects",
                         ObjectList{two->engineObject, MakeObject("fan", "9")});
    ASSERT_EQ(GetSubObjectInstances(object_, filter_, &list, &count), CS_C_OK);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(list[0], two);
    std::free(list);

    enginedouble::Answer("FilterConfigStoreObjects", ObjectList{});
    list = &sentinel;
    EXPECT_EQ(GetSubObjectInstances(object_, filter_, &list, &count), CS_C_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(Loads(), 2u);  // the first call found no instance, the second loaded them
}

// Sub-object filters: a cached key answers with its first handle; deleting a key's filter
// releases every handle under it.
TEST_F(SubObjects, SubObjectFiltersAnswerWithTheKeysFirstHandleUntilItIsDeleted) {
    const auto engineFan =
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId("fan", "", "", ""));
    FilterSpecObjectStruct* got = filter_;
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_NOT_FOUND);
    EXPECT_EQ(got, nullptr);
    enginedouble::Answer("CreateSubObjectFilter", std::shared_ptr<FilterSpecObject>());
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_NOT_FOUND);
    EXPECT_TRUE(filter_->children.Empty());

    // Repeated creates add handles; a get answers with the first, without the engine.
    enginedouble::Reset();
    FilterSpecObjectStruct* first = nullptr;
    FilterSpecObjectStruct* second = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &second), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "other", &got), CS_C_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(got, first);
    EXPECT_FALSE(first->isTopLevel);
    EXPECT_TRUE(CallsTo("GetSubObjectFilter").empty());

    // Deleting the key's filter releases both handles and the nested filter under the first.
    FilterSpecObjectStruct* nested = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(first, "blade", nullptr, &nested), CS_C_OK);
    const int live = enginedouble::Recorded().liveObjects;
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "fan", nullptr), CS_C_OK);
    EXPECT_TRUE(filter_->children.Empty());
    EXPECT_EQ(enginedouble::Recorded().liveObjects, live - 3);

    // An uncached key is deleted by the engine too; a deleted key is asked for again and cached.
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "pump", "1"), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObjectFilter").size(), 2u);
    enginedouble::Answer("GetSubObjectFilter", engineFan);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 1u);
    ExpectLog({});
}

}  // namespace
