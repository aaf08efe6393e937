// Apply modules: executables <apply dir>/<stage>/<component> that put stored configuration into
// effect. The engine runs them after a commit and csctl runs them by hand, both through this one
// runner: no shell, JSON lines on standard input, a time limit that reaches everything a module
// started, and what a module prints kept for its result instead of reaching the caller.
#pragma once

#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace standin {

// CONFIGSTORE_APPLY_DIR, else the engine's default directory.
std::string ApplyDirectory();

// The stages, in the order they run.
const std::vector<std::string>& ApplyStages();

// The components with a module in at least one stage of `directory`, sorted.
std::vector<std::string> ModuleComponents(const std::string& directory);

// How one module run ended: code 0, or 1100 (not run: CONFIGSTORE_APPLY_TIMEOUT is no time
// limit), 1102 (not started), 1103 (over the time limit, killed, or not waited for) or 1104
// (exited non-zero or killed by a signal), with the failure's message.
struct ModuleOutcome {
    int code = 0;
    std::string message;
    std::optional<int> exitValue;  // when the module exited
    // The last 4 KiB it printed on standard output and error, as one line of printable ASCII
    // (\\, \n, \t, and \xNN for any other byte).
    std::string output;
};

// What a module is told besides its input.
struct ModuleContext {
    std::string nameSpace;
    bool boot = false;  // APPLY_BOOT=1
    // When it becomes non-zero (a signal handler's flag), the module is killed with everything it
    // started and the run ends with 1103.
    const volatile std::sig_atomic_t* stop = nullptr;
};

// Runs the module of `component` at `stage` with `input` on its standard input, or nothing
// (nullopt) when there is none: a component that is not one path component, or no file there.
std::optional<ModuleOutcome> RunModule(const std::string& directory, const std::string& stage,
                                       const std::string& component, const std::string& input,
                                       const ModuleContext& context);

// The outcome's message, then what the module printed when it printed something: one line.
std::string LogLine(const ModuleOutcome& outcome);

}  // namespace standin
