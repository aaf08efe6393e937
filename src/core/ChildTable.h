// The child handles a parent handle keeps, by sub-object key, in key order. A sorted vector rather
// than a map: a handle type must keep a standard layout (see Handles.h), which a map member breaks.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace binding {

template <class Handle>
class ChildTable {
public:
    using Handles = std::vector<Handle*>;
    using Entry = std::pair<std::string, Handles>;

    // The handles under `key`, or NULL when the key is not present.
    Handles* Find(std::string_view key) {
        auto entry = Position(key);
        return entry != entries_.end() && entry->first == key ? &entry->second : nullptr;
    }
    const Handles* Find(std::string_view key) const {
        return const_cast<ChildTable*>(this)->Find(key);
    }
    bool Contains(std::string_view key) const { return Find(key) != nullptr; }
    bool Empty() const { return entries_.empty(); }

    // The handles under `key`, the key inserted with none when absent; `inserted` tells which.
    Handles& Insert(std::string_view key, bool* inserted = nullptr) {
        auto entry = Position(key);
        const bool absent = entry == entries_.end() || entry->first != key;
        if (absent) entry = entries_.emplace(entry, std::string(key), Handles());
        if (inserted != nullptr) *inserted = absent;
        return entry->second;
    }

    void Erase(std::string_view key) {
        auto entry = Position(key);
        if (entry != entries_.end() && entry->first == key) entries_.erase(entry);
    }

    std::vector<Entry>& Entries() { return entries_; }

private:
    typename std::vector<Entry>::iterator Position(std::string_view key) {
        return std::lower_bound(
            entries_.begin(), entries_.end(), key,
            [](const Entry& entry, std::string_view wanted) { return entry.first < wanted; });
    }

    std::vector<Entry> entries_;
};

}  // namespace binding
