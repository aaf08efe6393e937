// What the stand-in engine's benchmark programs share: the objects both sides write, the engine's
// stores, a baseline database on SQLite with the engine's settings, and the pairs of benchmarks.
#pragma once

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "configstorec.h"

namespace standin_bench {

constexpr const char* kGroup = "network";
constexpr const char* kComponent = "bench";

// The temporary directory of every store, removed at the end.
extern std::string stateDir;

[[noreturn]] void Abandon(const std::string& reason);
void Require(int status, const char* call);

// The values of object `index`, the same for the engine and the baseline.
struct Values {
    explicit Values(int index)
        : port(8000 + index % 1000),
          timeout(30 + index % 7),
          retries(index % 5),
          name("interface-" + std::to_string(index)),
          enabled(index % 2 == 0),
          ratio(0.25 + index % 4 * 0.125) {}
    int port;
    int timeout;
    int retries;
    std::string name;
    bool enabled;
    double ratio;
};
constexpr const char* kTags[] = {"alpha", "beta", "gamma"};

inline std::string KeyOf(int index) {
    return "object" + std::to_string(index);
}

constexpr int kInstances = 1000;  // instances of each key: what a filter on one key selects

// List object `index`: instance index % kInstances of key index / kInstances. Zero-padded
// instance ids keep the store's byte order the order of the indexes.
inline std::string ListKey(int index) {
    return KeyOf(index / kInstances);
}
std::string InstanceOf(int index);

// ---- Engine side: the C interface on the stand-in engine ----------------------------------

// A new object of the identity holding `values`; `instanceId` may be null.
ConfigStoreObjectStruct* NewEngineObject(const std::string& key, const Values& values,
                                         const char* instanceId = nullptr,
                                         const char* component = kComponent);
// The store of a namespace (empty: the default namespace), opened once and kept until the end.
ConfigStoreStruct* EngineStore(const std::string& nameSpace);

// ---- Baseline side: SQLite and RapidJSON by hand ------------------------------------------------

// `values` as the members of `document`, an object.
void AddValues(rapidjson::Document& document, const Values& values);

// The compact JSON text of `value`, as the engine stores a document.
inline std::string CompactText(const rapidjson::Value& value) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    value.Accept(writer);
    return std::string(text.GetString(), text.GetSize());
}

// Values on the C heap, as the engine keeps them: a default Document's pool takes 64 KiB for
// each object listed, and a thousand of those cost more than the parse.
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator>;

inline std::string_view ColumnText(sqlite3_stmt* statement, int column) {
    return {reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
            static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

inline void BindText(sqlite3_stmt* statement, int parameter, std::string_view text) {
    sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()),
                      SQLITE_STATIC);
}

// A table of the engine's layout: a `class` and a `version` column, the class in the key.
extern const char* const kObjectsTable;

// The file of the baseline database `name`.
std::string BaselinePath(const std::string& name);

// A database of its own under the state directory, with the engine's settings (a write-ahead
// log, synchronous=FULL), and prepared statements on it.
class BaselineDatabase {
public:
    BaselineDatabase(const std::string& name, const char* tables);
    BaselineDatabase(const BaselineDatabase&) = delete;
    BaselineDatabase& operator=(const BaselineDatabase&) = delete;
    ~BaselineDatabase();

    void Begin() { Execute("BEGIN IMMEDIATE"); }
    void Commit() { Execute("COMMIT"); }
    void Execute(const char* sql);
    // Finalized with the database.
    sqlite3_stmt* Prepare(const char* sql);
    [[noreturn]] void Fail(const std::string& what);

private:
    sqlite3* db_ = nullptr;
    std::vector<sqlite3_stmt*> statements_;
};

// ---- Pairs of benchmarks and the ratio table -----------------------------------------------

// Registers "<name>/<sides[0]>" (the engine, the table's first column) and "<name>/<sides[1]>"
// (what it is measured against), each configured by `configure`.
void RegisterPair(const std::string& name, void (*engine)(benchmark::State&),
                  void (*baseline)(benchmark::State&),
                  const std::function<void(benchmark::internal::Benchmark*)>& configure,
                  const std::pair<const char*, const char*>& sides = {"Engine", "Baseline"});

// The benchmarks of lists of objects, schemas and the exchange document (StandinListBench.cpp).
// Before the first store is opened: sets CONFIGSTORE_COMPONENTS_DIR to a directory it writes.
void RegisterListBenchmarks();
// Closes their baseline databases.
void ReleaseListBenchmarks();

// The exchange document of `count` list objects, as Export writes it.
const std::string& ExchangeDocument(int count);
// The list benchmarks' baseline import and export, on the baseline database `name`.
void BaselineImport(const std::string& name, const std::string& document);
std::string BaselineExport(const std::string& name);

// The benchmarks of stores at scale (ScaleBench.cpp). Before the first store is opened: starts
// the process that measures peak memory.
void RegisterScaleBenchmarks();
// Ends that process.
void ReleaseScaleBenchmarks();

// The benchmarks of one object holding many values (ManyValuesBench.cpp), and their release.
void RegisterManyValuesBenchmarks();
void ReleaseManyValuesBenchmarks();

}  // namespace standin_bench
