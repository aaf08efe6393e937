// The layout of a store's databases: their tables, the format number, how a new file is made,
// and the checks a file passes before the store uses it.
#include "Layout.h"

#include <algorithm>

#include "Statements.h"

namespace standin {

namespace {

// Identifies the engine's files ("KCS1").
constexpr int kApplicationId = 0x4b435331;

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
std::string MainTables(const std::string& schema) {
    return ObjectsTable(schema) + "CREATE TABLE " + schema +
           ".counter(id INTEGER PRIMARY KEY CHECK(id = 0), changes INTEGER NOT NULL);"
           "INSERT INTO " +
           schema + ".counter VALUES(0, 0);";
}
// A boot status names the process that set it (StartTimeOf); format 1 knew no setter.
std::string RuntimeTables(const std::string& schema) {
    return ObjectsTable(schema) + "CREATE TABLE " + schema +
           ".boot(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, pid INTEGER, started INTEGER,"
           " PRIMARY KEY(key, grp, component, instance)) WITHOUT ROWID;";
}

struct Layout {
    const char* schema;
    std::string (*tables)(const std::string& schema);
    int format;
    const char* synchronous;
    const char* upgrade;  // from the format before, in place; null when there is none
};
const Layout kMain{"main", MainTables, 1, "FULL", nullptr};
const Layout kRuntime{"runtime", RuntimeTables, 2, "OFF",
                      "ALTER TABLE runtime.boot ADD COLUMN pid INTEGER;"
                      "ALTER TABLE runtime.boot ADD COLUMN started INTEGER;"};

// Fills the new file `temporary`, which stands for `path`, with the layout's tables.
void SetUp(const std::string& temporary, const std::string& path, const Layout& layout) {
    Database db(temporary, path);
    db.Execute(kBegin.text + (";" + layout.tables("main")) +
                   "PRAGMA main.application_id = " + std::to_string(kApplicationId) +
                   "; PRAGMA main.user_version = " + std::to_string(layout.format) + ";" +
                   kCommit.text,
               KivConfigStore::ERR_DB_OPEN_FAILED);
    if (db.Pragma("main.journal_mode = WAL") != "wal") {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "cannot use a write-ahead log", path);
    }
}

void CreateDatabase(const std::string& path, const Layout& layout) {
    CreateWhole(path, [&](const std::string& temporary) { SetUp(temporary, path, layout); });
}

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
    Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED, path + ": " + reason);
}

// Checks one database of the store (main or runtime), and brings a file of the format before
// up to date. A file that is not a store database, or is damaged, is refused untouched: files
// are created whole, so not even an empty one is a store in the making.
void PrepareDatabase(Database& db, const Layout& layout, const std::string& path, bool readOnly) {
    const std::string schema = layout.schema;
    std::string check = db.Pragma(schema + ".quick_check");
    if (check != "ok") {
        // A file that cannot be read for want of space or permission is not damaged.
        const int error = db.ErrorCode() & 0xff;
        if (error != SQLITE_OK && error != SQLITE_ROW && error != SQLITE_CORRUPT &&
            error != SQLITE_NOTADB) {
            db.Raise(KivConfigStore::ERR_DB_OPEN_FAILED, layout.schema);
        }
        // The check's findings come as lines, and a log line is one line.
        const std::string prefix = "*** in database " + schema + " ***\n";
        if (check.compare(0, prefix.size(), prefix) == 0) check.erase(0, prefix.size());
        std::replace(check.begin(), check.end(), '\n', ' ');
        Refuse(path, check);
    }
    if (db.PragmaNumber(schema + ".application_id") != kApplicationId) {
        Refuse(path, "not a configuration store database");
    }
    if (db.Pragma(schema + ".journal_mode = WAL") != "wal") {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "cannot use a write-ahead log", path);
    }
    db.Execute("PRAGMA " + schema + ".synchronous = " + layout.synchronous,
               KivConfigStore::ERR_DB_OPEN_FAILED, layout.schema);
    // A file of the current format opens without a write lock, so that it never waits for
    // another process's transaction.
    if (db.PragmaNumber(schema + ".user_version") == layout.format) return;
    if (readOnly) {
        Refuse(path, "store format " + std::to_string(db.PragmaNumber(schema + ".user_version")) +
                         " is not " + std::to_string(layout.format) +
                         " (read only: left as it is)");
    }
    db.Execute(kBegin.text, kBegin.failure, layout.schema);
    try {
        // Another process may have brought it up to date since the check above.
        const long long format = db.PragmaNumber(schema + ".user_version");
        if (format != layout.format) {
            if (format != layout.format - 1 || layout.upgrade == nullptr) {
                Refuse(path, "store format " + std::to_string(format) + " is not " +
                                 std::to_string(layout.format));
            }
            db.Execute(layout.upgrade + ("PRAGMA " + schema + ".user_version = ") +
                           std::to_string(layout.format),
                       KivConfigStore::ERR_DB_UPDATE_FAILED, layout.schema);
        }
        db.Execute(kCommit.text, kCommit.failure, layout.schema);
    } catch (...) {
        db.ExecuteQuietly(kRollback.text);
        throw;
    }
}

}  // namespace

void CreateDatabase(const std::string& path) {
    CreateDatabase(path, kMain);
}

bool ReadsAsEmpty(const std::string& file, const StoreFiles& files) {
    return files.readOnly && !Exists(file);
}

std::string ConnectionPathOf(const StoreFiles& files) {
    return ReadsAsEmpty(files.database, files) ? ":memory:" : files.database;
}

void OpenFiles(Database& db, const StoreFiles& files) {
    db.SetBusyTimeout(kBusyMilliseconds);
    if (ReadsAsEmpty(files.database, files)) {
        db.Execute(MainTables("main"), KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
    } else {
        PrepareDatabase(db, kMain, files.database, files.readOnly);
    }
    bool attached = false;
    try {
        if (ReadsAsEmpty(files.runtimeDatabase, files)) {
            db.Attach(":memory:", "runtime");
            db.Execute(RuntimeTables("runtime"), KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
            return;
        }
        if (!files.readOnly) {
            MakeDirectoryOf(files.runtimeDatabase);
            CreateDatabase(files.runtimeDatabase, kRuntime);
        }
        db.Attach(files.runtimeDatabase, "runtime");
        attached = true;
        PrepareDatabase(db, kRuntime, files.runtimeDatabase, files.readOnly);
    } catch (const KivConfigStore::ConfigStoreException& failure) {
        // Durable data stays readable: an empty stand-in takes the runtime database's place, and
        // whatever needs the runtime data fails with this failure.
        if (attached) db.Execute("DETACH DATABASE runtime", KivConfigStore::ERR_DB_OPEN_FAILED);
        db.Attach(":memory:", "runtime");
        db.Execute(RuntimeTables("runtime"), KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        db.Refuse("runtime", "objects", failure);
    }
}

}  // namespace standin
