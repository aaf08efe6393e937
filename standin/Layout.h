// The store's database files: how a new one is made, and the checks and set-up a file passes
// before the store uses it.
#pragma once

#include <string>

#include "Files.h"
#include "Sql.h"

namespace standin {

// How long a write waits for another's transaction, in this process or another, before it fails.
constexpr int kBusyMilliseconds = 5000;

// Creates the store's database at `path`, whole, unless it exists.
void CreateDatabase(const std::string& path);
// A read-only store whose database does not exist reads as a new, empty one, held in memory.
bool ReadsAsEmpty(const std::string& file, const StoreFiles& files);
// The file the store's connection opens: its database, or memory when it reads as empty.
std::string ConnectionPathOf(const StoreFiles& files);
// Sets up the store's database and attaches its runtime database, created where missing, after
// checks that cost the same whatever a file's size; a file that is not a store database is
// refused untouched, and so is a damaged one when the files ask for the full check. When the
// runtime database cannot be used, an empty stand-in takes its place, refusing changes and boot
// status reads with the failure. A read-only store creates nothing and brings no file up to
// date: it reads a file of the format before as it is.
void OpenFiles(Database& db, const StoreFiles& files);

}  // namespace standin
