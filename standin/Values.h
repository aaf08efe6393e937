// An object's values: one JSON object whose members are the value keys, with the class each
// key was loaded from and the keys changed in memory since, so that a write of one class
// knows what to store where.
#pragma once

#include <string>
#include <vector>

#include "Classes.h"
#include "Json.h"

namespace standin {

// What the engine knows of one value key: the class it was loaded from or last stored in, and
// whether it changed in memory since.
struct KeyState {
    DataClass dataClass = DataClass::Configuration;
    bool changed = false;
};

struct ObjectValues {
    Json values{rapidjson::kObjectType};
    // One state per member of `values`, in member order, so that tracking a key costs no
    // allocation of its own.
    std::vector<KeyState> states;
    KeySet removed;  // keys removed in memory since the object was loaded or written
    long long version = 0;

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

    // Takes a new object's parsed document: each member name is checked as a write checks a
    // new key, and every member counts as changed, so that writing the object stores it all.
    void Adopt(Json& document);
};

// Values as writes store them; each refuses what a JSON document cannot hold
// (InvalidArgumentException): NaN and infinities, text that is not UTF-8.
JsonValue NumberValue(const char* key, double value);
JsonValue TextValue(const char* key, const char* text, std::size_t length);

// Throws InvalidArgumentException unless `text` (not NULL) is valid UTF-8.
void CheckText(const char* key, const char* text, std::size_t length);

}  // namespace standin
