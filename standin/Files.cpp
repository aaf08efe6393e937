#include "Files.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Errors.h"

namespace standin {

namespace {

constexpr std::size_t kMaxNameLength = 64;

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

// XDG base directories count only when absolute.
std::string XdgDirectory(const char* name) {
    std::string value = Environment(name);
    return !value.empty() && value[0] == '/' ? value : std::string();
}

std::string HomeDirectory() {
    std::string home = Environment("HOME");
    if (!home.empty()) return home;
    const passwd* entry = getpwuid(geteuid());
    return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "/";
}

std::string StateDirectory() {
    std::string chosen = Environment("CONFIGSTORE_DIR");
    if (!chosen.empty()) return chosen;
    if (geteuid() == 0) return "/var/lib/configstore";
    const std::string xdg = XdgDirectory("XDG_STATE_HOME");
    return (xdg.empty() ? HomeDirectory() + "/.local/state" : xdg) + "/configstore";
}

std::string RuntimeDirectory(const std::string& stateDirectory) {
    std::string chosen = Environment("CONFIGSTORE_RUNTIME_DIR");
    if (!chosen.empty()) return chosen;
    if (geteuid() == 0) return "/run/configstore";
    const std::string xdg = XdgDirectory("XDG_RUNTIME_DIR");
    return xdg.empty() ? stateDirectory + "/run" : xdg + "/configstore";
}

bool IsValidName(const std::string& name) {
    if (name.empty() || name.size() > kMaxNameLength || name[0] == '.') return false;
    for (const char c : name) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
        if (!allowed) return false;
    }
    return true;
}

// Creates every missing directory of `path` with mode 0700, then checks that files can be
// made in it.
void MakeDirectory(const std::string& path) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string prefix = path.substr(0, end);
        if (!prefix.empty() && mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
                 "cannot create directory " + prefix + ": " + std::strerror(errno), path);
        }
        if (end == std::string::npos) break;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "not a directory", path);
    }
    if (access(path.c_str(), W_OK | X_OK) != 0) {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
             std::string("directory not writable: ") + std::strerror(errno), path);
    }
}

}  // namespace

StoreFiles FilesOf(const std::string& nameSpace) {
    if (!IsValidName(nameSpace)) {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
             "a namespace is 1 to 64 of A-Z a-z 0-9 . _ - and does not start with a dot",
             "'" + nameSpace + "'");
    }
    const std::string state = StateDirectory();
    const std::string runtime = RuntimeDirectory(state);
    MakeDirectory(state);
    MakeDirectory(runtime);
    return {state + "/" + nameSpace + ".db", runtime + "/" + nameSpace + ".db", nameSpace};
}

bool FileExists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

void RemoveDatabaseFiles(const std::string& path) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        unlink((path + suffix).c_str());
    }
}

}  // namespace standin
