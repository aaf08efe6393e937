#include "MemberIndex.h"

#include <functional>
#include <new>

namespace standin {

namespace {

std::string_view NameOf(const JsonValue::Member& member) {
    return {member.name.GetString(), member.name.GetStringLength()};
}

std::size_t HashOf(std::string_view name) {
    return std::hash<std::string_view>{}(name);
}

template <class Object>
auto FindIn(const std::unordered_multimap<std::size_t, rapidjson::SizeType>& positions,
            bool complete, Object& object, std::string_view name) {
    if (!complete) {
        return object.FindMember(JsonValue(
            rapidjson::StringRef(name.data(), static_cast<rapidjson::SizeType>(name.size()))));
    }
    const auto [first, last] = positions.equal_range(HashOf(name));
    for (auto entry = first; entry != last; ++entry) {
        const auto member = object.MemberBegin() + entry->second;
        if (NameOf(*member) == name) return member;
    }
    return object.MemberEnd();
}

}  // namespace

JsonValue::MemberIterator MemberIndex::Find(JsonValue& object, std::string_view name) const {
    return FindIn(positions_, complete_, object, name);
}

JsonValue::ConstMemberIterator MemberIndex::Find(const JsonValue& object,
                                                 std::string_view name) const {
    return FindIn(positions_, complete_, object, name);
}

void MemberIndex::Added(const JsonValue& object) noexcept {
    if (!complete_) {
        Rebuild(object);
        return;
    }
    const rapidjson::SizeType last = object.MemberCount() - 1;
    try {
        positions_.emplace(HashOf(NameOf(object.MemberBegin()[last])), last);
    } catch (const std::bad_alloc&) {
        positions_.clear();
        complete_ = false;
    }
}

void MemberIndex::Erased(rapidjson::SizeType position) noexcept {
    if (!complete_) return;
    for (auto entry = positions_.begin(); entry != positions_.end();) {
        if (entry->second == position) {
            entry = positions_.erase(entry);
            continue;
        }
        if (entry->second > position) --entry->second;
        ++entry;
    }
}

void MemberIndex::Rebuild(const JsonValue& object) noexcept {
    positions_.clear();
    complete_ = false;
    if (object.MemberCount() < kIndexedMembers) return;
    try {
        positions_.reserve(object.MemberCount());
        for (rapidjson::SizeType position = 0; position < object.MemberCount(); ++position) {
            positions_.emplace(HashOf(NameOf(object.MemberBegin()[position])), position);
        }
        complete_ = true;
    } catch (const std::bad_alloc&) {
        positions_.clear();
    }
}

}  // namespace standin
