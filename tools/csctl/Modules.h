// Apply modules: executables <apply dir>/<stage>/<component> that put stored configuration
// into effect. csctl runs them as the engine does after a commit: no shell, a process group of
// their own, JSON lines on standard input, a time limit.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace csctl {

// The stages, in the order they run.
const std::vector<std::string>& Stages();

// CONFIGSTORE_APPLY_DIR, else the engine's default directory.
std::string ApplyDir();

// The components with a module in at least one stage, sorted.
std::vector<std::string> ModuleComponents(const std::string& applyDir);

// How one module run ended: code 0, or 1102 (not started), 1103 (over the time limit, killed)
// or 1104 (exited non-zero or killed by a signal), with the message of the failure.
struct ModuleRun {
    int code = 0;
    std::string message;
    std::optional<int> exitValue;  // when the module exited
};

// Runs one module with `input` on standard input and `environment` ("NAME=value") added to
// csctl's own; CONFIGSTORE_APPLY_TIMEOUT (seconds, default 30) limits it.
ModuleRun RunModule(const std::string& path, const std::string& input,
                    const std::vector<std::string>& environment);

}  // namespace csctl
