#include "SchemaReasons.h"

namespace standin {

namespace {

// Values are shown as JSON text, cut at a character boundary past this length.
constexpr std::size_t kShownBytes = 64;

std::string Shown(const JsonValue& value) {
    std::string text = ToText(value);
    if (text.size() <= kShownBytes) return text;
    std::size_t end = kShownBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
    return text.substr(0, end) + "...";
}

const char* TypeOf(const JsonValue& value) {
    if (value.IsNull()) return "null";
    if (value.IsBool()) return "a boolean";
    if (value.IsObject()) return "an object";
    if (value.IsArray()) return "an array";
    if (value.IsString()) return "a string";
    return value.IsInt64() || value.IsUint64() ? "an integer" : "a number";
}

// "integer", or "integer or null" for a list of types.
std::string TypesOf(const JsonValue& types) {
    if (!types.IsArray()) return types.IsString() ? Text(types) : Shown(types);
    std::string named;
    for (const JsonValue& type : types.GetArray()) {
        named += (named.empty() ? "" : " or ") + (type.IsString() ? Text(type) : Shown(type));
    }
    return named;
}

bool IsTrue(const JsonValue& schema, const char* name) {
    const auto member = schema.FindMember(name);
    return member != schema.MemberEnd() && member->value.IsBool() && member->value.GetBool();
}

// The first member `required` names that `object` lacks; empty when none does.
std::string MissingMember(const JsonValue& required, const JsonValue& object) {
    if (!required.IsArray() || !object.IsObject()) return {};
    for (const JsonValue& name : required.GetArray()) {
        if (name.IsString() && !object.HasMember(name)) return Shown(name);
    }
    return {};
}

// The name the pointer ends at; empty at the root.
std::string LastToken(const JsonPointer& pointer) {
    if (pointer.GetTokenCount() == 0) return {};
    const auto& token = pointer.GetTokens()[pointer.GetTokenCount() - 1];
    return std::string(token.name, token.length);
}

// The words for a keyword RapidJSON reports, or empty when it has none.
std::string Explained(const std::string& keyword, const JsonValue& schema, const JsonValue& value,
                      const std::string& schemaMember) {
    const auto limitOf = schema.FindMember(keyword.c_str());
    const std::string is = "is " + Shown(value);
    if (keyword == "additionalProperties" ||
        (keyword == "not" && schemaMember == "additionalProperties")) {
        return "is a member the schema does not allow";
    }
    if (limitOf == schema.MemberEnd()) return {};
    const JsonValue& limit = limitOf->value;
    const std::string count = value.IsArray()    ? std::to_string(value.Size())
                              : value.IsObject() ? std::to_string(value.MemberCount())
                                                 : std::string();
    if (keyword == "minimum") {
        return IsTrue(schema, "exclusiveMinimum")
                   ? is + ", not above the exclusive minimum " + Shown(limit)
                   : is + ", below the minimum " + Shown(limit);
    }
    if (keyword == "maximum") {
        return IsTrue(schema, "exclusiveMaximum")
                   ? is + ", not below the exclusive maximum " + Shown(limit)
                   : is + ", above the maximum " + Shown(limit);
    }
    if (keyword == "multipleOf") return is + ", not a multiple of " + Shown(limit);
    if (keyword == "type") {
        return is + ", " + TypeOf(value) + ", not of type " + TypesOf(limit);
    }
    if (keyword == "enum") return is + ", not one of " + Shown(limit);
    if (keyword == "minLength") return is + ", shorter than the minimum length " + Shown(limit);
    if (keyword == "maxLength") return is + ", longer than the maximum length " + Shown(limit);
    if (keyword == "pattern") return is + ", which does not match the pattern " + Shown(limit);
    if (keyword == "minItems" || keyword == "minProperties") {
        return "has " + count + (value.IsArray() ? " items" : " members") +
               ", fewer than the minimum " + Shown(limit);
    }
    if (keyword == "maxItems" || keyword == "maxProperties") {
        return "has " + count + (value.IsArray() ? " items" : " members") +
               ", more than the maximum " + Shown(limit);
    }
    // RapidJSON points at the item that repeats one before it.
    if (keyword == "uniqueItems") return is + ", a repeat of an earlier item of the list";
    if (keyword == "required") {
        const std::string missing = MissingMember(limit, value);
        if (!missing.empty()) return "lacks the required member " + missing;
    }
    return {};
}

}  // namespace

std::string ReasonOf(const Failure& failure, const char* schemaName) {
    JsonText schemaAt;
    failure.schemaAt.Stringify(schemaAt);
    const std::string keyword = failure.keyword != nullptr ? failure.keyword : "";
    const JsonValue* schema =
        failure.schema != nullptr ? failure.schemaAt.Get(*failure.schema) : nullptr;
    const JsonValue* value = failure.valueAt.Get(failure.values);
    if (schema != nullptr && schema->IsObject() && value != nullptr) {
        std::string words = Explained(keyword, *schema, *value, LastToken(failure.schemaAt));
        if (!words.empty()) return words;
    }
    return std::string("fails ") + schemaName + "'s '" + keyword + "' at '#" +
           schemaAt.GetString() + "'";
}

}  // namespace standin
