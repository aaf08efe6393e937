#include "Statements.h"

namespace standin {

#define IDENTITY "key = ?1 AND grp = ?2 AND component = ?3 AND instance = ?4"
// Runtime statements name the runtime database when they fail.
const Sql kSelectIdentity{
    "SELECT class, document, version FROM main.objects WHERE " IDENTITY
    " UNION ALL SELECT class, document, version FROM runtime.objects WHERE " IDENTITY,
    KivConfigStore::ERR_DB_READ_FAILED};
// An upsert changes a stored row in place: REPLACE would delete and insert it, in the table and
// in its index alike.
#define UPSERT                                                                              \
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT(key, grp, component, instance, class)" \
    " DO UPDATE SET document = excluded.document, version = excluded.version"
const Sql kStoreMain{"INSERT INTO main.objects" UPSERT, KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kStoreRuntime{"INSERT INTO runtime.objects" UPSERT, KivConfigStore::ERR_DB_WRITE_FAILED,
                        "runtime"};
#undef UPSERT
const Sql kDeleteMain{"DELETE FROM main.objects WHERE " IDENTITY,
                      KivConfigStore::ERR_DB_DELETE_FAILED};
const Sql kDeleteRuntime{"DELETE FROM runtime.objects WHERE " IDENTITY,
                         KivConfigStore::ERR_DB_DELETE_FAILED, "runtime"};
// Class 4 is the desired configuration.
const Sql kSelectDesired{
    "SELECT instance, document, version FROM main.objects"
    " WHERE key = ?1 AND grp = ?2 AND component = ?3 AND class = 4"
    " ORDER BY instance",
    KivConfigStore::ERR_DB_READ_FAILED};
// Two plain one-row statements: with RETURNING, SQLite would give every write a statement
// journal, a 64 KiB buffer allocated and freed again each time.
// With history on, a commit's history rows carry its version and the counter stays as it is: a
// durable commit writes one page fewer. The latest version is the greater of the two.
#define LATEST_KEPT                                                                          \
    "ifnull((SELECT version FROM main.history WHERE version IS NOT NULL ORDER BY rowid DESC" \
    " LIMIT 1), 0)"
// With history off, a commit is counted and leaves no history before it: one statement does
// both.
const Sql kCountChange{"UPDATE main.counter SET changes = max(changes, " LATEST_KEPT
                       ") + 1, forgotten = max(changes, " LATEST_KEPT ") + 1 WHERE id = 0",
                       KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kNextKeptVersion{"SELECT max(changes, " LATEST_KEPT
                           ") + 1 FROM main.counter WHERE id = 0",
                           KivConfigStore::ERR_DB_READ_FAILED};
#undef LATEST_KEPT
const Sql kReadChanges{"SELECT changes FROM main.counter WHERE id = 0",
                       KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kBootSetter{"SELECT pid, started FROM runtime.boot WHERE " IDENTITY,
                      KivConfigStore::ERR_DB_READ_FAILED, "runtime"};
const Sql kSetBooting{"INSERT OR REPLACE INTO runtime.boot VALUES(?1, ?2, ?3, ?4, ?5, ?6)",
                      KivConfigStore::ERR_DB_WRITE_FAILED, "runtime"};
const Sql kClearBooting{"DELETE FROM runtime.boot WHERE " IDENTITY,
                        KivConfigStore::ERR_DB_DELETE_FAILED, "runtime"};
#undef IDENTITY

const Sql kSelectDictionary{"SELECT content FROM main.dictionaries WHERE id = ?1",
                            KivConfigStore::ERR_DB_READ_FAILED};
const Sql kNewestDictionary{
    "SELECT id, content FROM main.dictionaries WHERE length(content) > 0"
    " ORDER BY rows DESC LIMIT 1",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kTrainingDue{
    "SELECT (SELECT ifnull(max(rowid), 0) FROM main.objects),"
    " (SELECT ifnull(max(rows), 0) FROM main.dictionaries)",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kNewestDocuments{"SELECT document FROM main.objects ORDER BY rowid DESC",
                           KivConfigStore::ERR_DB_READ_FAILED};
const Sql kStoreDictionary{
    "INSERT INTO main.dictionaries VALUES(?1, ?2, ?3)"
    " ON CONFLICT(id) DO UPDATE SET rows = excluded.rows",
    KivConfigStore::ERR_DB_WRITE_FAILED};
// Negative ids are no dictionary's: zstd's are positive.
const Sql kNoteTraining{"INSERT OR REPLACE INTO main.dictionaries VALUES(-?1, ?1, x'')",
                        KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kTextsAfter{
    "SELECT rowid, document FROM main.objects WHERE rowid > ?1 AND typeof(document) = 'text'"
    " ORDER BY rowid LIMIT 256",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kCompressedDocuments{
    "SELECT key, grp, component, instance, document FROM main.objects"
    " WHERE typeof(document) = 'blob'",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kRepack{"UPDATE main.objects SET document = ?2 WHERE rowid = ?1",
                  KivConfigStore::ERR_DB_UPDATE_FAILED};

#define RECORD "INSERT INTO main.history(version, key, grp, component, instance, class, before)"
const Sql kRecordNew{RECORD " VALUES(?1, ?2, ?3, ?4, ?5, ?6, NULL)",
                     KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kRecordWrite{RECORD
                       " VALUES(?1, ?2, ?3, ?4, ?5, ?6, (SELECT document FROM main.objects WHERE"
                       " key = ?2 AND grp = ?3 AND component = ?4 AND instance = ?5"
                       " AND class = ?6))",
                       KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kRecordRemoval{RECORD
                         " SELECT NULL, key, grp, component, instance, class, document"
                         " FROM main.objects WHERE key = ?1 AND grp = ?2 AND component = ?3"
                         " AND instance = ?4",
                         KivConfigStore::ERR_DB_WRITE_FAILED};
const std::string kRecordNewRowsText = [] {
    std::string text = RECORD " VALUES";
    for (std::size_t row = 0; row < kRowsAtOnce; ++row) {
        text += row == 0 ? "(?, ?, ?, ?, ?, ?, NULL)" : ", (?, ?, ?, ?, ?, ?, NULL)";
    }
    return text;
}();
const Sql kRecordNewRows{kRecordNewRowsText.c_str(), KivConfigStore::ERR_DB_WRITE_FAILED};
#undef RECORD
const Sql kDateRemovals{
    "UPDATE main.history SET version = ?1 WHERE rowid >= ?2 AND version IS NULL",
    KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kNoteCommit{
    "UPDATE main.history SET time = ?2, uid = ?3, pid = ?4, program = ?5, context = ?6"
    " WHERE rowid = ?1",
    KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kForgettable{
    "SELECT max(version) FROM (SELECT version, time FROM main.history ORDER BY rowid LIMIT ?3)"
    " WHERE version <= ?1 OR time < ?2"
    " OR version <= (SELECT forgotten FROM main.counter WHERE id = 0)",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kForget{
    "DELETE FROM main.history WHERE rowid IN (SELECT rowid FROM main.history ORDER BY rowid"
    " LIMIT ?2) AND version <= ?1",
    KivConfigStore::ERR_DB_DELETE_FAILED};
const Sql kNoteForgotten{"UPDATE main.counter SET forgotten = max(forgotten, ?1) WHERE id = 0",
                         KivConfigStore::ERR_DB_UPDATE_FAILED};
const Sql kHistoryRows{
    "SELECT version, key, grp, component, instance, class, time, uid, pid, program, context,"
    " iif(?2, before, NULL) FROM main.history WHERE ?1 = 0 OR version = ?1 ORDER BY rowid DESC",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kHistoryAfter{
    "SELECT key, grp, component, instance, class, before FROM main.history WHERE version > ?1"
    " ORDER BY rowid",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kStoredClass{
    "SELECT document FROM main.objects WHERE key = ?1 AND grp = ?2 AND component = ?3"
    " AND instance = ?4 AND class = ?5",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kMadeIn{
    "SELECT version FROM main.history WHERE key = ?1 AND grp = ?2 AND component = ?3"
    " AND instance = ?4 AND class = ?5 AND before IS NULL AND version IS NOT NULL"
    " ORDER BY rowid LIMIT 1",
    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kVersions{"SELECT changes, forgotten FROM main.counter WHERE id = 0",
                    KivConfigStore::ERR_DB_READ_FAILED};
const Sql kNoteDue{
    "INSERT INTO main.apply_due VALUES(?1, ?2) ON CONFLICT(component)"
    " DO UPDATE SET version = excluded.version",
    KivConfigStore::ERR_DB_WRITE_FAILED};
const Sql kDueWork{"SELECT component, version FROM main.apply_due ORDER BY component",
                   KivConfigStore::ERR_DB_READ_FAILED};

const Sql kBegin{"BEGIN IMMEDIATE", KivConfigStore::ERR_TRANSACTION_START_FAILED};
const Sql kCommit{"COMMIT", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED};
const Sql kRollback{"ROLLBACK", KivConfigStore::ERR_TRANSACTION_ROLLBACK_FAILED};
const Sql kSavepoint{"SAVEPOINT write", KivConfigStore::ERR_TRANSACTION_START_FAILED};
const Sql kRelease{"RELEASE write", KivConfigStore::ERR_TRANSACTION_COMMIT_FAILED};
const char kUndoSavepoint[] = "ROLLBACK TO write; RELEASE write";

Query SelectStored(const KivConfigStore::ConfigStoreObjectId& fields,
                   const std::vector<ValueTest>& tests) {
    Query query;
    const auto parameter = [&](SqlValue value) {
        query.arguments.push_back(std::move(value));
        return "?" + std::to_string(query.arguments.size());
    };
    const std::pair<const char*, const std::string*> columns[] = {{"key", &fields.key},
                                                                  {"grp", &fields.group},
                                                                  {"component", &fields.component},
                                                                  {"instance", &fields.instanceId}};
    std::string where = "1";
    for (const auto& column : columns) {
        if (column.second->empty()) continue;
        where += std::string(" AND p.") + column.first + " = " + parameter(*column.second);
    }
    std::string differs;
    for (const ValueTest& test : tests) {
        const std::string path = parameter(test.path);
        const std::string first = parameter(std::string(test.firstType));
        const std::string second = parameter(std::string(test.secondType));
        const std::string value = parameter(test.value);
        if (!differs.empty()) differs += " OR ";
        differs += "(json_type(o.document, " + path +
                   ") IS NOT NULL AND NOT (json_type(o.document, " + path + ") IN (" + first +
                   ", " + second + ") AND (" + value + " IS NULL OR json_extract(o.document, " +
                   path + ") = " + value + ")))";
    }
    const char* const tables[] = {"main.objects", "runtime.objects"};
    if (!differs.empty()) {
        // Classes 0-3 hold an object's values; 4, the desired configuration, is not compared.
        // SQL reads no compressed document: those rows come, and the filter's matcher decides.
        for (const char* table : tables) {
            where += std::string(" AND NOT EXISTS (SELECT 1 FROM ") + table +
                     " o WHERE o.key = p.key AND o.grp = p.grp AND o.component = p.component"
                     " AND o.instance = p.instance AND o.class < 4"
                     " AND typeof(o.document) = 'text' AND (" +
                     differs + "))";
        }
    }
    for (const char* table : tables) {
        if (!query.text.empty()) query.text += " UNION ALL ";
        query.text += std::string(
                          "SELECT p.key, p.grp, p.component, p.instance, p.class,"
                          " p.document, p.version FROM ") +
                      table + " p WHERE " + where;
    }
    query.text += " ORDER BY 1, 2, 3, 4, 5";  // the identity index's order
    return query;
}

}  // namespace standin
