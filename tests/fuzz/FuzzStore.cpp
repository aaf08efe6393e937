#include "FuzzStore.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include "../alloc/Sweep.h"

static std::filesystem::path storeRoot;

std::string SetUpFuzzStore() {
    storeRoot = sweep::TemporaryStore(COMPONENTS_DIR);
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
