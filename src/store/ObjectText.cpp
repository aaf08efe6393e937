// Text about objects: identity, versions and fresh instance ids, each handed to the caller as a
// new string it releases with free().
#include <string>

#include "configstorec.h"
#include "core/Buffers.h"
#include "core/Checks.h"
#include "core/Families.h"

namespace engine = KivConfigStore;
using binding::CBuffer;
using binding::CopyString;
using binding::Guard;

// Key, component, group and (when there is one) instance id, in that order. All copies are made
// before any is handed out, so a failed allocation leaves the caller nothing to release.
ConfigStoreCStatus GetConfigStoreObjectId(ConfigStoreObjectStruct* object, char** key,
                                          char** component, char** group, char** instanceId) {
    constexpr const char* kCaller = "GetConfigStoreObjectId";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (object == nullptr) {
            binding::LogLine(binding::message::kStoreMissing, kCaller);
            return CS_C_VALIDATION_ERROR;
        }
        const engine::ConfigStoreObjectId& id = object->engineObject->objectId;
        CBuffer<char> keyCopy(CopyString(id.key));
        CBuffer<char> componentCopy(CopyString(id.component));
        CBuffer<char> groupCopy(CopyString(id.group));
        CBuffer<char> instanceCopy(id.instanceId.empty() ? nullptr : CopyString(id.instanceId));
        *key = keyCopy.release();
        *component = componentCopy.release();
        *group = groupCopy.release();
        if (instanceCopy) *instanceId = instanceCopy.release();
        return CS_C_OK;
    });
}

ConfigStoreCStatus GetVersion(ConfigStoreObjectStruct* object, char** version) {
    constexpr const char* kCaller = "GetVersion";
    return Guard<binding::Untranslated>(kCaller, [&]() -> int {
        if (object == nullptr)
            return binding::RejectArgument(binding::message::kObjMissing, kCaller);
        *version = CopyString(object->engineObject->GetVersion());
        return CS_C_OK;
    });
}

ConfigStoreCStatus GetSchemaVersion(const char* key, const char* group, const char* component,
                                    char** version) {
    constexpr const char* kCaller = "GetSchemaVersion";
    return Guard<binding::ObjectReads>(kCaller, [&]() -> int {
        if (int refused = CheckObjectId(key, group, component, kCaller)) return refused;
        *version = CopyString(
            engine::GetSchemaVersion(engine::ConfigStoreObjectId(key, group, component)));
        return CS_C_OK;
    });
}

ConfigStoreCStatus GenerateInstanceId(char** instanceId) {
    return Guard<binding::Untranslated>("GenerateInstanceId", [&] {
        *instanceId = CopyString(engine::GenerateInstanceId());
        return CS_C_OK;
    });
}
