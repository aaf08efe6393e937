#include "SchemaDrafts.h"

#include <rapidjson/pointer.h>

#include <cctype>
#include <cstring>
#include <initializer_list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "MetaSchemas.h"

namespace standin {

namespace {

using rapidjson::kArrayType;
using rapidjson::kObjectType;

// Draft 4's keywords, and those draft 7 adds, each between spaces.
constexpr char kDraft4Keywords[] =
    " $schema id $ref title description default multipleOf maximum exclusiveMaximum minimum"
    " exclusiveMinimum maxLength minLength pattern additionalItems items maxItems minItems"
    " uniqueItems maxProperties minProperties required additionalProperties definitions"
    " properties patternProperties dependencies enum type allOf anyOf oneOf not format ";
constexpr char kDraft7Keywords[] =
    " $id $comment const contains propertyNames if then else examples readOnly writeOnly"
    " contentMediaType contentEncoding ";

bool Listed(const std::string& name, const char* list) {
    return std::strstr(list, (" " + name + " ").c_str()) != nullptr;
}

bool OneOf(const std::string& name, std::initializer_list<const char*> names) {
    for (const char* known : names) {
        if (name == known) return true;
    }
    return false;
}

std::string Append(const std::string& where, const std::string& token) {
    std::string out = where + "/";
    for (const char c : token) out += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return out;
}

bool Names(const std::string& declared, const char* draft) {
    for (const char* scheme : {"http://", "https://"}) {
        const std::string uri = std::string(scheme) + "json-schema.org/" + draft + "/schema";
        if (declared == uri || declared == uri + "#") return true;
    }
    return false;
}

// The URIs of the meta-schemas a schema may refer to, without their fragment.
constexpr char kDraft4Uri[] = "http://json-schema.org/draft-04/schema";
constexpr char kDraft7Uri[] = "http://json-schema.org/draft-07/schema";

// ---- URIs, as far as references inside one file need them ----

std::string WithoutFragment(const std::string& uri) {
    return uri.substr(0, uri.find('#'));
}

// `reference` resolved against `base`: dot segments are not removed.
std::string Resolve(const std::string& base, const std::string& reference) {
    const std::size_t colon = reference.find(':');
    if (colon != std::string::npos && reference.find_first_of("/?#") > colon) return reference;
    const std::string document = WithoutFragment(base);
    if (reference.empty() || reference[0] == '#') return document + reference;
    const std::size_t scheme = document.find("://");
    if (reference[0] == '/' && scheme != std::string::npos) {
        const std::size_t path = document.find('/', scheme + 3);
        return document.substr(0, path) + reference;
    }
    const std::size_t slash = document.rfind('/');
    return (slash == std::string::npos ? "" : document.substr(0, slash + 1)) + reference;
}

// A JSON pointer as the fragment of a URI.
std::string Fragment(const std::string& pointer) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out = "#";
    for (const unsigned char c : pointer) {
        if (std::isalnum(c) || (c != 0 && std::strchr("-._~/", c) != nullptr)) {
            out += char(c);
        } else {
            out.append(1, '%').append(1, kHex[c >> 4]).append(1, kHex[c & 15]);
        }
    }
    return out;
}

class Translation {
public:
    explicit Translation(bool draft7) : draft7_(draft7) {}

    // Translates the schema `in` (at `where`, its URI `base`) into `out`.
    void Schema(const JsonValue& in, JsonValue& out, const std::string& where, std::string base) {
        if (in.IsBool() && draft7_) {
            out.SetObject();  // true: anything; false: nothing
            if (!in.GetBool()) out.AddMember("not", JsonValue(kObjectType), allocator_);
            return;
        }
        if (!in.IsObject()) {
            Assign(out, in);  // the meta-schema refuses it
            return;
        }
        const auto id = in.FindMember(draft7_ ? "$id" : "id");
        if (id != in.MemberEnd() && id->value.IsString()) {
            base = Resolve(base, Text(id->value));
            identified_.emplace(!base.empty() && base.back() == '#' ? WithoutFragment(base) : base,
                                where);
        }
        out.SetObject();
        for (const auto& member : in.GetObject()) {
            const std::string name = Text(member.name);
            const std::string place = Append(where, name);
            JsonValue value;
            Keyword(name, member.value, value, place, base);
            out.AddMember(JsonValue(member.name, allocator_), value, allocator_);
        }
        const auto ref = out.FindMember("$ref");
        if (ref != out.MemberEnd() && ref->value.IsString()) {
            const std::string local = Local(Resolve(base, Text(ref->value)));
            if (!local.empty()) ref->value.SetString(local.c_str(), local.size(), allocator_);
        }
        JsonValue added(kArrayType);     // rules on the whole value, for allOf
        JsonValue keyRules(kArrayType);  // rules on each key, for allOf
        if (draft7_) Draft7(out, added, keyRules, where);
        PatternsFirst(out, keyRules);
        // RapidJSON clears a list of no entries at a null pointer for empty dependencies.
        const auto dependencies = out.FindMember("dependencies");
        if (dependencies != out.MemberEnd() && dependencies->value.IsObject() &&
            dependencies->value.ObjectEmpty()) {
            out.RemoveMember(dependencies);
        }
        if (added.Empty() && keyRules.Empty()) return;
        auto all = out.FindMember("allOf");
        if (all == out.MemberEnd() || !all->value.IsArray()) {
            out.AddMember("allOf", JsonValue(kArrayType), allocator_);
            all = out.FindMember("allOf");
        }
        for (auto& rule : keyRules.GetArray()) {
            if (where.empty()) rootKeyRules.push_back(all->value.Size());
            all->value.PushBack(rule, allocator_);
        }
        for (auto& rule : added.GetArray()) all->value.PushBack(rule, allocator_);
    }

    // Translates a file's "schema" into `out`, with the meta-schemas it refers to. Twice: the
    // first time finds where its identifiers ("id", draft 7's "$id") stand, so that the second
    // writes each reference to a schema of the file as a JSON pointer from its root, which is
    // all RapidJSON follows.
    void File(const JsonValue& in, JsonValue& out) {
        for (int time = 0; time < 2; ++time) {
            ignored.clear();
            laterDraft = false;
            rootKeyRules.clear();
            identified_.emplace("", "");
            Schema(in, out, "", "");
            EmbedMetaSchemas(out);
        }
    }

    std::string ignored;
    bool laterDraft = false;                        // draft 7's keywords in a draft 4 schema
    std::vector<rapidjson::SizeType> rootKeyRules;  // see Draft4Form

private:
    void EmbedMetaSchemas(JsonValue& root) {
        if (!root.IsObject()) return;
        for (const std::string& uri : wanted_) {
            const bool draft7 = uri == kDraft7Uri;
            const char* name = draft7 ? "draft-07 meta-schema" : "draft-04 meta-schema";
            const std::string where = Append("", name);
            identified_.emplace(uri, where);
            Json meta;
            if (draft7) {
                ParseJson(kDraft7MetaSchema, sizeof(kDraft7MetaSchema) - 1, meta);
            } else {
                ParseJson(kDraft4MetaSchema, sizeof(kDraft4MetaSchema) - 1, meta);
            }
            const bool fileDraft7 = draft7_;
            draft7_ = draft7;
            JsonValue schema;
            Schema(meta, schema, where, uri);
            draft7_ = fileDraft7;
            root.AddMember(JsonValue(name, allocator_), schema, allocator_);
        }
    }

    // The reference to `uri` as a JSON pointer from the file's root; empty when it is no schema
    // of the file (a meta-schema then joins it).
    std::string Local(const std::string& uri) {
        const auto named = identified_.find(uri);
        if (named != identified_.end()) return Fragment(named->second);
        const std::size_t hash = uri.find('#');
        const std::string fragment = hash == std::string::npos ? "" : uri.substr(hash + 1);
        if (!fragment.empty() && fragment[0] != '/') return {};
        const std::string document = WithoutFragment(uri);
        const auto found = identified_.find(document);
        if (found != identified_.end()) return Fragment(found->second) + fragment;
        if (document == kDraft4Uri || document == kDraft7Uri) wanted_.insert(document);
        return {};
    }

    void Keyword(const std::string& name, const JsonValue& in, JsonValue& out,
                 const std::string& place, const std::string& base) {
        const bool draft7Schema =
            draft7_ && OneOf(name, {"contains", "if", "then", "else", "propertyNames"});
        if (OneOf(name, {"properties", "patternProperties", "definitions", "dependencies"}) &&
            in.IsObject()) {
            out.SetObject();
            for (const auto& member : in.GetObject()) {
                JsonValue schema;
                if (member.value.IsArray()) {  // a dependency on keys
                    Assign(schema, member.value);
                } else {
                    Schema(member.value, schema, Append(place, Text(member.name)), base);
                }
                out.AddMember(JsonValue(member.name, allocator_), schema, allocator_);
            }
        } else if (OneOf(name, {"allOf", "anyOf", "oneOf", "items"}) && in.IsArray()) {
            out.SetArray();
            for (rapidjson::SizeType i = 0; i < in.Size(); ++i) {
                JsonValue schema;
                Schema(in[i], schema, Append(place, std::to_string(i)), base);
                out.PushBack(schema, allocator_);
            }
        } else if (OneOf(name, {"additionalProperties", "additionalItems"}) && in.IsBool()) {
            Assign(out, in);  // the same in every draft
        } else if (draft7Schema ||
                   OneOf(name, {"not", "items", "additionalProperties", "additionalItems"})) {
            Schema(in, out, place, base);
        } else {
            Assign(out, in);
            const bool draft7Keyword = Listed(name, kDraft7Keywords);
            if (!Listed(name, kDraft4Keywords) && !(draft7_ && draft7Keyword)) {
                Ignore(place);
                laterDraft |= draft7Keyword;
            }
        }
    }

    // RapidJSON validates a key that only patternProperties match against additionalProperties
    // too, and takes either: the key passes a pattern's schema it breaks if it meets
    // additionalProperties. With additionalProperties false it crashes (it leaves the value
    // without a schema). additionalProperties goes to a rule of its own, where every property
    // and pattern allows anything, so that it governs the other keys alone.
    void PatternsFirst(JsonValue& schema, JsonValue& keyRules) {
        const auto patterns = schema.FindMember("patternProperties");
        const auto additional = schema.FindMember("additionalProperties");
        if (patterns == schema.MemberEnd() || !patterns->value.IsObject() ||
            additional == schema.MemberEnd() || additional->value.IsTrue()) {
            return;
        }
        if (additional->value.IsFalse()) {  // a key no pattern matches fails at its own place
            additional->value = Nothing();
            return;
        }
        JsonValue others(kObjectType);
        for (const char* governing : {"properties", "patternProperties"}) {
            const auto keys = schema.FindMember(governing);
            if (keys == schema.MemberEnd() || !keys->value.IsObject()) continue;
            JsonValue any(kObjectType);
            for (const auto& key : keys->value.GetObject()) {
                any.AddMember(JsonValue(key.name, allocator_), Anything(), allocator_);
            }
            others.AddMember(JsonValue(governing, allocator_), any, allocator_);
        }
        others.AddMember("additionalProperties", schema["additionalProperties"], allocator_);
        schema.RemoveMember("additionalProperties");
        keyRules.PushBack(others, allocator_);
    }

    // Draft 7's keywords that draft 4 lacks, in draft 4's terms.
    void Draft7(JsonValue& schema, JsonValue& added, JsonValue& keyRules,
                const std::string& where) {
        // Draft 7 allows lists of no required key, which draft 4 refuses.
        const auto required = schema.FindMember("required");
        if (required != schema.MemberEnd() && required->value.IsArray() &&
            required->value.Empty()) {
            schema.RemoveMember(required);
        }
        const auto dependencies = schema.FindMember("dependencies");
        if (dependencies != schema.MemberEnd() && dependencies->value.IsObject()) {
            for (auto member = dependencies->value.MemberBegin();
                 member != dependencies->value.MemberEnd();) {
                const bool none = member->value.IsArray() && member->value.Empty();
                member = none ? dependencies->value.RemoveMember(member) : member + 1;
            }
        }
        const auto constant = schema.FindMember("const");
        if (constant != schema.MemberEnd()) {
            JsonValue values(kArrayType);
            values.PushBack(constant->value, allocator_);
            schema.RemoveMember(constant);
            if (schema.HasMember("enum")) {
                added.PushBack(With("enum", std::move(values)), allocator_);
            } else {
                schema.AddMember("enum", values, allocator_);
            }
        }
        Exclusive(schema, added, "exclusiveMinimum", "minimum");
        Exclusive(schema, added, "exclusiveMaximum", "maximum");
        const auto contains = schema.FindMember("contains");
        if (contains != schema.MemberEnd()) {  // not an array, or not every item fails it
            JsonValue notArray = With("type", JsonValue("array"));
            JsonValue noneFails = With("items", With("not", Copy(contains->value)));
            added.PushBack(With("anyOf", List(With("not", std::move(notArray)),
                                              With("not", std::move(noneFails)))),
                           allocator_);
        }
        const auto condition = schema.FindMember("if");
        if (condition != schema.MemberEnd()) {  // (if and then) or (not if and else)
            const auto then = schema.FindMember("then");
            const auto otherwise = schema.FindMember("else");
            JsonValue thenPart = then != schema.MemberEnd() ? Copy(then->value) : Anything();
            JsonValue elsePart =
                otherwise != schema.MemberEnd() ? Copy(otherwise->value) : Anything();
            JsonValue whenTrue = With("allOf", List(Copy(condition->value), std::move(thenPart)));
            JsonValue whenFalse =
                With("allOf", List(With("not", Copy(condition->value)), std::move(elsePart)));
            added.PushBack(With("anyOf", List(std::move(whenTrue), std::move(whenFalse))),
                           allocator_);
        }
        const auto names = schema.FindMember("propertyNames");
        if (names != schema.MemberEnd() && !PropertyNames(names->value, keyRules)) {
            Ignore(Append(where, "propertyNames"));
        }
    }

    // Draft 6's numeric exclusiveMinimum n as draft 4's minimum n with exclusiveMinimum true.
    void Exclusive(JsonValue& schema, JsonValue& added, const char* exclusive, const char* bound) {
        const auto limit = schema.FindMember(exclusive);
        if (limit == schema.MemberEnd() || !limit->value.IsNumber()) return;
        JsonValue value = Copy(limit->value);
        schema.RemoveMember(limit);
        JsonValue part(kObjectType);
        part.AddMember(JsonValue(bound, allocator_), value, allocator_);
        part.AddMember(JsonValue(exclusive, allocator_), JsonValue(true), allocator_);
        if (schema.HasMember(bound)) {
            added.PushBack(part, allocator_);
        } else {
            for (auto& member : part.GetObject()) {
                schema.AddMember(member.name, member.value, allocator_);
            }
        }
    }

    // propertyNames of true or false, or of patterns and lengths only, as patternProperties of a
    // schema of their own: every key matches, no other key is allowed. False for any other.
    bool PropertyNames(const JsonValue& names, JsonValue& keyRules) {
        if (!names.IsObject()) return false;
        std::vector<std::string> patterns;
        std::string lengths[2];
        for (const auto& member : names.GetObject()) {
            const std::string name = Text(member.name);
            if (name == "not" && member.value.ObjectEmpty() && names.MemberCount() == 1) {
                JsonValue none(kObjectType);
                none.AddMember("maxProperties", 0, allocator_);
                keyRules.PushBack(none, allocator_);
                return true;
            }
            if (name == "pattern" && member.value.IsString()) {
                patterns.push_back(Text(member.value));
            } else if ((name == "minLength" || name == "maxLength") && member.value.IsUint()) {
                lengths[name == "maxLength"] = std::to_string(member.value.GetUint());
            } else {
                return false;
            }
        }
        if (!lengths[0].empty() || !lengths[1].empty()) {
            patterns.push_back("^.{" + (lengths[0].empty() ? "0" : lengths[0]) + "," + lengths[1] +
                               "}$");
        }
        for (const std::string& pattern : patterns) {
            JsonValue matching(kObjectType);
            matching.AddMember(JsonValue(pattern.c_str(), allocator_), JsonValue(kObjectType),
                               allocator_);
            JsonValue part = With("patternProperties", std::move(matching));
            part.AddMember("additionalProperties", Nothing(), allocator_);
            keyRules.PushBack(part, allocator_);
        }
        return true;
    }

    void Ignore(const std::string& place) {
        ignored += (ignored.empty() ? "/schema" : ", /schema") + place;
    }

    JsonValue Copy(const JsonValue& value) {
        JsonValue copy;
        Assign(copy, value);
        return copy;
    }
    JsonValue With(const char* keyword, JsonValue&& value) {
        JsonValue schema(kObjectType);
        schema.AddMember(JsonValue(keyword, allocator_), value, allocator_);
        return schema;
    }
    JsonValue List(JsonValue&& first, JsonValue&& second) {
        JsonValue list(kArrayType);
        list.PushBack(first, allocator_).PushBack(second, allocator_);
        return list;
    }
    static JsonValue Anything() { return JsonValue(kObjectType); }
    JsonValue Nothing() { return With("not", Anything()); }

    bool draft7_;
    JsonAllocator allocator_;
    std::map<std::string, std::string> identified_;  // a schema's URI: its JSON pointer
    std::set<std::string> wanted_;                   // the meta-schemas referred to
};

}  // namespace

Draft4Form ToDraft4(const JsonValue& schema) {
    Draft4Form form;
    const auto declared = schema.FindMember("$schema");
    const std::string name =
        declared != schema.MemberEnd() && declared->value.IsString() ? Text(declared->value) : "";
    const bool draft7 = Names(name, "draft-07");
    if (!draft7 && !name.empty() && !Names(name, "draft-04")) return form;
    form.draft = draft7 ? "draft 7" : "draft 4";
    Translation translation(draft7);
    translation.File(schema, form.schema);
    form.keyRules = std::move(translation.rootKeyRules);
    form.ignored = translation.ignored;
    form.laterDraft = translation.laterDraft;
    return form;
}

}  // namespace standin
