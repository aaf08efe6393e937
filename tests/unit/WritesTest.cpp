// Writes of one object and of lists under each data class, deletes, and the boot status.
#include "DoubleTest.h"

namespace {

using Objects = ConfigStoreObjectStruct**;

struct Write {
    const char* name;
    const char* operation;  // the store slot it must reach
    bool takesContext;
    bool takesList;  // the others write the array's first entry
    Results results;
    int (*call)(ConfigStoreStruct*, Objects objects, int count, const char* context);
};

const Write kWrites[] = {
    {"Set", "ConfigStore::Set", true, false, kObjectWrites,
     [](ConfigStoreStruct* s, Objects o, int, const char* c) { return Set(s, o[0], c); }},
    {"Update", "ConfigStore::Update", true, false, kObjectWrites,
     [](ConfigStoreStruct* s, Objects o, int, const char* c) { return Update(s, o[0], c); }},
    {"SetUserData", "ConfigStore::SetUserData", true, false, kObjectWrites,
     [](ConfigStoreStruct* s, Objects o, int, const char* c) { return SetUserData(s, o[0], c); }},
    {"SetVitalData", "ConfigStore::SetVitalData", false, false, kObjectWrites,
     [](ConfigStoreStruct* s, Objects o, int, const char*) { return SetVitalData(s, o[0]); }},
    {"SetCachedData", "ConfigStore::SetCachedData", false, false, kObjectWrites,
     [](ConfigStoreStruct* s, Objects o, int, const char*) { return SetCachedData(s, o[0]); }},
    {"SetInstances", "ConfigStore::SetInstances", true, true, kInstanceWrites, SetInstances},
    {"SetUserDataInstances", "ConfigStore::SetUserDataInstances", true, true, kInstanceWrites,
     SetUserDataInstances},
    {"SetVitalDataInstances", "ConfigStore::SetVitalDataInstances", false, true, kInstanceWrites,
     [](ConfigStoreStruct* s, Objects o, int n, const char*) {
         return SetVitalDataInstances(s, o, n);
     }},
    {"SetCachedDataInstances", "ConfigStore::SetCachedDataInstances", false, true, kInstanceWrites,
     [](ConfigStoreStruct* s, Objects o, int n, const char*) {
         return SetCachedDataInstances(s, o, n);
     }},
};

void PrintTo(const Write& write, std::ostream* out) {
    *out << write.name;
}

class Writes : public HandleTest, public ::testing::WithParamInterface<Write> {};

TEST_P(Writes, ReachTheirOwnSlotWithTheParsedContext) {
    const Write& write = GetParam();
    ConfigStoreObjectStruct* objects[] = {Object("c"), Object("a"), Object("b")};
    for (const char* context : {static_cast<const char*>(nullptr), "EXTERNAL", "INTERNAL"}) {
        EXPECT_EQ(write.call(store_, objects, 3, context), CS_C_OK);
    }
    if (write.takesList) {
        EXPECT_EQ(write.call(store_, nullptr, 0, nullptr), CS_C_OK);
    }
    const auto& calls = enginedouble::Calls();
    ASSERT_EQ(calls.size(), write.takesList ? 4u : 3u);
    const char* contexts[] = {"EXTERNAL", "EXTERNAL", "INTERNAL", "EXTERNAL"};
    for (size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].operation, write.operation);
        EXPECT_EQ(calls[i].target, store_->engineStore.get());
        EXPECT_EQ(calls[i].args[0], i == 3 ? "" : write.takesList ? "c,a,b" : "c");
        if (write.takesContext) {
            EXPECT_EQ(calls[i].args.at(1), contexts[i]);
        }
    }
    // The store's references are gone, the handles kept.
    for (ConfigStoreObjectStruct* object : objects) EXPECT_EQ(object->engineObject.use_count(), 1);
    ExpectLog({});
}

TEST_P(Writes, CheckStoreThenContextThenEveryObject) {
    const Write& write = GetParam();
    ConfigStoreObjectStruct* withHole[] = {object_, nullptr};
    const auto missingObject = [&] {
        return write.takesList ? write.call(store_, withHole, 2, nullptr)
                               : write.call(store_, withHole + 1, 1, nullptr);
    };
    EXPECT_EQ(write.call(nullptr, withHole + 1, 1, "internal"), CS_C_INVALID_ARGUMENT);
    std::vector<ExpectedLine> lines{{"%s: ConfigStoreCPtr not provided", {write.name}}};
    if (write.takesContext) {
        EXPECT_EQ(write.call(store_, withHole + 1, 1, "internal"), CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(write.call(store_, withHole + 1, 1, ""), CS_C_INVALID_ARGUMENT);
        lines.push_back({"%s unknown context type '%s'", {write.name, "internal"}});
        lines.push_back({"%s unknown context type '%s'", {write.name, ""}});
    }
    EXPECT_EQ(missingObject(), CS_C_INVALID_ARGUMENT);
    lines.push_back({"%s: argument object not provided", {write.name}});
    if (write.takesList) {
        EXPECT_EQ(write.call(store_, nullptr, 2, nullptr), CS_C_INVALID_ARGUMENT);
        lines.push_back({"%s: argument object not provided", {write.name}});
    }
    ExpectLog(lines);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_P(Writes, TranslateTheirFamilysFailures) {
    const Write& write = GetParam();
    ExpectTranslations(
        write.operation, write.name, [&] { return write.call(store_, &object_, 1, nullptr); },
        write.results);
    EXPECT_EQ(object_->engineObject.use_count(), 1);
}

INSTANTIATE_TEST_SUITE_P(All, Writes, ::testing::ValuesIn(kWrites),
                         [](const auto& info) { return std::string(info.param.name); });

using Deletes = HandleTest;

TEST_F(Deletes, NameTheirObjectsAndCheckTheirArgumentsInOrder) {
    EXPECT_EQ(Delete(store_, "k", "g", "c", nullptr), CS_C_OK);
    EXPECT_EQ(Delete(store_, "k", "g", "c", "i1"), CS_C_OK);
    EXPECT_EQ(DeleteInstances(store_, filter_), CS_C_OK);
    EXPECT_EQ(SetBootStatus("k", "g", "c", "", true), CS_C_OK);
    EXPECT_EQ(SetBootStatus("k", "g", "c", "i2", false), CS_C_OK);
    const std::vector<std::vector<std::string>> expected = {
        {"k|g|c|"}, {"k|g|c|i1"}, {"filter"}, {"k|g|c|", "true"}, {"k|g|c|i2", "false"}};
    ASSERT_EQ(enginedouble::Calls().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(enginedouble::Calls()[i].args, expected[i]) << i;
    }

    EXPECT_EQ(Delete(nullptr, "k", "g", "c", nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Delete(store_, "k", "g", nullptr, nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DeleteInstances(nullptr, filter_), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DeleteInstances(store_, nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(SetBootStatus("k", "g", nullptr, nullptr, true), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"Delete"}},
               {"%s: argument 'component' not provided", {"Delete"}},
               {"%s: ConfigStoreCPtr not provided", {"DeleteInstances"}},
               {"%s: FilterSpecObjectCPtr not provided", {"DeleteInstances"}},
               {"%s: argument 'component' not provided", {"SetBootStatus"}}});
    EXPECT_EQ(enginedouble::Calls().size(), expected.size());
}

TEST_F(Deletes, EveryEngineFailureIsAStoreError) {
    ExpectTranslations(
        "ConfigStore::Delete", "Delete", [&] { return Delete(store_, "k", "g", "c", nullptr); },
        kStoreFailures);
    ExpectTranslations(
        "ConfigStore::DeleteInstances", "DeleteInstances",
        [&] { return DeleteInstances(store_, filter_); }, kStoreFailures);
    ExpectTranslations(
        "SetBootStatus", "SetBootStatus", [] { return SetBootStatus("k", "g", "c", "", true); },
        kStoreFailures);
}

}  // namespace
