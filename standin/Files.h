// Where a namespace's data lives: its database in the state directory and the database of its
// cached data in the runtime directory, which does not outlive a reboot.
#pragma once

#include <string>

namespace standin {

struct StoreFiles {
    std::string database;
    std::string runtimeDatabase;
    std::string nameSpace;
};

// The files of `nameSpace`, with their directories created (0700) where missing. A name that
// cannot be a file name, or a directory that cannot be made or written, raises 1001.
StoreFiles FilesOf(const std::string& nameSpace);

bool FileExists(const std::string& path);
// Removes a database file that this process created and could not set up, with its journals.
void RemoveDatabaseFiles(const std::string& path);

}  // namespace standin
