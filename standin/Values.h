// An object's values: one JSON object whose members are the value keys, with the class each
// key was loaded from and the keys changed in memory since, so that a write of one class
// knows what to store where.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Errors.h"
#include "Json.h"
#include "MemberIndex.h"

namespace standin {

constexpr int kValueClasses = 4;  // the classes an object's values come from

using KeySet = std::set<std::string, std::less<>>;

// What the engine knows of one value key: the class it was loaded from or last stored in, and
// whether it changed in memory since.
struct KeyState {
    DataClass dataClass = DataClass::Configuration;
    bool changed = false;
};

struct ObjectValues {
    // Whoever changes its members other than through the functions below rebuilds `index`.
    Json values{rapidjson::kObjectType};
    MemberIndex index;  // of `values`
    // One state per member of `values`, in member order, so that tracking a key costs no
    // allocation of its own.
    std::vector<KeyState> states;
    KeySet removed;  // keys removed in memory since the object was loaded or written
    long long version = 0;
    // The defaults of the object's schema, shared with the schema; null when it has none.
    std::shared_ptr<const JsonValue> defaults;

    // The value the object holds under `key`; null for absent keys and the sub-objects member.
    const JsonValue* Find(const char* key) const;
    // The default for a key the object does not hold; null when there is none.
    const JsonValue* FindDefault(const char* key) const;

    // Typed reads: 1 and the value when the key holds one, 2 and the default when only the
    // schema has one, 0 when neither has; InvalidTypeException when the value has another type
    // or is out of range.
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
    // new key (sub-objects included), and every member counts as changed, so that writing the
    // object stores it all.
    void Adopt(Json& document);

    // The engine-owned member holding the sub-objects, created empty when `create`; null when
    // absent. Changing it is the caller's business: see MarkChanged.
    JsonValue* SubObjects(bool create);
    // Marks a member (the sub-objects member) changed, so that the next write stores it.
    void MarkChanged(const JsonValue& member);

    // Adds a member the object does not hold, with its state, after the others.
    void AddLast(JsonValue name, JsonValue value,
                 KeyState state = {DataClass::Configuration, true});
};

// Values as writes store them; each refuses what a JSON document cannot hold
// (InvalidArgumentException): NaN and infinities, text that is not UTF-8.
JsonValue NumberValue(const char* key, double value);
JsonValue TextValue(const char* key, const char* text, std::size_t length);

// Throws InvalidArgumentException unless `text` (not NULL) is valid UTF-8.
void CheckText(const char* key, const char* text, std::size_t length);

// Each level nests a sub-object's values three JSON levels deeper ("$subObjects", key,
// instance); deeper, a stored or exported document could not be read back.
constexpr int kMaxSubObjectLevels = 16;
static_assert(3 * kMaxSubObjectLevels + 8 <= kMaxJsonDepth, "room for exchange documents");

// Throws InvalidArgumentException (`code`) unless `values` is a JSON object whose member names
// are acceptable value keys, whose binary values are base64, and whose sub-objects member, if
// any, maps sub-object keys to instance ids to values of the same kind, at most
// kMaxSubObjectLevels deep.
void CheckValues(const JsonValue& values, CSErrorCodes code);

}  // namespace standin
