// Sub-object filters: a cached key answers with its first handle; deleting a key's filter
// releases every handle under it.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;

using SubObjectFilters = HandleTest;

TEST_F(SubObjectFilters, TheFirstHandleIsTheKeysFilterUntilTheKeyIsDeleted) {
    const auto engineFan =
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId("fan", "", "", ""));
    FilterSpecObjectStruct* got = filter_;
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_NOT_FOUND);
    EXPECT_EQ(got, nullptr);
    enginedouble::Answer("CreateSubObjectFilter", std::shared_ptr<FilterSpecObject>());
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_NOT_FOUND);
    EXPECT_TRUE(filter_->children.Empty());

    // Repeated creates add handles; a get answers with the first, without the engine.
    enginedouble::Reset();
    FilterSpecObjectStruct* first = nullptr;
    FilterSpecObjectStruct* second = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &second), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "other", &got), CS_C_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(got, first);
    EXPECT_FALSE(first->isTopLevel);
    EXPECT_TRUE(CallsTo("GetSubObjectFilter").empty());

    // Deleting the key's filter releases both handles and the nested filter under the first.
    FilterSpecObjectStruct* nested = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(first, "blade", nullptr, &nested), CS_C_OK);
    const int live = enginedouble::Recorded().liveObjects;
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "fan", nullptr), CS_C_OK);
    EXPECT_TRUE(filter_->children.Empty());
    EXPECT_EQ(enginedouble::Recorded().liveObjects, live - 3);

    // An uncached key is deleted by the engine too; a deleted key is asked for again and cached.
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "pump", "1"), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObjectFilter").size(), 2u);
    enginedouble::Answer("GetSubObjectFilter", engineFan);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 1u);
    ExpectLog({});
}

}  // namespace
