// What filter specs select from a store, the writes of instance lists, and the exchange
// documents Import refuses. The integration tests export and import whole stores.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/ErrorCodes.h>

#include <string>
#include <vector>

#include "StandinTest.h"

namespace {

using namespace KivConfigStore;
using namespace standin_test;

ConfigStoreObjectId Id(const std::string& key, const std::string& group,
                       const std::string& component, const std::string& instance = "") {
    return ConfigStoreObjectId(key, group, component, instance);
}

class Instances : public ::testing::Test {
protected:
    void SetUp() override {
        const char* const ports[][2] = {{"a", R"({"mtu":1500,"up":true,"name":"uplink"})"},
                                        {"b", R"({"mtu":9000,"up":false,"tags":["x"]})"},
                                        {"c", R"({"mtu":1500,"up":1,"tags":["x","y"]})"}};
        ObjectList list;
        for (const auto& port : ports) {
            list.push_back(CreateObject(Id("port", "if", component_, port[0]), port[1]));
        }
        store_->SetInstances(list, INTERNAL);
        store_->Set(CreateObject(Id("route", "if", component_), R"({"mtu":1500})"), INTERNAL);
    }

    const std::string component_ = TestName();
    std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("instances");
};

TEST_F(Instances, FiltersSelectByIdentityAndEqualValuesInSqlAndInMemoryAlike) {
    const std::string& c = component_;
    const std::tuple<ConfigStoreObjectId, const char*, const char*> rows[] = {
        {Id("", "if", c), "{}", "port/a port/b port/c route/"},
        {Id("port", "if", c), R"({"name":"uplink","mtu":1500})", "port/a"},
        // Key, group or component open: SQL compares the values before the matcher does.
        {Id("", "if", c), R"({"mtu":1500.0})", "port/a port/c route/"},  // numbers by value
        {Id("", "", c), R"({"mtu":1500,"up":true})", "port/a"},
        {Id("", "if", c), R"({"up":1})", "port/c"},  // 1 is not true
        {Id("", "", c), R"({"tags":["x"],"mtu":9000})", "port/b"},
        {Id("", "if", c), R"({"name":"uplink"})", "port/a"},
        {Id("", "if", c, "c"), R"({"up":null})", ""},
        {Id("", "if", c), R"({"a\"b":1})", ""},
    };
    const ObjectList all = store_->GetInstances(Filter(Id("", "", c), "{}"));
    for (const auto& [id, values, expected] : rows) {
        SCOPED_TRACE(values);
        const auto filter = Filter(id, values);
        EXPECT_EQ(Names(store_->GetInstances(filter)), expected);
        ObjectList given = all;
        EXPECT_EQ(Names(FilterConfigStoreObjects(given, filter)), expected);
    }
}

TEST_F(Instances, AListIsWrittenWholeOrNotAtAll) {
    const ConfigStoreObjectId fresh = Id("port", "if", component_, "d");
    const ObjectList list = {CreateObject(fresh, ""),
                             CreateObject(Id("port", "if", component_), "")};
    EXPECT_EQ(CodeOf([&] { store_->SetVitalDataInstances(list); }), ERR_INSTANCE_ID_MISSING);
    EXPECT_EQ(store_->Get(fresh), nullptr);
}

// Import acts on the default namespace's store. Each refused document but the first holds an
// entry the store would take, which must not stay. The engine's document rules it shares with
// objects' values (a member name twice, what follows the root, reserved names) are in ValuesTest;
// the command-line tool's tests import documents longer than CONFIGSTORE_IMPORT_MAX.
TEST(Exchange, ARefusedDocumentNamesEveryProblemAndStoresNothing) {
    const std::string c = TestName();
    const auto entryOf = [&](const std::string& values, const std::string& extra = "") {
        return R"({"key":"k","group":"g","component":")" + c + R"(",)" + extra + R"("values":)" +
               values + "}";
    };
    const std::string entry = entryOf(R"({"v":1})");
    const std::string head = R"({"format":"configstore/1","objects":[)" + entry;
    const std::string failed = ": Import operation failed: ";
    const std::string entryFailed = c + "/g/k" + failed;
    // clang-format off
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {head + R"(],"objects":[]})", {": Failed to parse JSON String: offset " + std::to_string(head.size() + 14) + ": member name 'objects' twice in the object that ends here"}},
        {R"({"format":"configstore/2","objects":[]})", {failed + "the document's \"format\" is not \"configstore/1\""}},
        {head + ",7," + entryOf("{}", R"("class":"user",)") + "," + entryOf("{}", R"("colour":1,)") + "," + entry + "]}",
         {"objects/1" + failed + "the entry is not a JSON object",
          entryFailed + "'class' is not one of configuration, userData, vitalData, cachedData, desired",
          "objects/3" + failed + "unknown member 'colour'",
          entryFailed + "its configuration appears twice"}},
    };
    // clang-format on
    for (const auto& [document, expected] : rows) {
        SCOPED_TRACE(document.substr(0, 80));
        std::vector<ErrorInfo> errors;
        EXPECT_FALSE(Import(document, errors));
        std::vector<std::string> found;
        for (const auto& error : errors) found.push_back(error.key + ": " + error.message);
        EXPECT_EQ(found, expected);
    }
    EXPECT_EQ(ConfigStore::GetStore(sGlobalNamespace)->Get(Id("k", "g", c)), nullptr);
}

// An apply result record is no configuration: an export leaves it out unless its filter names the
// records' component. Export acts on the default namespace's store.
TEST(Exchange, ExportsLeaveOutApplyResultsUnlessTheFilterNamesTheirComponent) {
    const std::string c = TestName();
    const auto store = ConfigStore::GetStore(sGlobalNamespace);
    store->SetCachedData(CreateObject(Id("apply", "results", "configstore", c), R"({"code":0})"));
    store->Set(CreateObject(Id("apply", "results", c), R"({"code":0})"), INTERNAL);
    const std::pair<ConfigStoreObjectId, const char*> rows[] = {
        {Id("", "", ""), "object"},
        {Id("apply", "results", ""), "object"},
        {Id("", "", "configstore"), "record"},
        {Id("apply", "results", "configstore", c), "record"},
    };
    for (const auto& [id, expected] : rows) {
        const std::string text = Export({Filter(id)});
        const bool object = text.find("\"component\": \"" + c + "\"") != std::string::npos;
        const bool record = text.find("\"instanceId\": \"" + c + "\"") != std::string::npos;
        EXPECT_EQ(std::string(object ? "object" : "") + (record ? "record" : ""), expected);
    }
}

}  // namespace
