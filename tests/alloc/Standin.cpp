// The store the sweep and the calls fuzz target run on: a temporary directory holding a populated
// store, put back to the same content before every run, and the handles opened on it.
#include "Sweep.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "core/Handles.h"

namespace sweep {
namespace {

namespace fs = std::filesystem;

constexpr char kFan[] =
    R"({"i": 5, "u": 7, "l": 9, "ll": 11, "b": true, "d": 1.5, "s": "a text long enough",)"
    R"( "il": [1, 2], "dl": [1.5, 2.5], "lll": [3, 4], "bl": [true, false],)"
    R"( "sl": ["a", "a string long enough for the heap"], "bin": {"$base64": "AAECAwQ="}})";

constexpr const char* kInterfaces[] = {"eth0", "eth1"};

std::string Contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

}  // namespace

fs::path TemporaryStore(const char* components) {
    std::string root = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    root += "/configstore-XXXXXX";
    if (mkdtemp(root.data()) == nullptr) std::abort();
    setenv("CONFIGSTORE_DIR", (root + "/state").c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", (root + "/run").c_str(), 1);
    setenv("CONFIGSTORE_COMPONENTS_DIR", components, 1);
    // Failures are logged by the thousand: to standard error, which the sweep's rows and
    // scripts/fuzz.sh (-close_fd_mask=2) silence; syslog would fill the host's journal.
    setenv("CONFIGSTORE_LOG", "stderr", 1);
    unsetenv("CONFIGSTORE_NAMESPACE");
    return root;
}

int ExportAll(std::string& text) {
    FilterSpecObjectStruct* everything = nullptr;
    CreateFilterSpecObject("", "", "", nullptr, &everything);
    char* document = nullptr;
    const int status = Export(&everything, 1, &document);
    text = document != nullptr ? document : "";
    free(document);
    DestroyFilterSpecObject(everything);
    return status;
}

Standin::Standin() : root_(TemporaryStore(COMPONENTS_DIR)) {
    Handles h;
    GetStore(nullptr, &h.store);
    CreateObject("fan", "g", "c", nullptr, kFan, &h.object);
    CreateObject("pump", "g", "c", nullptr, R"({"i": 1})", &h.other);
    for (int i = 0; i < 2; ++i) {
        CreateObject("interface", "interfaces", "network", kInterfaces[i],
                     R"({"mtu": 1400, "description": "a description long enough"})",
                     &h.instances[i]);
    }
    for (const char* instance : {"1", "2"}) {
        ConfigStoreObjectStruct* blade = nullptr;
        CreateSubObject(h.object, "blade", instance, &blade);
        SetValueInt(blade, "i", 1);
    }
    Set(h.store, h.object, nullptr);
    Set(h.store, h.other, nullptr);
    SetInstances(h.store, h.instances, 2, nullptr);
    Close(h);
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        if (entry.is_regular_file()) snapshot_[entry.path()] = Contents(entry.path());
    }
}
Standin::~Standin() {
    fs::remove_all(root_);
}

void Standin::Open(Handles& h) {
    std::vector<fs::path> added;
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        if (entry.is_regular_file() && snapshot_.count(entry.path()) == 0) {
            added.push_back(entry.path());
        }
    }
    for (const fs::path& path : added) fs::remove(path);
    for (const auto& [path, bytes] : snapshot_) {
        if (fs::exists(path) && Contents(path) == bytes) continue;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
    }
    GetStore(nullptr, &h.store);
    Get(h.store, "fan", "g", "c", nullptr, &h.object);
    Get(h.store, "pump", "g", "c", nullptr, &h.other);
    for (int i = 0; i < 2; ++i) {
        Get(h.store, "interface", "interfaces", "network", kInterfaces[i], &h.instances[i]);
    }
    CreateFilterSpecObject("fan", "g", "c", nullptr, &h.filter);
    CreateFilterSpecObject("interface", "interfaces", "network", nullptr, &h.interfaces);
    CreateFilterSpecObject("blade", "g", "c", nullptr, &h.blades);
    // Values of "fan", which the filter's selection compares; its other reads find nothing.
    SetValueFsoLonglong(h.filter, "i", 5);
    SetValueFsoStr(h.filter, "s", "a text long enough");
}

void Standin::Close(Handles& h) {
    for (ConfigStoreObjectStruct* object : {h.object, h.other, h.instances[0], h.instances[1]}) {
        if (object != nullptr) DestroyConfigStoreObject(object);
    }
    for (FilterSpecObjectStruct* filter : {h.filter, h.interfaces, h.blades}) {
        if (filter != nullptr) DestroyFilterSpecObject(filter);
    }
    DestroyStore(h.store);
    h = Handles();
}

std::string Standin::Caches(const Handles& h) {
    std::string text;
    for (const auto& [key, children] : h.object->children.Entries()) {
        text += key + ":" + std::to_string(children.size()) + " ";
    }
    for (const auto& [key, children] : h.filter->children.Entries()) {
        text += key + ":" + std::to_string(children.size()) + " ";
    }
    return text;
}

std::string Standin::Stored() {
    std::string document;
    return "export " + std::to_string(ExportAll(document)) + ": " + document;
}

// Releases whatever a call handed out, as its owner must.
void Release(Outputs& o) {
    auto set = [](const void* pointer, const void* unset) {
        return pointer != nullptr && pointer != unset;
    };
    if (set(o.text, Unset<char>())) std::free(o.text);
    for (char* part : o.parts) {
        if (set(part, Unset<char>())) std::free(part);
    }
    if (set(o.strings, Unset<char*>())) DestroyStringArrayValue(&o.strings, o.count);
    for (void* buffer :
         {static_cast<void*>(o.ints), static_cast<void*>(o.doubles), static_cast<void*>(o.longs),
          static_cast<void*>(o.bools), static_cast<void*>(o.bytes)}) {
        if (set(buffer, Unset<void>())) std::free(buffer);
    }
    if (set(o.store, Unset<ConfigStoreStruct>())) DestroyStore(o.store);
    if (set(o.object, Unset<ConfigStoreObjectStruct>())) DestroyConfigStoreObject(o.object);
    if (set(o.objects, Unset<ConfigStoreObjectStruct*>())) {
        for (int i = 0; i < o.count; ++i) DestroyConfigStoreObject(o.objects[i]);
        std::free(o.objects);
    }
    if (set(o.children, Unset<ConfigStoreObjectStruct*>())) std::free(o.children);
    if (set(o.filter, Unset<FilterSpecObjectStruct>())) DestroyFilterSpecObject(o.filter);
    if (set(o.errors, Unset<ErrorInfoStruct*>())) DestroyErrorInfoList(&o.errors, o.errorCount);
    o = Outputs();
}

}  // namespace sweep
