#include "Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

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

// The name of a state directory's own runtime directory: a name-based UUID of its absolute path,
// the same in every process that names the directory.
std::string RuntimeNameOf(const std::string& stateDirectory) {
    static const uuid_t kStateDirectories = {0x6b, 0x1f, 0x5e, 0x2a, 0x94, 0x0c, 0x4d, 0x7e,
                                             0x9a, 0x31, 0x58, 0xc2, 0x0b, 0xe6, 0x47, 0xd3};
    std::error_code unknown;  // no working directory: the name as given
    std::string path = std::filesystem::absolute(stateDirectory, unknown).lexically_normal();
    if (unknown) path = stateDirectory;
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    uuid_t name;
    uuid_generate_sha1(name, kStateDirectories, path.data(), path.size());
    char text[37];
    uuid_unparse_lower(name, text);
    return std::string("state-") + text;
}

// The runtime database holds cached data, which must not outlive a reboot: under /run for root,
// else under XDG_RUNTIME_DIR. A state directory that CONFIGSTORE_DIR names has one of its own
// there, so that two state directories never share cached data or boot statuses.
std::string RuntimeDirectory(const std::string& stateDirectory) {
    std::string chosen = Environment("CONFIGSTORE_RUNTIME_DIR");
    if (!chosen.empty()) return chosen;
    std::string base = "/run/configstore";
    if (geteuid() != 0) {
        const std::string xdg = XdgDirectory("XDG_RUNTIME_DIR");
        if (xdg.empty()) return stateDirectory + "/run";
        base = xdg + "/configstore";
    }
    if (Environment("CONFIGSTORE_DIR").empty()) return base;
    return base + "/" + RuntimeNameOf(stateDirectory);
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

std::string DirectoryOf(const std::string& file) {
    return file.substr(0, file.rfind('/'));
}

[[noreturn]] void FailOn(const std::string& file, const std::string& reason) {
    Fail(KivConfigStore::ERR_DB_OPEN_FAILED, reason, file);
}

// Removes a database file that nobody else knows of, with its journals.
void RemoveDatabaseFiles(const std::string& path) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) unlink((path + suffix).c_str());
}

}  // namespace

namespace {
// A setting that is off unless the variable `name` holds `on` ("0" or nothing is off); any other
// value raises 1001, so that a typing error is never taken for either.
bool SettingOn(const char* name, const std::string& on, const char* meaning,
               const std::string& nameSpace) {
    const std::string value = Environment(name);
    if (value.empty() || value == "0") return false;
    if (value == on) return true;
    Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
         std::string(name) + " is '" + value + "', not " + on + " (" + meaning + ") or 0",
         "'" + nameSpace + "'");
}
}  // namespace

bool ReadOnlyRequested(const std::string& nameSpace) {
    return SettingOn("CONFIGSTORE_READ_ONLY", "1", "read only", nameSpace);
}

bool FullCheckRequested(const std::string& nameSpace) {
    return SettingOn("CONFIGSTORE_CHECK", "full", "check every page", nameSpace);
}

long long HistorySetting(const char* name, long long unset, const std::string& nameSpace) {
    const std::string value = Environment(name);
    if (value.empty()) return unset;
    if (value.size() <= 10 && value.find_first_not_of("0123456789") == std::string::npos) {
        const long long number = std::stoll(value);
        if (number <= 1000000000) return number;
    }
    Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
         std::string(name) + " is '" + value + "', not a number from 0 to 1000000000",
         "'" + nameSpace + "'");
}

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

StoreFiles FilesOf(const std::string& nameSpace) {
    if (!IsValidName(nameSpace)) {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED,
             "a namespace is 1 to 64 of A-Z a-z 0-9 . _ - and does not start with a dot",
             "'" + nameSpace + "'");
    }
    const std::string state = StateDirectory();
    const StoreFiles files{state + "/" + nameSpace + ".db",
                           RuntimeDirectory(state) + "/" + nameSpace + ".db",
                           nameSpace,
                           ReadOnlyRequested(nameSpace),
                           FullCheckRequested(nameSpace),
                           HistorySetting("CONFIGSTORE_HISTORY_COMMITS", 1000, nameSpace),
                           HistorySetting("CONFIGSTORE_HISTORY_DAYS", 90, nameSpace)};
    files.readOnly ? CheckDirectoryOf(files.database) : MakeDirectoryOf(files.database);
    CheckDirectoryOf(files.runtimeDatabase);
    return files;
}

void CheckDirectoryOf(const std::string& file) {
    const std::string directory = DirectoryOf(file);
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return;
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        FailOn(file, "its directory " + directory + " belongs to another user");
    }
    // A group of the user's own counts as the user's (a group of one, as Debian gives users).
    if ((status.st_mode & S_IWOTH) != 0 ||
        ((status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid())) {
        FailOn(file, "its directory " + directory + " is writable by other users");
    }
}

void MakeDirectoryOf(const std::string& file) {
    const std::string path = DirectoryOf(file);
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string prefix = path.substr(0, end);
        if (!prefix.empty() && mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            FailOn(file, "cannot create directory " + prefix + ": " + std::strerror(errno));
        }
        if (end == std::string::npos) break;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        FailOn(file, path + " is not a directory");
    }
    CheckDirectoryOf(file);
    if (access(path.c_str(), W_OK | X_OK) != 0) {
        FailOn(file, "its directory " + path + " is not writable: " + std::strerror(errno));
    }
}

void CreateWhole(const std::string& path, const std::function<void(const std::string&)>& setUp) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) return;
    if (errno != ENOENT) FailOn(path, std::strerror(errno));
    // A hidden name no namespace has; the process id keeps creators apart, and what a killed
    // process of the same id left behind is nobody's.
    const std::string directory = DirectoryOf(path);
    const std::string temporary =
        directory + "/." + path.substr(directory.size() + 1) + "." + std::to_string(getpid());
    RemoveDatabaseFiles(temporary);
    const int file = open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                          S_IRUSR | S_IWUSR);
    // Exactly 0600 whatever the umask; SQLite gives its journals the same mode.
    if (file < 0 || fchmod(file, S_IRUSR | S_IWUSR) != 0) {
        const int error = errno;
        if (file >= 0) close(file);
        unlink(temporary.c_str());
        FailOn(path, std::string("cannot create it: ") + std::strerror(error));
    }
    close(file);
    try {
        setUp(temporary);
        // link(2) never replaces a file: another creator's store stays, and ours goes.
        if (link(temporary.c_str(), path.c_str()) != 0 && errno != EEXIST) {
            FailOn(path, std::string("cannot create it: ") + std::strerror(errno));
        }
        const int parent = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (parent >= 0) {
            fsync(parent);  // the new name is as durable as the file
            close(parent);
        }
    } catch (...) {
        RemoveDatabaseFiles(temporary);
        throw;
    }
    RemoveDatabaseFiles(temporary);
}

}  // namespace standin
