#include "Allocations.h"

#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

constexpr int kTracked = 256;

bool counting = false;
int mallocs = 0;
int callocs = 0;
int failMalloc = 0;
int failCalloc = 0;
std::size_t callocBytes[kTracked];
void* callocBlocks[kTracked];  // NULL once freed

}  // namespace

extern "C" void* malloc(std::size_t size) {
    if (counting && ++mallocs == failMalloc) return nullptr;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    if (!counting) return __libc_calloc(count, size);
    const int index = callocs++;
    if (callocs == failCalloc) return nullptr;
    void* block = __libc_calloc(count, size);
    if (index < kTracked) {
        callocBytes[index] = count * size;
        callocBlocks[index] = block;
    }
    return block;
}

extern "C" void free(void* memory) {
    if (counting && memory != nullptr) {
        for (int i = 0; i < callocs && i < kTracked; ++i) {
            if (callocBlocks[i] == memory) callocBlocks[i] = nullptr;
        }
    }
    __libc_free(memory);
}

namespace allocations {

void Start() {
    mallocs = callocs = 0;
    for (void*& block : callocBlocks) block = nullptr;
    counting = true;
}

void Stop() {
    counting = false;
    failMalloc = failCalloc = 0;
}

int Mallocs() {
    return mallocs;
}
int Callocs() {
    return callocs;
}
std::size_t CallocBytes(int index) {
    return callocBytes[index];
}

int UnfreedCallocs() {
    int unfreed = 0;
    for (int i = 0; i < callocs && i < kTracked; ++i) unfreed += callocBlocks[i] != nullptr;
    return unfreed;
}

void FailMalloc(int n) {
    failMalloc = n;
}
void FailCalloc(int n) {
    failCalloc = n;
}

}  // namespace allocations
