// Instance lists: reads through a filter spec or an identity into arrays of new top-level handles.
#include <functional>

#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;

struct ListRead {
    const char* name;
    const char* operation;
    const char* selection;  // how the engine is told what to read
    std::function<int(ConfigStoreStruct*, FilterSpecObjectStruct*, ConfigStoreObjectStruct***,
                      int*)>
        call;
};

const ListRead kReads[] = {
    {"GetInstances", "ConfigStore::GetInstances", "filter", GetInstances},
    {"GetDefaultConfigInstances", "ConfigStore::GetDefaultConfigInstances", "filter",
     GetDefaultConfigInstances},
    {"GetDesiredUserConfigInstances", "GetDesiredUserConfigInstances", "fan|g|c|",
     [](ConfigStoreStruct*, FilterSpecObjectStruct*, ConfigStoreObjectStruct*** objects,
        int* count) { return GetDesiredUserConfigInstances("fan", "g", "c", objects, count); }},
};

void PrintTo(const ListRead& read, std::ostream* out) {
    *out << read.name;
}

class ListReads : public HandleTest, public ::testing::WithParamInterface<ListRead> {};

TEST_P(ListReads, DeliverNewHandlesInTheEnginesOrderOrNotFoundAndNothingOnFailures) {
    const ListRead& read = GetParam();
    ConfigStoreObjectStruct* sentinel = nullptr;
    ConfigStoreObjectStruct** objects = &sentinel;
    int count = -1;
    EXPECT_EQ(read.call(store_, filter_, &objects, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(count, 0);

    const ObjectList found{enginedouble::MakeObject("fan", "1"),
                           enginedouble::MakeObject("fan", "2"),
                           enginedouble::MakeObject("fan", "3")};
    enginedouble::Answer(read.operation, found);
    ASSERT_EQ(read.call(store_, filter_, &objects, &count), CS_C_OK);
    ASSERT_EQ(count, 3);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(objects[i]->engineObject, found[i]);
        EXPECT_TRUE(objects[i]->isTopLevel);
        DestroyConfigStoreObject(objects[i]);
    }
    std::free(objects);
    const auto calls = enginedouble::CallsTo(read.operation);
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].args[0], read.selection);
    ExpectLog({});

    ExpectTranslations(
        read.operation, read.name,
        [&] {
            ConfigStoreObjectStruct* sentinel = nullptr;
            ConfigStoreObjectStruct** objects = &sentinel;
            int count = -1;
            const int result = read.call(store_, filter_, &objects, &count);
            EXPECT_EQ(objects, &sentinel);
            EXPECT_EQ(count, -1);
            return result;
        },
        kArgumentOrStore);
}

INSTANTIATE_TEST_SUITE_P(All, ListReads, ::testing::ValuesIn(kReads),
                         [](const auto& info) { return std::string(info.param.name); });

using Instances = HandleTest;

TEST_F(Instances, FilterReadsReportMissingArgumentsUnderTheWorkersName) {
    ConfigStoreObjectStruct** objects = nullptr;
    int count = 0;
    EXPECT_EQ(GetDefaultConfigInstances(nullptr, filter_, &objects, &count), 2);
    EXPECT_EQ(GetInstances(store_, nullptr, &objects, &count), 2);
    EXPECT_EQ(GetDesiredUserConfigInstances("fan", nullptr, nullptr, &objects, &count), 2);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"GetInstancesCInternal"}},
               {"%s: FilterSpecObjectCPtr not provided", {"GetInstancesCInternal"}},
               {"%s: argument 'component' not provided", {"GetDesiredUserConfigInstances"}}});
    EXPECT_TRUE(enginedouble::Calls().empty());
}

}  // namespace
