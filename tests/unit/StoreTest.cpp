// Opening and releasing stores.
#include <stdexcept>

#include "DoubleTest.h"
#include "core/Handles.h"

namespace {

using namespace KivConfigStore;

class Store : public DoubleTest {};

TEST_F(Store, DefaultNamespaceIsTheEnginesOwnConstant) {
    ConfigStoreStruct* store = nullptr;
    ASSERT_EQ(GetStore(nullptr, &store), CS_C_OK);
    ASSERT_NE(store, nullptr);
    const auto calls = enginedouble::CallsTo("ConfigStore::GetStore");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args, (std::vector<std::string>{sGlobalNamespace, "sGlobalNamespace"}));
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveStores(), 0);
    ExpectLog({});
}

TEST_F(Store, NamedAndEmptyNamespacesAreAskedForAsGiven) {
    for (const char* name : {"network", ""}) {
        enginedouble::Reset();
        ConfigStoreStruct* store = nullptr;
        ASSERT_EQ(GetStore(name, &store), CS_C_OK);
        EXPECT_EQ(enginedouble::Calls().at(0).args,
                  (std::vector<std::string>{name, "another string"}));
        EXPECT_EQ(DestroyStore(store), CS_C_OK);
    }
}

TEST_F(Store, NoStoreAnswersNotFoundSilently) {
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    ConfigStoreStruct sentinel;
    ConfigStoreStruct* store = &sentinel;
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
    ExpectLog({});
}

TEST_F(Store, EngineFailuresLeaveTheOutputUntouched) {
    const struct {
        std::exception_ptr error;
        int result;
        const char* text;
    } failures[] = {
        {std::make_exception_ptr(ConfigStoreException("cannot open")), CS_C_STORE_ERROR,
         "cannot open"},
        {std::make_exception_ptr(ValidationException("bad namespace")), CS_C_STORE_ERROR,
         "bad namespace"},
        {std::make_exception_ptr(std::runtime_error("disk gone")), CS_C_INTERNAL_ERROR,
         "disk gone"},
    };
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw("ConfigStore::GetStore", failure.error);
        ConfigStoreStruct sentinel;
        ConfigStoreStruct* const untouched = &sentinel;
        ConfigStoreStruct* store = untouched;
        EXPECT_EQ(GetStore(nullptr, &store), failure.result);
        EXPECT_EQ(store, untouched);
        ExpectLog({{"%s: %s", {"GetStore", failure.text}}});
    }
}

TEST_F(Store, NullStoreReleaseIsSilent) {
    EXPECT_EQ(DestroyStore(nullptr), CS_C_OK);
    ExpectLog({});
}

TEST_F(Store, ObjectsOutliveTheStoreHandleTheyCameThrough) {
    ConfigStoreStruct* store = nullptr;
    ASSERT_EQ(GetStore(nullptr, &store), CS_C_OK);
    ConfigStoreObjectStruct* object = nullptr;
    ASSERT_EQ(WrapConfigStoreObject(enginedouble::MakeObject("k"), &object), CS_C_OK);

    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveStores(), 0);
    EXPECT_EQ(enginedouble::LiveObjects(), 1);
    EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

}  // namespace
