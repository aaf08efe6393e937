// The allocation-failure sweep: one row per exported function, run on the stand-in engine with the
// n-th allocation of the call failing, for every n the call reaches. Each failure must answer a
// documented failure status, leave the outputs and child caches as they were, leak nothing and
// leave the store with either the old or the new content.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "configstorec.h"

namespace sweep {

// The handles a row works on, built afresh for every run.
struct Handles {
    ConfigStoreStruct* store = nullptr;
    ConfigStoreObjectStruct* object = nullptr;  // "fan": a value of every type, sub-objects "blade"
    ConfigStoreObjectStruct* other = nullptr;   // "pump"
    FilterSpecObjectStruct* filter = nullptr;   // selects "fan" by two of its values
    ConfigStoreObjectStruct* instances[2] = {};    // of "interface", whose schema checks writes
    FilterSpecObjectStruct* interfaces = nullptr;  // selects "interface"
    FilterSpecObjectStruct* blades = nullptr;      // selects the sub-objects "blade"
};

// The one address that marks an output the call has not written.
inline char unsetOutput;
template <class T>
T* Unset() {
    return reinterpret_cast<T*>(&unsetOutput);
}

// What a call hands out. Everything starts unset; a failed call leaves it as it was.
struct Outputs {
    char* text = Unset<char>();
    char* parts[4] = {Unset<char>(), Unset<char>(), Unset<char>(), Unset<char>()};
    char** strings = Unset<char*>();
    int* ints = Unset<int>();
    double* doubles = Unset<double>();
    long long* longs = Unset<long long>();
    bool* bools = Unset<bool>();
    unsigned char* bytes = Unset<unsigned char>();
    ConfigStoreStruct* store = Unset<ConfigStoreStruct>();
    ConfigStoreObjectStruct* object = Unset<ConfigStoreObjectStruct>();
    ConfigStoreObjectStruct* child = Unset<ConfigStoreObjectStruct>();  // borrowed
    ConfigStoreObjectStruct** objects = Unset<ConfigStoreObjectStruct*>();
    ConfigStoreObjectStruct** children = Unset<ConfigStoreObjectStruct*>();  // borrowed handles
    FilterSpecObjectStruct* filter = Unset<FilterSpecObjectStruct>();
    FilterSpecObjectStruct* subFilter = Unset<FilterSpecObjectStruct>();  // borrowed
    ErrorInfoStruct** errors = Unset<ErrorInfoStruct*>();
    unsigned long size = 99;
    int count = -1;
    int errorCount = -1;
};

// Scalar reads write through the engine: not compared.
struct Scalars {
    int i = 0;
    unsigned short u16 = 0;
    unsigned int u32 = 0;
    long l = 0;
    long long ll = 0;
    bool b = false;
    double d = 0;
};

enum Flags {
    kStore = 1,      // the call reaches the store: CS_C_STORE_ERROR is a documented failure
    kWrites = 2,     // the call changes the store: its content is checked after each failure
    kEmptyText = 4,  // a failed read may hand out the empty string
    kNullChild = 8,  // a failed read sets the child handle to NULL
};

struct Row {
    const char* function;
    int (*call)(Handles&, Outputs&, Scalars&);
    int flags = 0;
    void (*prepare)(Handles&, Outputs&) = nullptr;  // outputs the call consumes, made unfailed
};

// Every exported function, once.
const Row* Rows(int* count);

// A new directory for a store, which the engine is pointed at, with the schemas of `components`
// and its log on standard error. On tmpfs when there is one: the store syncs every write, which a
// disk makes slow.
std::filesystem::path TemporaryStore(const char* components);

// Export's result for every object, its document in `text`.
int ExportAll(std::string& text);

// A populated store in a temporary directory: "fan" (a value of every type and sub-objects
// "blade"), "pump" and two instances of "interface".
class Standin {
public:
    Standin();
    ~Standin();
    Standin(const Standin&) = delete;
    Standin& operator=(const Standin&) = delete;

    // Puts the files back as they were made first (those added since go, those changed are
    // rewritten: cheaper than making them anew), then opens the handles.
    void Open(Handles& h);
    // Destroys every handle and leaves them NULL.
    void Close(Handles& h);
    // The keys and handle counts of both child caches.
    static std::string Caches(const Handles& h);
    // Export's result and document for everything the store holds.
    std::string Stored();

private:
    std::filesystem::path root_;
    std::map<std::filesystem::path, std::string> snapshot_;
};

// Releases whatever a call handed out, as its owner must, and resets the outputs.
void Release(Outputs& o);

}  // namespace sweep
