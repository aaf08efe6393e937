// The layout of a store's databases: their tables, the format number, how a new file is made,
// and the checks a file passes before the store uses it.
#include "Layout.h"

#include <algorithm>

#include "Documents.h"
#include "Statements.h"

namespace standin {

namespace {

// Identifies the engine's files ("KCS1").
constexpr int kApplicationId = 0x4b435331;
// Documents of 1 KiB and more are compressed to about a third, so that a page holds several
// documents of up to a few KiB of text. Larger pages (16 KiB, for text, in format 2) made each
// durable commit write more bytes (1.23-1.29 times the baseline's time, against 1.06-1.11);
// 4 KiB pages made a transaction of many writes split and write more pages (1.43-1.50 times
// the baseline's, against 1.25-1.39). A file keeps the size it was made with.
constexpr int kPageSize = 8192;

// Both databases hold objects in one layout; the runtime one only cached data, and the boot
// status, which must not outlive a reboot either. Documents live in the table's own b-tree,
// where a row of up to a page stays on its page and a longer one fills whole overflow pages
// (an index b-tree would spill every document past a quarter page into pages of its own).
// Lookups go by the identity index, which leads with the key; filters that leave the key open
// and name a component go by the component index. Neither changes when a write replaces a
// document: only a new identity costs them an entry.
std::string ObjectsTable(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".objects(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, class INTEGER NOT NULL, document TEXT NOT NULL,"
           " version INTEGER NOT NULL);";
}
std::string ObjectsIndexes(const std::string& schema) {
    return "CREATE UNIQUE INDEX " + schema +
           ".objects_identity ON objects(key, grp, component, instance, class);"
           "CREATE INDEX " +
           schema + ".objects_component ON objects(component, grp);";
}
// Documents' compression dictionaries (Documents.h), by zstd's id for each; `rows`, the objects
// table's rows when it was trained.
std::string DictionariesTable(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".dictionaries(id INTEGER PRIMARY KEY, rows INTEGER NOT NULL, content BLOB NOT NULL);";
}
// What each commit changed (History.h), in commit order; who committed it and when on its first
// row. No index: every write appends to the last page only, and readers read it whole.
// The apply work commits leave (Apply.h): one row per component, its latest version due.
std::string HistoryTables(const std::string& schema) {
    return "CREATE TABLE " + schema +
           ".history(version INTEGER, key TEXT NOT NULL, grp TEXT NOT NULL,"
           " component TEXT NOT NULL, instance TEXT NOT NULL, class INTEGER NOT NULL, before,"
           " time INTEGER, uid INTEGER, pid INTEGER, program TEXT, context TEXT);"
           "CREATE TABLE " +
           schema +
           ".apply_due(component TEXT PRIMARY KEY, version INTEGER NOT NULL) WITHOUT ROWID;";
}
std::string MainTables(const std::string& schema) {
    return ObjectsTable(schema) + ObjectsIndexes(schema) + DictionariesTable(schema) +
           HistoryTables(schema) + "CREATE TABLE " + schema +
           ".counter(id INTEGER PRIMARY KEY CHECK(id = 0), changes INTEGER NOT NULL,"
           " forgotten INTEGER NOT NULL DEFAULT 0);"
           "INSERT INTO " +
           schema + ".counter VALUES(0, 0, 0);";
}
// A boot status names the process that set it (StartTimeOf); format 1 knew no setter.
std::string RuntimeTables(const std::string& schema) {
    return ObjectsTable(schema) + ObjectsIndexes(schema) + "CREATE TABLE " + schema +
           ".boot(key TEXT NOT NULL, grp TEXT NOT NULL, component TEXT NOT NULL,"
           " instance TEXT NOT NULL, pid INTEGER, started INTEGER,"
           " PRIMARY KEY(key, grp, component, instance)) WITHOUT ROWID;";
}

// Moves the objects of the layout before, whose documents lived in the primary key's b-tree,
// into the table of today's layout, in key order.
std::string RebuildObjects(const std::string& schema) {
    const std::string columns = "key, grp, component, instance, class, document, version";
    return "ALTER TABLE " + schema + ".objects RENAME TO objects_before;" + ObjectsTable(schema) +
           "INSERT INTO " + schema + ".objects(" + columns + ") SELECT " + columns + " FROM " +
           schema + ".objects_before ORDER BY key, grp, component, instance, class;" +
           "DROP TABLE " + schema + ".objects_before;" + ObjectsIndexes(schema);
}
// What brings a file of format `from` up to date in place; empty when nothing can.
std::string UpgradeMain(const std::string& schema, long long from) {
    if (from < 1 || from > 3) return "";
    // The commits before the upgrade have no history.
    return (from == 1 ? RebuildObjects(schema) : "") + (from < 3 ? DictionariesTable(schema) : "") +
           HistoryTables(schema) + "ALTER TABLE " + schema +
           ".counter ADD COLUMN forgotten INTEGER NOT NULL DEFAULT 0; UPDATE " + schema +
           ".counter SET forgotten = changes;";
}
std::string UpgradeRuntime(const std::string& schema, long long from) {
    if (from == 1) {
        return "ALTER TABLE " + schema + ".boot ADD COLUMN pid INTEGER; ALTER TABLE " + schema +
               ".boot ADD COLUMN started INTEGER;" + RebuildObjects(schema);
    }
    return from == 2 ? RebuildObjects(schema) : "";
}

struct Layout {
    const char* schema;
    std::string (*tables)(const std::string& schema);
    const char* const* tableNames;  // the tables a file of the layout must have
    int format;
    // The oldest format that the store's statements read as it is, which a reader leaves so.
    int oldestReadable;
    const char* synchronous;
    std::string (*upgrade)(const std::string& schema, long long from);
};
// The dictionaries came with format 3 and the history with 4: a reader of an older file finds
// none, and needs none.
const char* const kMainTableNames[] = {"objects", "counter", nullptr};
const char* const kRuntimeTableNames[] = {"objects", "boot", nullptr};
const Layout kMain{"main", MainTables, kMainTableNames, 4, 1, "FULL", UpgradeMain};
const Layout kRuntime{"runtime", RuntimeTables, kRuntimeTableNames, 3, 2, "OFF", UpgradeRuntime};

// Fills the new file `temporary`, which stands for `path`, with the layout's tables.
void SetUp(const std::string& temporary, const std::string& path, const Layout& layout) {
    Database db(temporary, path);
    db.Execute("PRAGMA main.page_size = " + std::to_string(kPageSize) + ";" + kBegin.text +
                   (";" + layout.tables("main")) +
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

// The checks that read a few pages whatever the file's size: its identity and its tables. A
// file that is not a store database is refused untouched: files are created whole, so not even
// an empty one is a store in the making.
void CheckIdentity(Database& db, const Layout& layout, const std::string& path) {
    const std::string schema = layout.schema;
    if (db.PragmaNumber(schema + ".application_id", layout.schema) != kApplicationId) {
        Refuse(path, "not a configuration store database");
    }
    for (const char* const* table = layout.tableNames; *table != nullptr; ++table) {
        if (db.Pragma(schema + ".table_list(" + *table + ")", layout.schema).empty()) {
            Refuse(path, std::string("the store's table '") + *table + "' is missing");
        }
    }
}

// Reads the whole file: every page, index entry and constraint. The first lines of SQLite's
// findings go into the one log line.
void CheckWhole(Database& db, const Layout& layout, const std::string& path) {
    const std::string schema = layout.schema;
    std::string findings = db.Pragma(schema + ".integrity_check(3)", layout.schema);
    if (findings == "ok") return;
    const std::string heading = "*** in database " + schema + " ***\n";
    if (findings.compare(0, heading.size(), heading) == 0) findings.erase(0, heading.size());
    std::replace(findings.begin(), findings.end(), '\n', ' ');
    Refuse(path, "the file is damaged: " + findings);
}

// SQLite's check reads pages, not what a compressed document holds: each must expand.
void CheckDocuments(Database& db, const std::string& path) {
    Documents documents;
    auto rows = db.Run(kCompressedDocuments);
    while (rows.Next()) {
        if (!documents.Expand(db, rows.Document(4)).empty()) continue;
        const KivConfigStore::ConfigStoreObjectId id(
            std::string(rows.Text(0)), std::string(rows.Text(1)), std::string(rows.Text(2)),
            std::string(rows.Text(3)));
        Refuse(path,
               "the file is damaged: a stored document of " + NameOf(id) + " does not expand");
    }
}

// Checks one database of the store (main or runtime), and brings a file of a format before up
// to date, unless read only: a reader reads a file of a format its statements know as it is.
void PrepareDatabase(Database& db, const Layout& layout, const std::string& path, bool readOnly) {
    const std::string schema = layout.schema;
    CheckIdentity(db, layout, path);
    if (db.Pragma(schema + ".journal_mode = WAL", layout.schema) != "wal") {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "cannot use a write-ahead log", path);
    }
    db.Execute("PRAGMA " + schema + ".synchronous = " + layout.synchronous,
               KivConfigStore::ERR_DB_OPEN_FAILED, layout.schema);
    const auto refuseFormat = [&](long long format) {
        Refuse(path, "store format " + std::to_string(format) + " is not " +
                         std::to_string(layout.format) +
                         (readOnly ? " (read only: left as it is)" : ""));
    };
    // A file of the current format opens without a write lock, so that it never waits for
    // another process's transaction.
    const long long found = db.PragmaNumber(schema + ".user_version", layout.schema);
    if (found == layout.format) return;
    if (readOnly) {
        if (found < layout.oldestReadable || found > layout.format) refuseFormat(found);
        return;
    }
    db.Execute(kBegin.text, kBegin.failure, layout.schema);
    try {
        // Another process may have brought it up to date since the check above.
        const long long format = db.PragmaNumber(schema + ".user_version", layout.schema);
        if (format != layout.format) {
            const std::string upgrade =
                format < layout.format ? layout.upgrade(schema, format) : "";
            if (upgrade.empty()) refuseFormat(format);
            db.Execute(
                upgrade + ("PRAGMA " + schema + ".user_version = ") + std::to_string(layout.format),
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
        if (files.fullCheck) {
            CheckWhole(db, kMain, files.database);
            CheckDocuments(db, files.database);
        }
    }
    bool attached = false, inUse = false;
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
        inUse = true;
    } catch (const KivConfigStore::ConfigStoreException& failure) {
        // Durable data stays readable: an empty stand-in takes the runtime database's place, and
        // whatever needs the runtime data fails with this failure.
        if (attached) db.Execute("DETACH DATABASE runtime", KivConfigStore::ERR_DB_OPEN_FAILED);
        db.Attach(":memory:", "runtime");
        db.Execute(RuntimeTables("runtime"), KivConfigStore::ERR_DB_CREATE_TABLE_FAILED);
        db.Refuse("runtime", "objects", failure);
    }
    // Whoever asks for the full check wants to learn of damage in either file.
    if (files.fullCheck && inUse) CheckWhole(db, kRuntime, files.runtimeDatabase);
}

}  // namespace standin
