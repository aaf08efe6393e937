// Opening stores, what fetches and list reads hand out when nothing is found, import with its
// error-info list, and export.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::ImportAnswer;

using Store = HandleTest;

TEST_F(Store, NullNamesTheEnginesOwnDefaultNamespaceAndNoStoreIsNotFound) {
    ConfigStoreStruct* store = nullptr;
    ASSERT_EQ(GetStore(nullptr, &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    ASSERT_EQ(GetStore("", &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    EXPECT_EQ(enginedouble::Recorded().globalNamespaceStores, 1);  // "" is another name
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
}

// Nothing found is NULL (and 0). What is found is read on the stand-in engine.
TEST_F(Store, ReadsFindingNothingHandOutNull) {
    ConfigStoreObjectStruct* object = object_;
    EXPECT_EQ(Get(store_, "k", "g", "c", "i7", &object), CS_C_NOT_FOUND);
    EXPECT_EQ(object, nullptr);
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

// An empty selection is one to export; the document comes as the engine writes it.
TEST_F(Store, ExportTakesAnEmptySelection) {
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* document = nullptr;
    ASSERT_EQ(Export(nullptr, 0, &document), CS_C_OK);
    EXPECT_STREQ(document, "{\"fan\":{}}");
    std::free(document);
}

}  // namespace
