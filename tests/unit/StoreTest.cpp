// Opening stores, and the handles that fetches and list reads hand out. That creations hand out
// top-level handles, every fixture and the C program show by releasing theirs.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::MakeObject;

using Store = DoubleTest;

TEST_F(Store, NullNamesTheEnginesOwnDefaultNamespaceAndNoStoreIsNotFound) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {nullptr, {sGlobalNamespace, "sGlobalNamespace"}}, {"", {"", "another string"}}};
    for (const auto& [name, args] : cases) {
        enginedouble::Reset();
        ConfigStoreStruct* store = nullptr;
        ASSERT_EQ(GetStore(name, &store), CS_C_OK);
        EXPECT_EQ(enginedouble::Calls().at(0).args, args);
        EXPECT_EQ(DestroyStore(store), CS_C_OK);
        EXPECT_EQ(enginedouble::LiveStores(), 0);
    }
    EXPECT_EQ(DestroyStore(nullptr), CS_C_OK);
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    ConfigStoreStruct sentinel;
    ConfigStoreStruct* store = &sentinel;
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
    ExpectLog({});
}

using Reads = HandleTest;

TEST_F(Reads, FetchesHandOutANewTopLevelHandleOrNull) {
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
        enginedouble::Reset();
        ConfigStoreObjectStruct* object = object_;
        EXPECT_EQ(fetch(store_, "", "", "", nullptr, &object), CS_C_NOT_FOUND);
        EXPECT_EQ(object, nullptr);
        enginedouble::Answer(operation, found);
        ASSERT_EQ(fetch(store_, "k", "g", "c", "i7", &object), CS_C_OK);
        EXPECT_EQ(object->engineObject, found);
        EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);  // the caller's to release
        const auto calls = enginedouble::CallsTo(operation);
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[0].args[0], "|||");  // empty strings are not refused
        EXPECT_EQ(calls[1].args[0], "k|g|c|i7");
    }
    ExpectLog({});
}

TEST_F(Reads, ListReadsHandOutNewTopLevelHandlesInTheEnginesOrderOrNullAndZero) {
    using ListRead = std::function<int(ConfigStoreObjectStruct***, int*)>;
    const std::tuple<const char*, const char*, ListRead> reads[] = {
        {"ConfigStore::GetInstances", "fan",
         [&](auto objects, auto count) { return GetInstances(store_, filter_, objects, count); }},
        {"ConfigStore::GetDefaultConfigInstances", "fan",
         [&](auto objects, auto count) {
             return GetDefaultConfigInstances(store_, filter_, objects, count);
         }},
        {"GetDesiredUserConfigInstances", "k|g|c|", [](auto objects, auto count) {
             return GetDesiredUserConfigInstances("k", "g", "c", objects, count);
         }}};
    const ObjectList found{MakeObject("k", "1"), MakeObject("k", "2"), MakeObject("k", "3")};
    for (const auto& [operation, selection, read] : reads) {
        SCOPED_TRACE(operation);
        enginedouble::Reset();
        ConfigStoreObjectStruct** objects = &object_;
        int count = -1;
        EXPECT_EQ(read(&objects, &count), CS_C_NOT_FOUND);
        EXPECT_EQ(objects, nullptr);
        EXPECT_EQ(count, 0);
        enginedouble::Answer(operation, found);
        ASSERT_EQ(read(&objects, &count), CS_C_OK);
        ASSERT_EQ(count, 3);
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(objects[i]->engineObject, found[i]);
            EXPECT_EQ(DestroyConfigStoreObject(objects[i]), CS_C_OK);
        }
        std::free(objects);
        EXPECT_EQ(enginedouble::CallsTo(operation).at(1).args[0], selection);
    }
    ExpectLog({});
}

}  // namespace
