// Sub-objects kept in their parent's values: the rules of their keys, nesting, selection and
// deletion, one engine object per instance. The integration tests store, select and delete them
// through the library, and select parents by them.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/ErrorCodes.h>

#include <string>
#include <tuple>

#include "ObjectState.h"
#include "StandinTest.h"

namespace {

using namespace KivConfigStore;
using namespace standin_test;

// A filter on the sub-objects of key `key`.
std::shared_ptr<FilterSpecObject> KeyFilter(const std::string& key, const char* values = "{}") {
    return Filter(ConfigStoreObjectId(key, "", "", ""), values);
}

class SubObjects : public ::testing::Test {
protected:
    const ConfigStoreObjectId id_{"eth0", "interfaces", TestName(), ""};
    std::shared_ptr<ConfigStoreObject> parent_ = CreateObject(id_, R"({"mtu":1500})");
};

TEST_F(SubObjects, AKeyHoldsOneSingletonOrInstancesWithIds) {
    parent_->CreateSubObject({"single", ""});
    parent_->CreateSubObject({"multi", "1"});
    const auto filter = std::make_shared<FilterSpecObject>(id_);
    filter->CreateSubObjectFilter({"multi", "1"});
    auto deepest = parent_;
    for (int level = 1; level <= 16; ++level) deepest = deepest->CreateSubObject({"nested", ""});
    const std::tuple<ConfigStoreObject*, SubObjectId, int> creates[] = {
        {parent_.get(), {"single", ""}, ERR_OBJECT_EXISTS},
        {parent_.get(), {"multi", ""}, ERR_NOT_SINGLETON},
        {parent_.get(), {"single", "2"}, ERR_NOT_NON_SINGLETON},
        {parent_.get(), {"", ""}, ERR_INVALID_ARGUMENT},
        {parent_.get(), {"multi", std::string("a\0b", 3)}, ERR_INVALID_ARGUMENT},
        {deepest.get(), {"nested", ""}, ERR_INVALID_ARGUMENT},  // a 17th level
    };
    for (const auto& [object, id, code] : creates) {
        EXPECT_EQ(CodeOf([&] { object->CreateSubObject(id); }), code) << id.key << id.instanceId;
    }
    EXPECT_EQ(CodeOf([&] {
                  filter->CreateSubObjectFilter({"multi", "1"});
              }),
              ERR_FILTER_SPEC_EXISTS);
}

// Nested ones go to the store with the parent: the integration tests read them back.
TEST_F(SubObjects, FiltersSelectAndDeleteInstancesOfOneEngineObjectEach) {
    for (const auto& [instance, mtu] : {std::pair{"1", 1500}, {"2", 9000}, {"3", 1500}}) {
        parent_->CreateSubObject({"port", instance})->SetValue("mtu", mtu);
    }
    parent_->CreateSubObject({"other", "1"})->SetValue("mtu", 1500);
    EXPECT_EQ(parent_->GetValuePtr("$subObjects"), nullptr);  // the engine's member, not a value
    const auto deleted = parent_->GetSubObject({"port", "2"});
    EXPECT_EQ(deleted->objectId.group, "interfaces");
    parent_->DeleteSubObject({"port", "2"});
    parent_->DeleteSubObject({"port", "2"});  // absent: nothing to do
    deleted->SetValue("mtu", 1);              // a deleted sub-object publishes nowhere
    EXPECT_EQ(Names(parent_->GetSubObjectInstances(KeyFilter(""))), "port/1 port/3 other/1");
    const auto kept = parent_->GetSubObjectInstances(KeyFilter("other")).at(0);
    parent_->DeleteSubObjectInstances(KeyFilter("port", R"({"mtu":1500})"));
    // A key without instances left may hold a singleton.
    EXPECT_EQ(CodeOf([&] { parent_->CreateSubObject({"port", ""}); }), 0);
    EXPECT_EQ(Names(parent_->GetSubObjectInstances(KeyFilter(""))), "other/1 port/");
    // Each instance keeps its parent alive, and writes through it.
    const std::weak_ptr<ConfigStoreObject> parent = parent_;
    parent_.reset();
    EXPECT_FALSE(parent.expired());
    kept->CreateSubObject({"queue", ""})->SetValue("depth", 4);
    kept->SetValue("mtu", 9000);
    EXPECT_EQ(standin::ToText(EngineState::Of(*parent.lock()).values),
              R"({"mtu":1500,"$subObjects":{"other":{"1":{"mtu":9000,"$subObjects":)"
              R"({"queue":{"":{"depth":4}}}}},"port":{"":{}}}})");
}

}  // namespace
