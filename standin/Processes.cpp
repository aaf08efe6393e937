#include "Processes.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace standin {

long long StartTimeOf(pid_t pid) {
    // Opened relative to /proc: an emulator that fakes the text of its own process's
    // /proc/<pid>/stat path would give a start time that no other process reads.
    const int proc = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int file =
        proc < 0 ? -1 : openat(proc, (std::to_string(pid) + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    char text[1024] = {};
    const ssize_t size = file < 0 ? -1 : read(file, text, sizeof text - 1);
    if (file >= 0) close(file);
    if (proc >= 0) close(proc);
    // The command name, in parentheses, may hold anything; the start time is the 20th field
    // after it.
    const char* field = size > 0 ? std::strrchr(text, ')') : nullptr;
    for (int count = 0; field != nullptr && count < 20; ++count)
        field = std::strchr(field + 1, ' ');
    return field != nullptr ? std::atoll(field + 1) : -1;
}

}  // namespace standin
