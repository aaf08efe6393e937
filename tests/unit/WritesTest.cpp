// Single-object writes under each data class, deletes, and the boot status.
#include <stdexcept>

#include "StoreFixture.h"

namespace {

using namespace KivConfigStore;

struct Write {
    const char* name;
    const char* operation;  // the store slot it must reach
    bool takesContext;
    int (*call)(ConfigStoreStruct*, ConfigStoreObjectStruct*, const char* context);
};

const Write kWrites[] = {
    {"Set", "ConfigStore::Set", true, Set},
    {"Update", "ConfigStore::Update", true, Update},
    {"SetUserData", "ConfigStore::SetUserData", true, SetUserData},
    {"SetVitalData", "ConfigStore::SetVitalData", false,
     [](ConfigStoreStruct* s, ConfigStoreObjectStruct* o, const char*) {
         return SetVitalData(s, o);
     }},
    {"SetCachedData", "ConfigStore::SetCachedData", false,
     [](ConfigStoreStruct* s, ConfigStoreObjectStruct* o, const char*) {
         return SetCachedData(s, o);
     }},
};

void PrintTo(const Write& write, std::ostream* out) {
    *out << write.name;
}

class Writes : public StoreFixture, public ::testing::WithParamInterface<Write> {};

TEST_P(Writes, ReachTheirOwnSlotWithTheParsedContext) {
    const Write& write = GetParam();
    ConfigStoreObjectStruct* object = Object("k");
    for (const char* context : {static_cast<const char*>(nullptr), "EXTERNAL", "INTERNAL"}) {
        EXPECT_EQ(write.call(store_, object, context), CS_C_OK);
    }
    ASSERT_EQ(enginedouble::Calls().size(), 3u);
    const char* expected[] = {"EXTERNAL", "EXTERNAL", write.takesContext ? "INTERNAL" : "EXTERNAL"};
    for (size_t i = 0; i < 3; ++i) {
        const auto& call = enginedouble::Calls()[i];
        EXPECT_EQ(call.operation, write.operation);
        EXPECT_EQ(call.target, store_->engineStore.get());
        EXPECT_EQ(call.args[0], "k");
        if (write.takesContext) {
            EXPECT_EQ(call.args.at(1), expected[i]);
        }
    }
    EXPECT_EQ(object->engineObject.use_count(), 1);  // the store's copy is gone, the handle kept
    ExpectLog({});
}

TEST_P(Writes, CheckStoreThenContextThenObject) {
    const Write& write = GetParam();
    ConfigStoreObjectStruct* object = Object("k");
    EXPECT_EQ(write.call(nullptr, nullptr, "internal"), CS_C_INVALID_ARGUMENT);
    std::vector<ExpectedLine> lines{{"%s: ConfigStoreCPtr not provided", {write.name}}};
    if (write.takesContext) {
        EXPECT_EQ(write.call(store_, object, "internal"), CS_C_INVALID_ARGUMENT);
        EXPECT_EQ(write.call(store_, object, ""), CS_C_INVALID_ARGUMENT);
        lines.push_back({"%s unknown context type '%s'", {write.name, "internal"}});
        lines.push_back({"%s unknown context type '%s'", {write.name, ""}});
    }
    EXPECT_EQ(write.call(store_, nullptr, nullptr), CS_C_INVALID_ARGUMENT);
    lines.push_back({"%s: argument object not provided", {write.name}});
    ExpectLog(lines);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_P(Writes, TranslateValidationApartFromOtherStoreFailures) {
    const Write& write = GetParam();
    const struct {
        std::exception_ptr error;
        int result;
    } failures[] = {
        {std::make_exception_ptr(ValidationException("e")), CS_C_VALIDATION_ERROR},
        {std::make_exception_ptr(InvalidArgumentException("e")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(InvalidTypeException("e")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(ConfigStoreException("e")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(std::runtime_error("e")), CS_C_INTERNAL_ERROR},
    };
    ConfigStoreObjectStruct* object = Object("k");
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw(write.operation, failure.error);
        EXPECT_EQ(write.call(store_, object, nullptr), failure.result);
        ExpectLog({{"%s: %s", {write.name, "e"}}});
    }
    EXPECT_EQ(object->engineObject.use_count(), 1);
}

INSTANTIATE_TEST_SUITE_P(All, Writes, ::testing::ValuesIn(kWrites),
                         [](const auto& info) { return std::string(info.param.name); });

class Deletes : public StoreFixture {};

TEST_F(Deletes, DeleteNamesTheObjectLikeGet) {
    EXPECT_EQ(Delete(store_, "k", "g", "c", nullptr), CS_C_OK);
    EXPECT_EQ(Delete(store_, "k", "g", "c", ""), CS_C_OK);
    EXPECT_EQ(Delete(store_, "k", "g", "c", "i1"), CS_C_OK);
    const auto calls = enginedouble::CallsTo("ConfigStore::Delete");
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].args[0], "k|g|c|");
    EXPECT_EQ(calls[1].args[0], "k|g|c|");
    EXPECT_EQ(calls[2].args[0], "k|g|c|i1");

    EXPECT_EQ(Delete(nullptr, "k", "g", "c", nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Delete(store_, "k", "g", nullptr, nullptr), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"Delete"}},
               {"%s: argument 'component' not provided", {"Delete"}}});
}

TEST_F(Deletes, DeleteInstancesPassesTheFilter) {
    FilterSpecObjectStruct* filter = nullptr;
    ASSERT_EQ(CreateFilterSpecObject("fan", "g", "c", nullptr, &filter), CS_C_OK);
    EXPECT_EQ(DeleteInstances(store_, filter), CS_C_OK);
    EXPECT_EQ(enginedouble::CallsTo("ConfigStore::DeleteInstances").at(0).args[0], "fan");
    EXPECT_EQ(DeleteInstances(nullptr, filter), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(DeleteInstances(store_, nullptr), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"DeleteInstances"}},
               {"%s: FilterSpecObjectCPtr not provided", {"DeleteInstances"}}});
    DestroyFilterSpecObject(filter);
}

TEST_F(Deletes, BootStatusUsesAllFourIdentityFields) {
    EXPECT_EQ(SetBootStatus("k", "g", "c", nullptr, true), CS_C_OK);
    EXPECT_EQ(SetBootStatus("k", "g", "c", "i2", false), CS_C_OK);
    const auto calls = enginedouble::CallsTo("SetBootStatus");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].args, (std::vector<std::string>{"k|g|c|", "true"}));
    EXPECT_EQ(calls[1].args, (std::vector<std::string>{"k|g|c|i2", "false"}));
    EXPECT_EQ(SetBootStatus("k", "g", nullptr, nullptr, true), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: argument 'component' not provided", {"SetBootStatus"}}});
}

TEST_F(Deletes, EveryStoreFailureIsAStoreError) {
    FilterSpecObjectStruct* filter = nullptr;
    ASSERT_EQ(CreateFilterSpecObject("k", "g", "c", nullptr, &filter), CS_C_OK);
    const struct {
        const char* name;
        const char* operation;
        std::function<int()> call;
    } deletes[] = {
        {"Delete", "ConfigStore::Delete", [&] { return Delete(store_, "k", "g", "c", nullptr); }},
        {"DeleteInstances", "ConfigStore::DeleteInstances",
         [&] { return DeleteInstances(store_, filter); }},
        {"SetBootStatus", "SetBootStatus", [] { return SetBootStatus("k", "g", "c", "", true); }},
    };
    for (const auto& del : deletes) {
        enginedouble::Reset();
        enginedouble::Throw(del.operation, ValidationException("invalid"));
        EXPECT_EQ(del.call(), CS_C_STORE_ERROR) << del.name;
        enginedouble::Throw(del.operation, std::logic_error("broken"));
        EXPECT_EQ(del.call(), CS_C_INTERNAL_ERROR) << del.name;
        ExpectLog({{"%s: %s", {del.name, "invalid"}}, {"%s: %s", {del.name, "broken"}}});
    }
    DestroyFilterSpecObject(filter);
}

}  // namespace
