// Sub-objects: the parent's cache of child handles decides when the engine is asked.
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

TEST_F(SubObjects, SingletonIsFetchedOnceThenServedFromTheCacheButAMissingOneIsAskedForAgain) {
    ConfigStoreObjectStruct* missing = object_;
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &missing), CS_C_NOT_FOUND);
    EXPECT_EQ(missing, nullptr);
    EXPECT_TRUE(object_->children.Empty());

    enginedouble::Answer("GetSubObject", MakeObject("fan"));
    ConfigStoreObjectStruct* first = nullptr;
    ConfigStoreObjectStruct* second = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(GetSubObject(object_, "fan", "", &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_FALSE(first->isTopLevel);
    const auto calls = CallsTo("GetSubObject");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].args[0], "fan|");
    EXPECT_EQ(calls[1].target, object_->engineObject.get());
}

TEST_F(SubObjects, InstancesAreLoadedOnceThenServedFromTheCache) {
    ConfigStoreObjectStruct* none = object_;
    EXPECT_EQ(GetSubObject(object_, "fan", "1", &none), CS_C_NOT_FOUND);  // a key without instances
    EXPECT_EQ(none, nullptr);
    EXPECT_TRUE(object_->children.Empty());

    EngineHasFans({"1", "2"});
    ConfigStoreObjectStruct* two = nullptr;
    ConfigStoreObjectStruct* one = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", "2", &two), CS_C_OK);  // is asked for again
    ASSERT_EQ(GetSubObject(object_, "fan", "1", &one), CS_C_OK);
    EXPECT_EQ(GetSubObject(object_, "fan", "3", &none), CS_C_NOT_FOUND);
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &none), CS_C_NOT_FOUND);  // no singleton
    EXPECT_EQ(two->engineObject->objectId.instanceId, "2");
    EXPECT_EQ(one->engineObject->objectId.instanceId, "1");
    const auto loads = CallsTo("GetSubObjectInstances");
    ASSERT_EQ(loads.size(), 2u);
    EXPECT_EQ(loads[1].args[0], "fan");
    EXPECT_TRUE(CallsTo("GetSubObject").empty());
}

TEST_F(SubObjects, CreatedInstanceComesAfterTheLoadedOnes) {
    EngineHasFans({"1"});
    ConfigStoreObjectStruct* created = nullptr;
    ASSERT_EQ(CreateSubObject(object_, "fan", "2", &created), CS_C_OK);
    EXPECT_EQ(CallsTo("CreateSubObject").at(0).args[0], "fan|2");
    EXPECT_EQ(CachedFans(), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(object_->children.Find("fan")->back(), created);

    ConfigStoreObjectStruct* singleton = nullptr;
    ASSERT_EQ(CreateSubObject(object_, "fan", "", &singleton), CS_C_OK);
    EXPECT_EQ(CallsTo("CreateSubObject").at(1).args[0], "fan|");
    EXPECT_EQ(Loads(), 1u);

    enginedouble::Answer("CreateSubObject", std::shared_ptr<ConfigStoreObject>());
    created = object_;
    EXPECT_EQ(CreateSubObject(object_, "pump", nullptr, &created), CS_C_OK);
    EXPECT_EQ(created, nullptr);  // the engine made nothing: nothing is cached
    EXPECT_FALSE(object_->children.Contains("pump"));
}

TEST_F(SubObjects, EngineFailuresLeaveTheCachesOfObjectsAndFiltersAsTheyWere) {
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
    enginedouble::Throw("CreateSubObject", ValidationException("refused"));
    sub = &sentinel;
    EXPECT_EQ(CreateSubObject(object_, "fan", nullptr, &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(sub, &sentinel);
    FilterSpecObjectStruct filterSentinel;
    FilterSpecObjectStruct* subFilter = &filterSentinel;
    enginedouble::Throw("CreateSubObjectFilter", InvalidTypeException("no"));
    enginedouble::Throw("GetSubObjectFilter", ConfigStoreException("gone"));
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &subFilter), CS_C_STORE_ERROR);
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &subFilter), CS_C_STORE_ERROR);
    EXPECT_EQ(subFilter, &filterSentinel);
    ExpectLog({{"%s: %s", {"getAllSubObjects", "load failed"}},
               {"%s: %s", {"getAllSubObjects", "load failed"}},
               {"%s: %s", {"getAllSubObjects", "broken"}},
               {"%s: %s", {"getSubObject", "bad key"}},
               {"%s: %s", {"CreateSubObject", "refused"}},
               {"%s: %s", {"CreateSubObjectFilter", "no"}},
               {"%s: %s", {"GetSubObjectFilter", "gone"}}});
    EXPECT_TRUE(object_->children.Empty());
    EXPECT_TRUE(filter_->children.Empty());
}

TEST_F(SubObjects, DeletesAskTheEngineAndTheLastInstanceKeepsTheKeyLoaded) {
    EXPECT_EQ(DeleteSubObject(object_, "pump", nullptr), CS_C_OK);  // not cached
    EngineHasFans({"1"});
    ConfigStoreObjectStruct* fan = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", "1", &fan), CS_C_OK);
    const std::weak_ptr<ConfigStoreObject> engineFan = fan->engineObject;
    EXPECT_EQ(DeleteSubObject(object_, "fan", "1"), CS_C_OK);
    const auto deletes = CallsTo("DeleteSubObject");
    ASSERT_EQ(deletes.size(), 2u);
    EXPECT_EQ(deletes[0].args[0], "pump|");
    EXPECT_EQ(deletes[1].args[0], "fan|1");
    EXPECT_TRUE(object_->children.Find("fan")->empty());
    EXPECT_FALSE(object_->children.Contains("pump"));
    EXPECT_EQ(engineFan.use_count(), 1);  // only the double's script holds it now

    EXPECT_EQ(GetSubObject(object_, "fan", "1", &fan), CS_C_NOT_FOUND);
    EXPECT_EQ(GetSubObject(object_, "fan", nullptr, &fan), CS_C_NOT_FOUND);
    EXPECT_EQ(Loads(), 1u);
    EXPECT_TRUE(CallsTo("GetSubObject").empty());
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

TEST_F(SubObjects, BulkDeleteGoesToTheEngineForAnUncachedKeyAndOneByOneForACachedOne) {
    EXPECT_EQ(DeleteSubObjectInstances(object_, filter_), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObjectInstances").size(), 1u);
    EXPECT_EQ(Loads(), 0u);
    EXPECT_TRUE(object_->children.Empty());

    EngineHasFans({"1", "2", "3"});
    ConfigStoreObjectStruct* fan = nullptr;
    ASSERT_EQ(GetSubObject(object_, "fan", "1", &fan), CS_C_OK);
    const auto& cached = *object_->children.Find("fan");
    enginedouble::Answer("FilterConfigStoreObjects",
                         ObjectList{cached[0]->engineObject, cached[2]->engineObject});
    EXPECT_EQ(DeleteSubObjectInstances(object_, filter_), CS_C_OK);
    const auto deletes = CallsTo("DeleteSubObject");
    ASSERT_EQ(deletes.size(), 2u);
    EXPECT_EQ(deletes[0].args[0], "fan|1");
    EXPECT_EQ(deletes[1].args[0], "fan|3");
    EXPECT_EQ(CallsTo("DeleteSubObjectInstances").size(), 1u);
    EXPECT_EQ(CachedFans(), (std::vector<std::string>{"2"}));
}

}  // namespace
