// What the store knows of other processes.
#pragma once

#include <sys/types.h>

namespace standin {

// When process `pid` started (clock ticks after boot), or -1 when there is no such process.
// With its id, it names one process even after the id is reused.
long long StartTimeOf(pid_t pid);

}  // namespace standin
