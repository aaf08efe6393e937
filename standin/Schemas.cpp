#include "Schemas.h"

#include <dirent.h>
#include <fcntl.h>
#include <kivconfigstore/ErrorCodes.h>
#include <rapidjson/pointer.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "Errors.h"

namespace standin {

using SchemaDocument = rapidjson::GenericSchemaDocument<JsonValue, JsonAllocator>;
using SchemaValidator = rapidjson::GenericSchemaValidator<
    SchemaDocument, rapidjson::BaseReaderHandler<rapidjson::UTF8<>>, JsonAllocator>;
using JsonPointer = rapidjson::GenericPointer<JsonValue, JsonAllocator>;

struct CompiledSchema {
    explicit CompiledSchema(const JsonValue& source) : document(source) {}
    SchemaDocument document;
    // RapidJSON 1.1.0's regular expressions keep their matching state in the compiled schema,
    // so one validation at a time may use it.
    mutable std::mutex validating;
};

namespace {

using KivConfigStore::ERR_DEFAULT_CONFIG_INVALID;
using KivConfigStore::ERR_JSON_FILE_PARSE_FAILED;
using KivConfigStore::ERR_SCHEMA_NOT_FOUND;
using KivConfigStore::ERR_VALIDATION_ERROR;

constexpr off_t kMaxFileSize = 16 << 20;
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

// Draft 4's meta-schema, without its identifiers and descriptions: "schema" must meet it,
// since RapidJSON's validator trusts the keywords it compiles to have the right types.
constexpr char kMetaSchema[] = R"({
  "definitions": {
    "schemaArray": {"type": "array", "minItems": 1, "items": {"$ref": "#"}},
    "positiveInteger": {"type": "integer", "minimum": 0},
    "simpleTypes": {"enum": ["array", "boolean", "integer", "null", "number", "object", "string"]},
    "stringArray": {"type": "array", "items": {"type": "string"}, "minItems": 1, "uniqueItems": true}
  },
  "type": "object",
  "properties": {
    "id": {"type": "string"},
    "$schema": {"type": "string"},
    "title": {"type": "string"},
    "description": {"type": "string"},
    "multipleOf": {"type": "number", "minimum": 0, "exclusiveMinimum": true},
    "maximum": {"type": "number"},
    "exclusiveMaximum": {"type": "boolean"},
    "minimum": {"type": "number"},
    "exclusiveMinimum": {"type": "boolean"},
    "maxLength": {"$ref": "#/definitions/positiveInteger"},
    "minLength": {"$ref": "#/definitions/positiveInteger"},
    "pattern": {"type": "string"},
    "additionalItems": {"anyOf": [{"type": "boolean"}, {"$ref": "#"}]},
    "items": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/schemaArray"}]},
    "maxItems": {"$ref": "#/definitions/positiveInteger"},
    "minItems": {"$ref": "#/definitions/positiveInteger"},
    "uniqueItems": {"type": "boolean"},
    "maxProperties": {"$ref": "#/definitions/positiveInteger"},
    "minProperties": {"$ref": "#/definitions/positiveInteger"},
    "required": {"$ref": "#/definitions/stringArray"},
    "additionalProperties": {"anyOf": [{"type": "boolean"}, {"$ref": "#"}]},
    "definitions": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "properties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "patternProperties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "dependencies": {
      "type": "object",
      "additionalProperties": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/stringArray"}]}
    },
    "enum": {"type": "array", "minItems": 1, "uniqueItems": true},
    "type": {"anyOf": [
      {"$ref": "#/definitions/simpleTypes"},
      {"type": "array", "items": {"$ref": "#/definitions/simpleTypes"}, "minItems": 1,
       "uniqueItems": true}
    ]},
    "format": {"type": "string"},
    "allOf": {"$ref": "#/definitions/schemaArray"},
    "anyOf": {"$ref": "#/definitions/schemaArray"},
    "oneOf": {"$ref": "#/definitions/schemaArray"},
    "not": {"$ref": "#"}
  },
  "dependencies": {"exclusiveMaximum": ["maximum"], "exclusiveMinimum": ["minimum"]}
})";

std::string Text(const JsonValue& value) {
    return std::string(value.GetString(), value.GetStringLength());
}

bool Is(const JsonValue& name, const char* text) {
    return name.GetStringLength() == std::strlen(text) &&
           std::memcmp(name.GetString(), text, name.GetStringLength()) == 0;
}

bool IsPathComponent(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

// `where` extended by one JSON Pointer token.
std::string Append(const std::string& where, const std::string& token) {
    std::string out = where + "/";
    for (const char c : token) out += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return out;
}

// ---- Validation ----

struct Violation {
    std::string pointer;  // of the offending value
    std::string keyword;
    std::string reason;
};

std::string Stringify(const JsonPointer& pointer) {
    rapidjson::StringBuffer text;
    pointer.Stringify(text);
    return text.GetString();
}

// Feeds `values` to the validator as SAX events, leaving out the top-level sub-objects member,
// which the engine owns and no schema describes.
bool Feed(SchemaValidator& validator, const JsonValue& values) {
    if (!values.IsObject()) return values.Accept(validator);
    if (!validator.StartObject()) return false;
    rapidjson::SizeType count = 0;
    for (auto member = values.MemberBegin(); member != values.MemberEnd(); ++member) {
        if (Is(member->name, kSubObjectsMember)) continue;
        if (!validator.Key(member->name.GetString(), member->name.GetStringLength(), false) ||
            !member->value.Accept(validator)) {
            return false;
        }
        ++count;
    }
    return validator.EndObject(count);
}

// False, with what failed where, when `values` break `schema`.
bool Check(const SchemaDocument& schema, const JsonValue& values, Violation& violation,
           const char* schemaName = "the schema") {
    SchemaValidator validator(schema);
    if (Feed(validator, values)) return true;
    const char* keyword = validator.GetInvalidSchemaKeyword();
    violation.keyword = keyword != nullptr ? keyword : "";
    violation.pointer = Stringify(validator.GetInvalidDocumentPointer());
    violation.reason = std::string("fails ") + schemaName + "'s '" + violation.keyword + "' at '#" +
                       Stringify(validator.GetInvalidSchemaPointer()) + "'";
    return false;
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
        if (ref != object.MemberEnd()) {
            if (Target(ref->value) == nullptr) {
                return "'$ref' at '" + where +
                       "' is not \"#\" or \"#/definitions/<name>\" of an existing schema";
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
            if (ref == schema->MemberEnd()) return schema;
            if (hops == kMaxRefHops) return nullptr;
            schema = Target(ref->value);
        }
        return nullptr;
    }

    // The object a reference leads to: the schema itself for "#", one of its "definitions" for
    // "#/definitions/<name>"; null for anything else.
    const JsonValue* Target(const JsonValue& ref) const {
        if (!ref.IsString() || ref.GetStringLength() == 0 || ref.GetString()[0] != '#') {
            return nullptr;
        }
        const JsonPointer pointer(ref.GetString(), ref.GetStringLength());
        if (!pointer.IsValid()) return nullptr;
        if (pointer.GetTokenCount() == 0) return &root_;
        const auto& first = pointer.GetTokens()[0];
        if (pointer.GetTokenCount() != 2 || first.length != 11 ||
            std::memcmp(first.name, "definitions", 11) != 0) {
            return nullptr;
        }
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

const SchemaDocument& MetaSchema() {
    static const Json source = [] {
        Json document;
        ParseJson(kMetaSchema, sizeof(kMetaSchema) - 1, document);
        return document;
    }();
    static const SchemaDocument meta(source);
    return meta;
}

// ---- Files ----

struct FileIdentity {
    dev_t device;
    ino_t inode;
    off_t size;
    timespec modified;

    explicit FileIdentity(const struct stat& status)
        : device(status.st_dev),
          inode(status.st_ino),
          size(status.st_size),
          modified(status.st_mtim) {}
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
    bool operator==(const FileIdentity& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               modified.tv_sec == other.modified.tv_sec &&
               modified.tv_nsec == other.modified.tv_nsec;
    }
};

[[noreturn]] void FailFile(const std::string& file, const std::string& reason) {
    Fail(ERR_JSON_FILE_PARSE_FAILED, reason, file);
}

[[noreturn]] void FailShape(const std::string& file, const std::string& reason) {
    Fail(ERR_SCHEMA_NOT_FOUND, reason, file);
}

// The text of a regular file and the identity it had when read. Opened without blocking, so
// that a FIFO put in place of a file cannot stall the engine.
std::string ReadFile(const std::string& file, struct stat& status) {
    struct Descriptor {
        int number;
        ~Descriptor() { close(number); }
    };
    const int descriptor = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) FailFile(file, std::strerror(errno));
    const Descriptor closer{descriptor};
    if (fstat(descriptor, &status) != 0) FailFile(file, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) FailFile(file, "not a regular file");
    if (status.st_size > kMaxFileSize) FailFile(file, "larger than 16 MiB");
    std::string text(std::size_t(status.st_size), '\0');
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = read(descriptor, &text[done], text.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) FailFile(file, std::strerror(errno));
        if (got == 0)
            break;  // shrunk while read: its new identity makes the next look read it again
        done += std::size_t(got);
    }
    text.resize(done);
    return text;
}

void CheckDefaultKeys(const std::string& file, const JsonValue& defaults) {
    for (auto member = defaults.MemberBegin(); member != defaults.MemberEnd(); ++member) {
        const std::string key = Text(member->name);
        if (key.empty() || KivConfigStore::kReservedNames.count(key) != 0 ||
            key == kSubObjectsMember) {
            FailShape(file, "\"defaults\" holds the key '" + key +
                                "', which is empty, reserved or the sub-objects member");
        }
    }
}

std::shared_ptr<const CompiledSchema> Compile(const std::string& file, const JsonValue& source) {
    Violation violation;
    if (!Check(MetaSchema(), source, violation, "the meta-schema")) {
        FailShape(file, "\"schema\" is not a draft 4 JSON Schema: '/schema" + violation.pointer +
                            "' " + violation.reason);
    }
    const std::string problem = SafetyCheck(source).Problem(source, "/schema");
    if (!problem.empty()) FailShape(file, "\"schema\" cannot be used: " + problem);
    return std::make_shared<const CompiledSchema>(source);
}

std::shared_ptr<const Schema> Load(const std::string& file, const std::string& text) {
    Json document;
    const std::string reason = ParseJson(text.data(), text.size(), document);
    if (!reason.empty()) FailFile(file, reason);
    if (!document.IsObject()) FailShape(file, "the file is not a JSON object");

    auto schema = std::make_shared<Schema>();
    schema->file = file;
    const auto version = document.FindMember("version");
    if (version != document.MemberEnd()) {
        if (!version->value.IsString()) FailShape(file, "\"version\" is not a string");
        schema->version = Text(version->value);
    }
    const auto singleton = document.FindMember("singleton");
    if (singleton != document.MemberEnd()) {
        if (!singleton->value.IsBool()) FailShape(file, "\"singleton\" is not true or false");
        schema->singleton = singleton->value.GetBool();
    }
    const auto defaults = document.FindMember("defaults");
    if (defaults != document.MemberEnd()) {
        if (!defaults->value.IsObject()) FailShape(file, "\"defaults\" is not an object");
        CheckDefaultKeys(file, defaults->value);
        static_cast<JsonValue&>(schema->defaults)
            .Swap(defaults->value);  // one allocator kind: the values just move
    }
    const auto source = document.FindMember("schema");
    if (source != document.MemberEnd()) {
        if (!source->value.IsObject()) FailShape(file, "\"schema\" is not an object");
        schema->compiled = Compile(file, source->value);
        Violation violation;
        // Defaults are a partial object: the object's own values supply its required keys.
        if (!Check(schema->compiled->document, schema->defaults, violation) &&
            !(violation.pointer.empty() && violation.keyword == "required")) {
            Fail(ERR_DEFAULT_CONFIG_INVALID,
                 file + ": '" + violation.pointer + "' " + violation.reason);
        }
    }
    return schema;
}

// Every read and write of an object asks for its schema: the files of a group directory are
// listed, and a schema file looked at, again only a second after the last look, so that most
// calls make no system call at all. Objects without schemas cost no memory of their own.
constexpr std::chrono::seconds kLookAgainAfter(1);
constexpr std::size_t kMaxCachedDirectories = 4096;  // beyond, the listings start afresh

struct CachedDirectory {
    std::set<std::string, std::less<>> files;  // empty when the directory is absent
    std::chrono::steady_clock::time_point seen;
};

struct CachedSchema {
    std::optional<FileIdentity> identity;
    std::shared_ptr<const Schema> schema;
    std::chrono::steady_clock::time_point seen;
};

// The names of the files in `directory`; none when it cannot be listed.
std::set<std::string, std::less<>> FilesIn(const std::string& directory) {
    std::set<std::string, std::less<>> files;
    DIR* listing = opendir(directory.c_str());
    if (listing == nullptr) return files;
    while (const dirent* entry = readdir(listing)) files.emplace(entry->d_name);
    closedir(listing);
    return files;
}

std::mutex gCacheMutex;
std::map<std::string, CachedDirectory> gDirectories;  // by directory path
std::map<std::string, CachedSchema> gCache;           // by file path, existing files only

}  // namespace

std::string ComponentsDirectory() {
    const char* chosen = std::getenv("CONFIGSTORE_COMPONENTS_DIR");
    return chosen != nullptr && chosen[0] != '\0' ? chosen : KivConfigStore::kComponentsPath;
}

std::shared_ptr<const Schema> SchemaOf(const std::string& component, const std::string& group,
                                       const std::string& key) {
    if (!IsPathComponent(component) || !IsPathComponent(group) || !IsPathComponent(key)) {
        return nullptr;
    }
    const std::string directory = ComponentsDirectory() + "/" + component + "/" + group;
    const std::string name = key + ".json";
    const std::string file = directory + "/" + name;
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard<std::mutex> lock(gCacheMutex);
    auto listed = gDirectories.find(directory);
    if (listed == gDirectories.end() || now - listed->second.seen >= kLookAgainAfter) {
        if (listed == gDirectories.end()) {
            if (gDirectories.size() >= kMaxCachedDirectories) gDirectories.clear();
            listed = gDirectories.emplace(directory, CachedDirectory{}).first;
        }
        listed->second = {FilesIn(directory), now};
    }
    auto cached = gCache.find(file);
    if (listed->second.files.count(name) == 0) {
        if (cached != gCache.end()) gCache.erase(cached);
        return nullptr;
    }
    if (cached != gCache.end() && now - cached->second.seen < kLookAgainAfter) {
        return cached->second.schema;
    }
    if (cached == gCache.end()) cached = gCache.emplace(file, CachedSchema{}).first;
    CachedSchema& entry = cached->second;
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        const int error = errno;
        gCache.erase(cached);
        if (error != ENOENT && error != ENOTDIR) FailFile(file, std::strerror(error));
        return nullptr;
    }
    if (entry.identity != FileIdentity(status)) {
        try {
            entry.schema = Load(file, ReadFile(file, status));
        } catch (...) {
            gCache.erase(cached);  // a broken file is read again at its next use
            throw;
        }
        entry.identity = FileIdentity(status);
    }
    entry.seen = now;
    return entry.schema;
}

void Validate(const Schema& schema, const JsonValue& values) {
    if (schema.compiled == nullptr) return;
    Violation violation;
    const std::lock_guard<std::mutex> lock(schema.compiled->validating);
    if (!Check(schema.compiled->document, values, violation)) {
        Fail<KivConfigStore::ValidationException>(ERR_VALIDATION_ERROR, violation.reason,
                                                  violation.pointer);
    }
}

}  // namespace standin
