// The layout of a store's databases: their tables, the format number, and the checks a file
// passes before the store uses it.
#include "StoreParts.h"

#include <algorithm>

namespace standin {

namespace {

// Identifies the engine's files ("KCS1") and the layout of their tables.
constexpr int kApplicationId = 0x4b435331;
constexpr int kFormat = 1;

// Both databases hold objects in one layout; the runtime one only cached data, and the boot
// status, which must not outlive a reboot either. The primary key leads with the key: a filter
// spec that names one reads only its rows. No other index: each would cost every write more than
// the filters that leave the key open would save.
std::string ObjectsTable(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".objects(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, class INTEGER NOT NULL, document TEXT NOT NULL,"
           " version INTEGER NOT NULL, PRIMARY KEY(key, grp, component, instance, class))"
           " WITHOUT ROWID;";
}
const char* const kMainTables =
    "CREATE TABLE main.counter(id INTEGER PRIMARY KEY CHECK(id = 0), changes INTEGER NOT NULL);"
    "INSERT INTO main.counter VALUES(0, 0);";
const char* const kRuntimeTables =
    "CREATE TABLE runtime.boot(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
    " instance TEXT NOT NULL, PRIMARY KEY(key, grp, component, instance)) WITHOUT ROWID;";

// Checks one database of the store (main or runtime) and creates its tables when it is new.
// A file that is not a store database, or is damaged, is refused untouched.
void PrepareDatabase(Database& db, const std::string& schema, const std::string& path,
                     const char* otherTables, bool durable) {
    std::string check = db.Pragma(schema + ".quick_check");
    if (check != "ok") {
        // A file that cannot be read for want of space or permission is not damaged.
        const int error = db.ErrorCode() & 0xff;
        if (error != SQLITE_OK && error != SQLITE_ROW && error != SQLITE_CORRUPT &&
            error != SQLITE_NOTADB) {
            db.Raise(KivConfigStore::ERR_DB_OPEN_FAILED);
        }
        // The check's findings come as lines, and a log line is one line.
        const std::string prefix = "*** in database " + schema + " ***\n";
        if (check.compare(0, prefix.size(), prefix) == 0) check.erase(0, prefix.size());
        std::replace(check.begin(), check.end(), '\n', ' ');
        Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED, path + ": " + check);
    }
    // A file that another process is creating holds a header before it holds tables: without
    // an application id and a schema, a file counts as new rather than as another application's.
    const long long application = db.PragmaNumber(schema + ".application_id");
    const bool noSchema = db.PragmaNumber(schema + ".schema_version") == 0;
    if (application != kApplicationId && (application != 0 || !noSchema)) {
        Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
             path + ": not a configuration store database");
    }
    if (db.Pragma(schema + ".journal_mode = WAL") != "wal") {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "cannot use a write-ahead log", path);
    }
    db.Execute("PRAGMA " + schema + (durable ? ".synchronous = FULL" : ".synchronous = OFF"),
               KivConfigStore::ERR_DB_OPEN_FAILED);
    // A store made before opens without a write lock, so that it never waits for another
    // process's transaction.
    if (db.PragmaNumber(schema + ".user_version") == kFormat) return;
    db.Execute("BEGIN IMMEDIATE", KivConfigStore::ERR_TRANSACTION_START_FAILED);
    try {
        // Another process may have created the tables since the check above.
        const long long format = db.PragmaNumber(schema + ".user_version");
        if (format == 0) {
            db.Execute(ObjectsTable(schema) + otherTables,
                       KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
            db.Execute("PRAGMA " + schema + ".application_id = " + std::to_string(kApplicationId),
                       KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        } else if (format != kFormat) {
            Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
                 path + ": store format " + std::to_string(format) + " is not " +
                     std::to_string(kFormat));
        }
        db.Execute("PRAGMA " + schema + ".user_version = " + std::to_string(kFormat),
                   KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        db.Execute("COMMIT", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED);
    } catch (...) {
        db.ExecuteQuietly("ROLLBACK");
        throw;
    }
}

}  // namespace

void OpenFiles(Database& db, const StoreFiles& files) {
    db.SetBusyTimeout(kBusyMilliseconds);
    PrepareDatabase(db, "main", files.database, kMainTables, true);
    db.Attach(files.runtimeDatabase, "runtime");
    PrepareDatabase(db, "runtime", files.runtimeDatabase, kRuntimeTables, false);
}

void OpenReader(Database& db, const StoreFiles& files) {
    db.SetBusyTimeout(kBusyMilliseconds);
    db.Attach(files.runtimeDatabase, "runtime");
}

}  // namespace standin
