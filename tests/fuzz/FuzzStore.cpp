#include "FuzzStore.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::filesystem::path storeRoot;

}  // namespace

std::string FuzzTemporaryParent() {
    if (access("/dev/shm", W_OK) == 0) return "/dev/shm";
    const char* tmp = std::getenv("TMPDIR");
    return tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
}

std::string SetUpFuzzStore() {
    std::string pattern = FuzzTemporaryParent() + "/configstore-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    storeRoot = pattern;
    setenv("CONFIGSTORE_DIR", (storeRoot / "state").c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", (storeRoot / "run").c_str(), 1);
    setenv("CONFIGSTORE_COMPONENTS_DIR", FUZZ_COMPONENTS_DIR, 1);
    unsetenv("CONFIGSTORE_NAMESPACE");
    // Failures are logged by the thousand: to standard error, which scripts/fuzz.sh has
    // libFuzzer close (-close_fd_mask=2); syslog would fill the host's journal.
    setenv("CONFIGSTORE_LOG", "stderr", 1);
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(storeRoot, ignored);
    });
    return storeRoot;
}

void EmptyFuzzStore() {
    std::filesystem::remove_all(storeRoot / "state");
    std::filesystem::remove_all(storeRoot / "run");
}

ConfigStoreCStatus Checked(ConfigStoreCStatus status) {
    if (status < CS_C_OK || status > CS_C_VALUE_IS_DEFAULT) std::abort();
    return status;
}

ConfigStoreCStatus ImportText(const char* document) {
    ErrorInfoStruct** errors = nullptr;
    int count = 0;
    const ConfigStoreCStatus status = Checked(Import(document, &errors, &count));
    for (int i = 0; i < count; ++i) {
        char* text = nullptr;
        Checked(GetErrorInfoMessage(errors[i], &text));
        std::free(text);
    }
    Checked(DestroyErrorInfoList(&errors, count));
    return status;
}

void CreateAndWrite(const char* document, const char* key, const char* group, const char* component,
                    const char* instanceId) {
    ConfigStoreObjectStruct* object = nullptr;
    if (Checked(CreateObject(key, group, component, instanceId, document, &object)) != CS_C_OK) {
        return;
    }
    ConfigStoreStruct* store = nullptr;
    Checked(GetStore(nullptr, &store));
    if (Checked(Set(store, object, "INTERNAL")) == CS_C_OK) {
        ConfigStoreObjectStruct* stored = nullptr;
        Checked(Get(store, key, group, component, instanceId, &stored));
        if (stored != nullptr) Checked(DestroyConfigStoreObject(stored));
    }
    Checked(DestroyStore(store));
    Checked(DestroyConfigStoreObject(object));
}
