// Object schemas from the components directory: the files the engine accepts or refuses, its
// cache of them, and the messages of values that break them.
#include <gtest/gtest.h>
#include <kivconfigstore/ErrorCodes.h>
#include <kivconfigstore/Exceptions.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "SchemaSafety.h"
#include "Schemas.h"
#include "StandinTest.h"

namespace {

namespace fs = std::filesystem;
using namespace KivConfigStore;
using standin_test::Parse;

// Writes <components>/<component>/group/key.json and returns its path.
std::string WriteSchema(const std::string& component, const std::string& text) {
    const fs::path file =
        standin_test::TestDirectory() / "components" / component / "group" / "key.json";
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
    return file.string();
}

TEST(Schemas, BrokenFilesAreRefusedNamingThem) {
    // clang-format off
    const struct { const char* name; std::string text; int code; } files[] = {
        {"syntax", "{\"version\": ", ERR_JSON_FILE_PARSE_FAILED},
        {"array", "[]", ERR_SCHEMA_NOT_FOUND},
        {"singleton", R"({"singleton": "yes"})", ERR_SCHEMA_NOT_FOUND},
        {"reserved", R"({"defaults": {"IS_BOOT": 1}})", ERR_SCHEMA_NOT_FOUND},
        {"keyword", R"({"schema": {"type": "strin"}})", ERR_SCHEMA_NOT_FOUND},
        {"ref-loop", R"({"schema": {"$ref": "#/definitions/a", "definitions": {"a": {"$ref": "#"}}}})", ERR_SCHEMA_NOT_FOUND},
        {"ref-remote", R"({"schema": {"$ref": "other.json#"}})", ERR_SCHEMA_NOT_FOUND},
        {"combinator-loop", R"({"schema": {"anyOf": [{"$ref": "#"}]}})", ERR_SCHEMA_NOT_FOUND},
        {"hidden-keyword", R"({"schema": {"default": {"patternProperties": 1}}})", ERR_SCHEMA_NOT_FOUND},
        {"hidden-patterns", R"({"schema": {"$ref": "#/x", "x": {"patternProperties": {"^a": {}}, "additionalProperties": false}}})", ERR_SCHEMA_NOT_FOUND},
        {"pattern", R"({"schema": {"pattern": "(a{1000}){1000}"}})", ERR_SCHEMA_NOT_FOUND},
        {"empty-alternative", R"x({"schema": {"patternProperties": {"(d(|y))": {}}}})x", ERR_SCHEMA_NOT_FOUND},
        {"bad-default", R"({"schema": {"properties": {"n": {"type": "integer"}}}, "defaults": {"n": "x"}})", ERR_DEFAULT_CONFIG_INVALID},
        {"draft-3", R"({"schema": {"$schema": "http://json-schema.org/draft-03/schema#"}})", ERR_SCHEMA_NOT_FOUND},
        {"bad-key-default", R"({"schema": {"$schema": "http://json-schema.org/draft-07/schema#", "propertyNames": {"maxLength": 3}}, "defaults": {"name": 1}})", ERR_DEFAULT_CONFIG_INVALID},
        {"bad-pattern-default", R"({"schema": {"patternProperties": {"^á": {"type": "integer"}}, "additionalProperties": false}, "defaults": {"ármányos": "x"}})", ERR_DEFAULT_CONFIG_INVALID},
        {"bad-draft-7-default", R"({"schema": {"$schema": "http://json-schema.org/draft-07/schema#", "properties": {"port": {"exclusiveMinimum": 0}}}, "defaults": {"port": 0}})", ERR_DEFAULT_CONFIG_INVALID},
        {"whole-object-rules", R"({"schema": {"minProperties": 1, "oneOf": [{"required": ["dhcp"]}, {"required": ["address"]}]}, "defaults": {"mtu": 1500}})", 0},
        {"hostname", R"({"schema": {"pattern": "^[a-z]([a-z0-9-]{0,61}[a-z0-9])?$"}})", 0},
    };
    // clang-format on
    for (const auto& file : files) {
        const std::string path = WriteSchema(std::string("broken-") + file.name, file.text);
        try {
            standin::SchemaOf(std::string("broken-") + file.name, "group", "key");
            EXPECT_EQ(file.code, 0) << file.name;
        } catch (const ConfigStoreException& e) {
            EXPECT_EQ(e.Code(), file.code) << file.name << ": " << e.what();
            EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
        }
    }
    const fs::path fifo = fs::path(WriteSchema("fifo", "")).replace_filename("fifo.json");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // Refused at once, not waited on.
    EXPECT_EQ(standin_test::CodeOf([] { standin::SchemaOf("fifo", "group", "fifo"); }),
              ERR_JSON_FILE_PARSE_FAILED);
}

// Names that are no file name reach no file, even where one would lead to a file.
TEST(Schemas, AChangedFileIsReadAgainAndARemovedOneForgotten) {
    const std::string path = WriteSchema("changing", R"({"version": "1"})");
    const auto first = standin::SchemaOf("changing", "group", "key");
    EXPECT_EQ(standin::SchemaOf("changing", "group", "key"), first);
    const std::string names[][3] = {{"changing", "..", "changing/group/key"},
                                    {"changing", "group", std::string("key\0", 4)}};
    for (const auto& name : names) {
        EXPECT_EQ(standin::SchemaOf(name[0], name[1], name[2]), nullptr) << name[1];
    }
    WriteSchema("changing", R"({"version": "1.1"})");
    // A file is looked at again a second after its last look.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(standin::SchemaOf("changing", "group", "key")->version, "1.1");
    fs::remove(path);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(standin::SchemaOf("changing", "group", "key"), nullptr);
}

// A refusal names the offending value and the limit it breaks. The engine's sub-objects member is
// no value of the schema's; an empty "dependencies" would make RapidJSON crash on an object schema
// without properties.
TEST(Schemas, ValuesThatBreakTheSchemaAreNamedWithTheLimit) {
    WriteSchema("strict", R"({"schema": {"required": ["mtu"], "additionalProperties": false,
        "dependencies": {}, "properties": {"mtu": {"type": "integer", "minimum": 68,
        "maximum": 9000}, "port": {"minimum": 0, "exclusiveMinimum": true, "maximum": 9,
        "exclusiveMaximum": true, "multipleOf": 2}, "mode": {"enum": ["dhcp", "static"]},
        "name": {"minLength": 1, "maxLength": 3, "pattern": "^[a-z]+$"}, "list": {"minItems": 1,
        "maxItems": 2, "uniqueItems": true}, "any": {"not": {}}}}})");
    const auto schema = standin::SchemaOf("strict", "group", "key");
    ASSERT_NE(schema, nullptr);
    // clang-format off
    const struct { const char* values; const char* message; } cases[] = {
        {R"({"mtu": 20})", "'/mtu' is 20, below the minimum 68"},
        {R"({"mtu": 9001})", "'/mtu' is 9001, above the maximum 9000"},
        {R"({"mtu": 68, "port": 0})", "'/port' is 0, not above the exclusive minimum 0"},
        {R"({"mtu": 68, "port": 10})", "'/port' is 10, not below the exclusive maximum 9"},
        {R"({"mtu": 68, "port": 3})", "'/port' is 3, not a multiple of 2"},
        {R"({"mtu": "1500"})", "'/mtu' is \"1500\", a string, not of type integer"},
        {R"({"mtu": 68, "mode": "auto"})", "'/mode' is \"auto\", not one of [\"dhcp\",\"static\"]"},
        {R"({"mtu": 68, "name": ""})", "'/name' is \"\", shorter than the minimum length 1"},
        {R"({"mtu": 68, "name": "eth0"})", "'/name' is \"eth0\", longer than the maximum length 3"},
        {R"({"mtu": 68, "name": "A"})", "'/name' is \"A\", which does not match the pattern \"^[a-z]+$\""},
        {R"({"mtu": 68, "list": []})", "'/list' has 0 items, fewer than the minimum 1"},
        {R"({"mtu": 68, "list": [1, 2, 3]})", "'/list' has 3 items, more than the maximum 2"},
        {R"({"mtu": 68, "list": [1, 1]})", "'/list/1' is 1, a repeat of an earlier item of the list"},
        {R"({"port": 2})", "'' lacks the required member \"mtu\""},
        {R"({"mtu": 68, "x": 1})", "'/x' is a member the schema does not allow"},
        {R"({"mtu": 68, "any": 1})", "'/any' fails the schema's 'not' at '#/properties/any'"},
        {R"({"mtu": 68, "$subObjects": {"port": {"": {"x": 1}}}})", ""},
    };
    // clang-format on
    for (const auto& test : cases) {
        std::string message;
        try {
            standin::Validate(*schema, Parse(test.values));
        } catch (const ValidationException& e) {
            EXPECT_EQ(e.Code(), ERR_VALIDATION_ERROR);
            message = std::string(e.what()).substr(std::strlen("Validation Error: "));
        }
        EXPECT_EQ(message, test.message) << test.values;
    }
}

// Patterns that RapidJSON's regular expressions crash on, or search for longer than a caller would
// wait, and schemas of too many subschemas, are refused before it compiles them; the limits
// themselves pass.
TEST(Schemas, PatternsThatCrashOrHangTheValidatorAreRefused) {
    const auto repeated = [](const std::string& part, int times) {
        std::string text;
        for (int i = 0; i < times; ++i) text += part;
        return text;
    };
    const auto pattern = [](const std::string& text) { return "{\"pattern\": \"" + text + "\"}"; };
    const auto anyOf = [&](int schemas) {
        return "{\"anyOf\": [" + repeated("{},", schemas - 1) + "{}]}";
    };
    const std::pair<std::string, bool> cases[] = {
        {pattern("a(|b)"), true},
        {pattern("(){2}"), true},
        {pattern("{2}"), true},
        {pattern("(a*)*"), true},
        {pattern(repeated("(a?|b?)", 30) + "c"), true},
        {pattern("(a?|b)"), false},  // one alternative that may match nothing is fine
        {pattern(repeated("a?", 64)), false},
        {pattern(repeated("a?", 65)), true},
        {anyOf(255), false},
        {anyOf(256), true},
    };
    for (const auto& [text, refused] : cases) {
        EXPECT_EQ(standin::SafetyProblem(Parse(text.c_str())) != "", refused) << text;
    }
}

}  // namespace
