// Fetching and creating objects and filter specs, and the text read from them.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using ObjectPtr = std::shared_ptr<ConfigStoreObject>;

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

class Fetches : public HandleTest, public ::testing::WithParamInterface<Fetch> {};

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

TEST_P(Fetches, WrapWhatTheEngineFindsOrAnswerNotFound) {
    const Fetch& fetch = GetParam();
    ConfigStoreObjectStruct sentinel;
    ConfigStoreObjectStruct* object = &sentinel;
    EXPECT_EQ(fetch.call(store_, "", "", "", nullptr, &object), CS_C_NOT_FOUND);
    EXPECT_EQ(object, nullptr);

    const ObjectPtr found = enginedouble::MakeObject("k");
    enginedouble::Answer(fetch.operation, found);
    ConfigStoreObjectStruct* first = nullptr;
    ConfigStoreObjectStruct* second = nullptr;
    ASSERT_EQ(fetch.call(store_, "k", "g", "c", "", &first), CS_C_OK);
    ASSERT_EQ(fetch.call(store_, "k", "g", "c", "i7", &second), CS_C_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->engineObject, found);
    EXPECT_TRUE(first->isTopLevel);
    EXPECT_EQ(DestroyConfigStoreObject(first), CS_C_OK);
    EXPECT_EQ(second->engineObject, found);  // the other handle lives on
    EXPECT_EQ(DestroyConfigStoreObject(second), CS_C_OK);
    const auto calls = enginedouble::CallsTo(fetch.operation);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].args[0], "|||");  // empty identity strings are accepted
    EXPECT_EQ(calls[1].args[0], "k|g|c|");
    EXPECT_EQ(calls[2].args[0], "k|g|c|i7");
    ExpectLog({});
}

TEST_P(Fetches, TranslateEngineFailuresUnderTheirOwnName) {
    const Fetch& fetch = GetParam();
    ExpectTranslations(
        fetch.operation, fetch.name,
        [&] {
            ConfigStoreObjectStruct sentinel;
            ConfigStoreObjectStruct* object = &sentinel;
            const int result = fetch.call(store_, "k", "g", "c", nullptr, &object);
            EXPECT_EQ(object, &sentinel);
            return result;
        },
        kStoreFailures);
}

INSTANTIATE_TEST_SUITE_P(All, Fetches, ::testing::ValuesIn(kFetches),
                         [](const auto& info) { return std::string(info.param.name); });

using Objects = HandleTest;

TEST_F(Objects, CreateObjectChecksTheIdentityThenTheValueThenPassesBoth) {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(CreateObject(nullptr, "g", "c", nullptr, nullptr, &object), 2);
    EXPECT_EQ(CreateObject("k", "g", "c", nullptr, nullptr, &object), 2);
    ExpectLog({{"%s: argument 'key' not provided", {"CreateObject"}},
               {"%s: argument 'value' not provided", {"CreateObject"}}});
    EXPECT_TRUE(enginedouble::Calls().empty());
    EXPECT_EQ(object, nullptr);

    ASSERT_EQ(CreateObject("k", "g", "c", "i1", "{\"a\":1}", &object), CS_C_OK);
    EXPECT_EQ(enginedouble::Calls().at(0).args,
              (std::vector<std::string>{"k|g|c|i1", "{\"a\":1}"}));
    EXPECT_TRUE(object->isTopLevel);
    EXPECT_EQ(object->engineObject->objectId.instanceId, "i1");
    EXPECT_EQ(DestroyConfigStoreObject(object), CS_C_OK);

    ExpectTranslations(
        "CreateObject", "CreateObject",
        [] {
            ConfigStoreObjectStruct* refused = nullptr;
            const int result = CreateObject("k", "g", "c", nullptr, "{}", &refused);
            EXPECT_EQ(refused, nullptr);
            return result;
        },
        kArgumentOrStore);
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
}

TEST_F(Objects, IdentityComesOutKeyComponentGroupInstance) {
    char* parts[4] = {};
    ASSERT_EQ(GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]), CS_C_OK);
    EXPECT_STREQ(parts[0], "object");
    EXPECT_STREQ(parts[1], "component");
    EXPECT_STREQ(parts[2], "group");
    EXPECT_EQ(parts[3], nullptr);  // no instance id: left as it was
    for (char* part : parts) std::free(part);

    object_->engineObject->objectId.instanceId = std::string("i\0x", 3);
    ASSERT_EQ(GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]), CS_C_OK);
    EXPECT_EQ(std::string(parts[3], 4), Delivered(std::string("i\0x", 3)));
    for (char* part : parts) std::free(part);
}

// The texts handed out as new strings, with the families their engine failures go through.
struct TextFunction {
    const char* name;
    int (*call)(ConfigStoreObjectStruct* object, char** text);
    Results results;
};

const TextFunction kTexts[] = {
    {"GetVersion", GetVersion, kUntranslated},
    {"GetSchemaVersion",
     [](ConfigStoreObjectStruct*, char** text) { return GetSchemaVersion("k", "g", "c", text); },
     kStoreFailures},
    {"GenerateInstanceId",
     [](ConfigStoreObjectStruct*, char** text) { return GenerateInstanceId(text); }, kUntranslated},
};

TEST_F(Objects, TextsAreCopiesOfTheEnginesAnswerUnlessRefused) {
    char* text = nullptr;
    EXPECT_EQ(GetConfigStoreObjectId(nullptr, &text, &text, &text, &text), CS_C_VALIDATION_ERROR);
    EXPECT_EQ(GetVersion(nullptr, &text), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(GetSchemaVersion("k", nullptr, nullptr, &text), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {"GetConfigStoreObjectId"}},
               {"%s: obj not provided", {"GetVersion"}},
               {"%s: argument 'component' not provided", {"GetSchemaVersion"}}});
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(enginedouble::Calls().empty());

    for (const TextFunction& function : kTexts) {
        enginedouble::Reset();
        enginedouble::Answer(function.name, std::string("2.1"));
        ASSERT_EQ(function.call(object_, &text), CS_C_OK);
        EXPECT_STREQ(text, "2.1");
        std::free(text);
        ExpectTranslations(
            function.name, function.name,
            [&] {
                char* untouched = nullptr;
                const int result = function.call(object_, &untouched);
                EXPECT_EQ(untouched, nullptr);
                return result;
            },
            function.results);
    }
    enginedouble::Reset();
    ASSERT_EQ(GetSchemaVersion("k", "g", "c", &text), CS_C_OK);
    EXPECT_EQ(enginedouble::CallsTo("GetSchemaVersion").at(0).args[0], "k|g|c|");
    std::free(text);
}

}  // namespace
