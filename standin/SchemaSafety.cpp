#include "SchemaSafety.h"

#include "MetaSchemas.h"

#include <rapidjson/pointer.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace standin {

namespace {

using JsonPointer = rapidjson::GenericPointer<JsonValue, JsonAllocator>;

// RapidJSON compiles a schema in time quadratic in its objects and follows "$ref" chains and
// allOf/anyOf/oneOf/not by recursion: bounds far above any real schema keep it fast and its
// stack small.
constexpr std::size_t kMaxSchemaObjects = 4096;
constexpr std::size_t kMaxRefHops = 16;
// How many schemas one value may set to work through allOf/anyOf/oneOf/not/dependencies.
constexpr std::size_t kMaxFanOut = 256;
// How many states a pattern may expand to once its counted repetitions are unrolled.
constexpr double kMaxPatternStates = 1024;
// How many states of parts that may match nothing a pattern may have in a row.
constexpr double kMaxNullableRun = 64;

// `where` extended by one JSON Pointer token.
std::string Append(const std::string& where, const std::string& token) {
    std::string out = where + "/";
    for (const char c : token) out += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return out;
}

// ---- What RapidJSON's validator cannot run safely ----
// RapidJSON 1.1.0 compiles every object of a schema document as a schema and trusts it: a
// "$ref" that loops or leads to a non-object, "patternProperties" that is not an object,
// combinators that reach themselves, or a pattern that unrolls to millions of states would
// crash or hang it. Such schemas are refused before they are compiled.

class SafetyCheck {
public:
    explicit SafetyCheck(const JsonValue& root) : root_(root) {}

    // The first problem found in `value` (at `where`) and below; empty when there is none.
    std::string Problem(const JsonValue& value, const std::string& where) {
        if (value.IsArray()) {
            for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
                std::string problem = Problem(value[i], Append(where, std::to_string(i)));
                if (!problem.empty()) return problem;
            }
        }
        if (!value.IsObject()) return {};
        if (++objects_ > kMaxSchemaObjects) {
            return "it holds more than " + std::to_string(kMaxSchemaObjects) + " objects";
        }
        std::string problem = ObjectProblem(value, where);
        for (auto member = value.MemberBegin(); problem.empty() && member != value.MemberEnd();
             ++member) {
            problem = Problem(member->value, Append(where, Text(member->name)));
        }
        return problem;
    }

private:
    std::string ObjectProblem(const JsonValue& object, const std::string& where) {
        const auto ref = object.FindMember("$ref");
        if (ref != object.MemberEnd() && ref->value.IsString()) {  // else a property's name
            if (Target(ref->value) == nullptr) {
                return "'$ref' at '" + where +
                       "' is not \"#<JSON pointer>\" of a schema in the file";
            }
            if (Resolve(object) == nullptr) {
                return "'$ref' at '" + where + "' does not lead to a schema within " +
                       std::to_string(kMaxRefHops) + " references";
            }
        }
        const auto patterns = object.FindMember("patternProperties");
        if (patterns != object.MemberEnd()) {
            if (!patterns->value.IsObject()) {
                return "'patternProperties' at '" + where + "' is not an object";
            }
            // The draft 4 form writes it otherwise where a schema stands (see SchemaDrafts.cpp);
            // RapidJSON would crash on it elsewhere too, should a reference lead there.
            const auto additional = object.FindMember("additionalProperties");
            if (additional != object.MemberEnd() && additional->value.IsFalse()) {
                return "'additionalProperties' false beside 'patternProperties' at '" + where +
                       "', outside the schema's keywords, would crash the validator";
            }
            for (auto pattern = patterns->value.MemberBegin();
                 pattern != patterns->value.MemberEnd(); ++pattern) {
                const std::string fault = PatternFault(pattern->name);
                if (!fault.empty()) {
                    return PatternProblem(
                        Append(Append(where, "patternProperties"), Text(pattern->name)), fault);
                }
            }
        }
        const auto pattern = object.FindMember("pattern");
        if (pattern != object.MemberEnd() && pattern->value.IsString()) {
            const std::string fault = PatternFault(pattern->value);
            if (!fault.empty()) return PatternProblem(Append(where, "pattern"), fault);
        }
        std::size_t total = 0;
        if (!FanOut(object, total))
            return "allOf/anyOf/oneOf/not at '" + where + "' lead back to themselves";
        if (total > kMaxFanOut) {
            return "allOf/anyOf/oneOf/not at '" + where + "' combine more than " +
                   std::to_string(kMaxFanOut) + " schemas";
        }
        return {};
    }

    // The schema that `object` stands for once its references are followed; null when they
    // lead nowhere, loop or chain more than kMaxRefHops references.
    const JsonValue* Resolve(const JsonValue& object) const {
        const JsonValue* schema = &object;
        for (std::size_t hops = 0; schema != nullptr; ++hops) {
            const auto ref = schema->FindMember("$ref");
            if (ref == schema->MemberEnd() || !ref->value.IsString()) return schema;
            if (hops == kMaxRefHops) return nullptr;
            schema = Target(ref->value);
        }
        return nullptr;
    }

    // The object a reference leads to: any object of the schema, by a JSON pointer in a URI
    // fragment ("#", "#/definitions/a~1b", "#/properties/a%25"); null for anything else.
    const JsonValue* Target(const JsonValue& ref) const {
        if (!ref.IsString() || ref.GetStringLength() == 0 || ref.GetString()[0] != '#') {
            return nullptr;
        }
        const JsonPointer pointer(ref.GetString(), ref.GetStringLength());
        if (!pointer.IsValid()) return nullptr;
        const JsonValue* target = pointer.Get(root_);
        return target != nullptr && target->IsObject() ? target : nullptr;
    }

    // Adds to `total` the number of schemas that one value of `object` sets to work; false when
    // they include the object itself.
    bool FanOut(const JsonValue& object, std::size_t& total) {
        const JsonValue* schema = Resolve(object);
        if (schema == nullptr) return true;  // refused where the reference is found
        const auto known = fanOut_.find(schema);
        if (known != fanOut_.end()) {
            total += known->second;
            return known->second != 0;  // 0: still being counted, so this is a cycle
        }
        if (depth_ == kMaxFanOut) {  // a chain this long is too many schemas already
            total += kMaxFanOut + 1;
            return true;
        }
        fanOut_[schema] = 0;
        std::size_t count = 1;
        bool acyclic = true;
        ++depth_;
        for (const JsonValue* part : Combined(*schema)) {
            if (count > kMaxFanOut || !(acyclic = FanOut(*part, count))) break;
        }
        --depth_;
        if (!acyclic) return false;
        fanOut_[schema] = count;
        total += count;
        return true;
    }

    // The schemas that allOf/anyOf/oneOf/not/dependencies of `schema` apply to the same value.
    static std::vector<const JsonValue*> Combined(const JsonValue& schema) {
        std::vector<const JsonValue*> parts;
        auto add = [&](const JsonValue& part) {
            if (part.IsObject()) parts.push_back(&part);
        };
        for (const char* keyword : {"allOf", "anyOf", "oneOf"}) {
            const auto list = schema.FindMember(keyword);
            if (list == schema.MemberEnd() || !list->value.IsArray()) continue;
            for (const JsonValue& item : list->value.GetArray()) add(item);
        }
        const auto negated = schema.FindMember("not");
        if (negated != schema.MemberEnd()) add(negated->value);
        const auto dependencies = schema.FindMember("dependencies");
        if (dependencies != schema.MemberEnd() && dependencies->value.IsObject()) {
            for (const auto& dependency : dependencies->value.GetObject()) add(dependency.value);
        }
        return parts;
    }

    // Why RapidJSON's regular expressions cannot take `pattern` safely; empty when they can.
    // Their parser crashes on a repetition of nothing ("{2}", "(){2}") and on an empty
    // alternative inside a group ("a(|b)"); "{n,m}" copies its operand m times, so nested counts
    // explode. Their matcher walks every path that matches nothing afresh for each state at each
    // character: it never ends on "(a*)*", takes exponential time when what may match nothing is
    // made optional ("(a*){1,30}") or offered twice ("(a?|b?)"), and quadratic time on long runs
    // of such parts. Patterns they read as invalid would be ignored silently.
    static std::string PatternFault(const JsonValue& pattern) {
        const char* p = pattern.GetString();
        const std::size_t length = std::strlen(p);  // RapidJSON stops at a NUL too
        if (length == 0) return {};
        auto number = [&](std::size_t& i, double& value) {  // the digits at p[i], if any
            const std::size_t start = i;
            for (value = 0; i < length && p[i] >= '0' && p[i] <= '9'; ++i) {
                value = value * 10 + (p[i] - '0');
            }
            return i > start;
        };
        struct Group {
            double states = 0;           // once counted repetitions are unrolled
            bool nullable = false;       // an alternative so far may match nothing
            bool emptyBranch = true;     // the current alternative has no item yet
            bool branchNullable = true;  // every item of it so far may match nothing
            double nullableRun = 0;      // states of the items in a row that may match nothing
        };
        std::vector<Group> groups(1);
        bool pending = false;  // the latest item, which repetitions apply to, is still open
        double itemStates = 0;
        bool itemNullable = false;
        // Closes the latest item; false when it ends too long a run of items that may match
        // nothing, which the matcher walks again for every state at every character.
        auto close = [&] {
            Group& group = groups.back();
            if (pending) {
                group.branchNullable &= itemNullable;
                group.nullableRun = itemNullable ? group.nullableRun + itemStates : 0;
            }
            pending = false;
            return group.nullableRun <= kMaxNullableRun;
        };
        auto item = [&](double states, bool nullable) {
            const bool fine = close();
            groups.back().states += states;
            groups.back().emptyBranch = false;
            pending = true;
            itemStates = states;
            itemNullable = nullable;
            return fine;
        };
        const std::string longRun = "has too many optional parts in a row";
        constexpr double kUnbounded = -1;
        for (std::size_t i = 0; i < length; ++i) {
            const char c = p[i];
            double low = 0;
            double high = 0;
            if (c == '(') {
                if (!close()) return longRun;
                groups.emplace_back();
            } else if (c == ')' || c == '|') {
                if (!close()) return longRun;
                if (c == ')' && groups.size() == 1) return "has unbalanced parentheses";
                Group& group = groups.back();
                if (group.emptyBranch) return "has an empty alternative";
                if (group.nullable && group.branchNullable) {
                    return "has two alternatives that may match nothing";
                }
                group.nullable |= group.branchNullable;
                group.emptyBranch = true;
                group.branchNullable = true;
                group.nullableRun = 0;
                if (c == ')') {
                    const Group done = group;
                    groups.pop_back();
                    if (!item(done.states, done.nullable)) return longRun;
                }
            } else if (c == '^' || c == '$') {
                if (!close()) return longRun;  // anchors are no item: nothing after them repeats
            } else if (c == '*' || c == '+' || c == '?' || c == '{') {
                if (!pending) return "repeats nothing";
                if (c == '+') low = 1;
                high = c == '?' ? 1 : kUnbounded;
                std::size_t end = i + 1;
                if (c == '{') {
                    if (!number(end, low)) break;  // RapidJSON finds it invalid
                    high = low;
                    if (end < length && p[end] == ',') {
                        ++end;
                        if (!number(end, high)) high = kUnbounded;
                    }
                    i = end;  // the closing brace, else RapidJSON finds it invalid
                }
                if (itemNullable && !(c == '{' && high == low)) {
                    return "repeats or makes optional what may match nothing";
                }
                const double copies = std::max(high == kUnbounded ? low : high, 1.0);
                groups.back().states += itemStates * (copies - 1);
                itemStates *= copies;
                itemNullable |= low == 0;
            } else {
                if (c == '\\') {
                    ++i;
                } else if (c == '[') {
                    while (i + 1 < length && p[i + 1] != ']') i += p[i + 1] == '\\' ? 2 : 1;
                    ++i;
                }
                if (!item(1, false)) return longRun;
            }
            if (groups.back().states > kMaxPatternStates) return "repeats too much to compile";
        }
        if (!close()) return longRun;
        if (groups.size() > 1) return "has unbalanced parentheses";
        if (groups.back().emptyBranch) return "has an empty alternative";
        if (!rapidjson::internal::GenericRegex<rapidjson::UTF8<>, JsonAllocator>(p).IsValid()) {
            return "is not a regular expression the validator supports";
        }
        return {};
    }

    static std::string PatternProblem(const std::string& where, const std::string& fault) {
        return "the pattern at '" + where + "' " + fault;
    }

    const JsonValue& root_;
    std::size_t objects_ = 0;
    std::size_t depth_ = 0;  // of FanOut's recursion
    std::unordered_map<const JsonValue*, std::size_t> fanOut_;
};

}  // namespace

const SchemaDocument& MetaSchema() {
    static const Json source = [] {
        Json document;
        ParseJson(kDraft4MetaSchema, sizeof(kDraft4MetaSchema) - 1, document);
        return document;
    }();
    static const SchemaDocument meta(source);
    return meta;
}

std::string SafetyProblem(const JsonValue& schema) {
    return SafetyCheck(schema).Problem(schema, "/schema");
}

}  // namespace standin
