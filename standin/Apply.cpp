#include "Apply.h"

#include <fcntl.h>
#include <kivconfigstore/CSLogger.h>
#include <kivconfigstore/ErrorCodes.h>
#include <rapidjson/writer.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <thread>

#include "Errors.h"
#include "ObjectState.h"
#include "Store.h"

extern char** environ;

namespace standin {

using KivConfigStore::ConfigStoreObjectId;

namespace {

const std::string* const kStages[] = {&KivConfigStore::kSystemEarly, &KivConfigStore::kNetwork,
                                      &KivConfigStore::kStorage, &KivConfigStore::kSystem};

bool IsResultRecord(const ConfigStoreObjectId& id) {
    return id.key == "apply" && id.group == "results" && id.component == "configstore";
}

std::string ApplyDirectory() {
    const char* directory = std::getenv("CONFIGSTORE_APPLY_DIR");
    return directory != nullptr && *directory != '\0' ? directory
                                                      : KivConfigStore::kApplyModulesPath;
}

double TimeLimit() {
    const char* text = std::getenv("CONFIGSTORE_APPLY_TIMEOUT");
    if (text == nullptr) return 30;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    return end != text && *end == '\0' && seconds > 0 && seconds < 1e9 ? seconds : 30;
}

std::string ErrorText(int error) {
    char buffer[128];
    return strerror_r(error, buffer, sizeof buffer);
}

std::string Line(const ConfigStoreObjectId& id, const char* className) {
    JsonText text;
    rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> writer(text);
    const auto member = [&](const char* name, const std::string& value) {
        writer.Key(name);
        writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    };
    writer.StartObject();
    member("key", id.key);
    member("group", id.group);
    member("component", id.component);
    if (!id.instanceId.empty()) member("instanceId", id.instanceId);
    member("class", className);
    writer.EndObject();
    return std::string(text.GetString(), text.GetSize()) + "\n";
}

// How one module's run ended.
struct Outcome {
    int code = 0;  // 0, or the error code of its failure
    std::string message;
    std::optional<int> exitValue;
};

Outcome Failed(KivConfigStore::CSErrorCodes code, const std::string& detail,
               const std::string& argument, int number = 0) {
    return {code, Message(code, detail, argument, number), std::nullopt};
}

Outcome CannotStart(const std::string& path, int error) {
    return Failed(KivConfigStore::ERR_FORK_EXEC_FAILED, path + ": " + ErrorText(error),
                  std::to_string(error));
}

class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

// The module's standard input: a memory file, so that input of any size is there at once and
// nothing waits on a reader.
int InputFile(const std::string& input) {
    const int descriptor = memfd_create("configstore-apply", MFD_CLOEXEC);
    if (descriptor < 0) return -1;
    for (std::size_t done = 0; done < input.size();) {
        const ssize_t written = write(descriptor, input.data() + done, input.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            const int error = written < 0 ? errno : EIO;
            close(descriptor);
            errno = error;
            return -1;
        }
        done += static_cast<std::size_t>(written);
    }
    if (lseek(descriptor, 0, SEEK_SET) < 0) {
        const int error = errno;
        close(descriptor);
        errno = error;
        return -1;
    }
    return descriptor;
}

// The caller's environment with the module's own variables in place of any inherited ones.
std::vector<std::string> EnvironmentOf(const std::string& nameSpace, const std::string& stage) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const bool ours = text.rfind("CONFIGSTORE_NAMESPACE=", 0) == 0 ||
                          text.rfind("CONFIGSTORE_APPLY_STAGE=", 0) == 0 ||
                          text.rfind("APPLY_BOOT=", 0) == 0;
        if (!ours) entries.emplace_back(text);
    }
    entries.push_back("CONFIGSTORE_NAMESPACE=" + nameSpace);
    entries.push_back("CONFIGSTORE_APPLY_STAGE=" + stage);
    return entries;
}

Outcome Spawn(const std::string& path, const std::string& input, std::vector<std::string> env,
              pid_t* pid) {
    // Under an emulator, posix_spawn cannot report a failed exec: what can be seen before is.
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return CannotStart(path, errno);
    if (!S_ISREG(status.st_mode)) return CannotStart(path, EACCES);
    if (access(path.c_str(), X_OK) != 0) return CannotStart(path, errno);
    const Descriptor stdinFile(InputFile(input));
    if (stdinFile.get() < 0) return CannotStart(path, errno);
    std::vector<char*> envp;
    for (std::string& entry : env) envp.push_back(entry.data());
    envp.push_back(nullptr);
    char* argv[] = {const_cast<char*>(path.c_str()), nullptr};

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    // Standard input from the memory file; no descriptor of the caller beyond 0, 1 and 2.
    posix_spawn_file_actions_adddup2(&actions, stdinFile.get(), 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    // Its own process group, so that a module past its time goes with everything it started.
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawn(pid, path.c_str(), &actions, &attributes, argv, envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error != 0 ? CannotStart(path, error) : Outcome{};
}

pid_t WaitFor(pid_t pid, int* status, int options) {
    pid_t done;
    do {
        done = waitpid(pid, status, options);
    } while (done < 0 && errno == EINTR);
    return done;
}

Outcome Run(const std::string& path, const std::string& input, const std::string& nameSpace,
            const std::string& stage) {
    pid_t pid = 0;
    Outcome started = Spawn(path, input, EnvironmentOf(nameSpace, stage), &pid);
    if (started.code != 0) return started;
    // Polled, because a library cannot take SIGCHLD from the process it lives in.
    const double limit = TimeLimit();
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(limit));
    std::chrono::microseconds pause(500);
    int status = 0;
    for (;;) {
        const pid_t done = WaitFor(pid, &status, WNOHANG);
        if (done == pid) break;
        if (done < 0) {
            const int error = errno;
            return Failed(KivConfigStore::ERR_CHILD_WAIT_FAILED, path, ErrorText(error), pid);
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            kill(-pid, SIGKILL);
            WaitFor(pid, &status, 0);
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%g", limit);
            return Failed(KivConfigStore::ERR_CHILD_WAIT_FAILED,
                          path + " ran longer than " + seconds + " s and was killed",
                          ErrorText(ETIMEDOUT), pid);
        }
        std::this_thread::sleep_for(
            std::min<std::chrono::steady_clock::duration>(pause, deadline - now));
        pause = std::min(pause * 2, std::chrono::microseconds(50000));
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return Outcome{0, {}, 0};
    if (WIFEXITED(status)) {
        const int value = WEXITSTATUS(status);
        Outcome outcome = Failed(KivConfigStore::ERR_CHILD_EXIT_VALUE,
                                 path + " exited with " + std::to_string(value), {}, value);
        outcome.exitValue = value;
        return outcome;
    }
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return Failed(KivConfigStore::ERR_CHILD_EXIT_VALUE,
                  path + " was killed by signal " + std::to_string(signal), {}, signal);
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

void Record(Store& store, const std::string& component, const std::string& stage,
            const Outcome& outcome) {
    Json document(rapidjson::kObjectType);
    auto& allocator = document.GetAllocator();
    const auto text = [&](const std::string& value) {
        return JsonValue(value.data(), static_cast<rapidjson::SizeType>(value.size()), allocator);
    };
    document.AddMember("stage", text(stage), allocator);
    document.AddMember("status", text(outcome.code == 0 ? "ok" : "failed"), allocator);
    document.AddMember("code", outcome.code, allocator);
    document.AddMember("message", text(outcome.message), allocator);
    if (outcome.exitValue) document.AddMember("exitValue", *outcome.exitValue, allocator);
    document.AddMember("at", text(Now()), allocator);
    auto object = std::make_shared<KivConfigStore::ConfigStoreObject>(
        ConfigStoreObjectId("apply", "results", "configstore", component));
    KivConfigStore::EngineState::Of(*object).Adopt(document);
    store.SetCachedData(object);
}

}  // namespace

void Changes::Add(const ConfigStoreObjectId& id, const char* className) {
    if (!IsResultRecord(id)) changes_.push_back({id, className});
}

void Changes::Append(Changes&& other) {
    if (changes_.empty()) {
        changes_ = std::move(other.changes_);
        return;
    }
    changes_.insert(changes_.end(), std::make_move_iterator(other.changes_.begin()),
                    std::make_move_iterator(other.changes_.end()));
    other.changes_.clear();
}

void RunApplyModules(Store& store, const std::string& nameSpace, const std::string& database,
                     const Changes& changes) {
    if (changes.Empty()) return;
    try {
        const std::string directory = ApplyDirectory();
        struct stat status {};
        if (lstat(directory.c_str(), &status) != 0) return;
        // Each component's lines, each (identity, class) once, in the order first changed.
        std::map<std::string, std::string> input;
        std::set<std::string> seen;
        for (const Changes::Change& change : changes.changes_) {
            std::string line = Line(change.id, change.className);
            if (seen.insert(line).second) input[change.id.component] += line;
        }
        // Stage by stage: every component's early modules run before any network module.
        std::map<std::string, std::pair<std::string, Outcome>> results;  // stage and outcome
        for (const std::string* stage : kStages) {
            for (const auto& [component, lines] : input) {
                const std::string path = directory + "/" + *stage + "/" + component;
                if (lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
                    continue;
                }
                Outcome outcome = Run(path, lines, nameSpace, *stage);
                if (outcome.code != 0) {
                    CSLogger::Log(CS_LOG_ERROR, "%s: %s", database.c_str(),
                                  outcome.message.c_str());
                    outcome.message = database + ": " + outcome.message;
                }
                // The record keeps the first failure, else the last stage that ran.
                const auto known = results.find(component);
                if (known == results.end()) {
                    results.emplace(component, std::make_pair(*stage, std::move(outcome)));
                } else if (known->second.second.code == 0) {
                    known->second = {*stage, std::move(outcome)};
                }
            }
        }
        for (const auto& [component, result] : results) {
            Record(store, component, result.first, result.second);
        }
    } catch (const std::exception& e) {
        // The commit stands whatever happens here: what failed is logged.
        CSLogger::Log(CS_LOG_ERROR, "%s: apply modules: %s", database.c_str(), e.what());
    }
}

}  // namespace standin
