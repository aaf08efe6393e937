// Finds the members of a large JSON object by name without comparing every name, as RapidJSON's
// FindMember does: writing or reading n values one by one would otherwise take n² steps.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>

#include "Json.h"

namespace standin {

// The positions of an object's members by the hash of their names, kept in step with the object
// by whoever changes its members. Only an accelerator: when memory runs out it is dropped, and
// lookups scan the object as RapidJSON does until the next change rebuilds it.
class MemberIndex {
public:
    // Smaller objects are scanned: a short scan beats hashing, and allocates nothing.
    static constexpr rapidjson::SizeType kIndexedMembers = 32;

    // The member of `object` named `name`, MemberEnd() when there is none.
    JsonValue::MemberIterator Find(JsonValue& object, std::string_view name) const;
    JsonValue::ConstMemberIterator Find(const JsonValue& object, std::string_view name) const;

    // After `object` gained a member at its end.
    void Added(const JsonValue& object) noexcept;
    // After the member at `position` was erased, those after it moving up one place.
    void Erased(rapidjson::SizeType position) noexcept;
    // After `object` changed otherwise: replaced, swapped, its members reordered.
    void Rebuild(const JsonValue& object) noexcept;

private:
    std::unordered_multimap<std::size_t, rapidjson::SizeType> positions_;
    bool complete_ = false;  // every member is in `positions_`; when false, lookups scan
};

}  // namespace standin
