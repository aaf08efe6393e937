// The stand-in engine through the C interface, each benchmark beside a baseline that does the
// same work with SQLite and RapidJSON directly, in the same process, on the same disk and with
// the same database settings. The closing table gives each engine/baseline ratio and its target.
// This file holds the reads and writes of single objects; StandinListBench.cpp the lists.
#include "StandinBench.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>
#include <algorithm>
#include <array>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <ostream>
#include <set>

namespace standin_bench {

std::string stateDir;

void Abandon(const std::string& reason) {
    std::fprintf(stderr, "standin_bench: %s\n", reason.c_str());
    if (!stateDir.empty()) std::filesystem::remove_all(stateDir);
    std::_Exit(1);
}

void Require(int status, const char* call) {
    if (status != CS_C_OK) Abandon(std::string(call) + " returned " + std::to_string(status));
}

// ---- Engine side: the C interface on the stand-in engine ----------------------------------

ConfigStoreObjectStruct* NewEngineObject(const std::string& key, const Values& values,
                                         const char* instanceId, const char* component) {
    ConfigStoreObjectStruct* object = nullptr;
    Require(CreateObject(key.c_str(), kGroup, component, instanceId, "", &object), "CreateObject");
    Require(SetValueInt(object, "port", values.port), "SetValueInt");
    Require(SetValueInt(object, "timeout", values.timeout), "SetValueInt");
    Require(SetValueInt(object, "retries", values.retries), "SetValueInt");
    Require(SetValueStr(object, "name", values.name.c_str()), "SetValueStr");
    Require(SetValueBool(object, "enabled", values.enabled), "SetValueBool");
    Require(SetValueDouble(object, "ratio", values.ratio), "SetValueDouble");
    for (const char* tag : kTags)
        Require(AppendValueString(object, "tags", tag), "AppendValueString");
    return object;
}

// Stores stay open until the end, so that each is opened and filled once.
std::map<std::string, ConfigStoreStruct*> engineStores;

ConfigStoreStruct* EngineStore(const std::string& nameSpace) {
    ConfigStoreStruct*& store = engineStores[nameSpace];
    if (store == nullptr) {
        Require(GetStore(nameSpace.empty() ? nullptr : nameSpace.c_str(), &store), "GetStore");
    }
    return store;
}

// ---- Baseline: SQLite and RapidJSON by hand ---------------------------------------------------

void AddValues(rapidjson::Document& document, const Values& values) {
    auto& allocator = document.GetAllocator();
    document.AddMember("port", values.port, allocator);
    document.AddMember("timeout", values.timeout, allocator);
    document.AddMember("retries", values.retries, allocator);
    document.AddMember("name", rapidjson::Value(values.name.c_str(), allocator), allocator);
    document.AddMember("enabled", values.enabled, allocator);
    document.AddMember("ratio", values.ratio, allocator);
    rapidjson::Value tags(rapidjson::kArrayType);
    for (const char* tag : kTags) tags.PushBack(rapidjson::StringRef(tag), allocator);
    document.AddMember("tags", tags, allocator);
}

// As a careful direct user keeps objects that are fetched by identity and selected by
// component: documents in a rowid table, an index for each way in.
const char* const kObjectsTable =
    "CREATE TABLE IF NOT EXISTS objects(key TEXT NOT NULL, grp TEXT NOT NULL,"
    " component TEXT NOT NULL,"
    " instance TEXT NOT NULL, class INTEGER NOT NULL, document TEXT NOT NULL,"
    " version INTEGER NOT NULL);"
    "CREATE UNIQUE INDEX IF NOT EXISTS by_identity ON objects(key, grp, component, instance,"
    " class);"
    "CREATE INDEX IF NOT EXISTS by_component ON objects(component, grp);";

std::string InstanceOf(int index) {
    char text[32];
    std::snprintf(text, sizeof text, "instance%03d", index % kInstances);
    return text;
}

std::string BaselinePath(const std::string& name) {
    return stateDir + "/baseline-" + name + ".db";
}

BaselineDatabase::BaselineDatabase(const std::string& name, const char* tables) {
    const std::string path = BaselinePath(name);
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) Fail("open");
    sqlite3_busy_timeout(db_, 5000);
    Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
    Execute(tables);
}

BaselineDatabase::~BaselineDatabase() {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close(db_);
}

void BaselineDatabase::Execute(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sql);
}

sqlite3_stmt* BaselineDatabase::Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        Fail(sql);
    }
    statements_.push_back(statement);
    return statement;
}

void BaselineDatabase::Fail(const std::string& what) {
    Abandon("baseline " + what + ": " + sqlite3_errmsg(db_));
}

namespace {

constexpr int kBatch = 10000;          // objects per transaction in the batch write
constexpr std::size_t kStride = 7919;  // a prime: fetches visit the whole store, out of order

void EngineWrite(ConfigStoreStruct* store, const std::string& key, int index) {
    ConfigStoreObjectStruct* object = NewEngineObject(key, Values(index));
    Require(Set(store, object, "INTERNAL"), "Set");
    DestroyConfigStoreObject(object);
}

// One object per identity, its document as JSON text.
class BaselineStore {
public:
    explicit BaselineStore(const std::string& name)
        : db_(name,
              "CREATE TABLE objects(key TEXT NOT NULL, grp TEXT NOT NULL,"
              " component TEXT NOT NULL, instance TEXT NOT NULL, document TEXT NOT NULL);"
              "CREATE UNIQUE INDEX by_identity ON objects(key, grp, component, instance);"
              "CREATE INDEX by_component ON objects(component, grp)"),
          insert_(db_.Prepare("INSERT OR REPLACE INTO objects VALUES(?1, ?2, ?3, ?4, ?5)")),
          select_(db_.Prepare(
              "SELECT document FROM objects WHERE key = ?1 AND grp = ?2 AND component = ?3"
              " AND instance = ?4")) {}

    void Begin() { db_.Begin(); }
    void Commit() { db_.Commit(); }

    // Stores the object's document as a store that keeps several classes of data per object
    // must: it reads what the identity holds first, since a write merges with it.
    void Put(const std::string& key, const Values& values) {
        rapidjson::Document stored;
        BindIdentity(select_, key);
        if (sqlite3_step(select_) == SQLITE_ROW) {
            stored.Parse<rapidjson::kParseFullPrecisionFlag>(
                reinterpret_cast<const char*>(sqlite3_column_text(select_, 0)),
                static_cast<std::size_t>(sqlite3_column_bytes(select_, 0)));
        }
        sqlite3_reset(select_);

        rapidjson::Document document(rapidjson::kObjectType);
        AddValues(document, values);
        rapidjson::StringBuffer text;
        rapidjson::Writer<rapidjson::StringBuffer> writer(text);
        document.Accept(writer);

        BindIdentity(insert_, key);
        sqlite3_bind_text(insert_, 5, text.GetString(), static_cast<int>(text.GetSize()),
                          SQLITE_STATIC);
        if (sqlite3_step(insert_) != SQLITE_DONE) db_.Fail("insert");
        sqlite3_reset(insert_);
    }

    // Reads and parses the object's document, doubles in full precision as the engine reads
    // them, so that both read back the double that was written.
    rapidjson::Document Fetch(const std::string& key) {
        BindIdentity(select_, key);
        if (sqlite3_step(select_) != SQLITE_ROW) db_.Fail("select " + key);
        rapidjson::Document document;
        document.Parse<rapidjson::kParseFullPrecisionFlag>(
            reinterpret_cast<const char*>(sqlite3_column_text(select_, 0)),
            static_cast<std::size_t>(sqlite3_column_bytes(select_, 0)));
        sqlite3_reset(select_);
        if (!document.IsObject()) db_.Fail("parse " + key);
        return document;
    }

private:
    static void BindIdentity(sqlite3_stmt* statement, const std::string& key) {
        sqlite3_bind_text(statement, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
        sqlite3_bind_text(statement, 2, kGroup, -1, SQLITE_STATIC);
        sqlite3_bind_text(statement, 3, kComponent, -1, SQLITE_STATIC);
        sqlite3_bind_text(statement, 4, "", 0, SQLITE_STATIC);
    }

    BaselineDatabase db_;
    sqlite3_stmt* insert_;
    sqlite3_stmt* select_;
};

std::map<std::string, std::unique_ptr<BaselineStore>> baselineStores;

BaselineStore& Baseline(const std::string& name) {
    auto& store = baselineStores[name];
    if (!store) store = std::make_unique<BaselineStore>(name);
    return *store;
}

// ---- Stores of `count` objects, filled once in one transaction each ----------------------------

struct Filled {
    ConfigStoreStruct* engine;
    BaselineStore* baseline;
    std::vector<std::string> keys;
};

Filled& FilledStores(int count) {
    static std::map<int, Filled> filled;
    auto found = filled.find(count);
    if (found != filled.end()) return found->second;
    const std::string name = "objects" + std::to_string(count);
    Filled stores{EngineStore(name), &Baseline(name), {}};
    Require(BeginTransaction(stores.engine), "BeginTransaction");
    stores.baseline->Begin();
    for (int index = 0; index < count; ++index) {
        stores.keys.push_back(KeyOf(index));
        EngineWrite(stores.engine, stores.keys.back(), index);
        stores.baseline->Put(stores.keys.back(), Values(index));
    }
    Require(CommitTransaction(stores.engine), "CommitTransaction");
    stores.baseline->Commit();
    return filled.emplace(count, std::move(stores)).first->second;
}

// ---- The benchmarks, in pairs --------------------------------------------------------------

void FetchEngine(benchmark::State& state) {
    Filled& stores = FilledStores(static_cast<int>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
        ConfigStoreObjectStruct* object = nullptr;
        Require(Get(stores.engine, stores.keys[next].c_str(), kGroup, kComponent, nullptr, &object),
                "Get");
        DestroyConfigStoreObject(object);
        next = (next + kStride) % stores.keys.size();
    }
}

void FetchBaseline(benchmark::State& state) {
    Filled& stores = FilledStores(static_cast<int>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
        rapidjson::Document document = stores.baseline->Fetch(stores.keys[next]);
        benchmark::DoNotOptimize(document);
        next = (next + kStride) % stores.keys.size();
    }
}

void ReadScalarEngine(benchmark::State& state) {
    Filled& stores = FilledStores(kBatch);
    ConfigStoreObjectStruct* object = nullptr;
    Require(Get(stores.engine, stores.keys[0].c_str(), kGroup, kComponent, nullptr, &object),
            "Get");
    int retries = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetValueInt(object, "retries", &retries));
        benchmark::DoNotOptimize(retries);
    }
    DestroyConfigStoreObject(object);
}

void ReadScalarBaseline(benchmark::State& state) {
    const rapidjson::Document document = FilledStores(kBatch).baseline->Fetch(KeyOf(0));
    int retries = 0;
    for (auto _ : state) {
        const auto member = document.FindMember("retries");
        if (member != document.MemberEnd() && member->value.IsInt()) {
            retries = member->value.GetInt();
        }
        benchmark::DoNotOptimize(retries);
    }
}

// Every iteration writes a new batch of identities, so that each stores new objects.
std::string BatchKey(int batch, int index) {
    return "batch" + std::to_string(batch) + "-" + KeyOf(index);
}

void WriteBatches(benchmark::State& state, ConfigStoreStruct* store) {
    static std::map<ConfigStoreStruct*, int> batches;  // of each store, over its runs
    int& batch = batches[store];
    for (auto _ : state) {
        Require(BeginTransaction(store), "BeginTransaction");
        for (int index = 0; index < kBatch; ++index)
            EngineWrite(store, BatchKey(batch, index), index);
        Require(CommitTransaction(store), "CommitTransaction");
        ++batch;
    }
}
void WriteBatchEngine(benchmark::State& state) {
    WriteBatches(state, EngineStore("batches"));
}

void WriteBatchBaseline(benchmark::State& state) {
    BaselineStore& store = Baseline("batches");
    static int batch = 0;
    for (auto _ : state) {
        store.Begin();
        for (int index = 0; index < kBatch; ++index)
            store.Put(BatchKey(batch, index), Values(index));
        store.Commit();
        ++batch;
    }
}

// One object written again and again, a value changed each time, each write durable on return.
void DurableWrites(benchmark::State& state, ConfigStoreStruct* store) {
    ConfigStoreObjectStruct* object = NewEngineObject(KeyOf(0), Values(0));
    int written = 0;
    for (auto _ : state) {
        Require(SetValueInt(object, "retries", ++written % 5), "SetValueInt");
        Require(Set(store, object, "INTERNAL"), "Set");
    }
    DestroyConfigStoreObject(object);
}
void DurableWriteEngine(benchmark::State& state) {
    DurableWrites(state, EngineStore("durable"));
}

void DurableWriteBaseline(benchmark::State& state) {
    BaselineStore& store = Baseline("durable");
    Values values(0);
    int written = 0;
    for (auto _ : state) {
        values.retries = ++written % 5;
        store.Begin();  // the read and the write as one
        store.Put(KeyOf(0), values);
        store.Commit();
    }
}

// ---- History on against history off ----------------------------------------------------------
// The ratios above compare stores without history with SQLite, which keeps none; these compare
// the same writes with the store's history on (its default) and off.

ConfigStoreStruct* StoreWithHistory(const std::string& nameSpace, bool on) {
    setenv("CONFIGSTORE_HISTORY_COMMITS", on ? "1000" : "0", 1);
    ConfigStoreStruct* store = EngineStore(nameSpace);
    setenv("CONFIGSTORE_HISTORY_COMMITS", "0", 1);
    return store;
}

// The pages of the store's history per commit it keeps.
double HistoryBytesPerCommit(const std::string& nameSpace) {
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    double bytes = 0;
    if (sqlite3_open((stateDir + "/" + nameSpace + ".db").c_str(), &db) == SQLITE_OK &&
        sqlite3_prepare_v2(db,
                           "SELECT (SELECT sum(pgsize) FROM dbstat WHERE name = 'history')"
                           " / (SELECT count(*) FROM history WHERE time IS NOT NULL)",
                           -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        bytes = sqlite3_column_double(statement, 0);
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return bytes;
}

void HistoryBatchOn(benchmark::State& state) {
    WriteBatches(state, StoreWithHistory("batches-history", true));
    state.counters["history_bytes_per_commit"] = HistoryBytesPerCommit("batches-history");
}
void HistoryBatchOff(benchmark::State& state) {
    WriteBatches(state, StoreWithHistory("batches-plain", false));
}
void HistoryDurableOn(benchmark::State& state) {
    DurableWrites(state, StoreWithHistory("durable-history", true));
    state.counters["history_bytes_per_commit"] = HistoryBytesPerCommit("durable-history");
}
void HistoryDurableOff(benchmark::State& state) {
    DurableWrites(state, StoreWithHistory("durable-plain", false));
}

// ---- The ratio table -------------------------------------------------------------------------

// The rows of the closing table, in this order; a row without a limit is judged below it.
struct Row {
    const char* pair;
    const char* target;
    double limit;   // 0: none
    bool absolute;  // the limit is the engine's time in nanoseconds, not a ratio
};
const Row kRows[] = {
    {"Fetch/10000", "<= 2x", 2.0, false},
    {"ReadScalar", "<= 100 ns", 100.0, true},
    {"WriteBatch", "<= 1.5x", 1.5, false},
    {"DurableWrite", "<= 1.2x", 1.2, false},
    {"HistoryWriteBatch", "<= 1.25x", 1.25, false},
    {"HistoryDurableWrite", "<= 1.15x", 1.15, false},
    {"GetInstances/10000", "<= 2x", 2.0, false},
    {"GetInstances/100000", "<= 2x", 2.0, false},
    {"GetInstancesByValue/10000", "<= 2x", 2.0, false},
    {"GetInstancesByValue/100000", "<= 2x", 2.0, false},
    {"Import", "<= 2x", 2.0, false},
    {"Export", "<= 2x", 2.0, false},
    {"ValidatedWrite", "<= 1.3x", 1.3, false},
    {"ManyValues/1000", "", 0.0, false},
    {"ManyValues/10000", "<= 40 ms", 40e6, true},
    {"ManyValues/100000", "", 0.0, false},
    {"ManyValuesRead", "", 0.0, false},
    {"Fetch/100", "flat", 0.0, false},
    {"Fetch/100000", "flat", 0.0, false},
    {"ScaleOpen/10000", "", 0.0, false},
    {"ScaleOpen/100000", "flat", 0.0, false},
    {"ScaleOpen/1000000", "flat", 0.0, false},
    {"ScaleSelect/10000", "", 0.0, false},
    {"ScaleSelect/100000", "flat", 0.0, false},
    {"ScaleSelect/1000000", "flat", 0.0, false},
    {"ScaleBytes/100", "", 0.0, false},
    {"ScaleBytes/1024", "", 0.0, false},
    {"ScaleBytes/4096", "", 0.0, false},
    {"ScaleBytes/65536", "", 0.0, false},
    {"ScaleImport/100000", "", 0.0, false},
    {"ScaleExport/100000", "", 0.0, false},
};
const int kFetchSizes[] = {100, kBatch, 100000};

// Families whose time must stay flat as the store grows: from the first size to the second,
// the engine's time grows no more than the baseline's, which is SQLite's own growth (B-tree
// depth, page cache), or by less than the runs' noise (kNoise).
struct Growth {
    const char* family;
    int smallest;
    int largest;
};
constexpr double kNoise = 1.05;
const Growth kFlat[] = {
    {"Fetch", kFetchSizes[0], std::end(kFetchSizes)[-1]},
    {"GetInstances", 10000, 100000},
    {"GetInstancesByValue", 10000, 100000},
    {"ScaleOpen", 10000, 1000000},
    {"ScaleSelect", 10000, 1000000},
};

// The benchmarks that run the engine: the first side of each pair.
std::set<std::string> engineSides;

std::string Nanoseconds(double ns) {
    char text[32];
    if (ns >= 1e6) {
        std::snprintf(text, sizeof text, "%.2f ms", ns / 1e6);
    } else if (ns >= 1e3) {
        std::snprintf(text, sizeof text, "%.2f us", ns / 1e3);
    } else {
        std::snprintf(text, sizeof text, "%.1f ns", ns);
    }
    return text;
}

// Prints as the console reporter does, collects each run's real time per iteration (the median
// when repetitions are asked for), and closes with one line per pair.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.error_occurred || (run.run_type != Run::RT_Iteration && !median)) continue;
            // "Fetch/Engine" with argument "10000" is the engine side of the pair "Fetch/10000".
            const std::string& function = run.run_name.function_name;
            const std::size_t slash = function.rfind('/');
            const std::string pair = function.substr(0, slash) +
                                     (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
            const double ns = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
            const bool engine = engineSides.count(function) != 0;
            (engine ? engine_ : baseline_)[pair] = ns;
            for (const auto& [name, counter] : run.counters)
                counters_[{pair, name}][engine ? 0 : 1] = counter.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::ostream& out = GetOutputStream();
        char line[160];
        std::snprintf(line, sizeof line, "\n%-27s %12s %12s %8s %10s  %s\n", "pair", "engine",
                      "baseline", "ratio", "target", "result");
        out << line;
        for (const Row& row : kRows) {
            const auto engine = engine_.find(row.pair);
            const auto baseline = baseline_.find(row.pair);
            if (engine == engine_.end() || baseline == baseline_.end()) continue;
            const double ratio = engine->second / baseline->second;
            const double judged = row.absolute ? engine->second : ratio;
            const char* result = row.limit == 0.0 ? "" : judged <= row.limit ? "met" : "NOT MET";
            std::snprintf(line, sizeof line, "%-27s %12s %12s %7.2fx %10s  %s\n", row.pair,
                          Nanoseconds(engine->second).c_str(),
                          Nanoseconds(baseline->second).c_str(), ratio, row.target, result);
            out << line;
        }
        out << "\n";
        for (const Growth& growth : kFlat) PrintFlatness(out, growth);
        if (counters_.empty()) return;
        std::snprintf(line, sizeof line, "\n%-27s %-18s %12s %12s\n", "pair", "counter", "engine",
                      "baseline");
        out << line;
        for (const auto& [row, sides] : counters_) {
            std::snprintf(line, sizeof line, "%-27s %-18s %12.2f %12.2f\n", row.first.c_str(),
                          row.second.c_str(), sides[0], sides[1]);
            out << line;
        }
    }

private:
    void PrintFlatness(std::ostream& out, const Growth& growth) const {
        const std::string smallest = growth.family + ("/" + std::to_string(growth.smallest));
        const std::string largest = growth.family + ("/" + std::to_string(growth.largest));
        for (const auto* side : {&engine_, &baseline_}) {
            if (side->count(smallest) == 0 || side->count(largest) == 0) return;
        }
        const double engineGrowth = engine_.at(largest) / engine_.at(smallest);
        const double baselineGrowth = baseline_.at(largest) / baseline_.at(smallest);
        char line[200];
        std::snprintf(line, sizeof line,
                      "%s -> %s: engine %.2fx, baseline %.2fx; flat (engine grows no more than "
                      "the baseline, or under %.2fx): %s\n",
                      smallest.c_str(), largest.c_str(), engineGrowth, baselineGrowth, kNoise,
                      engineGrowth <= std::max(baselineGrowth, kNoise) ? "met" : "NOT MET");
        out << line;
    }

    std::map<std::string, double> engine_;
    std::map<std::string, double> baseline_;
    // (pair, counter) -> the engine's value and the baseline's.
    std::map<std::pair<std::string, std::string>, std::array<double, 2>> counters_;
};

}  // namespace

void RegisterPair(const std::string& name, void (*engine)(benchmark::State&),
                  void (*baseline)(benchmark::State&),
                  const std::function<void(benchmark::internal::Benchmark*)>& configure,
                  const std::pair<const char*, const char*>& sides) {
    engineSides.insert(name + "/" + sides.first);
    for (const auto& [side, function] :
         {std::pair{sides.first, engine}, {sides.second, baseline}}) {
        configure(benchmark::RegisterBenchmark((name + "/" + side).c_str(), function)
                      ->UseRealTime()
                      ->ReportAggregatesOnly(true));
    }
}

}  // namespace standin_bench

int main(int argc, char** argv) {
    using namespace standin_bench;
    // Every benchmark runs in repetitions, interleaved at random with the others' (unless the
    // command line says otherwise), and the ratios compare medians: a burst of load on the
    // machine or its disk then weighs on both sides of a pair alike.
    std::vector<char*> arguments(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleave);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/standin-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) Abandon("cannot make a state directory");
    stateDir = pattern;
    // Before the first GetStore: the engine reads its directories when it opens a store.
    setenv("CONFIGSTORE_DIR", stateDir.c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", (stateDir + "/run").c_str(), 1);
    setenv("CONFIGSTORE_LOG", "stderr", 0);
    setenv("CONFIGSTORE_HISTORY_COMMITS", "0", 1);  // but where StoreWithHistory says

    for (const int size : kFetchSizes) {
        RegisterPair("Fetch", FetchEngine, FetchBaseline, [size](auto* b) {
            b->Arg(size)->MinTime(0.2)->Repetitions(5)->Unit(benchmark::kMicrosecond);
        });
    }
    RegisterPair("ReadScalar", ReadScalarEngine, ReadScalarBaseline,
                 [](auto* b) { b->MinTime(0.1)->Repetitions(5); });
    RegisterPair("WriteBatch", WriteBatchEngine, WriteBatchBaseline,
                 [](auto* b) { b->Iterations(2)->Repetitions(5)->Unit(benchmark::kMillisecond); });
    // Durable writes wait for the disk, whose latency varies most: more, shorter repetitions.
    RegisterPair("DurableWrite", DurableWriteEngine, DurableWriteBaseline,
                 [](auto* b) { b->MinTime(0.3)->Repetitions(10)->Unit(benchmark::kMicrosecond); });
    RegisterPair("HistoryWriteBatch", HistoryBatchOn, HistoryBatchOff,
                 [](auto* b) { b->Iterations(2)->Repetitions(5)->Unit(benchmark::kMillisecond); },
                 {"On", "Off"});
    // Two durable writers differ by a few µs in 150: twice the repetitions keep the disk's
    // moments (other benchmarks' pages written back) out of the medians.
    RegisterPair("HistoryDurableWrite", HistoryDurableOn, HistoryDurableOff,
                 [](auto* b) { b->MinTime(0.2)->Repetitions(20)->Unit(benchmark::kMicrosecond); },
                 {"On", "Off"});
    RegisterListBenchmarks();
    RegisterScaleBenchmarks();
    RegisterManyValuesBenchmarks();

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    for (auto& entry : engineStores) DestroyStore(entry.second);
    baselineStores.clear();
    ReleaseListBenchmarks();
    ReleaseScaleBenchmarks();
    ReleaseManyValuesBenchmarks();
    std::filesystem::remove_all(stateDir);
    return 0;
}
