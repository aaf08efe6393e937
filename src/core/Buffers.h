// Memory handed to callers. It comes from the C heap, so that the caller's free() matches it; an
// allocation that fails is reported like any other std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace binding {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

// Holds a C-heap buffer until it is released to the caller.
template <class T>
using CBuffer = std::unique_ptr<T, FreeDeleter>;

// A zero-filled array of `count` (> 0) elements.
template <class T>
CBuffer<T[]> AllocateArray(int count) {
    void* memory = std::calloc(static_cast<std::size_t>(count), sizeof(T));
    if (memory == nullptr) throw std::bad_alloc();
    return CBuffer<T[]>(static_cast<T*>(memory));
}

// Element counts cross the interface as int; a longer list cannot be delivered.
int CountOf(std::size_t size);

}  // namespace binding
