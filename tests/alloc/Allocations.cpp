#include "Allocations.h"

#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

constexpr int kTracked = 4096;

bool counting = false;
int mallocs = 0;
int callocs = 0;
int failMalloc = 0;
int failCalloc = 0;
std::size_t callocBytes[kTracked];
void* blocks[kTracked];  // every block allocated while counting; NULL once freed
int blockCount = 0;

void* Track(void* block) {
    if (block != nullptr && blockCount < kTracked) blocks[blockCount++] = block;
    return block;
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
    if (!counting) return __libc_malloc(size);
    if (++mallocs == failMalloc) return nullptr;
    return Track(__libc_malloc(size));
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    if (!counting) return __libc_calloc(count, size);
    const int index = callocs++;
    if (index < kTracked) callocBytes[index] = count * size;
    if (callocs == failCalloc) return nullptr;
    return Track(__libc_calloc(count, size));
}

extern "C" void free(void* memory) {
    if (counting && memory != nullptr) {
        for (int i = 0; i < blockCount; ++i) {
            if (blocks[i] == memory) blocks[i] = nullptr;
        }
    }
    __libc_free(memory);
}

namespace allocations {

void Start() {
    mallocs = callocs = blockCount = 0;
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

int UnfreedBlocks() {
    int unfreed = 0;
    for (int i = 0; i < blockCount; ++i) unfreed += blocks[i] != nullptr;
    return unfreed;
}

void FailMalloc(int n) {
    failMalloc = n;
}
void FailCalloc(int n) {
    failCalloc = n;
}

}  // namespace allocations
