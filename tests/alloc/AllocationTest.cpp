// Allocation counts of the library's paths: scalar values allocate nothing, strings and arrays
// are allocated once at their final size, and a failed allocation leaves nothing behind.
#include "../unit/DoubleTest.h"
#include "Allocations.h"

namespace {

using enginedouble::Read;
using KivConfigStore::ConfigStoreObjectId;

class Allocation : public HandleTest {
protected:
    void SetUp() override {
        HandleTest::SetUp();
        enginedouble::SetRecording(false);
    }

    // Runs `work` with counting on.
    static void Count(const std::function<void()>& work) {
        allocations::Start();
        work();
        allocations::Stop();
    }

    // Makes the first, second, ... allocation of `call` fail, through `fail`
    // (allocations::FailMalloc or FailCalloc), until the call answers `success`. Each failure
    // answers CS_C_INTERNAL_ERROR and leaves no block behind; `unchanged` checks the outputs.
    // Returns how many allocations were made to fail.
    static int FailEach(void (*fail)(int), int success, const std::function<int()>& call,
                        const std::function<void()>& unchanged) {
        for (int n = 1; n < 100; ++n) {
            int result = 0;
            fail(n);
            Count([&] { result = call(); });
            if (result == success) return n - 1;
            SCOPED_TRACE(n);
            EXPECT_EQ(result, CS_C_INTERNAL_ERROR);
            EXPECT_EQ(allocations::UnfreedBlocks(), 0);
            unchanged();
        }
        ADD_FAILURE() << "the call never succeeded";
        return 0;
    }
};

// One call through each worker of scalar values; the engine copies strings it is given.
TEST_F(Allocation, ScalarValuesAllocateNothing) {
    enginedouble::Answer("GetValue(int*)", Read<int>{1, 5});
    int number = 0;
    Count([&] {
        GetValueInt(object_, "k", &number);
        SetValueFsoFloat(filter_, "k", 1);
        SetValueStr(object_, "k", "a string the engine copies");
        AppendValueFsoBool(filter_, "k", true);
        RemoveValue(object_, "k");
        SetValueFsoEmptyList(filter_, "k");
    });
    EXPECT_EQ(allocations::Mallocs(), 0);
    EXPECT_EQ(allocations::Callocs(), 0);
    EXPECT_EQ(number, 5);
}

TEST_F(Allocation, CopiesAreAllocatedOnceAtTheirFinalSize) {
    const std::string text = std::string(20, 'x') + '\0' + "tail";
    enginedouble::Answer("GetValue(string*)", Read<std::string>{1, text});
    char* value = nullptr;
    Count([&] { GetValueStr(object_, "k", &value); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), text.size() + 1);  // a NUL inside cuts no bytes
    std::free(value);

    object_->engineObject->objectId = ConfigStoreObjectId("key", "group", "component", "");
    char* parts[4] = {};
    Count([&] { GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]); });
    ASSERT_EQ(allocations::Callocs(), 3);  // key, component, group
    EXPECT_EQ(allocations::CallocBytes(0), 4u);
    EXPECT_EQ(allocations::CallocBytes(1), 10u);
    EXPECT_EQ(allocations::CallocBytes(2), 6u);
    for (char* part : parts) std::free(part);

    enginedouble::Answer("GetValue(vector<bool>*)", Read<std::vector<bool>>{1, {true, false}});
    enginedouble::Answer("GetValue(vector<string>*)",
                         Read<std::vector<std::string>>{1, {"a", "bb", "ccc"}});
    bool* flags = nullptr;
    char** strings = nullptr;
    int count = 0;
    Count([&] { GetValueFsoBoolArray(filter_, "k", &flags, &count); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), 2u);
    Count([&] { GetValueStringArray(object_, "k", &strings, &count); });
    ASSERT_EQ(allocations::Callocs(), 4);
    EXPECT_EQ(allocations::CallocBytes(0), 3 * sizeof(char*));
    EXPECT_EQ(allocations::CallocBytes(3), 4u);
    std::free(flags);
    DestroyStringArrayValue(&strings, count);
}

TEST_F(Allocation, FailedCopiesReleaseWhatWasMadeAndKeepOutputs) {
    enginedouble::Answer("GetValue(vector<string>*)",
                         Read<std::vector<std::string>>{1, {"a", "b", "c"}});
    char* kept = nullptr;
    char** strings = &kept;
    int count = -1;
    EXPECT_EQ(FailEach(
                  allocations::FailCalloc, CS_C_OK,
                  [&] { return GetValueStringArray(object_, "k", &strings, &count); },
                  [&] { EXPECT_EQ(strings, &kept); }),
              4);  // the array and three strings
    DestroyStringArrayValue(&strings, count);

    char* parts[4] = {};
    EXPECT_EQ(FailEach(
                  allocations::FailCalloc, CS_C_OK,
                  [&] {
                      return GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2],
                                                    &parts[3]);
                  },
                  [&] {
                      for (char* part : parts) EXPECT_EQ(part, nullptr);
                  }),
              3);
    for (char* part : parts) std::free(part);
}

TEST_F(Allocation, FailedHandleListReleasesTheHandlesMadeSoFar) {
    enginedouble::Answer(
        "ConfigStore::GetInstances",
        KivConfigStore::ObjectList{enginedouble::MakeObject("a"), enginedouble::MakeObject("b"),
                                   enginedouble::MakeObject("c")});
    ConfigStoreObjectStruct* kept = nullptr;
    ConfigStoreObjectStruct** handles = &kept;
    int count = -1;
    for (void (*fail)(int) : {allocations::FailMalloc, allocations::FailCalloc}) {
        EXPECT_GT(
            FailEach(
                fail, CS_C_OK, [&] { return GetInstances(store_, filter_, &handles, &count); },
                [&] { EXPECT_EQ(handles, &kept); }),
            0);
        for (int i = 0; i < count; ++i) DestroyConfigStoreObject(handles[i]);
        std::free(handles);
        handles = &kept;
    }
}

TEST_F(Allocation, EveryFailedAllocationLeavesTheChildCacheAsItWas) {
    enginedouble::Answer("GetSubObjectInstances",
                         KivConfigStore::ObjectList{enginedouble::MakeObject("fan", "1"),
                                                    enginedouble::MakeObject("fan", "2")});
    ConfigStoreObjectStruct* sub = object_;
    EXPECT_GT(FailEach(
                  allocations::FailMalloc, CS_C_OK,
                  [&] {
                      sub = object_;
                      return GetSubObject(object_, "fan", "2", &sub);
                  },
                  [&] {
                      EXPECT_EQ(sub, nullptr);
                      EXPECT_TRUE(object_->children.empty());
                  }),
              2);
    EXPECT_EQ(object_->children.at("fan").size(), 2u);

    FilterSpecObjectStruct* subFilter = filter_;
    FailEach(
        allocations::FailMalloc, CS_C_OK,
        [&] { return CreateSubObjectFilter(filter_, "blade", nullptr, &subFilter); },
        [&] {
            EXPECT_EQ(subFilter, filter_);
            EXPECT_TRUE(filter_->children.empty());
        });
    EXPECT_EQ(filter_->children.at("blade").size(), 1u);
}

TEST_F(Allocation, FailedImportListLeavesNothingBehind) {
    enginedouble::Answer(
        "Import", enginedouble::ImportAnswer{false,
                                             {{"fan", "a message long enough to need the heap"},
                                              {"pump", "another long message on the heap"}}});
    ErrorInfoStruct* kept = nullptr;
    ErrorInfoStruct** errors = &kept;
    int count = -1;
    for (void (*fail)(int) : {allocations::FailMalloc, allocations::FailCalloc}) {
        EXPECT_GT(FailEach(
                      fail, CS_C_VALIDATION_ERROR, [&] { return Import("{}", &errors, &count); },
                      [&] {
                          EXPECT_EQ(errors, &kept);
                          EXPECT_EQ(count, -1);
                      }),
                  0);
        DestroyErrorInfoList(&errors, count);
        errors = &kept;
        count = -1;
    }
}

}  // namespace
