// Opening and releasing stores.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;

using Store = DoubleTest;

TEST_F(Store, NamespacesAreAskedForAsGivenNullIsTheEnginesOwnAndObjectsOutliveTheirStore) {
    const struct {
        const char* name;
        std::vector<std::string> args;
    } cases[] = {{nullptr, {sGlobalNamespace, "sGlobalNamespace"}},
                 {"network", {"network", "another string"}},
                 {"", {"", "another string"}}};
    for (const auto& c : cases) {
        enginedouble::Reset();
        ConfigStoreStruct* store = nullptr;
        ASSERT_EQ(GetStore(c.name, &store), CS_C_OK);
        ASSERT_NE(store, nullptr);
        ASSERT_EQ(enginedouble::Calls().size(), 1u);
        EXPECT_EQ(enginedouble::Calls()[0].args, c.args);
        // Objects outlive the store handle they came through.
        ConfigStoreObjectStruct* object = nullptr;
        ASSERT_EQ(WrapConfigStoreObject(enginedouble::MakeObject("k"), &object), CS_C_OK);
        EXPECT_EQ(DestroyStore(store), CS_C_OK);
        EXPECT_EQ(enginedouble::LiveStores(), 0);
        EXPECT_EQ(enginedouble::LiveObjects(), 1);
        EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);
        EXPECT_EQ(enginedouble::LiveObjects(), 0);
    }
    EXPECT_EQ(DestroyStore(nullptr), CS_C_OK);
    ExpectLog({});
}

TEST_F(Store, NoStoreAnswersNotFoundSilentlyAndFailuresLeaveTheOutputUntouched) {
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    ConfigStoreStruct sentinel;
    ConfigStoreStruct* store = &sentinel;
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
    ExpectLog({});
    ExpectTranslations(
        "ConfigStore::GetStore", "GetStore",
        [&] {
            store = &sentinel;
            const int result = GetStore(nullptr, &store);
            EXPECT_EQ(store, &sentinel);
            return result;
        },
        kStoreFailures);
}

}  // namespace
