// One object holding many values ("v0", "v1", ...), written and read through the C interface,
// beside a baseline that builds the same document with RapidJSON and stores it with one SQLite
// insert. Both should grow linearly with the number of values.
#include <map>
#include <memory>

#include "StandinBench.h"

namespace standin_bench {

namespace {

constexpr int kReadValues = 10000;  // the values of the object read back

// The value keys of an object of `count` values, made once, outside the timed runs.
const std::vector<std::string>& ValueKeys(int count) {
    static std::map<int, std::vector<std::string>> keys;
    std::vector<std::string>& made = keys[count];
    for (int index = static_cast<int>(made.size()); index < count; ++index)
        made.push_back("v" + std::to_string(index));
    return made;
}

// Every run writes an identity of its own, so that each write stores a new object.
std::string ObjectKey(int count, int run) {
    return "many" + std::to_string(count) + "-" + std::to_string(run);
}

ConfigStoreObjectStruct* NewManyValuesObject(const std::string& key, int count) {
    ConfigStoreObjectStruct* object = nullptr;
    Require(CreateObject(key.c_str(), kGroup, kComponent, nullptr, "", &object), "CreateObject");
    const std::vector<std::string>& keys = ValueKeys(count);
    for (int index = 0; index < count; ++index)
        Require(SetValueInt(object, keys[index].c_str(), index), "SetValueInt");
    return object;
}

void WriteEngine(ConfigStoreStruct* store, const std::string& key, int count) {
    ConfigStoreObjectStruct* object = NewManyValuesObject(key, count);
    Require(BeginTransaction(store), "BeginTransaction");
    Require(Set(store, object, "INTERNAL"), "Set");
    Require(CommitTransaction(store), "CommitTransaction");
    DestroyConfigStoreObject(object);
}

// One document per identity, as JSON text.
class BaselineObjects {
public:
    BaselineObjects()
        : db_("many-values",
              "CREATE TABLE objects(key TEXT NOT NULL PRIMARY KEY, document TEXT NOT NULL)"
              " WITHOUT ROWID"),
          insert_(db_.Prepare("INSERT INTO objects VALUES(?1, ?2)")),
          select_(db_.Prepare("SELECT document FROM objects WHERE key = ?1")) {}

    void Write(const std::string& key, int count) {
        const std::vector<std::string>& keys = ValueKeys(count);
        rapidjson::Document document(rapidjson::kObjectType);
        auto& allocator = document.GetAllocator();
        for (int index = 0; index < count; ++index) {
            const std::string& name = keys[index];
            document.AddMember(
                rapidjson::Value(name.data(), static_cast<rapidjson::SizeType>(name.size()),
                                 allocator),
                rapidjson::Value(index), allocator);
        }
        const std::string text = CompactText(document);
        db_.Begin();
        BindText(insert_, 1, key);
        BindText(insert_, 2, text);
        if (sqlite3_step(insert_) != SQLITE_DONE) db_.Fail("insert");
        sqlite3_reset(insert_);
        db_.Commit();
    }

    // Reads the object back and sums its values, each read once, in member order.
    long long Read(const std::string& key) {
        BindText(select_, 1, key);
        if (sqlite3_step(select_) != SQLITE_ROW) db_.Fail("select " + key);
        const std::string_view text = ColumnText(select_, 0);
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        sqlite3_reset(select_);
        if (!document.IsObject()) db_.Fail("parse " + key);
        long long sum = 0;
        for (const auto& member : document.GetObject()) {
            if (member.value.IsInt()) sum += member.value.GetInt();
        }
        return sum;
    }

private:
    BaselineDatabase db_;
    sqlite3_stmt* insert_;
    sqlite3_stmt* select_;
};

std::unique_ptr<BaselineObjects> baseline;

BaselineObjects& Baseline() {
    if (!baseline) baseline = std::make_unique<BaselineObjects>();
    return *baseline;
}

void ManyValuesEngine(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    ConfigStoreStruct* store = EngineStore("many-values");
    static std::map<int, int> runs;
    for (auto _ : state) WriteEngine(store, ObjectKey(count, runs[count]++), count);
}

void ManyValuesBaseline(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    static std::map<int, int> runs;
    for (auto _ : state) Baseline().Write(ObjectKey(count, runs[count]++), count);
}

// The object read back: fetched, then each value read by its key.
const std::string kReadKey = "many-read";

void ManyValuesReadEngine(benchmark::State& state) {
    ConfigStoreStruct* store = EngineStore("many-values");
    static const bool written = (WriteEngine(store, kReadKey, kReadValues), true);
    const std::vector<std::string>& keys = ValueKeys(kReadValues);
    for (auto _ : state) {
        ConfigStoreObjectStruct* object = nullptr;
        Require(Get(store, kReadKey.c_str(), kGroup, kComponent, nullptr, &object), "Get");
        long long sum = 0;
        for (const std::string& key : keys) {
            int value = 0;
            Require(GetValueInt(object, key.c_str(), &value), "GetValueInt");
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
        DestroyConfigStoreObject(object);
    }
    benchmark::DoNotOptimize(written);
}

void ManyValuesReadBaseline(benchmark::State& state) {
    static const bool written = (Baseline().Write(kReadKey, kReadValues), true);
    for (auto _ : state) benchmark::DoNotOptimize(Baseline().Read(kReadKey));
    benchmark::DoNotOptimize(written);
}

}  // namespace

void RegisterManyValuesBenchmarks() {
    for (const int count : {1000, 10000, 100000}) {
        RegisterPair("ManyValues", ManyValuesEngine, ManyValuesBaseline, [count](auto* b) {
            b->Arg(count)->MinTime(0.2)->Repetitions(3)->Unit(benchmark::kMillisecond);
        });
    }
    RegisterPair("ManyValuesRead", ManyValuesReadEngine, ManyValuesReadBaseline,
                 [](auto* b) { b->MinTime(0.2)->Repetitions(3)->Unit(benchmark::kMillisecond); });
}

void ReleaseManyValuesBenchmarks() {
    baseline.reset();
}

}  // namespace standin_bench
