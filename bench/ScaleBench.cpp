// Stores at scale through the C interface on the stand-in engine, each beside a baseline on
// SQLite and RapidJSON: opening a store of 10,000 to 1,000,000 values, the bytes an object takes
// on disk, selecting the objects of one component, and the peak memory of import and export.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "StandinBench.h"

namespace standin_bench {
namespace {

constexpr int kValuesPerObject = 10;
constexpr int kSelected = 100;  // objects of the selected component, at every store size
constexpr const char* kSelectedComponent = "selected";

// ---- Stores of `values` values: objects of ten values, and kSelected in a component of their own

// Object `index` holds ten values: the benchmarks' seven, and three more.
std::string ScaleDocument(int index) {
    rapidjson::Document document(rapidjson::kObjectType);
    AddValues(document, Values(index));
    auto& allocator = document.GetAllocator();
    document.AddMember("site", "lab", allocator);
    document.AddMember("zone",
                       rapidjson::Value(("zone-" + std::to_string(index % 16)).c_str(), allocator),
                       allocator);
    document.AddMember("weight", index % 100, allocator);
    return CompactText(document);
}

struct Identity {
    std::string key;
    const char* component;
    std::string instance;
};

// The stores' objects; every (objects / kSelected)th has a twin in the selected component, so
// that the selected objects are spread over the whole key range.
std::vector<Identity> ScaleIdentities(int objects) {
    std::vector<Identity> identities;
    for (int index = 0; index < objects; ++index) {
        identities.push_back({ListKey(index), kComponent, InstanceOf(index)});
        if (index % (objects / kSelected) == 0) {
            identities.push_back({ListKey(index), kSelectedComponent, InstanceOf(index)});
        }
    }
    return identities;
}

// The engine's namespace and the baseline's database of a store of `values` values.
std::string ScaleName(int values) {
    return "scale" + std::to_string(values);
}

// The baseline's table has its index by component, as a store selecting by it needs.
std::string BaselineTables() {
    return kObjectsTable;
}

struct ScaleStore {
    std::string name;
    Identity opened;  // the object that opening the store reads
};

// Filled once per process, in one transaction each; the engine's store is closed afterwards.
const ScaleStore& ScaleStoreOf(int values) {
    static std::map<int, ScaleStore> filled;
    auto found = filled.find(values);
    if (found != filled.end()) return found->second;
    const int objects = values / kValuesPerObject;
    ScaleStore store{ScaleName(values), {}};
    ConfigStoreStruct* engine = nullptr;
    Require(GetStore(store.name.c_str(), &engine), "GetStore");
    BaselineDatabase baseline(store.name, BaselineTables().c_str());
    sqlite3_stmt* insert = baseline.Prepare("INSERT INTO objects VALUES(?1, ?2, ?3, ?4, 0, ?5, 1)");
    Require(BeginTransaction(engine), "BeginTransaction");
    baseline.Begin();
    int index = 0;
    for (const Identity& identity : ScaleIdentities(objects)) {
        const std::string document = ScaleDocument(index++);
        ConfigStoreObjectStruct* object = nullptr;
        Require(CreateObject(identity.key.c_str(), kGroup, identity.component,
                             identity.instance.c_str(), document.c_str(), &object),
                "CreateObject");
        Require(Set(engine, object, "INTERNAL"), "Set");
        DestroyConfigStoreObject(object);
        const std::string_view fields[] = {identity.key, kGroup, identity.component,
                                           identity.instance, document};
        for (int field = 0; field < 5; ++field) BindText(insert, field + 1, fields[field]);
        if (sqlite3_step(insert) != SQLITE_DONE) baseline.Fail("insert");
        sqlite3_reset(insert);
    }
    Require(CommitTransaction(engine), "CommitTransaction");
    baseline.Commit();
    Require(DestroyStore(engine), "DestroyStore");
    store.opened = {ListKey(objects / 2), kComponent, InstanceOf(objects / 2)};
    return filled.emplace(values, std::move(store)).first->second;
}

// ---- Opening: the first GetStore and Get of a store that no handle holds
// -------------------------

void OpenEngine(benchmark::State& state) {
    const ScaleStore& store = ScaleStoreOf(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        ConfigStoreStruct* engine = nullptr;
        Require(GetStore(store.name.c_str(), &engine), "GetStore");
        ConfigStoreObjectStruct* object = nullptr;
        Require(Get(engine, store.opened.key.c_str(), kGroup, store.opened.component,
                    store.opened.instance.c_str(), &object),
                "Get");
        DestroyConfigStoreObject(object);
        state.PauseTiming();
        Require(DestroyStore(engine), "DestroyStore");  // the last handle: the store closes
        state.ResumeTiming();
    }
}

void OpenBaseline(benchmark::State& state) {
    const ScaleStore& store = ScaleStoreOf(static_cast<int>(state.range(0)));
    const std::string path = BaselinePath(store.name);
    for (auto _ : state) {
        sqlite3* db = nullptr;
        sqlite3_stmt* select = nullptr;
        const bool opened =
            sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
            sqlite3_exec(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;", nullptr,
                         nullptr, nullptr) == SQLITE_OK &&
            sqlite3_prepare_v2(db,
                               "SELECT document FROM objects WHERE key = ?1 AND grp = ?2 AND "
                               "component = ?3 AND instance = ?4 AND class = 0",
                               -1, &select, nullptr) == SQLITE_OK;
        if (!opened) Abandon("baseline open: " + std::string(sqlite3_errmsg(db)));
        const std::string_view identity[] = {store.opened.key, kGroup, store.opened.component,
                                             store.opened.instance};
        for (int field = 0; field < 4; ++field) BindText(select, field + 1, identity[field]);
        if (sqlite3_step(select) != SQLITE_ROW) Abandon("baseline open: no object");
        JsonDocument document;
        const std::string_view text = ColumnText(select, 0);
        document.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
        benchmark::DoNotOptimize(document.IsObject());
        state.PauseTiming();
        sqlite3_finalize(select);
        sqlite3_close(db);
        state.ResumeTiming();
    }
}

// ---- Selecting the kSelected objects of one component: the key left open -----------------------

void SelectEngine(benchmark::State& state) {
    const ScaleStore& store = ScaleStoreOf(static_cast<int>(state.range(0)));
    ConfigStoreStruct* engine = nullptr;
    Require(GetStore(store.name.c_str(), &engine), "GetStore");
    FilterSpecObjectStruct* filter = nullptr;
    Require(CreateFilterSpecObject("", kGroup, kSelectedComponent, nullptr, &filter),
            "CreateFilterSpecObject");
    for (auto _ : state) {
        ConfigStoreObjectStruct** objects = nullptr;
        int count = 0;
        Require(GetInstances(engine, filter, &objects, &count), "GetInstances");
        if (count != kSelected) Abandon("GetInstances selected " + std::to_string(count));
        for (int i = 0; i < count; ++i) DestroyConfigStoreObject(objects[i]);
        std::free(objects);
    }
    DestroyFilterSpecObject(filter);
    DestroyStore(engine);
}

void SelectBaseline(benchmark::State& state) {
    const ScaleStore& store = ScaleStoreOf(static_cast<int>(state.range(0)));
    // Closed at the end, as the engine's store is: no connection stays to speed up an open.
    BaselineDatabase database(store.name, "");
    sqlite3_stmt* select = database.Prepare(
        "SELECT key, instance, document FROM objects WHERE grp = ?1 AND component = ?2"
        " AND class = 0 ORDER BY key, instance");
    BindText(select, 1, kGroup);
    BindText(select, 2, kSelectedComponent);
    for (auto _ : state) {
        std::vector<std::pair<std::string, JsonDocument>> objects;
        while (sqlite3_step(select) == SQLITE_ROW) {
            JsonDocument values;
            const std::string_view text = ColumnText(select, 2);
            values.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
            objects.emplace_back(
                std::string(ColumnText(select, 0)) + "/" + std::string(ColumnText(select, 1)),
                std::move(values));
        }
        sqlite3_reset(select);
        if (objects.size() != kSelected)
            Abandon("the baseline selected " + std::to_string(objects.size()));
        benchmark::DoNotOptimize(objects.data());
    }
}

// ---- Bytes per object: about `range(0)` bytes of JSON text each, written in one transaction ---

// The document of object `index`: the class's value names, with ints and strings in turn that
// differ from object to object, of about `bytes` bytes of text.
std::string DocumentOfSize(std::size_t bytes, int index) {
    std::ostringstream text;
    text << '{';
    for (int value = 0; static_cast<std::size_t>(text.tellp()) + 1 < bytes; ++value) {
        if (value > 0) text << ',';
        text << "\"v" << value << "\":";
        const long long seed = (value + 1LL) * (index + 1LL) * 7919 % 1000003;
        if (value % 2 == 0) {
            text << seed;
        } else {
            text << "\"text-" << seed << "\"";
        }
    }
    text << '}';
    return text.str();
}

// Enough objects that a page's worth of the file's fixed parts weighs little, without writing
// more than 16 MiB.
int ObjectsOfSize(std::size_t bytes) {
    return static_cast<int>(std::clamp<std::size_t>((16u << 20) / bytes, 256, 100000));
}

std::uintmax_t FileBytes(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

// Fills a new store of `name` with `documents`, in one transaction, and closes it: the log is
// checkpointed.
void FillEngine(const std::string& name, const std::vector<std::string>& documents) {
    ConfigStoreStruct* engine = nullptr;
    Require(GetStore(name.c_str(), &engine), "GetStore");
    Require(BeginTransaction(engine), "BeginTransaction");
    for (std::size_t index = 0; index < documents.size(); ++index) {
        ConfigStoreObjectStruct* object = nullptr;
        Require(CreateObject(KeyOf(static_cast<int>(index)).c_str(), kGroup, kComponent, nullptr,
                             documents[index].c_str(), &object),
                "CreateObject");
        Require(Set(engine, object, "INTERNAL"), "Set");
        DestroyConfigStoreObject(object);
    }
    Require(CommitTransaction(engine), "CommitTransaction");
    Require(DestroyStore(engine), "DestroyStore");
}

void FillBaseline(const std::string& name, const std::vector<std::string>& documents) {
    BaselineDatabase baseline(name, kObjectsTable);
    sqlite3_stmt* insert = baseline.Prepare("INSERT INTO objects VALUES(?1, ?2, ?3, '', 0, ?4, 1)");
    baseline.Begin();
    for (std::size_t index = 0; index < documents.size(); ++index) {
        const std::string key = KeyOf(static_cast<int>(index));
        const std::string_view fields[] = {key, kGroup, kComponent, documents[index]};
        for (int field = 0; field < 4; ++field) BindText(insert, field + 1, fields[field]);
        if (sqlite3_step(insert) != SQLITE_DONE) baseline.Fail("insert");
        sqlite3_reset(insert);
    }
    baseline.Commit();
}

std::string EnginePath(const std::string& name) {
    return stateDir + "/" + name + ".db";
}

// Each iteration fills a new store; the last one is measured: its file and any write-ahead log
// left beside it, per object, beside the text.
void MeasureBytes(benchmark::State& state,
                  void (*fill)(const std::string&, const std::vector<std::string>&),
                  std::string (*pathOf)(const std::string&)) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    std::vector<std::string> documents(static_cast<std::size_t>(ObjectsOfSize(bytes)));
    double text = 0;
    for (std::size_t index = 0; index < documents.size(); ++index) {
        documents[index] = DocumentOfSize(bytes, static_cast<int>(index));
        text += static_cast<double>(documents[index].size());
    }
    static int run = 0;
    std::string name;
    for (auto _ : state) {
        name = "bytes" + std::to_string(bytes) + "-" + std::to_string(run++);
        fill(name, documents);
    }
    const std::string path = pathOf(name);
    const double stored = static_cast<double>(FileBytes(path) + FileBytes(path + "-wal"));
    const auto objects = static_cast<double>(documents.size());
    state.counters["bytes_per_object"] = stored / objects;
    state.counters["json_per_object"] = text / objects;
    state.counters["objects"] = objects;
}

void BytesEngine(benchmark::State& state) {
    MeasureBytes(state, FillEngine, EnginePath);
}
void BytesBaseline(benchmark::State& state) {
    MeasureBytes(state, FillBaseline, BaselinePath);
}

// ---- Peak memory of import and export, each in a process of its own --------------------------

// A child forked from the benchmark process would count the parent's fixtures in its peak
// (fork copies the resident set), so a small process, forked before any store is filled, forks
// a worker for each measurement and reports the worker's ru_maxrss from wait4.
enum class Task : int { EngineImport, BaselineImport, EngineExport, BaselineExport };
const char* const kTaskNames[] = {"engine import", "baseline import", "engine export",
                                  "baseline export"};

struct Request {
    Task task;
    int objects;
    char place[256];  // the engine's state directory, or the baseline's database name
};

struct Reply {
    bool succeeded;
    long peakKiB;
};

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    text.resize(FileBytes(path));
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

std::string DocumentPath(int objects) {
    return stateDir + "/exchange-" + std::to_string(objects) + ".json";
}

// In the worker: one import or export; whether it succeeded.
bool RunTask(const Request& request) {
    const std::string place = request.place;
    if (request.task == Task::EngineImport || request.task == Task::EngineExport) {
        setenv("CONFIGSTORE_DIR", place.c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (place + "/run").c_str(), 1);
    }
    switch (request.task) {
        case Task::EngineImport: {
            const std::string text = ReadWhole(DocumentPath(request.objects));
            ErrorInfoStruct** errors = nullptr;
            int count = 0;
            return Import(text.c_str(), &errors, &count) == CS_C_OK;
        }
        case Task::BaselineImport:
            standin_bench::BaselineImport(place, ReadWhole(DocumentPath(request.objects)));
            return true;
        case Task::EngineExport: {
            FilterSpecObjectStruct* everything = nullptr;
            char* document = nullptr;
            if (CreateFilterSpecObject("", "", "", nullptr, &everything) != CS_C_OK ||
                Export(&everything, 1, &document) != CS_C_OK) {
                return false;
            }
            std::FILE* sink = std::fopen("/dev/null", "w");
            std::fputs(document, sink);
            return std::fclose(sink) == 0;
        }
        case Task::BaselineExport: {
            const std::string document = standin_bench::BaselineExport(place);
            std::FILE* sink = std::fopen("/dev/null", "w");
            std::fwrite(document.data(), 1, document.size(), sink);
            return std::fclose(sink) == 0;
        }
    }
    return false;
}

int requests = -1;  // the pipes to and from the measuring process
int replies = -1;
pid_t measurer = -1;

[[noreturn]] void Measure(int input, int output) {
    Request request{};
    while (read(input, &request, sizeof request) == sizeof request) {
        const pid_t worker = fork();
        if (worker == 0) _exit(RunTask(request) ? 0 : 1);
        int status = 0;
        rusage usage{};
        Reply reply{false, 0};
        if (worker > 0 && wait4(worker, &status, 0, &usage) == worker) {
            reply = {WIFEXITED(status) && WEXITSTATUS(status) == 0, usage.ru_maxrss};
        }
        if (write(output, &reply, sizeof reply) != sizeof reply) break;
    }
    _exit(0);
}

void StartMeasurer() {
    int toMeasurer[2], fromMeasurer[2];
    if (pipe(toMeasurer) != 0 || pipe(fromMeasurer) != 0) Abandon("pipe");
    std::fflush(nullptr);
    measurer = fork();
    if (measurer < 0) Abandon("fork");
    if (measurer == 0) {
        close(toMeasurer[1]);
        close(fromMeasurer[0]);
        Measure(toMeasurer[0], fromMeasurer[1]);
    }
    close(toMeasurer[0]);
    close(fromMeasurer[1]);
    requests = toMeasurer[1];
    replies = fromMeasurer[0];
}

Reply RunMeasured(Task task, int objects, const std::string& place) {
    Request request{task, objects, {}};
    if (place.size() >= sizeof request.place) Abandon("too long a path: " + place);
    std::snprintf(request.place, sizeof request.place, "%s", place.c_str());
    Reply reply{false, 0};
    if (write(requests, &request, sizeof request) != sizeof request ||
        read(replies, &reply, sizeof reply) != sizeof reply || !reply.succeeded) {
        Abandon(std::string("the measured ") + kTaskNames[static_cast<int>(task)] + " failed");
    }
    return reply;
}

// The document of `objects` list objects, written once as a file.
std::size_t DocumentBytes(int objects) {
    static std::map<int, std::size_t> written;
    auto found = written.find(objects);
    if (found != written.end()) return found->second;
    const std::string& document = ExchangeDocument(objects);
    std::ofstream(DocumentPath(objects), std::ios::binary) << document;
    return written[objects] = document.size();
}

// Where each side's import goes: a new engine state directory, or a new baseline database.
std::string ImportPlace(Task task, int objects, int run) {
    const std::string name = "import" + std::to_string(objects) + "-" + std::to_string(run);
    return task == Task::EngineImport ? stateDir + "/" + name : name;
}

void RemoveImport(Task task, const std::string& place) {
    if (task == Task::EngineImport) {
        std::filesystem::remove_all(place);
        return;
    }
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(BaselinePath(place) + suffix);
}

void CountPeak(benchmark::State& state, long peakKiB, std::size_t document) {
    state.counters["peak_rss_MB"] = static_cast<double>(peakKiB) / 1024.0;
    state.counters["document_MB"] = static_cast<double>(document) / (1024.0 * 1024.0);
    state.counters["peak_per_document"] = static_cast<double>(peakKiB) * 1024.0 / document;
}

void MeasuredImport(benchmark::State& state, Task task) {
    const int objects = static_cast<int>(state.range(0));
    const std::size_t document = DocumentBytes(objects);
    static int run = 0;
    long peak = 0;
    for (auto _ : state) {
        const std::string place = ImportPlace(task, objects, run++);
        peak = std::max(peak, RunMeasured(task, objects, place).peakKiB);
        state.PauseTiming();
        RemoveImport(task, place);
        state.ResumeTiming();
    }
    CountPeak(state, peak, document);
}

void ImportEngine(benchmark::State& state) {
    MeasuredImport(state, Task::EngineImport);
}
void ImportBaseline(benchmark::State& state) {
    MeasuredImport(state, Task::BaselineImport);
}

// Exports the store that one import filled, made once per side and size.
void MeasuredExport(benchmark::State& state, Task import, Task task) {
    const int objects = static_cast<int>(state.range(0));
    const std::size_t document = DocumentBytes(objects);
    static std::map<std::pair<Task, int>, std::string> filled;
    std::string& place = filled[{task, objects}];
    if (place.empty()) {
        place = ImportPlace(import, objects, -1);
        RunMeasured(import, objects, place);
    }
    long peak = 0;
    for (auto _ : state) peak = std::max(peak, RunMeasured(task, objects, place).peakKiB);
    CountPeak(state, peak, document);
}

void ExportEngine(benchmark::State& state) {
    MeasuredExport(state, Task::EngineImport, Task::EngineExport);
}
void ExportBaseline(benchmark::State& state) {
    MeasuredExport(state, Task::BaselineImport, Task::BaselineExport);
}

}  // namespace

void RegisterScaleBenchmarks() {
    StartMeasurer();
    for (const int values : {10000, 100000, 1000000}) {
        RegisterPair("ScaleOpen", OpenEngine, OpenBaseline, [values](auto* b) {
            b->Arg(values)->MinTime(0.3)->Repetitions(5)->Unit(benchmark::kMillisecond);
        });
        RegisterPair("ScaleSelect", SelectEngine, SelectBaseline, [values](auto* b) {
            b->Arg(values)->MinTime(0.2)->Repetitions(5)->Unit(benchmark::kMicrosecond);
        });
    }
    for (const int bytes : {100, 300, 1024, 4096, 8192, 16384, 65536}) {
        RegisterPair("ScaleBytes", BytesEngine, BytesBaseline, [bytes](auto* b) {
            b->Arg(bytes)->Iterations(1)->Repetitions(1)->Unit(benchmark::kMillisecond);
        });
    }
    const auto measured = [](auto* b) {
        b->Arg(100000)->Iterations(2)->Repetitions(1)->Unit(benchmark::kMillisecond);
    };
    RegisterPair("ScaleImport", ImportEngine, ImportBaseline, measured);
    RegisterPair("ScaleExport", ExportEngine, ExportBaseline, measured);
}

void ReleaseScaleBenchmarks() {
    if (measurer <= 0) return;
    close(requests);
    close(replies);
    waitpid(measurer, nullptr, 0);
}

}  // namespace standin_bench
