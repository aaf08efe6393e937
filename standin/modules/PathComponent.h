// The one rule for a name that becomes part of a file path (a schema's component, group and key,
// an apply module's component): it must name an entry of one directory, nothing above or below.
#pragma once

#include <climits>
#include <string_view>

namespace standin {

// Not empty, ".", "..", holding '/' or NUL, or longer than a file name can be.
inline bool IsPathComponent(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.size() <= NAME_MAX &&
           name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace standin
