// Fetching and creating objects and filter specs, and the text read from them.
#include <cstdlib>
#include <stdexcept>

#include "DoubleTest.h"
#include "core/Handles.h"

namespace {

using namespace KivConfigStore;
using ObjectPtr = std::shared_ptr<ConfigStoreObject>;

class Objects : public DoubleTest {
protected:
    void SetUp() override {
        DoubleTest::SetUp();
        ASSERT_EQ(GetStore(nullptr, &store_), CS_C_OK);
        enginedouble::Reset();
    }
    void TearDown() override { DestroyStore(store_); }
    ConfigStoreStruct* store_ = nullptr;
};

// The three fetches differ only in how the engine is reached.
struct Fetch {
    const char* name;
    const char* operation;
    bool needsStore;
    int (*call)(ConfigStoreStruct*, const char*, const char*, const char*, const char*,
                ConfigStoreObjectStruct**);
};

const Fetch kFetches[] = {
    {"Get", "ConfigStore::Get", true, Get},
    {"GetDefaultConfig", "ConfigStore::GetDefaultConfig", true, GetDefaultConfig},
    {"GetDesiredUserConfig", "GetDesiredUserConfig", false,
     [](ConfigStoreStruct*, const char* k, const char* g, const char* c, const char* i,
        ConfigStoreObjectStruct** o) { return GetDesiredUserConfig(k, g, c, i, o); }},
};

void PrintTo(const Fetch& fetch, std::ostream* out) {
    *out << fetch.name;
}

class Fetches : public Objects, public ::testing::WithParamInterface<Fetch> {};

TEST_P(Fetches, CheckStoreKeyComponentGroupInThatOrder) {
    const Fetch& fetch = GetParam();
    ConfigStoreObjectStruct* object = nullptr;
    std::vector<ExpectedLine> lines;
    if (fetch.needsStore) {
        EXPECT_EQ(fetch.call(nullptr, nullptr, "g", "c", nullptr, &object), 2);
        lines.push_back({"%s: ConfigStoreCPtr not provided", {fetch.name}});
    }
    EXPECT_EQ(fetch.call(store_, nullptr, nullptr, nullptr, nullptr, &object), 2);
    EXPECT_EQ(fetch.call(store_, "k", nullptr, nullptr, nullptr, &object), 2);
    EXPECT_EQ(fetch.call(store_, "k", nullptr, "c", nullptr, &object), 2);
    lines.push_back({"%s: argument 'key' not provided", {fetch.name}});
    lines.push_back({"%s: argument 'component' not provided", {fetch.name}});
    lines.push_back({"%s: argument 'group' not provided", {fetch.name}});
    ExpectLog(lines);
    EXPECT_EQ(object, nullptr);
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_P(Fetches, BuildTheIdentityKeyGroupComponent) {
    const Fetch& fetch = GetParam();
    ConfigStoreObjectStruct* object = nullptr;
    fetch.call(store_, "k", "g", "c", nullptr, &object);
    fetch.call(store_, "k", "g", "c", "", &object);
    fetch.call(store_, "k", "g", "c", "i7", &object);
    const auto calls = enginedouble::CallsTo(fetch.operation);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].args[0], "k|g|c|");
    EXPECT_EQ(calls[1].args[0], "k|g|c|");
    EXPECT_EQ(calls[2].args[0], "k|g|c|i7");
}

TEST_P(Fetches, WrapWhatTheEngineFindsOrAnswerNotFound) {
    const Fetch& fetch = GetParam();
    ConfigStoreObjectStruct sentinel;
    ConfigStoreObjectStruct* object = &sentinel;
    EXPECT_EQ(fetch.call(store_, "k", "g", "c", nullptr, &object), CS_C_NOT_FOUND);
    EXPECT_EQ(object, nullptr);

    const ObjectPtr found = enginedouble::MakeObject("k");
    enginedouble::Answer(fetch.operation, found);
    ConfigStoreObjectStruct* first = nullptr;
    ConfigStoreObjectStruct* second = nullptr;
    ASSERT_EQ(fetch.call(store_, "k", "g", "c", nullptr, &first), CS_C_OK);
    ASSERT_EQ(fetch.call(store_, "k", "g", "c", nullptr, &second), CS_C_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->engineObject, found);
    EXPECT_TRUE(first->isTopLevel);
    EXPECT_EQ(DestroyConfigStoreObject(first), CS_C_OK);
    EXPECT_EQ(second->engineObject, found);  // the other handle lives on
    EXPECT_EQ(DestroyConfigStoreObject(second), CS_C_OK);
    ExpectLog({});
}

TEST_P(Fetches, TranslateEngineFailuresUnderTheirOwnName) {
    const Fetch& fetch = GetParam();
    const struct {
        std::exception_ptr error;
        const char* text;
        int result;
    } failures[] = {
        {std::make_exception_ptr(ConfigStoreException("no database")), "no database", 1},
        {std::make_exception_ptr(ValidationException("bad")), "bad", 1},
        {std::make_exception_ptr(InvalidArgumentException("odd key")), "odd key", 1},
        {std::make_exception_ptr(std::out_of_range("range")), "range", 5},
    };
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw(fetch.operation, failure.error);
        ConfigStoreObjectStruct sentinel;
        ConfigStoreObjectStruct* object = &sentinel;
        EXPECT_EQ(fetch.call(store_, "k", "g", "c", nullptr, &object), failure.result);
        EXPECT_EQ(object, &sentinel);
        ExpectLog({{"%s: %s", {fetch.name, failure.text}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, Fetches, ::testing::ValuesIn(kFetches),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Objects, CreateObjectChecksTheIdentityBeforeTheValue) {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(CreateObject(nullptr, "g", "c", nullptr, nullptr, &object), 2);
    EXPECT_EQ(CreateObject("k", "g", "c", nullptr, nullptr, &object), 2);
    ExpectLog({{"%s: argument 'key' not provided", {"CreateObject"}},
               {"%s: argument 'value' not provided", {"CreateObject"}}});
    EXPECT_TRUE(enginedouble::Calls().empty());
    EXPECT_EQ(object, nullptr);
}

TEST_F(Objects, CreateObjectPassesIdentityAndDocument) {
    ConfigStoreObjectStruct* object = nullptr;
    ASSERT_EQ(CreateObject("k", "g", "c", "i1", "{\"a\":1}", &object), CS_C_OK);
    EXPECT_EQ(enginedouble::Calls().at(0).args,
              (std::vector<std::string>{"k|g|c|i1", "{\"a\":1}"}));
    EXPECT_TRUE(object->isTopLevel);
    EXPECT_EQ(object->engineObject->objectId.instanceId, "i1");
    EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);
}

TEST_F(Objects, CreateObjectTranslatesArgumentAndStoreFailures) {
    const struct {
        std::exception_ptr error;
        int result;
    } failures[] = {
        {std::make_exception_ptr(InvalidArgumentException("refused")), CS_C_INVALID_ARGUMENT},
        {std::make_exception_ptr(ValidationException("refused")), CS_C_STORE_ERROR},
        {std::make_exception_ptr(std::runtime_error("refused")), CS_C_INTERNAL_ERROR},
    };
    for (const auto& failure : failures) {
        enginedouble::Reset();
        enginedouble::Throw("CreateObject", failure.error);
        ConfigStoreObjectStruct* object = nullptr;
        EXPECT_EQ(CreateObject("k", "g", "c", nullptr, "{}", &object), failure.result);
        EXPECT_EQ(object, nullptr);
        ExpectLog({{"%s: %s", {"CreateObject", "refused"}}});
    }
}

TEST_F(Objects, FilterSpecIsMadeWithoutTheStore) {
    FilterSpecObjectStruct* filter = nullptr;
    EXPECT_EQ(CreateFilterSpecObject("k", nullptr, "c", nullptr, &filter), 2);
    ExpectLog({{"%s: argument 'group' not provided", {"CreateFilterSpecObject"}}});

    ASSERT_EQ(CreateFilterSpecObject("k", "g", "c", "i2", &filter), CS_C_OK);
    EXPECT_TRUE(enginedouble::Calls().empty());
    const ConfigStoreObjectId& id = filter->engineObject->objectId;
    EXPECT_EQ(id.key + "|" + id.group + "|" + id.component + "|" + id.instanceId, "k|g|c|i2");
    EXPECT_TRUE(filter->isTopLevel);
    EXPECT_EQ(filter->engineObject.use_count(), 1);
    EXPECT_EQ(DestroyFilterSpecObject(filter), CS_C_OK);
    EXPECT_EQ(enginedouble::LiveObjects(), 0);
}

TEST_F(Objects, IdentityComesOutKeyComponentGroupInstance) {
    ConfigStoreObjectStruct* object = nullptr;
    ASSERT_EQ(CreateObject("k", "g", "c", nullptr, "{}", &object), CS_C_OK);
    char* key = nullptr;
    char* component = nullptr;
    char* group = nullptr;
    char* instanceId = nullptr;
    ASSERT_EQ(GetConfigStoreObjectId(object, &key, &component, &group, &instanceId), CS_C_OK);
    EXPECT_STREQ(key, "k");
    EXPECT_STREQ(component, "c");
    EXPECT_STREQ(group, "g");
    EXPECT_EQ(instanceId, nullptr);  // no instance id: left as it was
    for (char* text : {key, component, group}) std::free(text);

    object->engineObject->objectId.instanceId = "i9";
    ASSERT_EQ(GetConfigStoreObjectId(object, &key, &component, &group, &instanceId), CS_C_OK);
    EXPECT_STREQ(instanceId, "i9");
    for (char* text : {key, component, group, instanceId}) std::free(text);
    DestroyConfigStoreObject(object);
}

TEST_F(Objects, MissingObjectForIdentityAndVersion) {
    char* text = nullptr;
    EXPECT_EQ(GetConfigStoreObjectId(nullptr, &text, &text, &text, &text), CS_C_VALIDATION_ERROR);
    EXPECT_EQ(GetVersion(nullptr, &text), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"GetConfigStoreObjectId"}},
               {"%s: obj not provided", {"GetVersion"}}});
    EXPECT_EQ(text, nullptr);
}

TEST_F(Objects, VersionTexts) {
    ConfigStoreObjectStruct* object = nullptr;
    ASSERT_EQ(CreateObject("k", "g", "c", nullptr, "{}", &object), CS_C_OK);
    enginedouble::Answer("GetVersion", std::string("2.1"));
    enginedouble::Answer("GetSchemaVersion", std::string("7"));
    enginedouble::Answer("GenerateInstanceId", std::string("0b7c"));
    char* version = nullptr;
    char* schema = nullptr;
    char* instanceId = nullptr;
    ASSERT_EQ(GetVersion(object, &version), CS_C_OK);
    ASSERT_EQ(GetSchemaVersion("k", "g", "c", &schema), CS_C_OK);
    ASSERT_EQ(GenerateInstanceId(&instanceId), CS_C_OK);
    EXPECT_STREQ(version, "2.1");
    EXPECT_STREQ(schema, "7");
    EXPECT_STREQ(instanceId, "0b7c");
    EXPECT_EQ(enginedouble::CallsTo("GetSchemaVersion").at(0).args[0], "k|g|c|");
    for (char* text : {version, schema, instanceId}) std::free(text);
    DestroyConfigStoreObject(object);
}

TEST_F(Objects, SchemaVersionFailuresLeaveTheOutputAlone) {
    char* version = nullptr;
    EXPECT_EQ(GetSchemaVersion("k", nullptr, nullptr, &version), 2);
    enginedouble::Throw("GetSchemaVersion", ConfigStoreException("no schema"));
    EXPECT_EQ(GetSchemaVersion("k", "g", "c", &version), CS_C_STORE_ERROR);
    enginedouble::Throw("GetSchemaVersion", std::runtime_error("broken"));
    EXPECT_EQ(GetSchemaVersion("k", "g", "c", &version), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(version, nullptr);
    ExpectLog({{"%s: argument 'component' not provided", {"GetSchemaVersion"}},
               {"%s: %s", {"GetSchemaVersion", "no schema"}},
               {"%s: %s", {"GetSchemaVersion", "broken"}}});
}

TEST_F(Objects, UntranslatedEngineFailuresAreCaughtToo) {
    ConfigStoreObjectStruct* object = nullptr;
    ASSERT_EQ(CreateObject("k", "g", "c", nullptr, "{}", &object), CS_C_OK);
    enginedouble::Throw("GetVersion", ConfigStoreException("no version"));
    enginedouble::Throw("GenerateInstanceId", std::runtime_error("no entropy"));
    char* text = nullptr;
    EXPECT_EQ(GetVersion(object, &text), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(GenerateInstanceId(&text), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(text, nullptr);
    ExpectLog({{"%s: %s", {"GetVersion", "no version"}},
               {"%s: %s", {"GenerateInstanceId", "no entropy"}}});
    DestroyConfigStoreObject(object);
}

}  // namespace
