// Sub-object filters: a cached key answers with its first handle; deleting a key's filter
// releases every handle under it.
#include <stdexcept>

#include "DoubleTest.h"
#include "core/Handles.h"

namespace {

using namespace KivConfigStore;
using enginedouble::CallsTo;

class SubObjectFilters : public DoubleTest {
protected:
    void SetUp() override {
        DoubleTest::SetUp();
        ASSERT_EQ(CreateFilterSpecObject("board", "g", "c", nullptr, &filter_), CS_C_OK);
    }
    void TearDown() override {
        EXPECT_EQ(DestroyFilterSpecObject(filter_), CS_C_OK);
        enginedouble::Reset();  // scripted answers hold references too
        EXPECT_EQ(enginedouble::LiveObjects(), 0) << "an engine reference was left behind";
    }
    static std::shared_ptr<FilterSpecObject> EngineFilter(const std::string& key) {
        return std::make_shared<FilterSpecObject>(ConfigStoreObjectId(key, "", "", ""));
    }
    FilterSpecObjectStruct* filter_ = nullptr;
};

TEST_F(SubObjectFilters, RefuseMissingArgumentsUnderTheirOwnNames) {
    FilterSpecObjectStruct sentinel;
    FilterSpecObjectStruct* sub = &sentinel;
    EXPECT_EQ(CreateSubObjectFilter(nullptr, "fan", nullptr, &sub), 2);
    EXPECT_EQ(GetSubObjectFilter(filter_, nullptr, nullptr, &sub), 2);
    EXPECT_EQ(DeleteSubObjectFilter(nullptr, nullptr, nullptr), 2);
    ExpectLog({{"%s: argument object not provided", {"CreateSubObjectFilter"}},
               {"%s: argument 'key' not provided", {"GetSubObjectFilter"}},
               {"%s: argument object not provided", {"DeleteSubObjectFilter"}}});
    EXPECT_EQ(sub, &sentinel);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_F(SubObjectFilters, GetAsksTheEngineOnceForAKey) {
    enginedouble::Answer("GetSubObjectFilter", EngineFilter("fan"));
    FilterSpecObjectStruct* first = nullptr;
    FilterSpecObjectStruct* second = nullptr;
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "1", &first), CS_C_OK);
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", "other", &second), CS_C_OK);
    EXPECT_EQ(first, second);
    EXPECT_FALSE(first->isTopLevel);
    ASSERT_EQ(CallsTo("GetSubObjectFilter").size(), 1u);
    EXPECT_EQ(CallsTo("GetSubObjectFilter")[0].args[0], "fan|1");
}

TEST_F(SubObjectFilters, NothingFromTheEngineIsNotFound) {
    enginedouble::Answer("CreateSubObjectFilter", std::shared_ptr<FilterSpecObject>());
    FilterSpecObjectStruct* sub = filter_;
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &sub), CS_C_NOT_FOUND);
    EXPECT_EQ(sub, nullptr);
    sub = filter_;
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &sub), CS_C_NOT_FOUND);
    EXPECT_EQ(sub, nullptr);
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &sub), CS_C_NOT_FOUND);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 2u);
    EXPECT_TRUE(filter_->children.empty());
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
    EXPECT_EQ(filter_->children.at("fan").size(), 2u);
    EXPECT_EQ(CallsTo("CreateSubObjectFilter").size(), 2u);
    EXPECT_TRUE(CallsTo("GetSubObjectFilter").empty());

    // Deleting the key's filter releases both handles and the nested filter under the first.
    FilterSpecObjectStruct* nested = nullptr;
    ASSERT_EQ(CreateSubObjectFilter(first, "blade", nullptr, &nested), CS_C_OK);
    EXPECT_EQ(DestroyFilterSpecObject(nested), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "fan", nullptr), CS_C_OK);
    EXPECT_TRUE(filter_->children.empty());
    EXPECT_EQ(enginedouble::LiveObjects(), 1);  // the top-level filter alone
    ExpectLog(
        {{"%s: Cannot invoke DestroyFilterSpecObject on SubObject", {"DestroyFilterSpecObject"}}});

    enginedouble::Answer("GetSubObjectFilter", EngineFilter("fan"));
    ASSERT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &got), CS_C_OK);
    EXPECT_EQ(CallsTo("GetSubObjectFilter").size(), 1u);  // asked again after the delete
}

TEST_F(SubObjectFilters, DeletingAnUncachedKeyStillAsksTheEngine) {
    EXPECT_EQ(DeleteSubObjectFilter(filter_, "fan", "1"), CS_C_OK);
    ASSERT_EQ(CallsTo("DeleteSubObjectFilter").size(), 1u);
    EXPECT_EQ(CallsTo("DeleteSubObjectFilter")[0].args[0], "fan|1");
}

TEST_F(SubObjectFilters, EngineFailuresLeaveTheCacheAsItWas) {
    FilterSpecObjectStruct sentinel;
    FilterSpecObjectStruct* sub = &sentinel;
    enginedouble::Throw("CreateSubObjectFilter", InvalidTypeException("no"));
    enginedouble::Throw("GetSubObjectFilter", ConfigStoreException("gone"));
    EXPECT_EQ(CreateSubObjectFilter(filter_, "fan", nullptr, &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(GetSubObjectFilter(filter_, "fan", nullptr, &sub), CS_C_STORE_ERROR);
    EXPECT_EQ(sub, &sentinel);
    EXPECT_TRUE(filter_->children.empty());
    ExpectLog(
        {{"%s: %s", {"CreateSubObjectFilter", "no"}}, {"%s: %s", {"GetSubObjectFilter", "gone"}}});
}

}  // namespace
