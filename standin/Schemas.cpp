#include "Schemas.h"

#include <dirent.h>
#include <fcntl.h>
#include <kivconfigstore/CSLogger.h>
#include <kivconfigstore/ErrorCodes.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "Errors.h"
#include "PathComponent.h"
#include "SchemaDrafts.h"
#include "SchemaReasons.h"
#include "SchemaSafety.h"

namespace standin {

using SchemaValidator = rapidjson::GenericSchemaValidator<
    SchemaDocument, rapidjson::BaseReaderHandler<rapidjson::UTF8<>>, JsonAllocator>;

struct CompiledSchema {
    explicit CompiledSchema(const JsonValue& form) : document(form) { Assign(source, form); }
    SchemaDocument document;
    Json source;  // the draft 4 form compiled, which a failure's words quote
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

bool Is(const JsonValue& name, const char* text) {
    return name.GetStringLength() == std::strlen(text) &&
           std::memcmp(name.GetString(), text, name.GetStringLength()) == 0;
}

// ---- Validation ----

struct Violation {
    std::string pointer;  // of the offending value
    std::string keyword;
    std::string reason;
};

std::string Stringify(const JsonPointer& pointer) {
    JsonText text;
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

// False, with what failed where, when `values` break `schema`, compiled from `source` (when
// given, the reason quotes its limits).
bool Check(const SchemaDocument& schema, const JsonValue& values, Violation& violation,
           const JsonValue* source, const char* schemaName = "the schema") {
    SchemaValidator validator(schema);
    if (Feed(validator, values)) return true;
    const char* keyword = validator.GetInvalidSchemaKeyword();
    violation.keyword = keyword != nullptr ? keyword : "";
    violation.pointer = Stringify(validator.GetInvalidDocumentPointer());
    violation.reason = ReasonOf({keyword, source, validator.GetInvalidSchemaPointer(), values,
                                 validator.GetInvalidDocumentPointer()},
                                schemaName);
    return false;
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

// The schema's draft 4 form, checked: RapidJSON compiles it.
Draft4Form Translate(const std::string& file, const JsonValue& source) {
    Draft4Form form = ToDraft4(source);
    if (form.draft.empty()) {
        FailShape(file, "\"schema\" names a draft other than draft 4 or draft 7 in \"$schema\"");
    }
    if (!form.ignored.empty()) {
        const std::string advice =
            form.laterDraft ? "; add \"$schema\": \"" + std::string(kDraft7) + "\" for draft 7's"
                            : "";
        CSLogger::Log(CS_LOG_WARNING, "%s: keywords that %s does not know, ignored: %s%s",
                      file.c_str(), form.draft.c_str(), form.ignored.c_str(), advice.c_str());
    }
    Violation violation;
    if (!Check(MetaSchema(), form.schema, violation, nullptr, "the meta-schema")) {
        FailShape(file, "\"schema\" is not a " + form.draft + " JSON Schema: '/schema" +
                            violation.pointer + "' " + violation.reason);
    }
    const std::string problem = SafetyProblem(form.schema);
    if (!problem.empty()) FailShape(file, "\"schema\" cannot be used: " + problem);
    return form;
}

// Defaults are a partial object: each is checked against what the schema says of its key
// (properties, patternProperties, additionalProperties, propertyNames); the rules on the whole
// object (required, minProperties, allOf...) apply to the values a write leaves stored.
void CheckDefaults(const std::string& file, const Draft4Form& form, const JsonValue& defaults) {
    Json perKey;
    Assign(perKey, form.schema);
    for (const char* whole : {"required", "minProperties", "maxProperties", "dependencies", "anyOf",
                              "oneOf", "not", "enum", "type", "$ref"}) {
        perKey.RemoveMember(whole);
    }
    const auto all = perKey.FindMember("allOf");
    if (all != perKey.MemberEnd()) {
        JsonValue keyRules(rapidjson::kArrayType);
        for (const rapidjson::SizeType rule : form.keyRules) {
            keyRules.PushBack(all->value[rule], perKey.GetAllocator());
        }
        if (keyRules.Empty()) {
            perKey.RemoveMember(all);
        } else {
            all->value.Swap(keyRules);
        }
    }
    Violation violation;
    if (!Check(SchemaDocument(perKey), defaults, violation, &perKey)) {
        Fail(ERR_DEFAULT_CONFIG_INVALID,
             file + ": '" + violation.pointer + "' " + violation.reason);
    }
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
        // A boolean schema, as later drafts allow: true takes anything, false nothing.
        if (source->value.IsBool()) {
            const bool anything = source->value.GetBool();
            source->value.SetObject();
            if (!anything) {
                source->value.AddMember("not", JsonValue(rapidjson::kObjectType),
                                        document.GetAllocator());
            }
        }
        if (!source->value.IsObject())
            FailShape(file, "\"schema\" is neither an object nor a boolean");
        const Draft4Form form = Translate(file, source->value);
        CheckDefaults(file, form, schema->defaults);
        schema->compiled = std::make_shared<const CompiledSchema>(form.schema);
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

// The components directory that CONFIGSTORE_COMPONENTS_DIR names; null when it names none.
const char* NamedComponentsRoot() {
    const char* chosen = std::getenv("CONFIGSTORE_COMPONENTS_DIR");
    return chosen != nullptr && chosen[0] != '\0' ? chosen : nullptr;
}

// The components directory; no copy, as every object's read asks for it.
const char* ComponentsRoot() {
    const char* named = NamedComponentsRoot();
    return named != nullptr ? named : KivConfigStore::kComponentsPath.c_str();
}

// The last group directory this thread found without schema files, and when: most objects have
// no schema, and their reads and writes learn so here, without a lock, a copy or a system call.
struct NoSchemas {
    std::string component;
    std::string group;
    std::chrono::steady_clock::time_point seen;
};
thread_local std::optional<NoSchemas> tLastWithout;

std::mutex gCacheMutex;
std::map<std::string, CachedDirectory> gDirectories;  // by directory path
std::map<std::string, CachedSchema> gCache;           // by file path, existing files only

}  // namespace

std::string ComponentsDirectory() {
    return ComponentsRoot();
}

std::shared_ptr<const Schema> SchemaOf(const std::string& component, const std::string& group,
                                       const std::string& key) {
    if (!IsPathComponent(component) || !IsPathComponent(group) || !IsPathComponent(key)) {
        return nullptr;
    }
    const auto now = std::chrono::steady_clock::now();
    if (tLastWithout && now - tLastWithout->seen < kLookAgainAfter &&
        tLastWithout->component == component && tLastWithout->group == group) {
        return nullptr;
    }
    const char* const root = ComponentsRoot();
    std::string directory;
    directory.reserve(std::strlen(root) + component.size() + group.size() + key.size() + 8);
    directory.append(root).append("/").append(component).append("/").append(group);
    const std::lock_guard<std::mutex> lock(gCacheMutex);
    auto listed = gDirectories.find(directory);
    if (listed == gDirectories.end() || now - listed->second.seen >= kLookAgainAfter) {
        if (listed == gDirectories.end()) {
            if (gDirectories.size() >= kMaxCachedDirectories) gDirectories.clear();
            listed = gDirectories.emplace(directory, CachedDirectory{}).first;
        }
        listed->second = {FilesIn(directory), now};
        // A components directory named but missing would leave every object unchecked.
        struct stat status {};
        if (listed->second.files.empty() && NamedComponentsRoot() != nullptr &&
            (stat(root, &status) != 0 || !S_ISDIR(status.st_mode))) {
            gDirectories.erase(listed);
            Fail(ERR_SCHEMA_NOT_FOUND,
                 "the components directory that CONFIGSTORE_COMPONENTS_DIR names does not exist",
                 root);
        }
    }
    // Most objects have no schema, and most group directories none at all.
    if (listed->second.files.empty()) {
        if (!tLastWithout) tLastWithout.emplace();
        tLastWithout->component = component;
        tLastWithout->group = group;
        tLastWithout->seen = listed->second.seen;
        return nullptr;
    }
    const std::string name = key + ".json";
    const std::string file = directory + "/" + name;
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
    if (!Check(schema.compiled->document, values, violation, &schema.compiled->source)) {
        Fail<KivConfigStore::ValidationException>(ERR_VALIDATION_ERROR, violation.reason,
                                                  violation.pointer);
    }
}

}  // namespace standin
