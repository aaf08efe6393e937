// The data-class rule: what a write of one class does to an identity's stored documents.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

#include "Classes.h"
#include "StandinTest.h"
#include "Values.h"

namespace {

using standin::DataClass;
using standin::Json;
using standin::WriteKind;
using standin_test::Parse;

struct Step {
    const char* changes;  // the values written to the object; null removes a key
    WriteKind kind;
    bool external = false;  // an EXTERNAL write, which records the desired configuration
};

// Stored documents are given as one JSON array: [configuration, user data, vital data, cached
// data, desired configuration], null or left out where a class has none.
struct Scenario {
    const char* name;
    bool fetched;  // the object holds the stored values; else it was created empty
    const char* before;
    std::vector<Step> steps;
    const char* after;
};

constexpr WriteKind kSet{DataClass::Configuration, false};
constexpr WriteKind kUpdate{DataClass::Configuration, true};
constexpr WriteKind kSetUserData{DataClass::UserData, false};
constexpr WriteKind kSetVitalData{DataClass::VitalData, false};

// clang-format off
const Scenario kScenarios[] = {
    {"ChangedKeyMovesOutOfItsOldClassAndNotIntoTheDesired", true,
     R"([{"a":1,"b":2},null,null,null,{"a":0}])", {{R"({"a":3})", kSetUserData}},
     R"([{"b":2},{"a":3},null,null,{"a":0}])"},
    {"WrittenKeyStaysInItsNewClass", true, R"([{"a":1,"b":2}])",
     {{R"({"a":3})", kSetUserData}, {"{}", kSet}, {R"({"b":4})", kSetUserData}},
     R"([{},{"a":3,"b":4}])"},
    {"RemovedKeyLeavesEveryClass", true, R"([{"a":1,"b":2},{"u":1},{"v":1},{"c":1}])",
     {{R"({"a":null,"u":null,"c":null})", kSetVitalData}}, R"([{"b":2},{},{"v":1},{}])"},
    {"ExternalWritesRecordTheDesiredConfiguration", true,
     R"([{"a":1,"b":2},null,null,null,{"a":1,"b":0,"x":1}])",
     {{R"({"b":null,"c":3})", kUpdate, true}, {R"({"u":true})", kSetUserData, true}},
     R"([{"a":1,"c":3},{"u":true},null,null,{"a":1,"x":1,"c":3,"u":true}])"},
    {"ExternalSetDropsWhatItReplacesFromTheDesired", false,
     R"([{"a":1,"b":2},{"u":1},null,null,{"a":1,"b":2,"u":1}])", {{R"({"a":3})", kSet, true}},
     R"([{"a":3},{"u":1},null,null,{"u":1,"a":3}])"},
};
// clang-format on

std::string TextOf(const std::optional<Json>& document) {
    return document ? standin::ToText(*document) : "null";
}

TEST(Classes, WritesMoveKeysBetweenTheStoredDocuments) {
    for (const Scenario& scenario : kScenarios) {
        SCOPED_TRACE(scenario.name);
        standin::StoredClasses stored;
        standin::ObjectValues object;
        Json before = Parse(scenario.before);
        for (rapidjson::SizeType c = 0; c < before.Size(); ++c) {
            if (before[c].IsNull()) continue;
            stored[c].emplace().CopyFrom(before[c], stored[c]->GetAllocator());
            if (scenario.fetched && c < standin::kValueClasses) {
                Json loaded;
                loaded.CopyFrom(before[c], loaded.GetAllocator());
                standin::AddLoaded(object, static_cast<DataClass>(c), loaded);
            }
        }
        for (const Step& step : scenario.steps) {
            Json changes = Parse(step.changes);
            for (auto& change : changes.GetObject()) {
                const char* key = change.name.GetString();
                change.value.IsNull() ? object.Remove(key)
                                      : object.Write(key, std::move(change.value));
            }
            std::array<std::string, standin::kValueClasses + 1> texts;
            for (std::size_t c = 0; c < texts.size(); ++c) texts[c] = TextOf(stored[c]);
            const auto written = standin::ApplyWrite(object, step.kind, step.external, stored);
            // The store persists only the documents the write reports, and only those change.
            for (std::size_t c = 0; c < texts.size(); ++c) {
                if (written[c] == nullptr) {
                    EXPECT_EQ(texts[c], TextOf(stored[c])) << "class " << c;
                } else if (!stored[c] || written[c] != &*stored[c]) {
                    stored[c].emplace().CopyFrom(*written[c], stored[c]->GetAllocator());
                }
            }
            standin::MarkWritten(object, step.kind.target, 1);
        }
        const Json after = Parse(scenario.after);
        for (rapidjson::SizeType c = 0; c < stored.size(); ++c) {
            EXPECT_EQ(TextOf(stored[c]), c < after.Size() ? standin::ToText(after[c]) : "null");
        }
    }
}

}  // namespace
