#include "Allocations.h"

#include <cstdint>
#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

constexpr std::size_t kSlots = 1 << 15;  // an open-addressing set of the blocks alive

bool counting = false;
int mallocs = 0;
int callocs = 0;
int allocationCount = 0;
int failAt = 0;
bool failed = false;

char gone;
void* const kGone = &gone;  // marks a slot whose block was freed
void* slots[kSlots];
std::size_t usedSlots = 0;  // live and gone
int alive = 0;
bool overflow = false;  // more blocks than the set holds: reported as unfreed

std::size_t Slot(const void* block) {
    return (reinterpret_cast<std::uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15u % kSlots;
}

void Remember(void* block) {
    if (block == nullptr) return;
    if (usedSlots >= kSlots * 3 / 4) {
        overflow = true;
        return;
    }
    std::size_t i = Slot(block);
    while (slots[i] != nullptr) i = (i + 1) % kSlots;
    slots[i] = block;
    ++usedSlots;
    ++alive;
}

bool Forget(void* block) {
    if (alive == 0 || block == nullptr) return false;
    for (std::size_t i = Slot(block); slots[i] != nullptr; i = (i + 1) % kSlots) {
        if (slots[i] == block) {
            slots[i] = kGone;
            --alive;
            return true;
        }
    }
    return false;
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
    mallocs = callocs = allocationCount = alive = 0;
    usedSlots = 0;
    overflow = failed = false;
    for (void*& slot : slots) slot = nullptr;
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
    return alive + (overflow ? 1 : 0);
}

void FailAt(int n) {
    failAt = n;
}
bool Failed() {
    return failed;
}

}  // namespace allocations
