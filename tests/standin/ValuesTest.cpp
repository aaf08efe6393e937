// An object's values: what each typed read accepts, what writes, appends and documents are
// refused with, and how failures are worded.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <limits>
#include <sstream>

#include "Errors.h"
#include "ObjectState.h"

namespace {

using KivConfigStore::ConfigStoreObject;
using KivConfigStore::EngineState;
using standin::ObjectValues;

// Checks what `action` came to: its result in full, or a failure by its prefix,
// "!argument <code>: <message>" or "!type <code>: <message>".
void ExpectOutcome(const std::function<std::string()>& action, const std::string& expected) {
    std::string actual;
    try {
        actual = action();
    } catch (const KivConfigStore::InvalidArgumentException& e) {
        actual = "!argument " + std::to_string(e.Code()) + ": " + e.what();
    } catch (const KivConfigStore::InvalidTypeException& e) {
        actual = "!type " + std::to_string(e.Code()) + ": " + e.what();
    }
    EXPECT_EQ(expected[0] == '!' ? actual.substr(0, expected.size()) : actual, expected) << actual;
}

template <class T>
std::string Show(const T& value) {
    std::ostringstream text;
    text << std::boolalpha << std::setprecision(17) << value;
    return text.str();
}
template <class T>
std::string Show(const std::vector<T>& list) {
    std::string text = "[";
    for (const auto& element : list) text += (text.size() > 1 ? "," : "") + Show(element);
    return text + "]";
}

// "status:value" of reading key "k" as a T.
template <class T>
std::string ReadAs(const ObjectValues& values) {
    T value{};
    const int status = values.Read("k", &value);
    return std::to_string(status) + ":" + Show(value);
}

std::string ReadBinary(const ObjectValues& values) {
    unsigned char* data = nullptr;
    unsigned long size = 0;
    std::string text = std::to_string(values.ReadBinary("k", &data, &size)) + ":";
    for (unsigned long i = 0; i < size; ++i) text += std::to_string(data[i]) + " ";
    std::free(data);
    return text;
}

struct Read {
    const char* stored;  // the JSON value under "k"; nullptr: no value
    std::string (*read)(const ObjectValues&);
    const char* expected;
};

const Read kReads[] = {
    {nullptr, ReadAs<int>, "0:0"},
    {"2147483647", ReadAs<int>, "1:2147483647"},
    {"2147483648", ReadAs<int>,
     "!type 1030: Invalid type, 'k' holds an integer out of range of int"},
    {"1.0", ReadAs<int>, "!type 1030: Invalid type, 'k' holds a double, not int"},
    {"true", ReadAs<int>, "!type 1030"},
    {"65535", ReadAs<unsigned short>, "1:65535"},
    {"65536", ReadAs<unsigned short>, "!type 1030"},
    {"4294967295", ReadAs<unsigned int>, "1:4294967295"},
    {"-1", ReadAs<unsigned int>, "!type 1030"},
    {"-9223372036854775808", ReadAs<long long>, "1:-9223372036854775808"},
    {"9223372036854775808", ReadAs<long long>, "!type 1030"},
    {"true", ReadAs<bool>, "1:true"},
    {"1", ReadAs<bool>, "!type 1030"},
    {"3", ReadAs<double>, "1:3"},
    {"18446744073709551615", ReadAs<double>, "1:1.8446744073709552e+19"},
    {"5.409760742964738e124", ReadAs<double>, "1:5.4097607429647384e+124"},  // stored as written
    {"\"a\\u00e9\"", ReadAs<std::string>, "1:a\xc3\xa9"},
    {"null", ReadAs<std::string>, "!type 1030"},
    {"[]", ReadAs<std::vector<int>>, "1:[]"},
    {"[1,-2]", ReadAs<std::vector<int>>, "1:[1,-2]"},
    {"[1,2.5]", ReadAs<std::vector<int>>, "!type 1030"},
    {"[2147483648]", ReadAs<std::vector<int>>, "!type 1030"},
    {"7", ReadAs<std::vector<int>>, "!type 1030"},
    {"[9223372036854775807]", ReadAs<std::vector<long long>>, "1:[9223372036854775807]"},
    {"[1,2.5]", ReadAs<std::vector<double>>, "1:[1,2.5]"},
    {"[1,true]", ReadAs<std::vector<double>>, "!type 1030"},
    {"[true,false]", ReadAs<std::vector<bool>>, "1:[true,false]"},
    {"[true,0]", ReadAs<std::vector<bool>>, "!type 1030"},
    {"[\"a\",\"\"]", ReadAs<std::vector<std::string>>, "1:[a,]"},
    {"[\"a\",[]]", ReadAs<std::vector<std::string>>, "!type 1030"},
    {R"({"$base64":"AP8B"})", ReadBinary, "1:0 255 1 "},
    {R"({"$base64":"AAE="})", ReadBinary, "1:0 1 "},
    {R"({"$base64":""})", ReadBinary, "1:"},
    {R"({"$base64":"AAE"})", ReadBinary, "!type 1035"},
    {R"({"$base64":"AA==AAAA"})", ReadBinary, "!type 1035"},
    {R"({"$base64":1})", ReadBinary, "!type 1030"},
    {"\"AAEC\"", ReadBinary, "!type 1030"},
};

TEST(Values, TypedReadsCheckTypeAndRange) {
    for (const Read& row : kReads) {
        SCOPED_TRACE(row.stored != nullptr ? row.stored : "(no value)");
        ObjectValues values;
        if (row.stored != nullptr) {
            const std::string document = std::string("{\"k\":") + row.stored + "}";
            ASSERT_EQ(standin::ParseJson(document.data(), document.size(), values.values), "");
        }
        ExpectOutcome([&] { return row.read(values); }, row.expected);
    }
}

using Object = ConfigStoreObject;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kFloatInf = std::numeric_limits<float>::infinity();

struct Write {
    const char* before;  // the object's document
    void (*write)(Object&);
    const char* expected;  // the document after, or the failure, which leaves `before` as it was
};

const Write kWrites[] = {
    {"{}", [](Object& o) { o.SetValue("k", kNaN); }, "!argument 1032: Invalid value for key k"},
    {"{}", [](Object& o) { o.SetValue("k", kInf); }, "!argument 1032"},
    {"{}", [](Object& o) { o.SetValue("k", -kInf); }, "!argument 1032"},
    {"{}", [](Object& o) { o.SetValue("k", kFloatInf); }, "!argument 1032"},
    {"{}", [](Object& o) { o.SetValue("k", -kFloatInf); }, "!argument 1032"},
    {"{}", [](Object& o) { o.AppendValue("k", kNaN); }, "!argument 1032"},
    {"{}", [](Object& o) { o.SetValue("k", "\xc0\xaf"); }, "!argument 1032"},      // overlong
    {"{}", [](Object& o) { o.SetValue("k", "\xed\xa0\x80"); }, "!argument 1032"},  // surrogate
    {"{}", [](Object& o) { o.SetValue("k", static_cast<const char*>(nullptr)); }, "!argument"},
    {"{}", [](Object& o) { o.SetValue("k\xc3", 1); }, "!argument 1032"},
    {"{}", [](Object& o) { o.AppendValue("k", std::string("a\xfe")); }, "!argument 1032"},
    {"{}", [](Object& o) { o.SetValue("", 1); }, "!argument 1100"},
    {"{}", [](Object& o) { o.AppendValue("", true); }, "!argument 1100"},
    {"{}", [](Object& o) { o.SetValue("IS_BOOT", 1); }, "!argument 1100"},
    {"{}", [](Object& o) { o.SetValueBinary("APPLY_BOOT", nullptr, 0); }, "!argument 1100"},
    {"{}", [](Object& o) { o.AppendValue("BACKUP_FILES", 1); }, "!argument 1100"},
    {"{}", [](Object& o) { o.SetValue("k", 0.1f); }, R"({"k":0.10000000149011612})"},
    {"{}", [](Object& o) { o.AppendValue("k", 1); }, R"({"k":[1]})"},
    {R"({"k":[2.5]})", [](Object& o) { o.AppendValue("k", 1); }, R"({"k":[2.5,1]})"},
    {R"({"k":[1]})", [](Object& o) { o.AppendValue("k", 1LL << 40); },
     R"({"k":[1,1099511627776]})"},
    {R"({"k":[]})", [](Object& o) { o.AppendValue("k", true); }, R"({"k":[true]})"},
    {R"({"k":[1]})", [](Object& o) { o.AppendValue("k", 2.5); }, "!type 1030"},
    {R"({"k":[1]})", [](Object& o) { o.AppendValue("k", std::string("a")); }, "!type 1030"},
    {R"({"k":["a"]})", [](Object& o) { o.AppendValue("k", false); }, "!type 1030"},
    {R"({"k":1})", [](Object& o) { o.AppendValue("k", 1); }, "!type 1030"},
};

const KivConfigStore::ConfigStoreObjectId kId("key", "group", "component");

std::string DocumentOf(const Object& object) {
    return standin::ToText(EngineState::Of(object).values);
}

TEST(Values, WritesStoreWhatJsonHoldsAndRefuseTheRest) {
    for (std::size_t row = 0; row < std::size(kWrites); ++row) {
        SCOPED_TRACE("row " + std::to_string(row));
        const auto object = KivConfigStore::CreateObject(kId, kWrites[row].before);
        const auto write = [&] {
            kWrites[row].write(*object);
            return DocumentOf(*object);
        };
        ExpectOutcome(write, kWrites[row].expected);
        if (kWrites[row].expected[0] == '!') {
            EXPECT_EQ(DocumentOf(*object), kWrites[row].before);
        }
    }
}

// `levels` of nesting: an object holding arrays.
std::string Nested(int levels) {
    return "{\"a\":" + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}";
}

TEST(Values, DocumentsAreStrictJsonObjects) {
    const std::pair<std::string, std::string> documents[] = {
        {"", "{}"},
        {R"({"a":18446744073709551615,"b":-1e-300})", R"({"a":18446744073709551615,"b":-1e-300})"},
        {R"({"a":123456789012345678901234567890})", R"({"a":1.2345678901234568e29})"},
        {Nested(64), Nested(64)},
        {Nested(65), "!argument 1080: Failed to parse JSON String: offset 68: nesting deeper"},
        {Nested(100000), "!argument 1080: Failed to parse JSON String: offset 68: nesting deeper"},
        {R"({"a":})", "!argument 1080: Failed to parse JSON String: offset 5: "},
        {R"({"a":1e400})", "!argument 1080: Failed to parse JSON String: offset 5: "},
        {R"({"a":NaN})", "!argument 1080: Failed to parse JSON String: offset 5: "},
        {"{\"a\":\"\xff\"}", "!argument 1080: Failed to parse JSON String: offset 6: "},
        {"{\"\xc3\":1}", "!argument 1080: Failed to parse JSON String: offset 2: "},
        {"{} {}", "!argument 1080: Failed to parse JSON String: offset 3: "},
        {"[1]", "!argument 1082"},
        {R"({"a":1,"a":2})", "!argument 1082"},
        {R"({"a\u0000b":1})", "!argument 1082"},
        {R"({"":1})", "!argument 1100"},
        {R"({"APPLY_BOOT":1})", "!argument 1100"},
    };
    for (const auto& [text, expected] : documents) {
        SCOPED_TRACE(text.substr(0, 80));
        ExpectOutcome([&] { return DocumentOf(*KivConfigStore::CreateObject(kId, text)); },
                      expected);
    }
}

TEST(Values, MessagesFillTheTableFormats) {
    using namespace KivConfigStore;
    EXPECT_EQ(standin::Message(ERR_DB_OPEN_FAILED, "full", "%s"),
              "Failed to open database %s: full");
    EXPECT_EQ(standin::Message(ERR_VALIDATION_ERROR, "is not a string", "/a"),
              "Validation Error: '/a' is not a string");
    EXPECT_EQ(standin::Message(ERR_CHILD_EXIT_VALUE, "", "", 7),
              "Child process terminated with exit value: 7");
}

}  // namespace
