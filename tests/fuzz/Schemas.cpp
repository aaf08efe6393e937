// Fuzz target: a schema and a document, on the stand-in engine. The input's first line is the
// schema, set as is into the schema file {"version": "1.0", "singleton": true, "schema": ...}
// (so the input may also reshape the file); the rest is the document, given to CreateObject and
// Set and, as the object's values, to Import. Nothing either holds may crash the process.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "FuzzStore.h"
#include "configstorec.h"

namespace {

std::filesystem::path components;
unsigned inputs = 0;

// The engine looks at a schema file, and lists its directory, again only a second after its last
// look: each input gets a group directory of its own, one of 4096 reused in turn, which at the
// store's speed (hundreds of inputs a second) is always older than a second.
constexpr unsigned kGroups = 4096;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    components = std::filesystem::path(SetUpFuzzStore()) / "components";
    setenv("CONFIGSTORE_COMPONENTS_DIR", components.c_str(), 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t newline = input.find('\n');
    const std::string schema = input.substr(0, newline);
    const std::string document = newline == std::string::npos ? "{}" : input.substr(newline + 1);
    const std::string group = "g" + std::to_string(inputs++ % kGroups);
    std::filesystem::create_directories(components / "fuzz" / group);
    std::ofstream(components / "fuzz" / group / "object.json")
        << R"({"version": "1.0", "singleton": true, "schema": )" << schema << "}";
    CreateAndWrite(document.c_str(), "object", group.c_str(), "fuzz", nullptr);
    EmptyFuzzStore();
    ImportText((R"({"format": "configstore/1", "objects": [{"key": "object", "group": ")" + group +
                R"(", "component": "fuzz", "values": )" + document + "}]}")
                   .c_str());
    EmptyFuzzStore();
    return 0;
}
