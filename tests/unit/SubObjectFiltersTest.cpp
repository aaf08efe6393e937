// Sub-object filters: a cached key answers with its first handle; deleting a key's filter
// releases every handle under it.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;

std::shared_ptr<FilterSpecObject> EngineFilter(const std::string& key) {
    return std::make_shared<FilterSpecObject>(ConfigStoreObjectId(key, "", "", ""));
}

using SubObjectFilters = HandleTest;

TEST_F(SubObjectFilters, GetAsksTheEngineOnceForAKeyUnlessItFoundNothing) {
    FilterSpecObjectStruct* missing = filter_;
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &missing), CS_C_NOT_FOUND);
    EXPECT_EQ(missing, nullptr);
    enginedouble::Answer("CreateSubObjectFilter", std::shared_ptr<FilterSpecObject>());
    missing = filter_;
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &missing), CS_C_NOT_FOUND);
    EXPECT_EQ(missing, nullptr);
    EXPECT_TRUE(filter_->children.Empty());

    enginedouble::Answer("GetSubObjectFilter", EngineFilter("fan"));
    FilterSpecObjectStruct* first = nullptr;
    FilterSpecObjectStruct* second = nullptr;
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "1", &first), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "other", &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_FALSE(first->isTopLevel);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 2u);
    ExpectLog({});
}

TEST_F(SubObjectFilters, RepeatedCreateKeepsTheFirstHandleAsTheKeysFilter) {
    FilterSpecObjectStruct* first = nullptr;
    FilterSpecObjectStruct* second = nullptr;
    FilterSpecObjectStruct* got = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &first), CS_C_OK);
    ASSERT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &second), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(got, first);
    EXPECT_TRUE(CallsTo("GetSubObjectFilter").empty());

    // Deleting the key's filter releases both handles and the nested filter under the first.
    FilterSpecObjectStruct* nested = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(first, "blade", nullptr, &nested), CS_C_OK);
    const int live = enginedouble::LiveObjects();
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "fan", nullptr), CS_C_OK);
    EXPECT_TRUE(filter_->children.Empty());
    EXPECT_EQ(enginedouble::LiveObjects(), live - 3);

    // An uncached key is deleted by the engine too, and a deleted key is asked for again.
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "pump", "1"), CS_C_OK);
    EXPECT_EQ(CallsTo("DeleteSubObjectFilter").size(), 2u);
    enginedouble::Answer("GetSubObjectFilter", EngineFilter("fan"));
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_OK);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 1u);
}

}  // namespace
