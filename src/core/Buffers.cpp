#include "Buffers.h"

#include <climits>
#include <cstring>
#include <stdexcept>

namespace binding {

int CountOf(std::size_t size) {
    if (size > static_cast<std::size_t>(INT_MAX)) throw std::length_error("too many elements");
    return static_cast<int>(size);
}

char* CopyString(const std::string& text) {
    char* copy = static_cast<char*>(std::calloc(text.size() + 1, 1));
    if (copy == nullptr) throw std::bad_alloc();
    // An embedded NUL ends the C string: the bytes after it are not copied.
    std::memcpy(copy, text.c_str(), std::strlen(text.c_str()));
    return copy;
}

char** CopyStrings(const std::vector<std::string>& list) {
    return MakeEntries<char>(list, CopyString, [](char* text) { std::free(text); });
}

}  // namespace binding
