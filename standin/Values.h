// An object's values: one JSON object whose members are the value keys, with the class each
// key was loaded from and the keys changed in memory since, so that a write of one class
// knows what to store where.
#pragma once

#include <map>
#include <string>

#include "Classes.h"
#include "Json.h"

namespace standin {

struct ObjectValues {
    Json values{rapidjson::kObjectType};
    // Every loaded key belongs to `loadedClass` except the ones listed in `otherClasses`, so
    // that the usual object, loaded from one class, tracks nothing per key.
    DataClass loadedClass = DataClass::Configuration;
    std::map<std::string, DataClass, std::less<>> otherClasses;
    KeySet changed;  // set, appended or removed since the object was loaded or written
    long long version = 0;

    DataClass ClassOf(const char* key) const;
    const JsonValue* Find(const char* key) const;

    // Typed reads: 1 and the value when the key holds one, 0 when it holds none;
    // InvalidTypeException when the stored value has another type or is out of range.
    template <class T>
    int Read(const char* key, T* out) const;
    int ReadBinary(const char* key, unsigned char** data, unsigned long* size) const;

    // Writes refuse empty and reserved keys and values a JSON document cannot hold
    // (InvalidArgumentException).
    void Write(const char* key, JsonValue value);
    template <class T>
    void Append(const char* key, T element);
    void WriteBinary(const char* key, const unsigned char* data, unsigned long size);
    void Remove(const char* key);
};

// Values as writes store them; each refuses what a JSON document cannot hold
// (InvalidArgumentException): NaN and infinities, text that is not UTF-8.
JsonValue NumberValue(const char* key, double value);
JsonValue TextValue(const char* key, const char* text, std::size_t length);

// Throws InvalidArgumentException unless `key` can name a value.
void CheckValueKey(const char* key);
// Throws InvalidArgumentException unless `text` (not NULL) is valid UTF-8.
void CheckText(const char* key, const char* text, std::size_t length);

}  // namespace standin
