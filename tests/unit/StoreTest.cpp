// Opening stores, the handles that fetches and list reads hand out, import with its error-info
// list, and export.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;
using enginedouble::ImportAnswer;
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

// Nothing found is NULL (and 0); the identity reaches the engine as key, group, component,
// instance. What is found is read on the stand-in engine.
TEST_F(Store, ReadsFindingNothingHandOutNull) {
    ConfigStoreObjectStruct* object = object_;
    EXPECT_EQ(Get(store_, "k", "g", "c", "i7", &object), CS_C_NOT_FOUND);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(CallsTo("ConfigStore::Get").at(0).args[0], "k|g|c|i7");
    ConfigStoreObjectStruct** objects = &object_;
    int count = -1;
    EXPECT_EQ(GetInstances(store_, filter_, &objects, &count), CS_C_NOT_FOUND);
    EXPECT_TRUE(objects == nullptr && count == 0);
    ExpectLog({});
}

TEST_F(Store, ImportHandsOutAListOnlyForARefusalWithRecords) {
    ErrorInfoStruct* sentinel = nullptr;
    ErrorInfoStruct** errors = &sentinel;
    int count = -1;
    // Records of an accepted document are dropped.
    const std::pair<ImportAnswer, int> outcomes[] = {{{true, {}}, CS_C_OK},
                                                     {{false, {}}, CS_C_VALIDATION_ERROR},
                                                     {{true, {{"k", "dropped"}}}, CS_C_OK}};
    for (const auto& [answer, result] : outcomes) {
        enginedouble::Answer("Import", answer);
        EXPECT_EQ(Import("{}", &errors, &count), result);
    }
    EXPECT_TRUE(errors == &sentinel && count == -1);       // a refusal's list: integration tests
    EXPECT_EQ(DestroyErrorInfoList(nullptr, 3), CS_C_OK);  // nothing to release
    ExpectLog({});
}

// Export and list writes hand their lists over in array order.
TEST_F(Store, ExportAndListWritesHandTheirListsToTheEngineInOrder) {
    FilterSpecObjectStruct* filters[] = {filter_, nullptr};
    ASSERT_EQ(CreateFilterSpecObject("pump", "g", "c", nullptr, &filters[1]), CS_C_OK);
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* documents[2] = {};
    ASSERT_EQ(Export(filters, 2, &documents[0]), CS_C_OK);
    ASSERT_EQ(Export(nullptr, 0, &documents[1]), CS_C_OK);  // an empty selection
    const auto calls = CallsTo("Export");
    EXPECT_EQ(calls.at(0).args[0], "fan,pump");
    EXPECT_EQ(calls.at(1).args[0], "");
    for (char* document : documents) {
        EXPECT_STREQ(document, "{\"fan\":{}}");
        std::free(document);
    }
    DestroyFilterSpecObject(filters[1]);
    auto* pump = NewHandle<ConfigStoreObjectStruct>(MakeObject("pump"), true);
    ConfigStoreObjectStruct* objects[] = {pump, object_};
    EXPECT_EQ(SetVitalDataInstances(store_, objects, 2), CS_C_OK);
    EXPECT_EQ(CallsTo("ConfigStore::SetVitalDataInstances").at(0).args[0], "pump,object");
    EXPECT_EQ(DestroyConfigStoreObject(pump), CS_C_OK);
    ExpectLog({});
}

}  // namespace
