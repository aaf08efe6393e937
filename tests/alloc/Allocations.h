// Counts the heap allocations of the process between Start() and Stop(), and can make a chosen
// one fail. The allocator functions are replaced for the whole test program, so this cannot be
// combined with AddressSanitizer.
#pragma once

#include <cstddef>

namespace allocations {

void Start();  // resets the counts and starts counting
void Stop();   // stops counting and forgets any failure still set up

int Mallocs();  // malloc() calls, operator new included
int Callocs();
std::size_t CallocBytes(int index);  // bytes asked for by the index-th calloc() counted
int UnfreedBlocks();                 // blocks allocated while counting and not freed since

// The n-th malloc() or calloc() (1-based) counted from Start() returns NULL.
void FailMalloc(int n);
void FailCalloc(int n);

}  // namespace allocations
