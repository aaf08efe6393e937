// The process of one apply module. A small intermediary process, forked from the caller, makes
// itself the child subreaper of everything the module starts, so that at the time limit it can
// kill the module's process group and every descendant that escaped it; the caller's own process
// stays no subreaper. The module's standard output and error are a pipe the caller drains.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

namespace standin {

// How much of what a module printed is kept: its last bytes.
constexpr std::size_t kOutputKept = 4096;

struct ProcessEnd {
    enum Kind { NotStarted, Exited, TimedOut, Stopped, NotWaited } kind = NotStarted;
    int value = 0;       // errno (NotStarted, NotWaited), or the wait status (Exited)
    pid_t pid = 0;       // the module's, once started
    std::string output;  // the last kOutputKept bytes it printed on standard output and error
};

// Runs `path` with `input` on standard input, the environment `environment` ("NAME=value"), in a
// process group of its own and no descriptor of the caller's. After `seconds`, or once `*stop`
// is non-zero, it is killed with all its descendants.
ProcessEnd RunProcess(const std::string& path, const std::string& input,
                      std::vector<std::string> environment, double seconds,
                      const volatile std::sig_atomic_t* stop);

}  // namespace standin
