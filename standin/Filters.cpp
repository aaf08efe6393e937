#include "Filters.h"

#include <cstring>

#include "Errors.h"
#include "ObjectState.h"
#include "Schemas.h"

namespace standin {

using KivConfigStore::EngineState;

namespace {

bool FieldMatches(const std::string& wanted, const std::string& actual) {
    return wanted.empty() || wanted == actual;
}

// Whether one of the object's instances of the sub-object filter's key is selected by it.
bool SelectsSubObject(const FilterSpecObject& subFilter, const ConfigStoreObjectId& parent,
                      const JsonValue& values) {
    const auto subObjects = values.FindMember(kSubObjectsMember);
    if (subObjects == values.MemberEnd()) return false;
    const std::string& key = subFilter.objectId.key;
    const auto instances = subObjects->value.FindMember(
        JsonValue(rapidjson::StringRef(key.data(), static_cast<rapidjson::SizeType>(key.size()))));
    if (instances == subObjects->value.MemberEnd()) return false;
    for (const auto& instance : instances->value.GetObject()) {
        const ConfigStoreObjectId id(key, parent.group, parent.component, Text(instance.name));
        if (Selects(subFilter, id, instance.value, nullptr)) return true;
    }
    return false;
}

}  // namespace

const FilterSpecObject& GivenFilter(const FilterSpecObject* filter) {
    if (filter == nullptr) {
        Fail<KivConfigStore::InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                                       "no filter spec");
    }
    return *filter;
}

bool Selects(const FilterSpecObject& filter, const ConfigStoreObjectId& id, const JsonValue& values,
             const JsonValue* defaults) {
    const ConfigStoreObjectId& wanted = filter.objectId;
    if (!FieldMatches(wanted.key, id.key) || !FieldMatches(wanted.group, id.group) ||
        !FieldMatches(wanted.component, id.component) ||
        !FieldMatches(wanted.instanceId, id.instanceId)) {
        return false;
    }
    const EngineObject& spec = EngineState::Of(filter);
    for (const auto& condition : spec.values.GetObject()) {
        auto held = values.FindMember(condition.name);
        const JsonValue* actual = held != values.MemberEnd() ? &held->value : nullptr;
        if (actual == nullptr && defaults != nullptr) {
            held = defaults->FindMember(condition.name);
            if (held != defaults->MemberEnd()) actual = &held->value;
        }
        if (actual == nullptr || *actual != condition.value) return false;
    }
    for (const auto& subFilter : spec.subFilters) {
        if (!SelectsSubObject(*subFilter, id, values)) return false;
    }
    return true;
}

bool Selects(const FilterSpecObject& filter, const BaseObject& object) {
    const EngineObject& state = EngineState::Of(object);
    return Selects(filter, object.objectId, state.values, state.defaults.get());
}

namespace {

// SQLite's JSON paths quote a label without escapes: a name holding '"' cannot be one.
bool PathFits(const JsonValue& name) {
    return std::memchr(name.GetString(), '"', name.GetStringLength()) == nullptr;
}

// The JSON types SQLite reports for a value equal to `value`, and the SQL value json_extract
// gives for it when comparing that is exact (null where only the type can be tested).
struct TypeTest {
    const char* first;
    const char* second;
    SqlValue value;
};

TypeTest TypeTestOf(const JsonValue& value) {
    if (value.IsTrue()) return {"true", "true", nullptr};
    if (value.IsFalse()) return {"false", "false", nullptr};
    if (value.IsNull()) return {"null", "null", nullptr};
    if (value.IsString()) {
        return {"text", "text", Text(value)};
    }
    // Integers compare exactly; a double's text may be read back one bit off, so only its type.
    if (value.IsInt64()) return {"integer", "real", static_cast<long long>(value.GetInt64())};
    if (value.IsNumber()) return {"integer", "real", nullptr};
    return {value.IsArray() ? "array" : "object", value.IsArray() ? "array" : "object", nullptr};
}

}  // namespace

bool TestsValues(const FilterSpecObject& filter) {
    const EngineObject& spec = EngineState::Of(filter);
    return !spec.values.ObjectEmpty() || !spec.subFilters.empty();
}

std::vector<ValueTest> SqlValueTestsOf(const FilterSpecObject& filter) {
    std::vector<ValueTest> tests;
    const ConfigStoreObjectId& id = filter.objectId;
    if (!id.key.empty() && !id.group.empty() && !id.component.empty()) return tests;
    for (const auto& condition : EngineState::Of(filter).values.GetObject()) {
        if (!PathFits(condition.name)) continue;
        TypeTest test = TypeTestOf(condition.value);
        tests.push_back(
            {"$.\"" + Text(condition.name) + "\"", test.first, test.second, std::move(test.value)});
    }
    return tests;
}

}  // namespace standin
