// Counts the heap allocations of the process between Start() and Stop(), remembers which of the
// blocks allocated meanwhile are still alive, and can make a chosen one fail. malloc, calloc and
// realloc are replaced for the whole test program (operator new allocates through malloc), so
// this cannot be combined with AddressSanitizer.
#pragma once

#include <cstddef>

namespace allocations {

void Start();  // resets the counts, forgets the blocks remembered so far and starts counting
void Stop();   // stops counting and forgets any failure still set up; blocks stay remembered

int Mallocs();  // malloc() calls, operator new included
int Callocs();
int UnfreedBlocks();  // blocks allocated while counting and not freed since

// The n-th allocation (1-based; malloc, calloc and realloc alike) counted from Start() returns
// NULL. Failed() tells whether the call reached it.
void FailAt(int n);
bool Failed();

}  // namespace allocations
