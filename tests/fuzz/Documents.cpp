// Fuzz target: the input is a document of the store, given to Import and to CreateObject (whose
// object is then written, so that its schema is checked), on the stand-in engine. A document the
// store takes must come back from Export as a document that imports into an empty store and
// exports to the same text again.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../alloc/Sweep.h"
#include "FuzzStore.h"
#include "configstorec.h"

namespace {

// The whole store as an exchange document; a store that imported a document exports it.
std::string ExportAll() {
    std::string text;
    if (Checked(static_cast<ConfigStoreCStatus>(sweep::ExportAll(text))) != CS_C_OK) std::abort();
    return text;
}

void CheckRoundTrip(const char* document) {
    if (ImportText(document) != CS_C_OK) return;
    const std::string exported = ExportAll();
    EmptyFuzzStore();
    if (ImportText(exported.c_str()) != CS_C_OK || ExportAll() != exported) {
        std::fprintf(stderr, "The store's own export does not import back:\n%s\n",
                     exported.c_str());
        std::abort();
    }
}

// Key, group, component and instance id: a multi-instance and a singleton identity with schemas,
// and one without.
constexpr const char* kIdentities[][4] = {{"interface", "interfaces", "network", "eth0"},
                                          {"clock", "time", "system", nullptr},
                                          {"k", "g", "c", nullptr}};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    SetUpFuzzStore();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string document(reinterpret_cast<const char*>(data), size);
    CheckRoundTrip(document.c_str());
    EmptyFuzzStore();
    const auto& id = kIdentities[size % std::size(kIdentities)];
    CreateAndWrite(document.c_str(), id[0], id[1], id[2], id[3]);
    EmptyFuzzStore();
    return 0;
}
