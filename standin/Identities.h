// An identity as text: its key, group, component and instance id, each ended by a NUL, which no
// identity holds. A list of many identities keeps them in one text so (a string for each field
// would take four times the memory), and a map keys by it.
#pragma once

#include <kivconfigstore/ObjectIds.h>

#include <array>
#include <string>
#include <string_view>

namespace standin {

inline void AppendIdentity(std::string& text, const KivConfigStore::ConfigStoreObjectId& id) {
    for (const std::string* field : {&id.key, &id.group, &id.component, &id.instanceId}) {
        text.append(*field).push_back('\0');
    }
}

// The four fields of the identity that starts at `start` in `text`.
inline std::array<std::string_view, 4> IdentityFields(std::string_view text, std::size_t start) {
    std::array<std::string_view, 4> fields;
    for (std::string_view& field : fields) {
        const std::size_t end = text.find('\0', start);
        field = text.substr(start, end - start);
        start = end + 1;
    }
    return fields;
}

}  // namespace standin
