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
    std::memcpy(copy, text.data(), text.size());
    return copy;
}

// Entries not yet copied stay NULL, so a failure part way releases only what was made.
StringArray::StringArray(const std::vector<std::string>& list)
    : strings_(AllocateArray<char*>(CountOf(list.size()))), size_(static_cast<int>(list.size())) {
    try {
        for (int i = 0; i < size_; ++i) strings_[i] = CopyString(list[i]);
    } catch (...) {
        FreeStrings();
        throw;
    }
}

StringArray::~StringArray() {
    FreeStrings();
}

void StringArray::FreeStrings() {
    if (!strings_) return;
    for (int i = 0; i < size_; ++i) std::free(strings_[i]);
}

}  // namespace binding
