// The classes of data stored for an object identity, and how a write of one class changes the
// stored documents.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "Values.h"

namespace standin {

// The stored documents of one identity, one per class; absent where nothing is stored.
using StoredClasses = std::array<std::optional<Json>, kValueClasses + 1>;

// How a write stores an object: which class, and whether it replaces the class's document or
// merges the changed keys into it.
struct WriteKind {
    DataClass target;
    bool merge;
};

}  // namespace standin

namespace standin {

// Sets each member of `from` in `document` to a copy of its value, in time linear in both.
void Merge(Json& document, const JsonValue& from);

// Adds the stored document of one class to an object being loaded.
void AddLoaded(ObjectValues& object, DataClass dataClass, Json& document);

// The documents a write stores, by class; null where a class stays as it is.
using WrittenClasses = std::array<const JsonValue*, kValueClasses + 1>;

// Applies a write of `object` to the identity's stored documents (`stored`, which the write
// changes in place): the target class receives the object's keys of that class and every
// changed key (all of them when replacing, only the changed ones when merging), and the other
// classes give up the keys it now holds and the keys removed in memory. With `recordDesired`
// the desired configuration takes the same changes. When a replacing write stores the whole
// object, the target's document is the object's own values, not a copy.
WrittenClasses ApplyWrite(const ObjectValues& object, WriteKind kind, bool recordDesired,
                          StoredClasses& stored);

// After the write committed: the changed keys now belong to `target`.
void MarkWritten(ObjectValues& object, DataClass target, long long version);

}  // namespace standin
