#include "Allocations.h"

#include <cstdlib>
#include <functional>
#include <new>
#include <unordered_set>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

bool counting = false;
int mallocs = 0;
int callocs = 0;
int allocationCount = 0;
int failAt = 0;
bool failed = false;

// The set of the blocks alive allocates past the counting.
template <class T>
struct Uncounted {
    using value_type = T;
    Uncounted() = default;
    template <class U>
    Uncounted(const Uncounted<U>&) {}
    T* allocate(std::size_t n) { return static_cast<T*>(__libc_malloc(n * sizeof(T))); }
    void deallocate(T* block, std::size_t) { __libc_free(block); }
};
using Blocks = std::unordered_set<void*, std::hash<void*>, std::equal_to<void*>, Uncounted<void*>>;

// Made on first use, whenever that is, and never destroyed: free() runs until the process ends.
Blocks& Alive() {
    alignas(Blocks) static unsigned char storage[sizeof(Blocks)];
    static Blocks* blocks = new (storage) Blocks();
    return *blocks;
}

void Remember(void* block) {
    if (block != nullptr) Alive().insert(block);
}

bool Forget(void* block) {
    return block != nullptr && !Alive().empty() && Alive().erase(block) > 0;
}

// Counts one allocation; false when it is the one to fail.
bool Allowed() {
    if (++allocationCount != failAt) return true;
    failed = true;
    return false;
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
    if (!counting) return __libc_malloc(size);
    ++mallocs;
    if (!Allowed()) return nullptr;
    void* block = __libc_malloc(size);
    Remember(block);
    return block;
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    if (!counting) return __libc_calloc(count, size);
    ++callocs;
    if (!Allowed()) return nullptr;
    void* block = __libc_calloc(count, size);
    Remember(block);
    return block;
}

// A moved block stays remembered when the block it replaces was.
extern "C" void* realloc(void* memory, std::size_t size) {
    if (counting && !Allowed()) return nullptr;
    void* block = __libc_realloc(memory, size);
    if (block == nullptr && size == 0) Forget(memory);  // freed
    if (block != nullptr && (Forget(memory) || counting)) Remember(block);
    return block;
}

extern "C" void free(void* memory) {
    Forget(memory);
    __libc_free(memory);
}

namespace allocations {

void Start() {
    mallocs = callocs = allocationCount = 0;
    failed = false;
    Alive().clear();
    counting = true;
}

void Stop() {
    counting = false;
    failAt = 0;
}

int Mallocs() {
    return mallocs;
}
int Callocs() {
    return callocs;
}

int UnfreedBlocks() {
    return static_cast<int>(Alive().size());
}

void FailAt(int n) {
    failAt = n;
}
bool Failed() {
    return failed;
}

}  // namespace allocations
