// Instance lists: reads through a filter into arrays of handles, and whole-list writes.
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "StoreFixture.h"

namespace {

using namespace KivConfigStore;

class Instances : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        ASSERT_EQ(CreateFilterSpecObject("fan", "g", "c", nullptr, &filter_), CS_C_OK);
    }
    void TearDown() override {
        DestroyFilterSpecObject(filter_);
        StoreFixture::TearDown();
    }
    FilterSpecObjectStruct* filter_ = nullptr;
};

struct ListRead {
    const char* name;
    const char* operation;
    std::function<int(ConfigStoreStruct*, FilterSpecObjectStruct*, ConfigStoreObjectStruct***,
                      int*)>
        call;
};

const ListRead kReads[] = {
    {"GetInstances", "ConfigStore::GetInstances", GetInstances},
    {"GetDefaultConfigInstances", "ConfigStore::GetDefaultConfigInstances",
     GetDefaultConfigInstances},
    {"GetDesiredUserConfigInstances", "GetDesiredUserConfigInstances",
     [](ConfigStoreStruct*, FilterSpecObjectStruct*, ConfigStoreObjectStruct*** objects,
        int* count) { return GetDesiredUserConfigInstances("fan", "g", "c", objects, count); }},
};

void PrintTo(const ListRead& read, std::ostream* out) {
    *out << read.name;
}

class ListReads : public Instances, public ::testing::WithParamInterface<ListRead> {};

TEST_P(ListReads, DeliverNewHandlesInTheEnginesOrder) {
    const ListRead& read = GetParam();
    const ObjectList found{enginedouble::MakeObject("fan", "1"),
                           enginedouble::MakeObject("fan", "2"),
                           enginedouble::MakeObject("fan", "3")};
    enginedouble::Answer(read.operation, found);
    ConfigStoreObjectStruct** objects = nullptr;
    int count = 0;
    ASSERT_EQ(read.call(store_, filter_, &objects, &count), CS_C_OK);
    ASSERT_EQ(count, 3);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(objects[i]->engineObject, found[i]);
        EXPECT_TRUE(objects[i]->isTopLevel);
        DestroyConfigStoreObject(objects[i]);
    }
    std::free(objects);
    const auto calls = enginedouble::CallsTo(read.operation);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args[0], read.operation[0] == 'C' ? "fan" : "fan|g|c|");
}

TEST_P(ListReads, AnswerNotFoundForAnEmptyList) {
    const ListRead& read = GetParam();
    ConfigStoreObjectStruct* sentinel = nullptr;
    ConfigStoreObjectStruct** objects = &sentinel;
    int count = -1;
    EXPECT_EQ(read.call(store_, filter_, &objects, &count), CS_C_NOT_FOUND);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(count, 0);
    ExpectLog({});
}

TEST_P(ListReads, LeaveBothOutputsAloneOnFailures) {
    const ListRead& read = GetParam();
    const struct {
        std::exception_ptr error;
        int result;
    } failures[] = {
        {std::make_exception_ptr(InvalidArgumentException("e")), CS_C_INVALID_ARGUMENT},
        {std::make_exception_ptr(ValidationException("e")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(std::runtime_error("e")), CS_C_INTERNAL_ERROR},
    };
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw(read.operation, failure.error);
        ConfigStoreObjectStruct* sentinel = nullptr;
        ConfigStoreObjectStruct** objects = &sentinel;
        int count = -1;
        EXPECT_EQ(read.call(store_, filter_, &objects, &count), failure.result);
        EXPECT_EQ(objects, &sentinel);
        EXPECT_EQ(count, -1);
        ExpectLog({{"%s: %s", {read.name, "e"}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, ListReads, ::testing::ValuesIn(kReads),
                         [](const auto& info) { return std::string(info.param.name); });

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

struct ListWrite {
    const char* name;
    const char* operation;
    bool takesContext;
    int (*call)(ConfigStoreStruct*, ConfigStoreObjectStruct**, int, const char* context);
};

const ListWrite kWrites[] = {
    {"SetInstances", "ConfigStore::SetInstances", true, SetInstances},
    {"SetUserDataInstances", "ConfigStore::SetUserDataInstances", true, SetUserDataInstances},
    {"SetVitalDataInstances", "ConfigStore::SetVitalDataInstances", false,
     [](ConfigStoreStruct* s, ConfigStoreObjectStruct** o, int n, const char*) {
         return SetVitalDataInstances(s, o, n);
     }},
    {"SetCachedDataInstances", "ConfigStore::SetCachedDataInstances", false,
     [](ConfigStoreStruct* s, ConfigStoreObjectStruct** o, int n, const char*) {
         return SetCachedDataInstances(s, o, n);
     }},
};

void PrintTo(const ListWrite& write, std::ostream* out) {
    *out << write.name;
}

class ListWrites : public Instances, public ::testing::WithParamInterface<ListWrite> {};

TEST_P(ListWrites, HandTheStoreTheListInArrayOrder) {
    const ListWrite& write = GetParam();
    ConfigStoreObjectStruct* objects[] = {Object("c"), Object("a"), Object("b")};
    EXPECT_EQ(write.call(store_, objects, 3, "INTERNAL"), CS_C_OK);
    EXPECT_EQ(write.call(store_, nullptr, 0, nullptr), CS_C_OK);  // an empty list
    const auto& calls = enginedouble::Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].operation, write.operation);
    EXPECT_EQ(calls[0].args[0], "c,a,b");
    EXPECT_EQ(calls[1].args[0], "");
    if (write.takesContext) {
        EXPECT_EQ(calls[0].args[1], "INTERNAL");
        EXPECT_EQ(calls[1].args[1], "EXTERNAL");
    }
    for (ConfigStoreObjectStruct* object : objects) EXPECT_EQ(object->engineObject.use_count(), 1);
}

TEST_P(ListWrites, RefuseMissingStoreContextArrayOrEntry) {
    const ListWrite& write = GetParam();
    ConfigStoreObjectStruct* objects[] = {Object("a"), nullptr};
    EXPECT_EQ(write.call(nullptr, objects, 1, "Internal"), 2);
    std::vector<ExpectedLine> lines{{"%s: ConfigStoreCPtr not provided", {write.name}}};
    if (write.takesContext) {
        EXPECT_EQ(write.call(store_, objects, 1, "Internal"), 2);
        lines.push_back({"%s unknown context type '%s'", {write.name, "Internal"}});
    }
    EXPECT_EQ(write.call(store_, nullptr, 2, nullptr), 2);
    EXPECT_EQ(write.call(store_, objects, 2, nullptr), 2);
    lines.push_back({"%s: argument object not provided", {write.name}});
    lines.push_back({"%s: argument object not provided", {write.name}});
    ExpectLog(lines);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_P(ListWrites, TranslateArgumentAndValidationFailures) {
    const ListWrite& write = GetParam();
    const struct {
        std::exception_ptr error;
        int result;
    } failures[] = {
        {std::make_exception_ptr(InvalidArgumentException("e")), CS_C_INVALID_ARGUMENT},
        {std::make_exception_ptr(ValidationException("e")), CS_C_VALIDATION_ERROR},
        {std::make_exception_ptr(InvalidTypeException("e")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(std::runtime_error("e")), CS_C_INTERNAL_ERROR},
    };
    ConfigStoreObjectStruct* objects[] = {Object("a")};
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw(write.operation, failure.error);
        EXPECT_EQ(write.call(store_, objects, 1, nullptr), failure.result);
        ExpectLog({{"%s: %s", {write.name, "e"}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, ListWrites, ::testing::ValuesIn(kWrites),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
