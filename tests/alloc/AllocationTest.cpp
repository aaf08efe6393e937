// Allocation counts of the library's paths: scalar values allocate nothing, strings and arrays
// are allocated once at their final size, and a failed allocation leaves nothing behind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

#include "Allocations.h"
#include "EngineDouble.h"
#include "core/Handles.h"

namespace {

using enginedouble::Read;
using KivConfigStore::ConfigStoreObjectId;

class Allocation : public ::testing::Test {
protected:
    void SetUp() override {
        enginedouble::Reset();
        object_ = NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject("object"), true);
        filter_ = NewHandle<FilterSpecObjectStruct>(
            std::make_shared<KivConfigStore::FilterSpecObject>(ConfigStoreObjectId("f", "", "")),
            true);
        enginedouble::SetRecording(false);
    }
    void TearDown() override {
        DestroyConfigStoreObject(object_);
        DestroyFilterSpecObject(filter_);
    }

    // Runs `work` with counting on.
    static void Count(const std::function<void()>& work) {
        allocations::Start();
        work();
        allocations::Stop();
    }

    ConfigStoreObjectStruct* object_ = nullptr;
    FilterSpecObjectStruct* filter_ = nullptr;
};

TEST_F(Allocation, ScalarValuesAllocateNothing) {
    enginedouble::Answer("GetValue(int*)", Read<int>{1, 5});
    enginedouble::Answer("GetValue(double*)", Read<double>{2, 0.5});
    int number = 0;
    unsigned short shortNumber = 0;
    unsigned int unsignedNumber = 0;
    long longNumber = 0;
    long long longLong = 0;
    bool flag = false;
    double real = 0;
    Count([&] {
        GetValueInt(object_, "k", &number);
        GetValueFsoUint16(filter_, "k", &shortNumber);
        GetValueUint32(object_, "k", &unsignedNumber);
        GetValueFsoLong(filter_, "k", &longNumber);
        GetValueLonglong(object_, "k", &longLong);
        GetValueFsoBool(filter_, "k", &flag);
        GetValueDouble(object_, "k", &real);
        SetValueInt(object_, "k", 1);
        SetValueFsoUint16(filter_, "k", 1);
        SetValueUint32(object_, "k", 1);
        SetValueFsoLong(filter_, "k", 1);
        SetValueLonglong(object_, "k", 1);
        SetValueFsoBool(filter_, "k", true);
        SetValueDouble(object_, "k", 1);
        SetValueFsoFloat(filter_, "k", 1);
        SetValueStr(object_, "k", "a string the engine copies");
        AppendValueInt(object_, "k", 1);
        AppendValueFsoLonglong(filter_, "k", 1);
        AppendValueDouble(object_, "k", 1);
        AppendValueFsoBool(filter_, "k", true);
        RemoveValue(object_, "k");
        SetValueFsoEmptyList(filter_, "k");
    });
    EXPECT_EQ(allocations::Mallocs(), 0);
    EXPECT_EQ(allocations::Callocs(), 0);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(real, 0.5);
}

TEST_F(Allocation, StringsAreCopiedOnceIntoExactBuffers) {
    for (const std::string& text : {std::string(40, 'x'), std::string(20, 'x') + '\0' + "tail"}) {
        enginedouble::Answer("GetValue(string*)", Read<std::string>{1, text});
        char* value = nullptr;
        Count([&] { GetValueStr(object_, "k", &value); });
        ASSERT_EQ(allocations::Callocs(), 1);
        EXPECT_EQ(allocations::CallocBytes(0), text.size() + 1);  // a NUL inside cuts no bytes
        EXPECT_STREQ(value, text.c_str());
        std::free(value);
    }

    object_->engineObject->objectId = ConfigStoreObjectId("key", "group", "component", "");
    char* parts[4] = {};
    Count([&] { GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]); });
    ASSERT_EQ(allocations::Callocs(), 3);
    EXPECT_EQ(allocations::CallocBytes(0), 4u);
    EXPECT_EQ(allocations::CallocBytes(1), 10u);
    EXPECT_EQ(allocations::CallocBytes(2), 6u);
    for (char* part : parts) std::free(part);
}

TEST_F(Allocation, ArraysAreAllocatedOnceAtTheirFinalSize) {
    enginedouble::Answer("GetValue(vector<int>*)", Read<std::vector<int>>{1, {1, 2, 3, 4, 5}});
    enginedouble::Answer("GetValue(vector<bool>*)", Read<std::vector<bool>>{1, {true, false}});
    enginedouble::Answer("GetValue(vector<string>*)",
                         Read<std::vector<std::string>>{1, {"a", "bb", "ccc"}});
    int* numbers = nullptr;
    bool* flags = nullptr;
    char** strings = nullptr;
    int count = 0;
    Count([&] { GetValueIntArray(object_, "k", &numbers, &count); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), 5 * sizeof(int));
    Count([&] { GetValueFsoBoolArray(filter_, "k", &flags, &count); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), 2u);
    Count([&] { GetValueStringArray(object_, "k", &strings, &count); });
    ASSERT_EQ(allocations::Callocs(), 4);
    EXPECT_EQ(allocations::CallocBytes(0), 3 * sizeof(char*));
    EXPECT_EQ(allocations::CallocBytes(3), 4u);
    std::free(numbers);
    std::free(flags);
    DestroyStringArrayValue(&strings, count);
}

TEST_F(Allocation, FailedCopiesReleaseWhatWasMadeAndKeepOutputs) {
    enginedouble::Answer("GetValue(vector<string>*)",
                         Read<std::vector<std::string>>{1, {"a", "b", "c"}});
    char* kept = nullptr;
    char** strings = &kept;
    int count = -1;
    allocations::FailCalloc(3);  // the array and the first string succeed
    int result = 0;
    Count([&] { result = GetValueStringArray(object_, "k", &strings, &count); });
    EXPECT_EQ(result, CS_C_INTERNAL_ERROR);
    EXPECT_EQ(allocations::UnfreedBlocks(), 0);
    EXPECT_EQ(strings, &kept);
    EXPECT_EQ(count, 0);

    char* parts[4] = {};
    allocations::FailCalloc(3);
    Count([&] {
        result = GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]);
    });
    EXPECT_EQ(result, CS_C_INTERNAL_ERROR);
    EXPECT_EQ(allocations::UnfreedBlocks(), 0);
    for (char* part : parts) EXPECT_EQ(part, nullptr);
}

TEST_F(Allocation, FailedHandleListReleasesTheHandlesMadeSoFar) {
    const KivConfigStore::ObjectList objects{enginedouble::MakeObject("a"),
                                             enginedouble::MakeObject("b"),
                                             enginedouble::MakeObject("c")};
    ConfigStoreObjectStruct* kept = nullptr;
    ConfigStoreObjectStruct** handles = &kept;
    int count = -1;
    allocations::FailMalloc(3);  // the third handle
    bool failed = false;
    Count([&] {
        try {
            WrapConfigStoreObjectList(objects, &handles, &count);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    });
    EXPECT_TRUE(failed);
    EXPECT_EQ(allocations::UnfreedBlocks(), 0);
    EXPECT_EQ(handles, &kept);
    EXPECT_EQ(count, 0);
    for (const auto& object : objects) EXPECT_EQ(object.use_count(), 1);
}

TEST_F(Allocation, EveryFailedAllocationLeavesTheChildCacheAsItWas) {
    enginedouble::Answer("GetSubObjectInstances",
                         KivConfigStore::ObjectList{enginedouble::MakeObject("fan", "1"),
                                                    enginedouble::MakeObject("fan", "2")});
    int result = CS_C_INTERNAL_ERROR;
    int failures = 0;
    for (int n = 1; result != CS_C_OK; ++n) {
        ConfigStoreObjectStruct* sub = object_;
        allocations::FailMalloc(n);
        Count([&] { result = GetSubObject(object_, "fan", "2", &sub); });
        if (result == CS_C_OK) break;
        ++failures;
        EXPECT_EQ(result, CS_C_INTERNAL_ERROR) << n;
        EXPECT_EQ(sub, nullptr) << n;
        EXPECT_TRUE(object_->children.empty()) << n;
        EXPECT_EQ(allocations::UnfreedBlocks(), 0) << n;
    }
    EXPECT_GT(failures, 2);
    EXPECT_EQ(object_->children.at("fan").size(), 2u);

    result = CS_C_INTERNAL_ERROR;
    for (int n = 1; result != CS_C_OK; ++n) {
        FilterSpecObjectStruct* sub = filter_;
        allocations::FailMalloc(n);
        Count([&] { result = CreateSubObjectFilter(filter_, "blade", nullptr, &sub); });
        if (result == CS_C_OK) break;
        EXPECT_EQ(sub, filter_) << n;
        EXPECT_TRUE(filter_->children.empty()) << n;
        EXPECT_EQ(allocations::UnfreedBlocks(), 0) << n;
    }
    EXPECT_EQ(filter_->children.at("blade").size(), 1u);
}

TEST_F(Allocation, FailedImportListLeavesNothingBehind) {
    enginedouble::Answer("Import", enginedouble::ImportAnswer{false,
                                                              {{"fan",
                                                                "a message long enough to "
                                                                "need the heap"},
                                                               {"pump",
                                                                "another long message "
                                                                "on the heap"}}});
    int result = CS_C_INTERNAL_ERROR;
    for (int n = 1; result != CS_C_VALIDATION_ERROR; ++n) {
        ErrorInfoStruct* kept = nullptr;
        ErrorInfoStruct** errors = &kept;
        int count = -1;
        allocations::FailMalloc(n);
        Count([&] { result = Import("{}", &errors, &count); });
        if (result == CS_C_VALIDATION_ERROR) {
            EXPECT_GT(n, 4);
            DestroyErrorInfoList(&errors, count);
            break;
        }
        EXPECT_EQ(result, CS_C_INTERNAL_ERROR) << n;
        EXPECT_EQ(errors, &kept) << n;
        EXPECT_EQ(count, -1) << n;
        EXPECT_EQ(allocations::UnfreedBlocks(), 0) << n;
    }
    ErrorInfoStruct** errors = nullptr;
    int count = -1;
    allocations::FailCalloc(1);
    Count([&] { result = Import("{}", &errors, &count); });
    EXPECT_EQ(result, CS_C_INTERNAL_ERROR);
    EXPECT_EQ(allocations::UnfreedBlocks(), 0);
    EXPECT_EQ(count, -1);
}

}  // namespace
