// Opening and releasing stores, and releasing top-level object and filter handles.
#include <string>

#include "Families.h"
#include "Handles.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::RejectArgument;
namespace message = binding::message;

ConfigStoreCStatus GetStore(const char* nameSpace, ConfigStoreStruct** store) {
    return Guard<binding::StoreLevel>("GetStore", [&] {
        // The default namespace is passed as the engine's own constant, not a copy of its text.
        std::shared_ptr<engine::ConfigStore> engineStore =
            nameSpace == nullptr ? engine::ConfigStore::GetStore(engine::sGlobalNamespace)
                                 : engine::ConfigStore::GetStore(std::string(nameSpace));
        if (!engineStore) {
            *store = nullptr;
            return CS_C_NOT_FOUND;
        }
        *store = new ConfigStoreStruct{std::move(engineStore)};
        return CS_C_OK;
    });
}

ConfigStoreCStatus DestroyStore(ConfigStoreStruct* store) {
    return Guard<binding::Untranslated>("DestroyStore", [&] {
        delete store;
        return CS_C_OK;
    });
}

ConfigStoreCStatus DestroyConfigStoreObject(ConfigStoreObjectStruct* object) {
    constexpr const char* kCaller = "DestroyConfigStoreObject";
    return Guard<binding::Untranslated>(kCaller, [&] {
        if (object == nullptr || !object->engineObject) {
            return RejectArgument(message::kInvalidArgument, kCaller);
        }
        if (!object->isTopLevel) return RejectArgument(message::kDestroyObjectChild, kCaller);
        return DestroyConfigStoreObjectInternal(object);
    });
}

ConfigStoreCStatus DestroyFilterSpecObject(FilterSpecObjectStruct* filter) {
    constexpr const char* kCaller = "DestroyFilterSpecObject";
    return Guard<binding::Untranslated>(kCaller, [&] {
        if (filter == nullptr) return RejectArgument(message::kInvalidArgument, kCaller);
        if (!filter->isTopLevel) return RejectArgument(message::kDestroyFilterChild, kCaller);
        return DestroyFilterSpecObjectInternal(filter);
    });
}
