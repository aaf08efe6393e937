#include "Checks.h"

#include <cstring>

#include "Log.h"
#include "configstorec.h"

using binding::RejectArgument;
namespace message = binding::message;

int CheckObjectAndKey(const void* handle, const char* key, const char* caller) {
    if (handle == nullptr) return RejectArgument(message::kObjectMissing, caller);
    if (key == nullptr) return RejectArgument(message::kKeyMissing, caller);
    return CS_C_OK;
}

int CheckStoreAndObjectId(const ConfigStoreStruct* store, const char* key, const char* group,
                          const char* component, const char* caller) {
    if (store == nullptr) return RejectArgument(message::kStoreMissing, caller);
    return CheckObjectId(key, group, component, caller);
}

int CheckObjectId(const char* key, const char* group, const char* component, const char* caller) {
    if (key == nullptr) return RejectArgument(message::kKeyMissing, caller);
    if (component == nullptr) return RejectArgument(message::kComponentMissing, caller);
    if (group == nullptr) return RejectArgument(message::kGroupMissing, caller);
    return CS_C_OK;
}

int ParseUserDataContext(const char* text, KivConfigStore::USERDATA_CONTEXT* context,
                         const char* caller) {
    if (text == nullptr || std::strcmp(text, "EXTERNAL") == 0) {
        *context = KivConfigStore::EXTERNAL;
    } else if (std::strcmp(text, "INTERNAL") == 0) {
        *context = KivConfigStore::INTERNAL;
    } else {
        binding::LogLine(message::kUnknownContext, caller, text);
        return CS_C_INVALID_ARGUMENT;
    }
    return CS_C_OK;
}
