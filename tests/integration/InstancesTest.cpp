// Lists of objects, the schema files of the repository's examples, the exchange document and
// sub-objects, through the library as built; a new process reads back what the store kept.
#include <kivconfigstore/ConfigStore.h>

#include <string>

#include "Integration.h"

namespace {

using namespace integration;
using Engine = KivConfigStore::ConfigStore;

std::string Instances(ConfigStoreStruct* store, FilterSpecObjectStruct* filter,
                      const char* name = "") {
    ConfigStoreObjectStruct** objects = nullptr;
    int count = -1;
    const int status = GetInstances(store, filter, &objects, &count);
    EXPECT_EQ(status, count > 0 ? CS_C_OK : CS_C_NOT_FOUND);
    return Listed(objects, count, name);
}

// The engine's tests hold the table of what filter specs match; here the library hands over a
// filter's identity and values, and an empty selection is CS_C_NOT_FOUND (Instances checks it).
TEST(InstanceLists, FilterSpecsSelectExactlyTheMatchingObjects) {
    const Store store = Open("InstanceLists");
    const Object ports[] = {Make("port", "a", R"({"mtu":1500,"up":true})"),
                            Make("port", "b", R"({"mtu":9000})"),
                            Make("port", "c", R"({"mtu":1500,"up":false})")};
    ConfigStoreObjectStruct* list[] = {ports[0].get(), ports[1].get(), ports[2].get()};
    ASSERT_EQ(SetInstances(store.get(), list, 3, "INTERNAL"), CS_C_OK);
    const Filter mtu = MakeFilter("port", kGroup, kComponent);
    ASSERT_EQ(SetValueFsoInt(mtu.get(), "mtu", 1500), CS_C_OK);
    ConfigStoreObjectStruct** objects = nullptr;
    int count = 0;
    EXPECT_EQ(GetInstances(store.get(), mtu.get(), &objects, &count), CS_C_OK);
    EXPECT_EQ(Listed(objects, count), "port/a port/c");
    // The worker behind GetInstances, reading another way.
    EXPECT_EQ(GetInstancesCInternal(store.get(), MakeFilter("port", kGroup, kComponent, "b").get(),
                                    &objects, &count, &Engine::GetInstances, "Worker"),
              CS_C_OK);
    EXPECT_EQ(Listed(objects, count), "port/b");
    const Filter up = MakeFilter("port", kGroup, kComponent);
    ASSERT_EQ(SetValueFsoBool(up.get(), "up", false), CS_C_OK);
    ASSERT_EQ(DeleteInstances(store.get(), up.get()), CS_C_OK);
    EXPECT_EQ(Instances(store.get(), up.get()), "");
    EXPECT_EQ(Instances(store.get(), MakeFilter("", kGroup, kComponent).get()), "port/a port/b");
}

// network/interfaces/interface: instances, defaults {"enabled": true, "mtu": 1500}, version 1.0;
// system/time/clock: a singleton, defaults {"timezone": "UTC", "ntp": true}, version 2.1.
TEST(SchemaFiles, GiveVersionsAndDefaults) {
    const Store store = Open("SchemaFiles");
    ConfigStoreStruct* const s = store.get();
    char* version = nullptr;
    ASSERT_EQ(GetSchemaVersion("clock", "time", "system", &version), CS_C_OK);
    EXPECT_STREQ(version, "2.1");
    free(version);
    // The defaults alone, and under what an object holds.
    ConfigStoreObjectStruct* defaults = nullptr;
    ASSERT_EQ(GetDefaultConfig(s, "interface", "interfaces", "network", "x", &defaults), CS_C_OK);
    EXPECT_EQ(IntOf(Object(defaults, DestroyConfigStoreObject).get(), "mtu"), "1500 default");
    ASSERT_EQ(Set(s, Make("interface", "eth0", R"({"mtu":9000})", "interfaces", "network").get(),
                  nullptr),
              CS_C_OK);
    ASSERT_EQ(
        SetUserData(s, Make("interface", "eth1", "{}", "interfaces", "network").get(), "INTERNAL"),
        CS_C_OK);
    const Filter interfaces = MakeFilter("interface", "interfaces", "network");
    EXPECT_EQ(Instances(s, interfaces.get(), "mtu"),
              "interface/eth0:9000 interface/eth1:1500 default");
    ConfigStoreObjectStruct** list = nullptr;
    int count = 0;
    ASSERT_EQ(GetDefaultConfigInstances(s, interfaces.get(), &list, &count), CS_C_OK);
    EXPECT_EQ(Listed(list, count, "mtu"),
              "interface/eth0:1500 default interface/eth1:1500 default");
}

// A refused document names each refused object through the error list's handles. The engine's
// tests show every refusal and that it stores nothing; csctl's export a namespace and import it
// into another.
TEST(ExchangeDocument, ARefusedImportNamesEachRefusedObject) {
    ErrorInfoStruct** errors = nullptr;
    int count = 0;
    const std::string refused =
        R"({"format":"configstore/1","objects":[)"
        R"({"key":"interface","group":"interfaces","component":"network","instanceId":"x",)"
        R"("values":{"mtu":"big"}}]})";
    ASSERT_EQ(Import(refused.c_str(), &errors, &count), CS_C_VALIDATION_ERROR);
    std::string lines;
    for (int i = 0; i < count; ++i) {
        char *key = nullptr, *message = nullptr;
        EXPECT_EQ(GetErrorInfoKey(errors[i], &key) + GetErrorInfoMessage(errors[i], &message), 0);
        lines += std::string(key) + ": " + message + "\n";
        free(key);
        free(message);
    }
    EXPECT_EQ(lines,
              "network/interfaces/interface/x: Validation Error: '/mtu' is \"big\", a string, not "
              "of type integer\n");
    EXPECT_EQ(DestroyErrorInfoList(&errors, count), CS_C_OK);
}

// Sub-objects live in their parent: the parent's next write stores them, and filter specs select
// parents by them. Child handles are borrowed from the parent.
TEST(SubObjectHandles, ChangesAreStoredByTheParentsWriteAndSelectParents) {
    const Store store = Open("SubObjectHandles");
    ConfigStoreStruct* const s = store.get();
    const Object router = Make("router", nullptr, R"({"id":1})");
    ConfigStoreObjectStruct *r1 = nullptr, *r2 = nullptr, *dns = nullptr, *got = nullptr;
    ASSERT_EQ(CreateSubObject(router.get(), "route", "r1", &r1), CS_C_OK);
    ASSERT_EQ(CreateSubObject(router.get(), "route", "r2", &r2), CS_C_OK);
    ASSERT_EQ(CreateSubObject(router.get(), "dns", nullptr, &dns), CS_C_OK);
    for (const auto& [child, value] : {std::pair(r1, 10), std::pair(r2, 20), std::pair(dns, 53)}) {
        ASSERT_EQ(SetValueInt(child, "metric", value), CS_C_OK);
    }
    ASSERT_EQ(Set(s, router.get(), "INTERNAL"), CS_C_OK);
    const char* const names = "id route/r1/metric route/r2/metric dns//metric";
    EXPECT_EQ(ReadBack("SubObjectHandles", "router", names),
              "id=1\nroute/r1/metric=10\nroute/r2/metric=20\ndns//metric=53\n");

    const Filter twenty = MakeFilter("route", kGroup, kComponent);
    ASSERT_EQ(SetValueFsoInt(twenty.get(), "metric", 20), CS_C_OK);
    ConfigStoreObjectStruct** matches = nullptr;
    int count = 0;
    ASSERT_EQ(GetSubObjectInstances(router.get(), twenty.get(), &matches, &count), CS_C_OK);
    EXPECT_EQ(count == 1 ? matches[0] : nullptr, r2);
    free(matches);  // the array only: the handles are borrowed

    // Changed and deleted in memory, then stored by an Update of the parent.
    ASSERT_EQ(SetValueInt(r1, "metric", 11), CS_C_OK);
    ASSERT_EQ(DeleteSubObjectInstances(router.get(), twenty.get()), CS_C_OK);
    ASSERT_EQ(DeleteSubObject(router.get(), "dns", nullptr), CS_C_OK);
    ASSERT_EQ(Update(s, router.get(), "INTERNAL"), CS_C_OK);
    EXPECT_EQ(ReadBack("SubObjectHandles", "router", names),
              "id=1\nroute/r1/metric=11\nroute/r2/metric absent\ndns//metric absent\n");
    EXPECT_EQ(GetSubObject(router.get(), "route", "r2", &got), CS_C_NOT_FOUND);
    EXPECT_EQ(got, nullptr);
    EXPECT_EQ(DestroyConfigStoreObject(r1), CS_C_INVALID_ARGUMENT);  // the parent's to release

    // A fetched parent loads its children once; a created one comes after them.
    ConfigStoreObjectStruct* fetched = nullptr;
    ASSERT_EQ(Get(s, "router", kGroup, kComponent, nullptr, &fetched), CS_C_OK);
    ASSERT_EQ(GetSubObject(fetched, "route", "r1", &r1), CS_C_OK);
    ASSERT_EQ(CreateSubObject(fetched, "route", "r3", &r2), CS_C_OK);
    ASSERT_EQ(GetSubObject(fetched, "route", "r1", &got), CS_C_OK);
    EXPECT_EQ(got, r1);
    const Filter allRoutes = MakeFilter("route", kGroup, kComponent);
    ASSERT_EQ(GetSubObjectInstances(fetched, allRoutes.get(), &matches, &count), CS_C_OK);
    EXPECT_TRUE(count == 2 && matches[0] == r1 && matches[1] == r2);
    free(matches);
    // The worker behind DestroyConfigStoreObject releases the children with the parent.
    EXPECT_EQ(DestroyConfigStoreObjectInternal(fetched), CS_C_OK);

    // A sub-object filter makes its filter spec select the parents with a matching sub-object.
    const Object other = Make("switch", nullptr, "{}");
    ASSERT_EQ(CreateSubObject(other.get(), "route", "r1", &got), CS_C_OK);
    ASSERT_EQ(SetValueInt(got, "metric", 99), CS_C_OK);
    ASSERT_EQ(Set(s, other.get(), "INTERNAL"), CS_C_OK);
    const Filter parents = MakeFilter("", kGroup, kComponent);
    FilterSpecObjectStruct *routes = nullptr, *cached = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(parents.get(), "route", nullptr, &routes), CS_C_OK);
    ASSERT_EQ(SetValueFsoInt(routes, "metric", 11), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(parents.get(), "route", nullptr, &cached), CS_C_OK);
    EXPECT_EQ(cached, routes);
    EXPECT_EQ(DestroyFilterSpecObject(routes), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Instances(s, parents.get()), "router/");
    ASSERT_EQ(DeleteSubObjectFilter(parents.get(), "route", nullptr), CS_C_OK);
    EXPECT_EQ(Instances(s, parents.get()), "router/ switch/");
}

}  // namespace
