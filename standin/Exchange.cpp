#include "Exchange.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <set>
#include <string_view>
#include <tuple>

#include "Errors.h"
#include "Filters.h"
#include "ImportLimit.h"

namespace standin {

using KivConfigStore::EngineState;
using KivConfigStore::ErrorInfo;

namespace {

constexpr char kFormat[] = "configstore/1";

const JsonValue* Member(const JsonValue& entry, const char* name) {
    const auto member = entry.FindMember(name);
    return member == entry.MemberEnd() ? nullptr : &member->value;
}

// The first member of `object` that is none of `known`; empty when there is none.
template <std::size_t N>
std::string UnknownMember(const JsonValue& object, const std::array<std::string_view, N>& known) {
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            return "unknown member '" + std::string(name) + "'";
        }
    }
    return {};
}

bool ClassNamed(const std::string& name, DataClass* dataClass) {
    for (int number = 0; number <= kValueClasses; ++number) {
        if (name == NameOf(static_cast<DataClass>(number))) {
            *dataClass = static_cast<DataClass>(number);
            return true;
        }
    }
    return false;
}

// Reads one entry of "objects" into a replacement; returns the problem, empty when none.
std::string ReadEntry(JsonValue& entry, Store::Replacement& replacement) {
    static constexpr std::array<std::string_view, 6> kFields{"key",        "group", "component",
                                                             "instanceId", "class", "values"};
    if (!entry.IsObject()) return "the entry is not a JSON object";
    if (std::string unknown = UnknownMember(entry, kFields); !unknown.empty()) return unknown;
    std::array<std::string, 4> identity;
    const char* const names[] = {"key", "group", "component", "instanceId"};
    for (std::size_t i = 0; i < identity.size(); ++i) {
        const JsonValue* field = Member(entry, names[i]);
        if (field == nullptr && i == 3) continue;
        if (field == nullptr || !field->IsString()) {
            return std::string("'") + names[i] + "' is " + (field ? "not a string" : "missing");
        }
        identity[i] = Text(*field);
    }
    KivConfigStore::ConfigStoreObjectId id(identity[0], identity[1], identity[2], identity[3]);
    replacement.name = NameOf(id);
    replacement.dataClass = DataClass::Configuration;
    if (const JsonValue* name = Member(entry, "class")) {
        if (!name->IsString() || !ClassNamed(Text(*name), &replacement.dataClass)) {
            return "'class' is not one of configuration, userData, vitalData, cachedData, desired";
        }
    }
    JsonValue* values = nullptr;
    const auto member = entry.FindMember("values");
    if (member != entry.MemberEnd()) values = &member->value;
    if (values == nullptr || !values->IsObject()) return "'values' is not a JSON object";
    try {
        CheckIdentity(id);
        Json document;
        static_cast<JsonValue&>(document).Swap(*values);
        replacement.object = std::make_shared<ConfigStoreObject>(id);
        EngineState::Of(*replacement.object).Adopt(document);
    } catch (const KivConfigStore::ConfigStoreException& e) {
        return e.what();
    }
    return {};
}

std::size_t NameHash(const Store::Replacement& replacement) {
    return std::hash<std::string>()(replacement.name) * 8 +
           static_cast<std::size_t>(replacement.dataClass);
}

// The names and classes of the entries that repeat an earlier entry's, in the document's order:
// the entries whose hashes (in `stored`, with their indexes) are equal are read again from
// `text` and compared by name.
std::vector<std::pair<std::string, DataClass>> Repeated(
    const std::string& text, std::vector<std::pair<std::size_t, std::size_t>> stored) {
    std::sort(stored.begin(), stored.end());
    std::set<std::size_t> suspects;
    for (std::size_t i = 1; i < stored.size(); ++i) {
        if (stored[i].first != stored[i - 1].first) continue;
        suspects.insert(stored[i - 1].second);
        suspects.insert(stored[i].second);
    }
    std::vector<std::pair<std::string, DataClass>> repeated;
    if (suspects.empty()) return repeated;
    std::set<std::pair<std::string, DataClass>> seen;
    std::size_t index = 0;
    const StreamedList objects{
        "objects", [&](JsonValue& entry) {
            Store::Replacement replacement;
            if (suspects.count(index++) != 0 && ReadEntry(entry, replacement).empty() &&
                !seen.emplace(replacement.name, replacement.dataClass).second) {
                repeated.emplace_back(replacement.name, replacement.dataClass);
            }
        }};
    Json document;
    ParseJson(text.data(), text.size(), document, &objects);
    return repeated;
}

// What makes the document, its objects aside, no exchange document; empty when nothing does.
std::string DocumentProblem(const Json& document) {
    static constexpr std::array<std::string_view, 2> kMembers{"format", "objects"};
    const JsonValue* format = document.IsObject() ? Member(document, "format") : nullptr;
    if (format == nullptr || !format->IsString() || Text(*format) != kFormat) {
        return std::string("the document's \"format\" is not \"") + kFormat + "\"";
    }
    const JsonValue* objects = Member(document, "objects");
    if (objects == nullptr || !objects->IsArray())
        return "the document's \"objects\" is not a list";
    return UnknownMember(document, kMembers);
}

// RapidJSON's output stream on the string that Export returns: the document is written once,
// in its final place, rather than into a buffer copied at the end. Characters gather in a
// chunk first, so that each one costs a store and a test, as in RapidJSON's own buffer.
class StringOutput {
public:
    using Ch = char;
    explicit StringOutput(std::string& text) : text_(text) {}
    void Put(char c) {
        if (next_ == std::end(chunk_)) Flush();
        *next_++ = c;
    }
    // The writer flushes when the document is complete.
    void Flush() {
        text_.append(chunk_, next_);
        next_ = chunk_;
    }

private:
    std::string& text_;
    char chunk_[16384];
    char* next_ = chunk_;
};

using ExportWriter =
    rapidjson::PrettyWriter<StringOutput, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator>;

// The entries of an object: one for each class it stores.
void WriteEntries(ExportWriter& writer, const Store::StoredIdentity& identity) {
    const auto string = [&](const std::string& text) {
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    };
    for (int dataClass = 0; dataClass <= kValueClasses; ++dataClass) {
        const auto& text = identity.texts[dataClass];
        if (!text) continue;
        writer.StartObject();
        writer.Key("key");
        string(identity.id.key);
        writer.Key("group");
        string(identity.id.group);
        writer.Key("component");
        string(identity.id.component);
        if (!identity.id.instanceId.empty()) {
            writer.Key("instanceId");
            string(identity.id.instanceId);
        }
        if (dataClass != static_cast<int>(DataClass::Configuration)) {
            writer.Key("class");
            writer.String(NameOf(static_cast<DataClass>(dataClass)));
        }
        writer.Key("values");
        // The stored text as it is: the engine wrote it, compact and valid.
        writer.RawValue(text->data(), text->size(), rapidjson::kObjectType);
        writer.EndObject();
    }
}

}  // namespace

bool ImportDocument(Store& store, const std::string& text, std::vector<ErrorInfo>& errors) {
    const auto refuse = [&](const std::string& key, const std::string& problem) {
        errors.push_back({key, Message(KivConfigStore::ERR_IMPORT_FAILED, problem)});
        return false;
    };
    if (const std::size_t limit = limits::ImportLimit(); text.size() > limit) {
        return refuse("", "the document is longer than " + std::to_string(limit) +
                              " bytes (CONFIGSTORE_IMPORT_MAX)");
    }
    // Each entry is stored as soon as it is read and then dropped, so that the document is
    // never held whole a second time; what the document turns out to be decides at the end
    // whether the store keeps the entries.
    return store.ReplaceAll(
        [&](const Store::Replace& replace) {
            const std::size_t firstError = errors.size();
            const auto refuseDocument = [&](CSErrorCodes code, const std::string& problem) {
                errors.erase(errors.begin() + static_cast<std::ptrdiff_t>(firstError),
                             errors.end());
                errors.push_back({"", Message(code, problem)});
                return false;
            };
            // An entry given twice is found by the hash of its name and class, kept with its
            // place in the document (16 bytes, where the names themselves would take about 90),
            // and confirmed by name once the document is read: the transaction that stored
            // both copies meanwhile is then cancelled.
            std::vector<std::pair<std::size_t, std::size_t>> stored;  // hash, entry's index
            bool readable = true;
            std::size_t index = 0;
            const auto storeEntry = [&](JsonValue& entry) {
                Store::Replacement replacement;
                const std::string problem = ReadEntry(entry, replacement);
                if (problem.empty()) {
                    stored.emplace_back(NameHash(replacement), index);
                    replace(replacement);
                } else {
                    refuse(replacement.name.empty() ? "objects/" + std::to_string(index)
                                                    : replacement.name,
                           problem);
                    readable = false;
                }
                ++index;
            };
            const StreamedList objects{"objects", storeEntry};
            Json document;
            const std::string problem = ParseJson(text.data(), text.size(), document, &objects);
            if (!problem.empty()) {
                return refuseDocument(KivConfigStore::ERR_JSON_PARSE_FAILED, problem);
            }
            const std::string shape = DocumentProblem(document);
            if (!shape.empty()) return refuseDocument(KivConfigStore::ERR_IMPORT_FAILED, shape);
            for (const auto& [name, dataClass] : Repeated(text, std::move(stored))) {
                refuse(name, std::string("its ") + NameOf(dataClass) + " appears twice");
                readable = false;
            }
            return readable;
        },
        errors);
}

std::string ExportDocument(Store& store,
                           const std::vector<std::shared_ptr<FilterSpecObject>>& filters,
                           const LeftOut& leftOut) {
    std::string document;
    StringOutput output(document);
    ExportWriter writer(output);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    writer.Key("format");
    writer.String(kFormat);
    writer.Key("objects");
    writer.StartArray();
    // One filter gives each object once, in order: each is written as the store reads it.
    // Several may select an object twice: their objects are collected, sorted and made unique.
    std::vector<Store::StoredIdentity> selected;
    for (const auto& filter : filters) {
        const FilterSpecObject& given = GivenFilter(filter.get());
        store.ForEachSelected(
            given, false, [&](Store::StoredIdentity& identity, std::shared_ptr<ConfigStoreObject>) {
                if (leftOut && leftOut(given, identity.id)) return;
                if (filters.size() == 1) return WriteEntries(writer, identity);
                selected.push_back({identity.id, std::move(identity.texts)});
            });
    }
    const auto order = [](const Store::StoredIdentity& identity) {
        const auto& id = identity.id;
        return std::tie(id.key, id.group, id.component, id.instanceId);
    };
    std::stable_sort(selected.begin(), selected.end(),
                     [&](const auto& a, const auto& b) { return order(a) < order(b); });
    selected.erase(std::unique(selected.begin(), selected.end(),
                               [&](const auto& a, const auto& b) { return order(a) == order(b); }),
                   selected.end());
    for (const Store::StoredIdentity& identity : selected) WriteEntries(writer, identity);
    writer.EndArray();
    writer.EndObject();
    return document;
}

}  // namespace standin
