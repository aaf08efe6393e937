#include "Buffers.h"

#include <climits>
#include <stdexcept>

namespace binding {

int CountOf(std::size_t size) {
    if (size > static_cast<std::size_t>(INT_MAX)) throw std::length_error("too many elements");
    return static_cast<int>(size);
}

}  // namespace binding
