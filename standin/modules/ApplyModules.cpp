#include "ApplyModules.h"

#include <dirent.h>
#include <kivconfigstore/ErrorCodes.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <set>

#include "ControlEscapes.h"
#include "Errors.h"
#include "ModuleProcess.h"
#include "PathComponent.h"

extern char** environ;

namespace standin {
namespace {

using KivConfigStore::ERR_CHILD_EXIT_VALUE;
using KivConfigStore::ERR_CHILD_WAIT_FAILED;
using KivConfigStore::ERR_FORK_EXEC_FAILED;
using KivConfigStore::ERR_INVALID_ARGUMENT;

constexpr double kDefaultTimeLimit = 30;
constexpr double kMaxTimeLimit = 1e9;

// CONFIGSTORE_APPLY_TIMEOUT in seconds, decimals allowed; nullopt when it is set to anything
// else than a positive number below kMaxTimeLimit, which is no time limit to guess at.
std::optional<double> TimeLimit() {
    const char* text = std::getenv("CONFIGSTORE_APPLY_TIMEOUT");
    if (text == nullptr) return kDefaultTimeLimit;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(seconds > 0 && seconds < kMaxTimeLimit)) {
        return std::nullopt;
    }
    return seconds;
}

std::string ErrorText(int error) {
    char buffer[128];
    return strerror_r(error, buffer, sizeof buffer);
}

// The caller's environment with the module's own variables in place of any inherited ones.
std::vector<std::string> EnvironmentOf(const std::string& stage, const ModuleContext& context) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const bool ours = text.rfind("CONFIGSTORE_NAMESPACE=", 0) == 0 ||
                          text.rfind("CONFIGSTORE_APPLY_STAGE=", 0) == 0 ||
                          text.rfind("APPLY_BOOT=", 0) == 0;
        if (!ours) entries.emplace_back(text);
    }
    entries.push_back("CONFIGSTORE_NAMESPACE=" + context.nameSpace);
    entries.push_back("CONFIGSTORE_APPLY_STAGE=" + stage);
    if (context.boot) entries.emplace_back("APPLY_BOOT=1");
    return entries;
}

ModuleOutcome Failed(CSErrorCodes code, const std::string& detail, const std::string& argument,
                     int number = 0) {
    return {code, Message(code, detail, argument, number), std::nullopt, {}};
}

// `detail` says what is wrong with the module, in words that say what to do where they can.
ModuleOutcome CannotStart(int error, const std::string& detail) {
    return Failed(ERR_FORK_EXEC_FAILED, detail, std::to_string(error));
}

ModuleOutcome CannotStart(const std::string& path, int error) {
    return CannotStart(error, path + ": " + ErrorText(error));
}

// The interpreter that the "#!" line of the script at `path` names; empty without one.
std::string InterpreterOf(const std::string& path) {
    std::ifstream script(path);
    std::string line;
    if (!std::getline(script, line) || line.rfind("#!", 0) != 0) return {};
    const std::size_t start = line.find_first_not_of(" \t", 2);
    if (start == std::string::npos) return {};
    return line.substr(start, line.find_first_of(" \t\r", start) - start);
}

// Why exec refused `path`: ENOENT for a file that is there means its interpreter is missing.
ModuleOutcome ExecRefused(const std::string& path, int error) {
    const std::string interpreter = error == ENOENT ? InterpreterOf(path) : std::string();
    if (!interpreter.empty()) {
        return CannotStart(error, path + ": its interpreter " + interpreter + " does not exist");
    }
    return CannotStart(path, error);
}

// Why the module at `path` cannot run: it must resolve to a regular executable file inside
// `directory` (both resolved), so that no link leads out of it.
std::optional<ModuleOutcome> Unrunnable(const std::string& directory, const std::string& path) {
    char resolved[PATH_MAX];
    char resolvedDirectory[PATH_MAX];
    if (realpath(path.c_str(), resolved) == nullptr) {
        // The path is there (lstat found it): what is missing is where its link leads.
        if (errno == ENOENT) return CannotStart(ENOENT, path + " is a link to nothing");
        return CannotStart(path, errno);
    }
    if (realpath(directory.c_str(), resolvedDirectory) == nullptr) return CannotStart(path, errno);
    std::string inside = resolvedDirectory;
    if (inside.back() != '/') inside += '/';
    if (std::strncmp(resolved, inside.c_str(), inside.size()) != 0) {
        return CannotStart(EACCES, path + ": it resolves to " + resolved + ", outside " + inside);
    }
    struct stat status {};
    if (stat(resolved, &status) != 0) return CannotStart(path, errno);
    if (!S_ISREG(status.st_mode)) return CannotStart(EACCES, path + " is not a regular file");
    if (access(resolved, X_OK) != 0) {
        if (errno == EACCES) return CannotStart(EACCES, path + " is not executable (chmod +x)");
        return CannotStart(path, errno);
    }
    return std::nullopt;
}

ModuleOutcome Ended(const std::string& path, const ProcessEnd& end, double limit) {
    switch (end.kind) {
        case ProcessEnd::NotStarted:
            return ExecRefused(path, end.value);
        case ProcessEnd::TimedOut: {
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%g", limit);
            return Failed(ERR_CHILD_WAIT_FAILED,
                          path + " ran longer than " + seconds + " s and was killed",
                          ErrorText(ETIMEDOUT), end.pid);
        }
        case ProcessEnd::Stopped:
            return Failed(ERR_CHILD_WAIT_FAILED, path + " was stopped and killed", ErrorText(EINTR),
                          end.pid);
        case ProcessEnd::NotWaited:
            return Failed(ERR_CHILD_WAIT_FAILED, path, ErrorText(end.value), end.pid);
        case ProcessEnd::Exited:
            break;
    }
    if (WIFEXITED(end.value) && WEXITSTATUS(end.value) == 0) return {0, {}, 0, {}};
    if (WIFEXITED(end.value)) {
        const int value = WEXITSTATUS(end.value);
        ModuleOutcome outcome =
            Failed(ERR_CHILD_EXIT_VALUE, path + " exited with " + std::to_string(value), {}, value);
        outcome.exitValue = value;
        return outcome;
    }
    const int signal = WIFSIGNALED(end.value) ? WTERMSIG(end.value) : 0;
    const char* name = sigabbrev_np(signal);  // null for a real-time signal
    return Failed(ERR_CHILD_EXIT_VALUE,
                  path + " was killed by signal " + std::to_string(signal) +
                      (name != nullptr ? std::string(" (SIG") + name + ")" : std::string()),
                  {}, signal);
}

}  // namespace

std::string ApplyDirectory() {
    const char* directory = std::getenv("CONFIGSTORE_APPLY_DIR");
    return directory != nullptr && *directory != '\0' ? directory
                                                      : KivConfigStore::kApplyModulesPath;
}

const std::vector<std::string>& ApplyStages() {
    static const std::vector<std::string> stages{KivConfigStore::kSystemEarly,
                                                 KivConfigStore::kNetwork, KivConfigStore::kStorage,
                                                 KivConfigStore::kSystem};
    return stages;
}

std::vector<std::string> ModuleComponents(const std::string& directory) {
    std::set<std::string> components;
    for (const std::string& stage : ApplyStages()) {
        const std::unique_ptr<DIR, int (*)(DIR*)> entries(
            opendir((directory + "/" + stage).c_str()), &closedir);
        if (!entries) continue;
        while (const dirent* entry = readdir(entries.get())) {
            if (entry->d_name[0] != '.') components.insert(entry->d_name);
        }
    }
    return {components.begin(), components.end()};
}

std::optional<ModuleOutcome> RunModule(const std::string& directory, const std::string& stage,
                                       const std::string& component, const std::string& input,
                                       const ModuleContext& context) {
    if (!IsPathComponent(component)) return std::nullopt;
    const std::string path = directory + "/" + stage + "/" + component;
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        return std::nullopt;
    }
    if (std::optional<ModuleOutcome> refused = Unrunnable(directory, path)) return refused;
    const std::optional<double> limit = TimeLimit();
    if (!limit) {
        return Failed(ERR_INVALID_ARGUMENT,
                      std::string("CONFIGSTORE_APPLY_TIMEOUT is '") +
                          std::getenv("CONFIGSTORE_APPLY_TIMEOUT") +
                          "', not a positive number of seconds; " + path + " did not run",
                      {});
    }
    const ProcessEnd end =
        RunProcess(path, input, EnvironmentOf(stage, context), *limit, context.stop);
    ModuleOutcome outcome = Ended(path, end, *limit);
    outcome.output = escapes::AsciiEscaped(end.output);
    return outcome;
}

std::string LogLine(const ModuleOutcome& outcome) {
    return outcome.output.empty() ? outcome.message
                                  : outcome.message + " (output: " + outcome.output + ")";
}

}  // namespace standin
