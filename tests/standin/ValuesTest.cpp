// An object's values: what each typed read accepts, what writes, appends and documents are
// refused with, and how failures are worded.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <map>
#include <memory>
#include <sstream>
#include <type_traits>

#include "Classes.h"
#include "ObjectState.h"
#include "StandinTest.h"

namespace {

using KivConfigStore::ConfigStoreObject;
using KivConfigStore::EngineState;
using standin::ObjectValues;

// What `action` came to: its result, or "!argument <code>: <message>" or "!type <code>: <message>".
std::string Outcome(const std::function<std::string()>& action) {
    try {
        return action();
    } catch (const KivConfigStore::InvalidArgumentException& e) {
        return "!argument " + std::to_string(e.Code()) + ": " + e.what();
    } catch (const KivConfigStore::InvalidTypeException& e) {
        return "!type " + std::to_string(e.Code()) + ": " + e.what();
    }
}

// Checks an outcome in full, or a failure by its prefix.
void ExpectOutcome(const std::function<std::string()>& action, const std::string& expected) {
    const std::string actual = Outcome(action);
    EXPECT_EQ(expected[0] == '!' ? actual.substr(0, expected.size()) : actual, expected) << actual;
}

// "status:value" of reading key "k" as a T; of a list, only the status (the library's tests read
// lists back element by element).
template <class T>
std::string ReadAs(const ObjectValues& values) {
    T value{};
    std::ostringstream text;
    text << values.Read("k", &value) << ":" << std::boolalpha << std::setprecision(17);
    if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string>) text << value;
    return text.str();
}

std::string ReadBinary(const ObjectValues& values) {
    unsigned char* data = nullptr;
    unsigned long size = 0;
    std::string text = std::to_string(values.ReadBinary("k", &data, &size)) + ":";
    for (unsigned long i = 0; i < size; ++i) text += std::to_string(data[i]) + " ";
    std::free(data);
    return text;
}

// An object's values holding `stored` (JSON) under "k".
void Hold(ObjectValues& values, const char* stored) {
    const std::string document = std::string("{\"k\":") + stored + "}";
    ASSERT_EQ(standin::ParseJson(document.data(), document.size(), values.values), "");
}

using Reader = std::string (*)(const ObjectValues&);
// clang-format off
const Reader kReaders[] = {
    ReadAs<int>, ReadAs<unsigned short>, ReadAs<unsigned int>, ReadAs<long>, ReadAs<long long>,
    ReadAs<bool>, ReadAs<double>, ReadAs<std::string>, ReadBinary, ReadAs<std::vector<int>>,
    ReadAs<std::vector<long long>>, ReadAs<std::vector<double>>, ReadAs<std::vector<bool>>,
    ReadAs<std::vector<std::string>>};

// The stored values each read takes: one column per reader above, o when it reads the value, x
// when it raises InvalidTypeException 1030.
const std::pair<const char*, const char*> kTaken[] = {
    {"-1", "oxxooxoxxxxxxx"}, {"1", "oooooxoxxxxxxx"}, {"65536", "oxoooxoxxxxxxx"},
    {"4294967296", "xxxooxoxxxxxxx"}, {"0.5", "xxxxxxoxxxxxxx"}, {"true", "xxxxxoxxxxxxxx"},
    {"\"7\"", "xxxxxxxoxxxxxx"}, {R"({"$base64":"AQI="})", "xxxxxxxxoxxxxx"},
    {R"({"$base64":1})", "xxxxxxxxxxxxxx"},
    {"[-1]", "xxxxxxxxxoooxx"}, {"[2147483648]", "xxxxxxxxxxooxx"},
    {"[true]", "xxxxxxxxxxxxox"},
    {"[\"a\"]", "xxxxxxxxxxxxxo"}};

// The values reads deliver, and the wording of their failures.
const std::tuple<const char*, Reader, const char*> kReads[] = {
    {"2147483648", ReadAs<int>, "!type 1030: Invalid type, 'k' holds an integer out of range of int"},
    {"1.0", ReadAs<int>, "!type 1030: Invalid type, 'k' holds a double, not int"},
    {"5.409760742964738e124", ReadAs<double>, "1:5.4097607429647384e+124"},  // stored as written
    {R"({"$base64":"AZaz09+/"})", ReadBinary, "1:1 150 179 211 223 191 "},  // each range's ends
    {R"({"$base64":""})", ReadBinary, "1:"},
    {R"({"$base64":"AA==AAAA"})", ReadBinary, "!type 1035"}};
// clang-format on

TEST(Values, TypedReadsCheckTypeAndRange) {
    for (const auto& [stored, taken] : kTaken) {
        ObjectValues values;
        Hold(values, stored);
        std::string actual;
        for (const Reader read : kReaders) {
            const std::string outcome = Outcome([&] { return read(values); });
            actual += outcome[0] == '1' ? 'o' : outcome.rfind("!type 1030: ", 0) == 0 ? 'x' : '?';
        }
        EXPECT_EQ(actual, taken) << stored;
    }
    for (const auto& [stored, read, expected] : kReads) {
        SCOPED_TRACE(stored);
        ObjectValues values;
        Hold(values, stored);
        ExpectOutcome([&, read = read] { return read(values); }, expected);
    }
}

using Object = ConfigStoreObject;

// The object's document before, a write, and the document after or the failure, which leaves
// the document as it was.
const std::tuple<const char*, void (*)(Object&), const char*> kWrites[] = {
    {"{}", [](Object& o) { o.SetValue("k", HUGE_VAL); }, "!argument 1032: Invalid value for key k"},
    {"{}", [](Object& o) { o.SetValue("k", "\xc0\xaf"); }, "!argument 1032"},  // overlong
    {"{}", [](Object& o) { o.SetValue("k", static_cast<const char*>(nullptr)); }, "!argument"},
    {"{}", [](Object& o) { o.SetValue("k\xc3", 1); }, "!argument 1032"},
    {"{}", [](Object& o) { o.AppendValue("BACKUP_FILES", 1); }, "!argument 1100"},
    {R"({"k":[2.5]})", [](Object& o) { o.AppendValue("k", 1); }, R"({"k":[2.5,1]})"},
    {R"({"k":[1]})", [](Object& o) { o.AppendValue("k", 1LL << 40); },
     R"({"k":[1,1099511627776]})"},
    {R"({"k":[]})", [](Object& o) { o.AppendValue("k", true); }, R"({"k":[true]})"},
    {R"({"k":[1]})", [](Object& o) { o.AppendValue("k", 2.5); }, "!type 1030"},
    {R"({"k":["a"]})", [](Object& o) { o.AppendValue("k", false); }, "!type 1030"},
    {R"({"k":1})", [](Object& o) { o.AppendValue("k", 1); }, "!type 1030"},
};

const KivConfigStore::ConfigStoreObjectId kId("key", "group", "component");

std::string DocumentOf(const Object& object) {
    return standin::ToText(EngineState::Of(object).values);
}

// A document of `levels` nested sub-objects, each the singleton of key "s" of the one above.
std::string SubObjects(int levels) {
    std::string text = "{}";
    for (int level = 0; level < levels; ++level)
        text = R"({"$subObjects":{"s":{"":)" + text + "}}}";
    return text;
}

// `levels` of nesting: an object holding arrays.
std::string Nested(int levels) {
    return "{\"a\":" + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}";
}

// Documents and writes store what strict JSON objects hold and refuse the rest.
TEST(Values, DocumentsAndWritesHoldStrictJsonObjects) {
    const std::string unparsed = "!argument 1080: Failed to parse JSON String: offset ";
    const std::string invalid = "!argument 1082: Invalid JSON: ";
    // clang-format off
    const std::pair<std::string, std::string> documents[] = {
        {R"({"a":-9223372036854775808,"b":-1e-300,"c":1.50e3})", R"({"a":-9223372036854775808,"b":-1e-300,"c":1500.0})"},
        {R"({"a":9223372036854775808})", unparsed + "5: an integer beyond the 64-bit"},
        {Nested(64), Nested(64)},
        {Nested(65), unparsed + "68: nesting deeper"},
        {"{\"a\":\"\xff\"}", unparsed + "6: "},
        {"[1]", invalid + "the document is not a JSON object"},
        {R"({"a":{"x":1,"x":2}})", unparsed + "17: member name 'x' twice"},
        {std::string("{}\0{}", 4), unparsed + "2: The document root must not be followed by other values."},
        {R"({"b":{"$base64":"AAE"}})", invalid + "'b' is a binary value that is not base64"},
        {SubObjects(16), SubObjects(16)},
        {SubObjects(17), invalid + "sub-objects nest at most 16 levels"},
        {R"({"a\u0000b":1})", "!argument 1082"},
        {R"({"":1})", "!argument 1100"},
        {R"({"APPLY_BOOT":1})", "!argument 1100: Invalid Argument: 'APPLY_BOOT' is a reserved name"},
    };
    // clang-format on
    for (const auto& [text, expected] : documents) {
        SCOPED_TRACE(text.substr(0, 80));
        ExpectOutcome([&] { return DocumentOf(*KivConfigStore::CreateObject(kId, text)); },
                      expected);
    }
    for (std::size_t row = 0; row < std::size(kWrites); ++row) {
        const auto& [before, write, expected] = kWrites[row];
        SCOPED_TRACE("write " + std::to_string(row));
        const auto object = KivConfigStore::CreateObject(kId, before);
        ExpectOutcome([&, write = write] { return write(*object), DocumentOf(*object); }, expected);
        EXPECT_TRUE(expected[0] != '!' || DocumentOf(*object) == before) << DocumentOf(*object);
    }
}

// A large object, whose values are found through an index, finds each value as a map of the same
// changes does, after every write, removal and load.
TEST(Values, LargeObjectsFindEveryValueThroughWritesRemovalsAndLoads) {
    auto values = std::make_unique<ObjectValues>();
    std::map<std::string, int> expected;
    for (int step = 1; step <= 400; ++step) {
        const std::string key = "k" + std::to_string(step * 7919 % 97);
        if (step % 5 == 0) {
            values->Remove(key.c_str());
            expected.erase(key);
        } else {
            values->Write(key.c_str(), standin::JsonValue(step));
            expected[key] = step;
        }
        if (step == 200) {  // another class loaded over the first
            standin::Json loaded = standin_test::Parse(R"({"k3":-3,"x":-1})");
            standin::AddLoaded(*values, standin::DataClass::UserData, loaded);
            expected["k3"] = -3;
            expected["x"] = -1;
        } else if (step == 300) {  // the whole document loaded into a new object
            standin::Json loaded;
            loaded.CopyFrom(values->values, loaded.GetAllocator());
            values = std::make_unique<ObjectValues>();
            standin::AddLoaded(*values, standin::DataClass::Configuration, loaded);
        }
        ASSERT_EQ(values->states.size(), values->values.MemberCount());
        for (int k = -1; k < 97; ++k) {
            const std::string probe = k < 0 ? "x" : "k" + std::to_string(k);
            const auto held = expected.find(probe);
            int value = -100;
            const int status = values->Read(probe.c_str(), &value);
            ASSERT_EQ(status, held != expected.end() ? 1 : 0) << step << " " << probe;
            ASSERT_EQ(value, held != expected.end() ? held->second : -100) << step << " " << probe;
        }
    }
}

}  // namespace
