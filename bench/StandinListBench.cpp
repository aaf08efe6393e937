// Lists of objects through the C interface on the stand-in engine, each beside a baseline on
// SQLite and RapidJSON: the instances a filter selects, the exchange document imported and
// exported, and what a schema's validation adds to a write.
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string_view>

#include "StandinBench.h"

namespace standin_bench {
namespace {

constexpr int kExchanged = 10000;  // objects in the exchange document
// A value every list object holds alike, for filters that test a value as well.
constexpr const char* kSiteKey = "site";
constexpr const char* kSite = "lab";

// The compact JSON text of list object `index`'s values, as the engine stores them.
std::string ListDocument(int index) {
    rapidjson::Document document(rapidjson::kObjectType);
    AddValues(document, Values(index));
    document.AddMember(rapidjson::StringRef(kSiteKey), rapidjson::StringRef(kSite),
                       document.GetAllocator());
    return CompactText(document);
}

// ---- Engine side ---------------------------------------------------------------------------

ConfigStoreObjectStruct* NewListObject(int index) {
    ConfigStoreObjectStruct* object =
        NewEngineObject(ListKey(index), Values(index), InstanceOf(index).c_str());
    Require(SetValueStr(object, kSiteKey, kSite), "SetValueStr");
    return object;
}

void RequireImport(const std::string& document) {
    ErrorInfoStruct** errors = nullptr;
    int count = 0;
    const int status = Import(document.c_str(), &errors, &count);
    if (status == CS_C_OK) return;
    std::string reason = "Import returned " + std::to_string(status);
    char* message = nullptr;
    if (count > 0 && GetErrorInfoMessage(errors[0], &message) == CS_C_OK) {
        reason += std::string(": ") + message;
        std::free(message);
    }
    DestroyErrorInfoList(&errors, count);
    Abandon(reason);
}

// A filter spec with every field empty: it selects the whole store.
FilterSpecObjectStruct* everything = nullptr;

FilterSpecObjectStruct* Everything() {
    if (everything == nullptr) {
        Require(CreateFilterSpecObject("", "", "", nullptr, &everything), "CreateFilterSpecObject");
    }
    return everything;
}

// The default namespace, where Import and Export act. Held open from the first use: a store
// that no handle holds is opened again by each of them, with its integrity check.
ConfigStoreStruct* DefaultStore() {
    return EngineStore("");
}

void EmptyDefaultStore() {
    Require(DeleteInstances(DefaultStore(), Everything()), "DeleteInstances");
}

// ---- Baseline side: a table of the engine's layout ------------------------------------------

// An object as a list hands it out: its identity and its parsed values.
struct ListedObject {
    std::string key;
    std::string group;
    std::string component;
    std::string instance;
    JsonDocument values;
};

// The configuration of objects of any identity, one row per object (class 0).
class BaselineObjects {
public:
    explicit BaselineObjects(const std::string& name)
        : db_(name, kObjectsTable),
          selectIdentity_(db_.Prepare("SELECT class, document FROM objects WHERE key = ?1"
                                      " AND grp = ?2 AND component = ?3 AND instance = ?4")),
          insert_(db_.Prepare("INSERT OR REPLACE INTO objects VALUES(?1, ?2, ?3, ?4, 0, ?5, 1)")),
          selectKey_(
              db_.Prepare("SELECT instance, document FROM objects WHERE key = ?1 AND grp = ?2"
                          " AND component = ?3 AND class = 0 ORDER BY instance")),
          selectAll_(db_.Prepare("SELECT key, grp, component, instance, document FROM objects"
                                 " WHERE class = 0 ORDER BY key, grp, component, instance")) {}

    void Begin() { db_.Begin(); }
    void Commit() { db_.Commit(); }
    void Clear() { db_.Execute("DELETE FROM objects"); }

    // Stores an object's configuration as a store of several classes must: it reads what the
    // identity holds first, since a write merges with it.
    void Put(std::string_view key, std::string_view group, std::string_view component,
             std::string_view instance, std::string_view document) {
        const std::string_view identity[] = {key, group, component, instance};
        for (int field = 0; field < 4; ++field)
            BindText(selectIdentity_, field + 1, identity[field]);
        while (sqlite3_step(selectIdentity_) == SQLITE_ROW) {
            JsonDocument stored;
            const std::string_view text = ColumnText(selectIdentity_, 1);
            stored.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
        }
        sqlite3_reset(selectIdentity_);
        for (int field = 0; field < 4; ++field) BindText(insert_, field + 1, identity[field]);
        BindText(insert_, 5, document);
        if (sqlite3_step(insert_) != SQLITE_DONE) db_.Fail("insert");
        sqlite3_reset(insert_);
    }

    // The instances of `key`, parsed; with `site`, only those whose value equals it.
    std::vector<ListedObject> List(const std::string& key, const char* site) {
        std::vector<ListedObject> objects;
        BindText(selectKey_, 1, key);
        BindText(selectKey_, 2, kGroup);
        BindText(selectKey_, 3, kComponent);
        const JsonDocument::ValueType wanted(rapidjson::StringRef(site != nullptr ? site : ""));
        while (sqlite3_step(selectKey_) == SQLITE_ROW) {
            JsonDocument values;
            const std::string_view text = ColumnText(selectKey_, 1);
            values.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
            if (!values.IsObject()) db_.Fail("parse");
            if (site != nullptr) {
                const auto held = values.FindMember(kSiteKey);
                if (held == values.MemberEnd() || held->value != wanted) continue;
            }
            objects.push_back({key, kGroup, kComponent, std::string(ColumnText(selectKey_, 0)),
                               std::move(values)});
        }
        sqlite3_reset(selectKey_);
        return objects;
    }

    // Parses an exchange document and stores every object of it in one transaction.
    void Import(const std::string& text) {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
        if (!document.IsObject()) db_.Fail("parse the document");
        const auto format = document.FindMember("format");
        const auto objects = document.FindMember("objects");
        if (format == document.MemberEnd() || format->value != "configstore/1" ||
            objects == document.MemberEnd() || !objects->value.IsArray()) {
            db_.Fail("read the document");
        }
        Begin();
        for (const auto& entry : objects->value.GetArray()) {
            const auto field = [&](const char* name) -> std::string_view {
                const auto member = entry.FindMember(name);
                if (member == entry.MemberEnd() || !member->value.IsString()) return {};
                return {member->value.GetString(), member->value.GetStringLength()};
            };
            const auto values = entry.FindMember("values");
            if (field("key").empty() || field("group").empty() || field("component").empty() ||
                values == entry.MemberEnd() || !values->value.IsObject()) {
                db_.Fail("read an entry");
            }
            rapidjson::StringBuffer stored;
            rapidjson::Writer<rapidjson::StringBuffer> writer(stored);
            values->value.Accept(writer);
            Put(field("key"), field("group"), field("component"), field("instanceId"),
                {stored.GetString(), stored.GetSize()});
        }
        Commit();
    }

    // Writes every object as the engine's Export does.
    std::string Export() {
        rapidjson::StringBuffer buffer;
        rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
        writer.SetIndent(' ', 2);
        const auto string = [&](std::string_view text) {
            writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        };
        writer.StartObject();
        writer.Key("format");
        writer.String("configstore/1");
        writer.Key("objects");
        writer.StartArray();
        while (sqlite3_step(selectAll_) == SQLITE_ROW) {
            writer.StartObject();
            const char* const names[] = {"key", "group", "component", "instanceId"};
            for (int column = 0; column < 4; ++column) {
                const std::string_view text = ColumnText(selectAll_, column);
                if (column == 3 && text.empty()) continue;
                writer.Key(names[column]);
                string(text);
            }
            writer.Key("values");
            const std::string_view values = ColumnText(selectAll_, 4);
            writer.RawValue(values.data(), values.size(), rapidjson::kObjectType);
            writer.EndObject();
        }
        sqlite3_reset(selectAll_);
        writer.EndArray();
        writer.EndObject();
        return std::string(buffer.GetString(), buffer.GetSize());
    }

private:
    BaselineDatabase db_;
    sqlite3_stmt* selectIdentity_;
    sqlite3_stmt* insert_;
    sqlite3_stmt* selectKey_;
    sqlite3_stmt* selectAll_;
};

std::map<std::string, std::unique_ptr<BaselineObjects>> baselines;

BaselineObjects& Baseline(const std::string& name) {
    auto& baseline = baselines[name];
    if (!baseline) baseline = std::make_unique<BaselineObjects>(name);
    return *baseline;
}

// ---- Instance lists: 1,000 instances of one key out of `count` objects --------------------------

struct ListStores {
    ConfigStoreStruct* engine;
    BaselineObjects* baseline;
    std::string selectedKey;
};

// Filled once, in one transaction each: count / kInstances keys of kInstances instances.
ListStores& ListStoresOf(int count) {
    static std::map<int, ListStores> filled;
    auto found = filled.find(count);
    if (found != filled.end()) return found->second;
    const std::string name = "list" + std::to_string(count);
    ListStores stores{EngineStore(name), &Baseline(name), KeyOf(count / kInstances / 2)};
    Require(BeginTransaction(stores.engine), "BeginTransaction");
    stores.baseline->Begin();
    for (int index = 0; index < count; ++index) {
        ConfigStoreObjectStruct* object = NewListObject(index);
        Require(Set(stores.engine, object, "INTERNAL"), "Set");
        DestroyConfigStoreObject(object);
        stores.baseline->Put(ListKey(index), kGroup, kComponent, InstanceOf(index),
                             ListDocument(index));
    }
    Require(CommitTransaction(stores.engine), "CommitTransaction");
    stores.baseline->Commit();
    return filled.emplace(count, std::move(stores)).first->second;
}

// The filter names key, group and component; `byValue` adds a value all instances hold.
void ListEngine(benchmark::State& state, bool byValue) {
    const ListStores& stores = ListStoresOf(static_cast<int>(state.range(0)));
    FilterSpecObjectStruct* filter = nullptr;
    Require(
        CreateFilterSpecObject(stores.selectedKey.c_str(), kGroup, kComponent, nullptr, &filter),
        "CreateFilterSpecObject");
    if (byValue) Require(SetValueFsoStr(filter, kSiteKey, kSite), "SetValueFsoStr");
    for (auto _ : state) {
        ConfigStoreObjectStruct** objects = nullptr;
        int count = 0;
        Require(GetInstances(stores.engine, filter, &objects, &count), "GetInstances");
        if (count != kInstances) Abandon("GetInstances listed " + std::to_string(count));
        for (int i = 0; i < count; ++i) DestroyConfigStoreObject(objects[i]);
        std::free(objects);
    }
    DestroyFilterSpecObject(filter);
}

void ListBaseline(benchmark::State& state, bool byValue) {
    const ListStores& stores = ListStoresOf(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const std::vector<ListedObject> objects =
            stores.baseline->List(stores.selectedKey, byValue ? kSite : nullptr);
        if (objects.size() != kInstances)
            Abandon("the baseline listed " + std::to_string(objects.size()));
        benchmark::DoNotOptimize(objects.data());
    }
}

void GetInstancesEngine(benchmark::State& state) {
    ListEngine(state, false);
}
void GetInstancesBaseline(benchmark::State& state) {
    ListBaseline(state, false);
}
void GetInstancesByValueEngine(benchmark::State& state) {
    ListEngine(state, true);
}
void GetInstancesByValueBaseline(benchmark::State& state) {
    ListBaseline(state, true);
}

// ---- The exchange document: kExchanged objects imported into an empty store, exported -------

}  // namespace

// List objects 0 to count - 1, in the store's order, as Export writes them; made once a count.
const std::string& ExchangeDocument(int count) {
    static std::map<int, std::string> documents;
    std::string& text = documents[count];
    if (!text.empty()) return text;
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    writer.Key("format");
    writer.String("configstore/1");
    writer.Key("objects");
    writer.StartArray();
    for (int index = 0; index < count; ++index) {
        writer.StartObject();
        writer.Key("key");
        writer.String(ListKey(index).c_str());
        writer.Key("group");
        writer.String(kGroup);
        writer.Key("component");
        writer.String(kComponent);
        writer.Key("instanceId");
        writer.String(InstanceOf(index).c_str());
        writer.Key("values");
        const std::string values = ListDocument(index);
        writer.RawValue(values.data(), values.size(), rapidjson::kObjectType);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    text.assign(buffer.GetString(), buffer.GetSize());
    return text;
}

void BaselineImport(const std::string& name, const std::string& document) {
    Baseline(name).Import(document);
}

std::string BaselineExport(const std::string& name) {
    return Baseline(name).Export();
}

namespace {

// Each iteration imports into an empty default store, emptied again with the timing paused.
void ImportEngine(benchmark::State& state) {
    const std::string& document = ExchangeDocument(kExchanged);
    EmptyDefaultStore();
    for (auto _ : state) {
        RequireImport(document);
        state.PauseTiming();
        EmptyDefaultStore();
        state.ResumeTiming();
    }
}

void ImportBaseline(benchmark::State& state) {
    const std::string& document = ExchangeDocument(kExchanged);
    BaselineObjects& baseline = Baseline("exchange");
    baseline.Clear();
    for (auto _ : state) {
        baseline.Import(document);
        state.PauseTiming();
        baseline.Clear();
        state.ResumeTiming();
    }
}

// Export of the whole store holding the document's objects, imported before the loop. Both
// sides must write the document that was imported.
void ExportEngine(benchmark::State& state) {
    DefaultStore();
    RequireImport(ExchangeDocument(kExchanged));
    FilterSpecObjectStruct* filter = Everything();
    char* document = nullptr;
    Require(Export(&filter, 1, &document), "Export");
    const bool same = document == ExchangeDocument(kExchanged);
    std::free(document);
    if (!same) state.SkipWithError("Export wrote another document");
    for (auto _ : state) {
        Require(Export(&filter, 1, &document), "Export");
        std::free(document);
    }
    EmptyDefaultStore();
}

void ExportBaseline(benchmark::State& state) {
    BaselineObjects& baseline = Baseline("exchange");
    baseline.Import(ExchangeDocument(kExchanged));
    if (baseline.Export() != ExchangeDocument(kExchanged)) {
        state.SkipWithError("the baseline wrote another document");
    }
    for (auto _ : state) {
        const std::string document = baseline.Export();
        benchmark::DoNotOptimize(document.data());
    }
    baseline.Clear();
}

// ---- A write validated against a schema, beside the same write without one -------------------

// The schema of the key "validated"; the key "unvalidated" has no schema file. Both live in a
// component of their own, so that the other benchmarks' objects have no schema directory.
constexpr const char* kSchemaComponent = "validation";
const char* const kSchemaFile = R"({
  "version": "1.0",
  "singleton": true,
  "schema": {
    "type": "object",
    "properties": {
      "port": {"type": "integer", "minimum": 1, "maximum": 65535},
      "timeout": {"type": "integer", "minimum": 1},
      "retries": {"type": "integer", "minimum": 0, "maximum": 10},
      "name": {"type": "string", "minLength": 1, "maxLength": 64},
      "enabled": {"type": "boolean"},
      "ratio": {"type": "number", "minimum": 0, "maximum": 1},
      "tags": {"type": "array", "items": {"type": "string"}, "maxItems": 8}
    },
    "required": ["port", "name"]
  }
})";

void WriteComponents() {
    const std::string components = stateDir + "/components";
    const std::string directory = components + "/" + kSchemaComponent + "/" + kGroup;
    std::filesystem::create_directories(directory);
    std::ofstream(directory + "/validated.json") << kSchemaFile;
    setenv("CONFIGSTORE_COMPONENTS_DIR", components.c_str(), 1);
}

// Whether the engine knows the schema and refuses a value it breaks (one refusal is logged).
bool EngineValidates() {
    static const bool validates = [] {
        char* version = nullptr;
        if (GetSchemaVersion("validated", kGroup, kSchemaComponent, &version) != CS_C_OK)
            return false;
        std::free(version);
        Values broken(0);
        broken.port = 0;
        ConfigStoreObjectStruct* object =
            NewEngineObject("validated", broken, nullptr, kSchemaComponent);
        const int status = Set(EngineStore("validation"), object, "INTERNAL");
        DestroyConfigStoreObject(object);
        return status == CS_C_VALIDATION_ERROR;
    }();
    return validates;
}

// The same Set of one object again and again, a value changed each time, inside one open
// transaction committed after the loop: no wait for the disk hides what validation costs.
void RepeatedSet(benchmark::State& state, const char* key) {
    ConfigStoreStruct* store = EngineStore("validation");
    ConfigStoreObjectStruct* object = NewEngineObject(key, Values(0), nullptr, kSchemaComponent);
    Require(BeginTransaction(store), "BeginTransaction");
    int written = 0;
    for (auto _ : state) {
        Require(SetValueInt(object, "retries", ++written % 5), "SetValueInt");
        Require(Set(store, object, "INTERNAL"), "Set");
    }
    Require(CommitTransaction(store), "CommitTransaction");
    DestroyConfigStoreObject(object);
}

void ValidatedWrite(benchmark::State& state) {
    if (!EngineValidates()) {
        state.SkipWithError("the engine does not validate against the schema");
        return;
    }
    RepeatedSet(state, "validated");
}

void UnvalidatedWrite(benchmark::State& state) {
    RepeatedSet(state, "unvalidated");
}

}  // namespace

void RegisterListBenchmarks() {
    WriteComponents();
    for (const int size : {10000, 100000}) {
        const auto configure = [size](auto* b) {
            b->Arg(size)->MinTime(0.2)->Repetitions(5)->Unit(benchmark::kMillisecond);
        };
        RegisterPair("GetInstances", GetInstancesEngine, GetInstancesBaseline, configure);
        RegisterPair("GetInstancesByValue", GetInstancesByValueEngine, GetInstancesByValueBaseline,
                     configure);
    }
    RegisterPair("Import", ImportEngine, ImportBaseline,
                 [](auto* b) { b->Iterations(2)->Repetitions(5)->Unit(benchmark::kMillisecond); });
    RegisterPair("Export", ExportEngine, ExportBaseline,
                 [](auto* b) { b->MinTime(0.2)->Repetitions(5)->Unit(benchmark::kMillisecond); });
    RegisterPair("ValidatedWrite", ValidatedWrite, UnvalidatedWrite,
                 [](auto* b) { b->MinTime(0.2)->Repetitions(10)->Unit(benchmark::kMicrosecond); },
                 {"Validated", "Unvalidated"});
}

void ReleaseListBenchmarks() {
    baselines.clear();
    if (everything != nullptr) DestroyFilterSpecObject(everything);
}

}  // namespace standin_bench
