// Opening stores, and the handles that fetches and list reads hand out.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;
using enginedouble::MakeObject;

using Store = HandleTest;

TEST_F(Store, NullNamesTheEnginesOwnDefaultNamespaceAndNoStoreIsNotFound) {
    ConfigStoreStruct* store = nullptr;
    ASSERT_EQ(GetStore(nullptr, &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    ASSERT_EQ(GetStore("", &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    EXPECT_EQ(CallsTo("ConfigStore::GetStore").at(0).args.at(1), "sGlobalNamespace");
    EXPECT_EQ(CallsTo("ConfigStore::GetStore").at(1).args.at(1), "another string");
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
}

TEST_F(Store, FetchesHandOutANewTopLevelHandleOrNull) {
    using Fetch = int (*)(ConfigStoreStruct*, const char*, const char*, const char*, const char*,
                          ConfigStoreObjectStruct**);
    const std::pair<const char*, Fetch> fetches[] = {
        {"ConfigStore::Get", Get},
        {"ConfigStore::GetDefaultConfig", GetDefaultConfig},
        {"GetDesiredUserConfig",
         [](ConfigStoreStruct*, const char* k, const char* g, const char* c, const char* i,
            ConfigStoreObjectStruct** o) { return GetDesiredUserConfig(k, g, c, i, o); }}};
    const auto found = MakeObject("k");
    for (const auto& [operation, fetch] : fetches) {
        SCOPED_TRACE(operation);
        ConfigStoreObjectStruct* object = object_;
        EXPECT_EQ(fetch(store_, "", "", "", nullptr, &object), CS_C_NOT_FOUND);
        EXPECT_EQ(object, nullptr);
        enginedouble::Answer(operation, found);
        ASSERT_EQ(fetch(store_, "k", "g", "c", "i7", &object), CS_C_OK);
        EXPECT_EQ(object->engineObject, found);
        EXPECT_TRUE(object->isTopLevel);
        EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);
        EXPECT_EQ(CallsTo(operation).at(1).args[0], "k|g|c|i7");
    }
    ExpectLog({});
}

TEST_F(Store, ListReadsHandOutNewTopLevelHandlesInTheEnginesOrderOrNullAndZero) {
    using ListRead = std::function<int(ConfigStoreObjectStruct***, int*)>;
    const std::pair<const char*, ListRead> reads[] = {
        {"ConfigStore::GetInstances",
         [&](auto objects, auto count) { return GetInstances(store_, filter_, objects, count); }},
        {"ConfigStore::GetDefaultConfigInstances",
         [&](auto objects, auto count) {
             return GetDefaultConfigInstances(store_, filter_, objects, count);
         }},
        {"GetDesiredUserConfigInstances", [](auto objects, auto count) {
             return GetDesiredUserConfigInstances("k", "g", "c", objects, count);
         }}};
    const ObjectList found{MakeObject("k", "1"), MakeObject("k", "2")};
    for (const auto& [operation, read] : reads) {
        SCOPED_TRACE(operation);
        ConfigStoreObjectStruct** objects = &object_;
        int count = -1;
        EXPECT_EQ(read(&objects, &count), CS_C_NOT_FOUND);
        EXPECT_EQ(objects, nullptr);
        EXPECT_EQ(count, 0);
        enginedouble::Answer(operation, found);
        ASSERT_EQ(read(&objects, &count), CS_C_OK);
        ASSERT_EQ(count, 2);
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(objects[i]->engineObject, found[i]);
            EXPECT_EQ(DestroyConfigStoreObject(objects[i]), CS_C_OK);
        }
        std::free(objects);
    }
    ExpectLog({});
}

}  // namespace
