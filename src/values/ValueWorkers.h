// The workers behind the value functions. Each exported function passes its handle (either kind)
// and its own name as the tag of its argument messages; engine exceptions are logged under the
// worker's fixed name.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>

#include "configstorec.h"
#include "core/Buffers.h"
#include "core/Checks.h"
#include "core/Families.h"
#include "core/Handles.h"

namespace binding {

// The engine's read status: 0, no value; 1, the stored value; anything else, its default.
inline int ReadStatus(int status) {
    if (status == 0) return CS_C_NOT_FOUND;
    return status == 1 ? CS_C_OK : CS_C_VALUE_IS_DEFAULT;
}

// Checks the handle and key, then runs `operation` on the engine object, under `Handlers`.
template <class Handlers, class Operation>
int WithValueObject(const char* worker, void* handle, const char* key, const char* logTag,
                    Operation operation) {
    return Guard<Handlers>(worker, [&]() -> int {
        if (int refused = CheckObjectAndKey(handle, key, logTag)) return refused;
        return operation(EngineValueObject(handle));
    });
}

// Hands a list read to the caller: the count is 0 unless elements are delivered, a key without a
// value gives a NULL array, and an empty list leaves the array as it was.
template <class Out, class MakeArray>
int DeliverList(int status, std::size_t size, Out** values, int* count, MakeArray makeArray) {
    const int elements = CountOf(size);
    *count = 0;
    if (status == 0) {
        *values = nullptr;
        return CS_C_NOT_FOUND;
    }
    if (elements > 0) {
        *values = makeArray();
        *count = elements;
    }
    return ReadStatus(status);
}

// Strings arrive as C strings, which must not be NULL; every other value is complete.
template <class T>
bool IsMissing(T value) {
    if constexpr (std::is_same_v<T, const char*>) return value == nullptr;
    return false;
}

// The engine appends strings from std::string and everything else as it comes.
template <class T>
auto AppendArgument(T value) {
    if constexpr (std::is_same_v<T, const char*>) {
        return std::string(value);
    } else {
        return value;
    }
}

}  // namespace binding

template <class T>
int GetValueInternal(void* handle, const char* key, T* value, const char* logTag) {
    return binding::WithValueObject<binding::ValueReads>(
        "GetValueInternal", handle, key, logTag,
        [&](KivConfigStore::WritableObject& object) -> int {
            return binding::ReadStatus(object.GetValue(key, value));
        });
}

// Strings: the caller owns a string after every outcome but CS_C_NOT_FOUND.
int GetValueInternal(void* handle, const char* key, char** value, const char* logTag);

template <class T>
int SetValueInternal(void* handle, const char* key, T value, const char* logTag) {
    return binding::WithValueObject<binding::ValueWrites>(
        "SetValueInternal", handle, key, logTag,
        [&](KivConfigStore::WritableObject& object) -> int {
            if (binding::IsMissing(value)) {
                return binding::RejectArgument(binding::message::kValueMissing, logTag);
            }
            object.SetValue(key, value);
            return CS_C_OK;
        });
}

template <class T>
int AppendValueInternal(void* handle, const char* key, T value, const char* logTag) {
    return binding::WithValueObject<binding::ValueAppends>(
        "AppendValueInternal", handle, key, logTag,
        [&](KivConfigStore::WritableObject& object) -> int {
            if (binding::IsMissing(value)) {
                return binding::RejectArgument(binding::message::kValueMissing, logTag);
            }
            object.AppendValue(key, binding::AppendArgument(value));
            return CS_C_OK;
        });
}
