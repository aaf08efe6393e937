#include "Exchange.h"

#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <tuple>

#include "ControlEscapes.h"

namespace csctl {
namespace {

// A document for Import, which takes C text: without a NUL byte, which would end it early.
std::string ReadDocument(const std::string& path) {
    std::string text = ReadFile(path);
    if (const std::size_t nul = text.find('\0'); nul != std::string::npos) {
        throw Failure{kDataError, path + ": a NUL byte at offset " + std::to_string(nul), {}};
    }
    return text;
}

bool IsText(const rapidjson::Value& entry, const char* name, bool required) {
    return entry.HasMember(name) ? entry[name].IsString() : !required;
}

// A document read as far as csctl needs it: its objects' names, classes and values. The store
// checks the rest when it imports the document.
rapidjson::Document ParseDocument(const std::string& path, const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str(), text.size());
    if (document.HasParseError()) {
        throw Failure{kDataError,
                      path +
                          ": not JSON: " + rapidjson::GetParseError_En(document.GetParseError()) +
                          " (offset " + std::to_string(document.GetErrorOffset()) + ")",
                      {}};
    }
    if (!document.IsObject() || !document.HasMember("objects") || !document["objects"].IsArray()) {
        throw Failure{kDataError, path + ": not an exchange document (no \"objects\" list)", {}};
    }
    std::size_t index = 0;
    for (const auto& entry : document["objects"].GetArray()) {
        const bool named = entry.IsObject() && IsText(entry, "key", true) &&
                           IsText(entry, "group", true) && IsText(entry, "component", true) &&
                           IsText(entry, "instanceId", false) && IsText(entry, "class", false);
        if (!named || !entry.HasMember("values") || !entry["values"].IsObject()) {
            throw Failure{kDataError,
                          path + ": objects/" + std::to_string(index) +
                              " has no key, group, component and values",
                          {}};
        }
        ++index;
    }
    return document;
}

// The identities of an exchange document's entries, read without building the document's tree:
// a large document is then held once, as its text. What is not a document names nothing.
struct EntryNames : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, EntryNames> {
    std::vector<Identity> identities;
    int depth = 0;  // of the containers open: the root 1, "objects" 2, an entry 3
    bool objectsNext = false;
    bool inObjects = false;
    std::string member;

    bool Key(const char* text, rapidjson::SizeType length, bool) {
        member.assign(text, length);
        if (depth == 1) objectsNext = member == "objects";
        return true;
    }
    bool String(const char* text, rapidjson::SizeType length, bool) {
        if (!inObjects || depth != 3) return true;
        Identity& identity = identities.back();
        std::string* field = member == "key"          ? &identity.key
                             : member == "group"      ? &identity.group
                             : member == "component"  ? &identity.component
                             : member == "instanceId" ? &identity.instance
                                                      : nullptr;
        if (field != nullptr) field->assign(text, length);
        return true;
    }
    bool StartObject() {
        if (++depth == 3 && inObjects) identities.emplace_back();
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        --depth;
        return true;
    }
    bool StartArray() {
        if (++depth == 2 && objectsNext) inObjects = true;
        return true;
    }
    bool EndArray(rapidjson::SizeType) {
        if (depth-- == 2) inObjects = false;
        return true;
    }
};

std::vector<Identity> NamesIn(const char* text) {
    EntryNames names;
    rapidjson::StringStream stream(text);
    rapidjson::Reader().Parse(stream, names);
    return std::move(names.identities);
}

// The keys, groups and components that identities name, each once.
using Keys = std::set<std::tuple<std::string, std::string, std::string>>;
Keys KeysOf(std::vector<Identity>::const_iterator first,
            const std::vector<Identity>::const_iterator& end) {
    Keys keys;
    for (; first != end; ++first) keys.emplace(first->key, first->group, first->component);
    return keys;
}

// The filters of `keys` from `first` on, at most `count`: each selects every instance.
std::vector<Filter> FiltersOf(Keys::const_iterator first, const Keys::const_iterator& end,
                              std::size_t count) {
    std::vector<Filter> filters;
    for (; first != end && filters.size() < count; ++first) {
        const auto& [key, group, component] = *first;
        filters.push_back(MakeFilter({key, group, component, "", {}}));
    }
    return filters;
}
std::vector<Filter> FiltersOf(const std::vector<Identity>& identities) {
    const Keys keys = KeysOf(identities.begin(), identities.end());
    return FiltersOf(keys.begin(), keys.end(), keys.size());
}

std::vector<Identity> IdentitiesOf(const rapidjson::Document& document) {
    std::vector<Identity> identities;
    for (const auto& entry : document["objects"].GetArray()) {
        identities.push_back(IdentityOf(entry));
    }
    return identities;
}

std::vector<FilterSpecObjectStruct*> Handles(const std::vector<Filter>& filters) {
    std::vector<FilterSpecObjectStruct*> handles;
    for (const Filter& filter : filters) handles.push_back(filter.get());
    return handles;
}

// The stored objects that the filters select; none without a filter.
rapidjson::Document StoredUnder(const std::vector<Filter>& filters) {
    if (filters.empty()) return ParseDocument("", R"({"objects": []})");
    return ExportedBy(Handles(filters));
}

// Each entry of a document by its identity and class, in a stable order.
std::map<std::string, const rapidjson::Value*> EntriesOf(const rapidjson::Value& document) {
    std::map<std::string, const rapidjson::Value*> entries;
    for (const auto& entry : document["objects"].GetArray()) {
        rapidjson::Document name(rapidjson::kArrayType);
        auto& allocator = name.GetAllocator();
        name.PushBack(IdentityJson(IdentityOf(entry), allocator), allocator);
        name.PushBack(rapidjson::StringRef(ClassOf(entry)), allocator);
        entries[JsonText(name)] = &entry;
    }
    return entries;
}

// The values of one side of a difference: an entry's, or none.
const rapidjson::Value& ValuesOf(const rapidjson::Value* entry) {
    static const rapidjson::Value kNone(rapidjson::kObjectType);
    return entry != nullptr ? (*entry)["values"] : kNone;
}

}  // namespace

void ImportText(const std::string& text) {
    ErrorList errors;
    const ConfigStoreCStatus status =
        Logged([&] { return Import(text.c_str(), &errors.items, &errors.count); });
    if (status == CS_C_OK) return;
    const std::string& logged = LastLogLine();
    Failure failure{status, logged.empty() ? "the store refused the document" : logged, {}};
    for (int i = 0; i < errors.count; ++i) {
        char *key = nullptr, *message = nullptr;
        GetErrorInfoKey(errors.items[i], &key);
        GetErrorInfoMessage(errors.items[i], &message);
        const Text keyText(key), messageText(message);
        failure.entries.emplace_back(keyText ? keyText.get() : "",
                                     messageText ? messageText.get() : "");
    }
    throw failure;
}

void AddDifferences(const rapidjson::Value* stored, const rapidjson::Value* documented,
                    rapidjson::Document& differences, const char* first, const char* second) {
    auto& allocator = differences.GetAllocator();
    const rapidjson::Value& from = ValuesOf(stored);
    const rapidjson::Value& to = ValuesOf(documented);
    std::set<std::string> keys;
    for (const rapidjson::Value* values : {&from, &to}) {
        for (const auto& member : values->GetObject()) keys.insert(member.name.GetString());
    }
    const rapidjson::Value& entry = stored != nullptr ? *stored : *documented;
    for (const std::string& key : keys) {
        const auto before = from.FindMember(key.c_str());
        const auto after = to.FindMember(key.c_str());
        const bool hasBefore = before != from.MemberEnd();
        const bool hasAfter = after != to.MemberEnd();
        if (hasBefore && hasAfter && before->value == after->value) continue;
        rapidjson::Value difference = IdentityJson(IdentityOf(entry), allocator);
        difference.AddMember("class", rapidjson::Value(ClassOf(entry), allocator), allocator);
        difference.AddMember("value", rapidjson::Value(key.c_str(), allocator), allocator);
        if (hasBefore) {
            difference.AddMember(rapidjson::StringRef(first),
                                 rapidjson::Value(before->value, allocator), allocator);
        }
        if (hasAfter) {
            difference.AddMember(rapidjson::StringRef(second),
                                 rapidjson::Value(after->value, allocator), allocator);
        }
        differences.PushBack(difference, allocator);
    }
}

namespace {

std::string Pretty(const rapidjson::Value& values) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    values.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

void WriteWhole(const std::string& path, const std::string& text) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const bool written =
        file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file == nullptr || std::fclose(file) != 0 || !written) {
        throw Failure{kOutputError, "cannot write " + path + ": " + std::strerror(errno), {}};
    }
}

// Runs the user's editor on `path` as a shell would ($VISUAL, else $EDITOR, else vi).
void RunEditor(const std::string& path) {
    const char* visual = std::getenv("VISUAL");
    const char* editor = visual != nullptr && *visual != '\0' ? visual : std::getenv("EDITOR");
    const std::string command =
        std::string(editor != nullptr && *editor != '\0' ? editor : "vi") + " " + path;
    const int status = std::system(command.c_str());
    if (status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw Failure{kUsage, "the editor failed (" + command + "): nothing was stored", {}};
    }
}

// Deletes every stored instance of `keys`, which have instances, in the engine, key by key.
void DeleteInstancesOf(ConfigStoreStruct* store, const Keys& keys) {
    for (const auto& [key, group, component] : keys) {
        const Filter filter = MakeFilter({key, group, component, "", {}});
        Check(Logged([&] { return DeleteInstances(store, filter.get()); }),
              "cannot delete the instances of " + key);
    }
}

// Deletes every stored object of `keys`, which may be singletons (a list operation would refuse
// them), named by the store's export of them, a few hundred keys at a time: a document of many
// keys is then never held as filters or exported at once.
void DeleteStored(ConfigStoreStruct* store, const Keys& keys) {
    constexpr std::size_t kKeysAtOnce = 256;
    for (auto first = keys.begin(); first != keys.end();) {
        const std::vector<Filter> filters = FiltersOf(first, keys.end(), kKeysAtOnce);
        std::advance(first, static_cast<std::ptrdiff_t>(filters.size()));
        Text text = ExportText(Handles(filters));
        const std::vector<Identity> stored = NamesIn(text.get());
        text.reset();
        std::set<std::string> deleted;
        for (const Identity& identity : stored) {
            if (!deleted.insert(Name(identity)).second) continue;
            Check(Logged([&] {
                      return Delete(
                          store, identity.key.c_str(), identity.group.c_str(),
                          identity.component.c_str(),
                          identity.instance.empty() ? nullptr : identity.instance.c_str());
                  }),
                  "cannot delete " + Name(identity));
        }
    }
}

}  // namespace

void RunExport(Session& session, const std::vector<std::string>& keys, const Identity& pattern) {
    std::vector<Filter> filters;
    if (keys.empty()) filters.push_back(MakeFilter(pattern));
    for (const std::string& key : keys) {
        filters.push_back(
            MakeFilter({key, pattern.group, pattern.component, pattern.instance, {}}));
    }
    session.store();  // the namespace must exist
    session.output().Document(ExportText(Handles(filters)).get());
}

void RunImport(Session& session, const std::string& path, bool dryRun, bool replace) {
    const std::string text = ReadDocument(path);
    ConfigStoreStruct* store = session.store();
    Keys listed, single;  // the keys of entries with an instance id, and of those without
    if (replace) {
        std::vector<Identity> names = NamesIn(text.c_str());
        const auto split = std::partition(names.begin(), names.end(), [](const Identity& name) {
            return !name.instance.empty();
        });
        listed = KeysOf(names.begin(), split);
        single = KeysOf(split, names.end());
    }
    // Import is a transaction of its own, or joins this one, with the store's other writes.
    session.Transaction(!dryRun, [&] {
        DeleteInstancesOf(store, listed);
        DeleteStored(store, single);
        listed.clear();
        single.clear();
        ImportText(text);
    });
    session.output().Done();
}

bool RunDiff(Session& session, const std::string& path) {
    const rapidjson::Document document = ParseDocument(path, ReadDocument(path));
    session.store();  // the namespace must exist
    const rapidjson::Document stored = StoredUnder(FiltersOf(IdentitiesOf(document)));
    const auto before = EntriesOf(stored);
    const auto after = EntriesOf(document);
    rapidjson::Document differences(rapidjson::kArrayType);
    for (const auto& [name, entry] : before) {
        const auto match = after.find(name);
        AddDifferences(entry, match == after.end() ? nullptr : match->second, differences);
    }
    for (const auto& [name, entry] : after) {
        if (before.count(name) == 0) AddDifferences(nullptr, entry, differences);
    }
    session.output().Differences(differences);
    return !differences.Empty();
}

void RunEdit(Session& session, const Identity& identity, DataClass dataClass) {
    CheckIdentity(identity);
    session.store();
    const std::string original = Pretty(StoredClass(identity, dataClass));
    const char* directory = std::getenv("TMPDIR");
    std::string path =
        std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
        "/csctl-XXXXXX.json";
    const int descriptor = mkstemps(path.data(), 5);
    if (descriptor < 0) {
        throw Failure{kOutputError,
                      "cannot make a file to edit in: " + std::string(std::strerror(errno)),
                      {}};
    }
    close(descriptor);
    WriteWhole(path, original);
    std::string shown = original;
    for (bool refused = false;; refused = true) {
        RunEditor(path);
        const std::string text = ReadFile(path);
        if (text == shown && !refused) {  // nothing changed
            std::remove(path.c_str());
            return session.output().Done();
        }
        if (text == shown) {
            throw Failure{
                kDataError, "the text was refused and left as it was; it is in " + path, {}};
        }
        shown = text;
        try {
            rapidjson::Document values;
            values.Parse(text.c_str(), text.size());
            if (values.HasParseError() || !values.IsObject()) {
                throw Failure{kDataError, "not a JSON object of values", {}};
            }
            Write write;
            write.identity = identity;
            write.dataClass = dataClass;
            write.replace = true;
            for (const auto& member : values.GetObject()) {
                Assignment assignment{member.name.GetString(), {}};
                assignment.value.object = JsonText(member.value);
                write.values.push_back(assignment);
            }
            RunWrites(session, {write});
            std::remove(path.c_str());
            return;
        } catch (const Failure& failure) {
            if (failure.status == kOutputError) throw;
            std::fprintf(stderr,
                         "csctl: %s\ncsctl: the editor opens again: correct the text, or leave "
                         "it as it is to give up\n",
                         escapes::Escaped(failure.message).c_str());
        }
    }
}

void RunWatch(Session& session, const Identity& pattern, double interval, int count) {
    const Filter filter = MakeFilter(pattern);
    Output& output = session.output();
    // Until a look finds an object, each look opens the store anew: the default namespace,
    // read-only, reads as empty until its database is made. Then the session holds the store
    // open, so that a look does not check the files again.
    const auto look = [&] {
        std::map<std::string, std::string> seen;
        const rapidjson::Document exported = ExportedBy({filter.get()});
        for (const auto& [name, entry] : EntriesOf(exported)) {
            seen[name] = JsonText((*entry)["values"]);
        }
        if (!seen.empty()) session.store();
        return seen;
    };
    std::map<std::string, std::string> before = look();
    for (int printed = 0; count == 0 || printed < count;) {
        usleep(static_cast<useconds_t>(interval * 1e6));
        std::map<std::string, std::string> after = look();
        for (auto now = after.begin(), then = before.begin();
             (now != after.end() || then != before.end()) && (count == 0 || printed < count);) {
            const int order = now == after.end()     ? 1
                              : then == before.end() ? -1
                                                     : now->first.compare(then->first);
            rapidjson::Document change;
            change.Parse((order <= 0 ? now : then)->first.c_str());  // [identity, class]
            rapidjson::Value entry(change[0], change.GetAllocator());
            entry.AddMember("class", change[1], change.GetAllocator());
            if (order > 0) {
                entry.AddMember("deleted", true, change.GetAllocator());
            } else if (order < 0 || now->second != then->second) {
                rapidjson::Document values(&change.GetAllocator());
                values.Parse(now->second.c_str());
                entry.AddMember("values", values, change.GetAllocator());
            }
            if (entry.HasMember("values") || entry.HasMember("deleted")) {
                output.Change(entry);
                ++printed;
            }
            if (order <= 0) ++now;
            if (order >= 0) ++then;
        }
        if (!output.Flush()) throw Failure{kOutputError, "cannot write the output", {}};
        before = std::move(after);
    }
}

}  // namespace csctl
