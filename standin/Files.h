// Where a namespace's data lives: its database in the state directory and the database of its
// cached data in the runtime directory, which does not outlive a reboot. Both directories are
// the user's own, and each file appears whole or not at all.
#pragma once

#include <functional>
#include <string>

namespace standin {

struct StoreFiles {
    std::string database;
    std::string runtimeDatabase;
    std::string nameSpace;
    bool readOnly = false;   // opened for reading only: nothing is created or written
    bool fullCheck = false;  // every page of both files is checked as the store opens
    // How many commits and days of history writes keep (0: none is recorded).
    long long historyCommits = 1000;
    long long historyDays = 90;
};

// CONFIGSTORE_READ_ONLY: "1" opens stores for reading only; unset, empty or "0" does not. Any
// other value raises 1001 naming `nameSpace`, so that a typing error never opens for writing.
bool ReadOnlyRequested(const std::string& nameSpace);
// CONFIGSTORE_CHECK: "full" checks the whole of both files as a store opens; unset, empty or
// "0" does not. Any other value raises 1001 naming `nameSpace`.
bool FullCheckRequested(const std::string& nameSpace);

// CONFIGSTORE_HISTORY_COMMITS and CONFIGSTORE_HISTORY_DAYS: how many commits, and commits of
// how many days, a store's history keeps (1,000 and 90 when unset or empty; 0 records none).
// Anything but a number from 0 to 1,000,000,000 raises 1001 naming `nameSpace`.
long long HistorySetting(const char* name, long long unset, const std::string& nameSpace);

// The files of `nameSpace`, with the state directory created (0700) where missing, unless read
// only, and both directories checked (CheckDirectoryOf). A name that cannot be a file name
// raises 1001.
StoreFiles FilesOf(const std::string& nameSpace);

// Whether anything, even a dangling link, is at `path`.
bool Exists(const std::string& path);

// Creates the directory of `file` (0700) where missing, then checks it: 1001 naming `file` when
// it cannot be made or written, or fails CheckDirectoryOf.
void MakeDirectoryOf(const std::string& file);
// 1001 naming `file` when its directory belongs to another user than the process's (root's
// excepted) or another user may write in it; nothing when the directory does not exist.
void CheckDirectoryOf(const std::string& file);

// Makes `path` appear whole: `setUp` fills a new private (0600) file of the same directory,
// which is then linked into place unless another process's file got there first. An existing
// `path` is left as it is. No one ever sees a half-made file, and nothing that another process
// may have opened is ever removed. Failures raise 1001 naming `path`.
void CreateWhole(const std::string& path, const std::function<void(const std::string&)>& setUp);

}  // namespace standin
