// What the binding adds to engine calls, in time and in allocations, on the engine test double
// with recording off. Each benchmark also reports what one call allocates: "buffers", the
// calloc() buffers handed to the caller, and "allocations", every heap block, the double's
// copies of its scripted answers included.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <functional>
#include <memory>

#include "Allocations.h"
#include "EngineDouble.h"
#include "core/Handles.h"

namespace {

using enginedouble::Read;

struct Handles {
    Handles() {
        enginedouble::Reset();
        enginedouble::SetRecording(false);
        enginedouble::Answer("GetValue(int*)", Read<int>{1, 42});
        enginedouble::Answer("GetValue(string*)", Read<std::string>{1, std::string(64, 's')});
        enginedouble::Answer("GetValue(vector<int>*)",
                             Read<std::vector<int>>{1, std::vector<int>(64, 7)});
        enginedouble::Answer("GetValue(vector<string>*)",
                             Read<std::vector<std::string>>{1, {16, "element"}});
        object = NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject("object"), true);
    }
    ~Handles() {
        DestroyConfigStoreObject(object);
        enginedouble::Reset();
    }
    ConfigStoreObjectStruct* object;
};

// Runs the call once more with allocations counted and reports them per call.
void ReportAllocations(benchmark::State& state, const std::function<void()>& call) {
    allocations::Start();
    call();
    allocations::Stop();
    state.counters["buffers"] = allocations::Callocs();
    state.counters["allocations"] = allocations::Mallocs() + allocations::Callocs();
}

void EngineGetValueInt(benchmark::State& state) {
    Handles handles;
    int value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(handles.object->engineObject->GetValue("speed", &value));
    }
    ReportAllocations(state, [&] { handles.object->engineObject->GetValue("speed", &value); });
}
BENCHMARK(EngineGetValueInt);

void BindingGetValueInt(benchmark::State& state) {
    Handles handles;
    int value = 0;
    for (auto _ : state) benchmark::DoNotOptimize(GetValueInt(handles.object, "speed", &value));
    ReportAllocations(state, [&] { GetValueInt(handles.object, "speed", &value); });
}
BENCHMARK(BindingGetValueInt);

void BindingSetValueDouble(benchmark::State& state) {
    Handles handles;
    for (auto _ : state) benchmark::DoNotOptimize(SetValueDouble(handles.object, "ratio", 0.5));
    ReportAllocations(state, [&] { SetValueDouble(handles.object, "ratio", 0.5); });
}
BENCHMARK(BindingSetValueDouble);

void BindingGetValueStr(benchmark::State& state) {
    Handles handles;
    for (auto _ : state) {
        char* value = nullptr;
        benchmark::DoNotOptimize(GetValueStr(handles.object, "name", &value));
        std::free(value);
    }
    ReportAllocations(state, [&] {
        char* value = nullptr;
        GetValueStr(handles.object, "name", &value);
        std::free(value);
    });
}
BENCHMARK(BindingGetValueStr);

void BindingGetValueIntArray(benchmark::State& state) {
    Handles handles;
    for (auto _ : state) {
        int* values = nullptr;
        int count = 0;
        benchmark::DoNotOptimize(GetValueIntArray(handles.object, "list", &values, &count));
        std::free(values);
    }
    ReportAllocations(state, [&] {
        int* values = nullptr;
        int count = 0;
        GetValueIntArray(handles.object, "list", &values, &count);
        std::free(values);
    });
}
BENCHMARK(BindingGetValueIntArray);

void BindingGetValueStringArray(benchmark::State& state) {
    Handles handles;
    for (auto _ : state) {
        char** values = nullptr;
        int count = 0;
        benchmark::DoNotOptimize(GetValueStringArray(handles.object, "names", &values, &count));
        DestroyStringArrayValue(&values, count);
    }
    ReportAllocations(state, [&] {
        char** values = nullptr;
        int count = 0;
        GetValueStringArray(handles.object, "names", &values, &count);
        DestroyStringArrayValue(&values, count);
    });
}
BENCHMARK(BindingGetValueStringArray);

// Wrapping a list of engine objects into handles, released again each time.
void WrapObjectList(benchmark::State& state) {
    Handles handles;
    KivConfigStore::ObjectList objects;
    for (int i = 0; i < state.range(0); ++i) objects.push_back(handles.object->engineObject);
    const auto wrapAndRelease = [&] {
        ConfigStoreObjectStruct** list = nullptr;
        int count = 0;
        WrapConfigStoreObjectList(objects, &list, &count);
        for (int i = 0; i < count; ++i) DestroyConfigStoreObject(list[i]);
        std::free(list);
    };
    for (auto _ : state) wrapAndRelease();
    ReportAllocations(state, wrapAndRelease);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(WrapObjectList)->Arg(1)->Arg(64);

}  // namespace

BENCHMARK_MAIN();
