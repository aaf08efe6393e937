// Strings, string lists, binary values and empty lists. Strings and string lists are copied into
// buffers the caller owns; binary buffers pass through as the engine hands them out.
#include <cstdlib>
#include <string>
#include <vector>

#include "configstorec.h"
#include "values/ValueWorkers.h"

using binding::Untranslated;
using binding::WithValueObject;
using KivConfigStore::WritableObject;

namespace {

int GetValueBinaryInternal(void* handle, const char* key, unsigned char** data, unsigned long* size,
                           const char* logTag) {
    return WithValueObject<binding::ValueReads>(
        "GetValueBinaryInternal", handle, key, logTag, [&](WritableObject& object) {
            const int status = object.GetValueBinary(key, data, size);
            if (status == 0) *data = nullptr;
            return binding::ReadStatus(status);
        });
}

int SetValueBinaryInternal(void* handle, const char* key, const unsigned char* data,
                           unsigned long size, const char* logTag) {
    return WithValueObject<Untranslated>(
        logTag, handle, key, logTag, [&](WritableObject& object) -> int {
            if (data == nullptr && size > 0) {
                return binding::RejectArgument(binding::message::kValueMissing, logTag);
            }
            object.SetValueBinary(key, data, size);
            return CS_C_OK;
        });
}

int SetValueEmptyListInternal(void* handle, const char* key, const char* logTag) {
    return WithValueObject<Untranslated>(logTag, handle, key, logTag, [&](WritableObject& object) {
        object.SetValueEmptyList(key);
        return CS_C_OK;
    });
}

int RemoveValueInternal(void* handle, const char* key, const char* logTag) {
    return WithValueObject<Untranslated>(logTag, handle, key, logTag, [&](WritableObject& object) {
        object.Remove(key);
        return CS_C_OK;
    });
}

}  // namespace

int GetValueInternal(void* handle, const char* key, char** value, const char* logTag) {
    constexpr const char* kWorker = "GetValueInternal";
    return binding::Guard<Untranslated>(kWorker, [&] {
        std::string text;
        int result = CheckObjectAndKey(handle, key, logTag);
        if (result == CS_C_OK) {
            result = binding::Guard<binding::ValueReads>(kWorker, [&] {
                return binding::ReadStatus(binding::EngineValueObject(handle).GetValue(key, &text));
            });
        }
        if (result == CS_C_NOT_FOUND) {
            *value = nullptr;
            return result;
        }
        // A failed or refused read still hands the caller a string: the empty one.
        const bool delivered = result == CS_C_OK || result == CS_C_VALUE_IS_DEFAULT;
        *value = binding::CopyString(delivered ? text : std::string());
        return result;
    });
}

ConfigStoreCStatus GetValueStringArrayInternal(void* handle, const char* key, char*** values,
                                               int* count, const char* logTag) {
    return WithValueObject<binding::ValueReads>(
        "GetValueStringArrayInternal", handle, key, logTag, [&](WritableObject& object) {
            std::vector<std::string> list;
            const int status = object.GetValue(key, &list);
            return binding::DeliverList(status, list.size(), values, count,
                                        [&] { return binding::CopyStrings(list); });
        });
}

ConfigStoreCStatus GetValueStr(ConfigStoreObjectStruct* object, const char* key, char** value) {
    return GetValueInternal(object, key, value, "GetValueStr");
}

ConfigStoreCStatus GetValueFsoStr(FilterSpecObjectStruct* filter, const char* key, char** value) {
    return GetValueInternal(filter, key, value, "GetValueFsoStr");
}

ConfigStoreCStatus GetValueStringArray(ConfigStoreObjectStruct* object, const char* key,
                                       char*** values, int* count) {
    return GetValueStringArrayInternal(object, key, values, count, "GetValueStringArray");
}

ConfigStoreCStatus GetValueFsoStringArray(FilterSpecObjectStruct* filter, const char* key,
                                          char*** values, int* count) {
    return GetValueStringArrayInternal(filter, key, values, count, "GetValueFsoStringArray");
}

ConfigStoreCStatus DestroyStringArrayValue(char*** values, int count) {
    return binding::Guard<Untranslated>("DestroyStringArrayValue", [&] {
        if (values == nullptr) return CS_C_OK;
        for (int i = 0; i < count; ++i) std::free((*values)[i]);
        std::free(*values);
        return CS_C_OK;
    });
}

ConfigStoreCStatus GetValueBinary(ConfigStoreObjectStruct* object, const char* key,
                                  unsigned char** data, unsigned long* size) {
    return GetValueBinaryInternal(object, key, data, size, "GetValueBinary");
}

ConfigStoreCStatus GetValueFsoBinary(FilterSpecObjectStruct* filter, const char* key,
                                     unsigned char** data, unsigned long* size) {
    return GetValueBinaryInternal(filter, key, data, size, "GetValueFsoBinary");
}

ConfigStoreCStatus SetValueStr(ConfigStoreObjectStruct* object, const char* key,
                               const char* value) {
    return SetValueInternal(object, key, value, "SetValueStr");
}

ConfigStoreCStatus SetValueFsoStr(FilterSpecObjectStruct* filter, const char* key,
                                  const char* value) {
    return SetValueInternal(filter, key, value, "SetValueFsoStr");
}

ConfigStoreCStatus AppendValueString(ConfigStoreObjectStruct* object, const char* key,
                                     const char* value) {
    return AppendValueInternal(object, key, value, "AppendValueString");
}

ConfigStoreCStatus AppendValueFsoString(FilterSpecObjectStruct* filter, const char* key,
                                        const char* value) {
    return AppendValueInternal(filter, key, value, "AppendValueFsoString");
}

ConfigStoreCStatus SetValueBinary(ConfigStoreObjectStruct* object, const char* key,
                                  const unsigned char* data, unsigned long size) {
    return SetValueBinaryInternal(object, key, data, size, "SetValueBinary");
}

ConfigStoreCStatus SetValueFsoBinary(FilterSpecObjectStruct* filter, const char* key,
                                     const unsigned char* data, unsigned long size) {
    return SetValueBinaryInternal(filter, key, data, size, "SetValueFsoBinary");
}

ConfigStoreCStatus SetValueEmptyList(ConfigStoreObjectStruct* object, const char* key) {
    return SetValueEmptyListInternal(object, key, "SetValueEmptyList");
}

ConfigStoreCStatus SetValueFsoEmptyList(FilterSpecObjectStruct* filter, const char* key) {
    return SetValueEmptyListInternal(filter, key, "SetValueFsoEmptyList");
}

ConfigStoreCStatus RemoveValue(ConfigStoreObjectStruct* object, const char* key) {
    return RemoveValueInternal(object, key, "RemoveValue");
}

ConfigStoreCStatus RemoveValueFso(FilterSpecObjectStruct* filter, const char* key) {
    return RemoveValueInternal(filter, key, "RemoveValueFso");
}
