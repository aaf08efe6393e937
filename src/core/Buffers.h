// Memory handed to callers. It comes from the C heap, so that the caller's free() matches it; an
// allocation that fails is reported like any other std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

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

// A copy up to the text's first NUL, in a zero-filled buffer of the text's length + 1 bytes,
// released with free().
char* CopyString(const std::string& text);

// Copies of the elements of a non-empty list, in order, in one array released with free().
template <class T, class Element>
CBuffer<T[]> CopyArray(const std::vector<Element>& list) {
    const int size = CountOf(list.size());
    auto array = AllocateArray<T>(size);
    for (int i = 0; i < size; ++i) array[i] = static_cast<T>(list[i]);
    return array;
}

// An array with one entry made from each element of a non-empty list, in order. If making
// an entry fails, the entries made so far are destroyed and the array freed before the failure
// goes on: the caller receives all or nothing.
template <class Entry, class Source, class Make, class Destroy>
Entry** MakeEntries(const std::vector<Source>& sources, Make make, Destroy destroy) {
    const int size = CountOf(sources.size());
    auto entries = AllocateArray<Entry*>(size);  // zero-filled: entries not made yet stay NULL
    try {
        for (int i = 0; i < size; ++i) entries[i] = make(sources[static_cast<std::size_t>(i)]);
    } catch (...) {
        for (int i = 0; i < size; ++i) destroy(entries[i]);
        throw;
    }
    return entries.release();
}

// A list of strings for the caller, released with DestroyStringArrayValue.
char** CopyStrings(const std::vector<std::string>& list);

}  // namespace binding
