#include "Modules.h"

#include <dirent.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <thread>

extern char** environ;

namespace csctl {
namespace {

const char* const kDefaultApplyDir = "/usr/lib/brisa/configmanager/apply_modules";
const double kDefaultTimeout = 30;
// Names csctl sets for a module; the caller's own values of them are dropped.
const char* const kModuleNames[] = {"CONFIGSTORE_NAMESPACE", "CONFIGSTORE_APPLY_STAGE",
                                    "APPLY_BOOT"};

double Timeout() {
    const char* text = std::getenv("CONFIGSTORE_APPLY_TIMEOUT");
    if (text == nullptr) return kDefaultTimeout;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    return end != text && *end == '\0' && seconds > 0 ? seconds : kDefaultTimeout;
}

bool SetByModule(const char* entry) {
    for (const char* name : kModuleNames) {
        const std::size_t length = std::strlen(name);
        if (std::strncmp(entry, name, length) == 0 && entry[length] == '=') return true;
    }
    return false;
}

std::vector<std::string> Environment(const std::vector<std::string>& added) {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!SetByModule(*entry)) entries.emplace_back(*entry);
    }
    entries.insert(entries.end(), added.begin(), added.end());
    return entries;
}

// The input as a file in memory, at its start: a module that reads nothing cannot block us.
int InputFile(const std::string& input) {
    const int fd = memfd_create("apply-input", MFD_CLOEXEC);
    if (fd < 0) return -1;
    std::size_t done = 0;
    while (done < input.size()) {
        const ssize_t written = ::write(fd, input.data() + done, input.size() - done);
        if (written <= 0) {
            ::close(fd);
            return -1;
        }
        done += static_cast<std::size_t>(written);
    }
    ::lseek(fd, 0, SEEK_SET);
    return fd;
}

ModuleRun NotStarted(const std::string& path, int error) {
    const std::string reason = std::strerror(error);
    return {1102, "Torvane_ForkExec failed, errno: " + reason + ": " + path + ": " + reason, {}};
}

// Starts the module in a process group of its own, with the input file as standard input and
// no descriptor of csctl's but standard output and error; the pid, or -errno.
pid_t Spawn(const std::string& path, int input, const std::vector<std::string>& environment) {
    // Under an emulator, posix_spawn cannot report a failed exec: what can be seen before is.
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0) return -errno;
    if (!S_ISREG(file.st_mode)) return -EACCES;
    if (::access(path.c_str(), X_OK) != 0) return -errno;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> argv{const_cast<char*>(path.c_str()), nullptr};
    std::vector<char*> envp;
    for (const std::string& entry : environment) envp.push_back(const_cast<char*>(entry.c_str()));
    envp.push_back(nullptr);
    pid_t pid = 0;
    const int error =
        posix_spawn(&pid, path.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? pid : -error;
}

// Waits for the module until the time limit; past it, kills its whole process group.
ModuleRun Wait(const std::string& path, pid_t pid) {
    const double limit = Timeout();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(limit);
    int status = 0;
    pid_t done = 0;
    while ((done = ::waitpid(pid, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (done == 0) {
        ::kill(-pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        return {1103,
                "Failed to wait for child process: " + std::to_string(pid) +
                    ", errno: " + std::strerror(ETIME) + ": " + path + " still ran after " +
                    std::to_string(limit) + " seconds and was killed",
                {}};
    }
    if (done < 0) {
        return {1103,
                "Failed to wait for child process: " + std::to_string(pid) +
                    ", errno: " + std::strerror(errno) + ": " + path,
                {}};
    }
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return {1104,
                "Child process terminated with exit value: " + std::to_string(128 + signal) + ": " +
                    path + " was killed by signal " + std::to_string(signal),
                {}};
    }
    const int value = WEXITSTATUS(status);
    if (value == 0) return {0, "", 0};
    return {1104,
            "Child process terminated with exit value: " + std::to_string(value) + ": " + path +
                " exited with " + std::to_string(value),
            value};
}

}  // namespace

const std::vector<std::string>& Stages() {
    static const std::vector<std::string> stages{"system-early", "network", "storage", "system"};
    return stages;
}

std::string ApplyDir() {
    const char* dir = std::getenv("CONFIGSTORE_APPLY_DIR");
    return dir != nullptr && *dir != '\0' ? dir : kDefaultApplyDir;
}

std::vector<std::string> ModuleComponents(const std::string& applyDir) {
    std::set<std::string> components;
    for (const std::string& stage : Stages()) {
        const std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir((applyDir + "/" + stage).c_str()),
                                                      &::closedir);
        if (!dir) continue;
        while (const dirent* entry = ::readdir(dir.get())) {
            if (entry->d_name[0] != '.') components.insert(entry->d_name);
        }
    }
    return {components.begin(), components.end()};
}

ModuleRun RunModule(const std::string& path, const std::string& input,
                    const std::vector<std::string>& environment) {
    const int fd = InputFile(input);
    if (fd < 0) return NotStarted(path, errno);
    const pid_t pid = Spawn(path, fd, Environment(environment));
    ::close(fd);
    if (pid < 0) return NotStarted(path, -pid);
    return Wait(path, pid);
}

}  // namespace csctl
