#include "Sql.h"

#include <cstring>
#include <utility>

namespace standin {

namespace {
// SQLite's message, the system's reason where a file operation failed ("disk I/O error" is
// often a full disk), and the file, so that the one log line says what to look at.
[[noreturn]] void RaiseFrom(sqlite3* db, CSErrorCodes code, const char* file) {
    const int error = sqlite3_extended_errcode(db);
    std::string reason = sqlite3_errmsg(db);
    const int primary = error & 0xff;
    if ((primary == SQLITE_IOERR || primary == SQLITE_FULL || primary == SQLITE_CANTOPEN) &&
        sqlite3_system_errno(db) != 0) {
        reason += std::string(": ") + std::strerror(sqlite3_system_errno(db));
    }
    const std::string named = file != nullptr ? file : "";
    // The store only reads such a file, and leaves it as it is for whoever repairs it.
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
        Fail(KivConfigStore::ERR_DB_INTEGRITY_CHECK_FAILED,
             named + ": the file is damaged: " + reason + " (SQLite code " + std::to_string(error) +
                 ")");
    }
    // "Failed to open database <file>: ..." names the file in its own place.
    if (code == KivConfigStore::ERR_DB_OPEN_FAILED) {
        Fail(code, reason + " (SQLite code " + std::to_string(error) + ")", named);
    }
    Fail(code, reason + " (SQLite code " + std::to_string(error) +
                   (named.empty() ? "" : ", " + named) + ")");
}

// Why the connection could not open a file.
std::string OpenFailure(sqlite3* db, int result) {
    if (result == SQLITE_CANTOPEN_SYMLINK)
        return "a symbolic link, which the store does not follow";
    return db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(result);
}
}  // namespace

Cursor::Cursor(sqlite3_stmt* statement, CSErrorCodes failure, const char* schema)
    : statement_(statement), failure_(failure), schema_(schema) {}

Cursor::Cursor(Cursor&& other) noexcept
    : statement_(other.statement_), failure_(other.failure_), schema_(other.schema_) {
    other.statement_ = nullptr;
}

Cursor::~Cursor() {
    if (statement_ == nullptr) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

bool Cursor::Next() {
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) return true;
    if (result == SQLITE_DONE) return false;
    sqlite3* db = sqlite3_db_handle(statement_);
    RaiseFrom(db, failure_, sqlite3_db_filename(db, schema_));
}

long long Cursor::Integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string_view Cursor::Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    const int size = sqlite3_column_bytes(statement_, column);
    return text == nullptr ? std::string_view()
                           : std::string_view(text, static_cast<std::size_t>(size));
}

StoredDocument Cursor::Document(int column) const {
    if (sqlite3_column_type(statement_, column) != SQLITE_BLOB) return {Text(column), false};
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const int size = sqlite3_column_bytes(statement_, column);
    return {std::string_view(bytes, static_cast<std::size_t>(size)), true};
}

bool Cursor::IsNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

Database::Database(const std::string& path, std::string name) : name_(std::move(name)) {
    // Files are created whole elsewhere (CreateWhole); attached ones open with these flags too.
    const int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOFOLLOW;
    const int result = sqlite3_open_v2(path.c_str(), &db_, flags, nullptr);
    if (result != SQLITE_OK) {
        const std::string reason = OpenFailure(db_, result);
        sqlite3_close_v2(db_);
        db_ = nullptr;
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, reason, name_);
    }
    // SQLite opens a write-protected file read-only without a word; a store must be writable.
    if (sqlite3_db_readonly(db_, "main") == 1) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, "the file is read-only", name_);
    }
}

Database::~Database() {
    for (auto& entry : statements_) sqlite3_finalize(entry.second);
    for (auto& entry : queries_) sqlite3_finalize(entry.second);
    sqlite3_close_v2(db_);
}

void Database::Execute(const std::string& text, CSErrorCodes failure, const char* schema) {
    if (sqlite3_exec(db_, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Raise(failure, schema);
    }
}

std::string Database::Pragma(const std::string& pragma, const char* schema) {
    sqlite3_stmt* statement = nullptr;
    std::string value;
    int result = sqlite3_prepare_v2(db_, ("PRAGMA " + pragma).c_str(), -1, &statement, nullptr);
    while (result == SQLITE_OK && (result = sqlite3_step(statement)) == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(statement, 0);
        if (!value.empty()) value += '\n';
        if (text != nullptr) value += reinterpret_cast<const char*>(text);
        result = SQLITE_OK;
    }
    sqlite3_finalize(statement);  // keeps the connection's error
    if (result != SQLITE_DONE) Raise(KivConfigStore::ERR_DB_OPEN_FAILED, schema);
    return value;
}

void Database::Attach(const std::string& path, const char* schema) {
    sqlite3_stmt* attach = nullptr;
    const std::string text = std::string("ATTACH DATABASE ?1 AS ") + schema;
    int result = sqlite3_prepare_v2(db_, text.c_str(), -1, &attach, nullptr);
    if (result == SQLITE_OK) {
        sqlite3_bind_text(attach, 1, path.c_str(), -1, SQLITE_STATIC);
        result = sqlite3_step(attach);
    }
    sqlite3_finalize(attach);
    if (result != SQLITE_DONE) {
        Fail(KivConfigStore::ERR_DB_OPEN_FAILED, OpenFailure(db_, ErrorCode()), path);
    }
}

void Database::ExecuteQuietly(const char* text) noexcept {
    sqlite3_exec(db_, text, nullptr, nullptr, nullptr);
}

void Database::Raise(CSErrorCodes code, const char* schema) const {
    if (refusal_ != nullptr && (ErrorCode() & 0xff) == SQLITE_AUTH) throw refusal_->failure;
    RaiseFrom(db_, code,
              std::strcmp(schema, "main") == 0 ? name_.c_str() : sqlite3_db_filename(db_, schema));
}

void Database::Refuse(const std::string& schema, const std::string& readable,
                      const KivConfigStore::ConfigStoreException& failure) {
    refusal_ = std::make_unique<Refusal>(Refusal{schema, readable, failure});
    sqlite3_set_authorizer(db_, Authorize, refusal_.get());
}

int Database::Authorize(void* refusal, int action, const char* table, const char*,
                        const char* schema, const char*) {
    const Refusal& refused = *static_cast<const Refusal*>(refusal);
    if (schema == nullptr || refused.schema != schema) return SQLITE_OK;
    const bool changes =
        action == SQLITE_INSERT || action == SQLITE_UPDATE || action == SQLITE_DELETE;
    const bool reads = action == SQLITE_READ && (table == nullptr || refused.readable != table);
    return changes || reads ? SQLITE_DENY : SQLITE_OK;
}

sqlite3_stmt* Database::Prepare(const char* text) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(db_, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        Raise(KivConfigStore::ERR_DB_PREPARE_FAILED);
    }
    return statement;
}

sqlite3_stmt* Database::Prepared(const Sql& sql) {
    const auto found = statements_.find(&sql);
    if (found != statements_.end()) return found->second;
    sqlite3_stmt* statement = Prepare(sql.text);
    try {
        statements_.emplace(&sql, statement);
    } catch (...) {
        sqlite3_finalize(statement);
        throw;
    }
    return statement;
}

Cursor Database::Query(const std::string& text, CSErrorCodes failure,
                       const std::vector<SqlValue>& arguments) {
    auto found = queries_.find(text);
    if (found == queries_.end()) {
        sqlite3_stmt* statement = Prepare(text.c_str());
        try {
            found = queries_.emplace(text, statement).first;
        } catch (...) {
            sqlite3_finalize(statement);
            throw;
        }
    }
    sqlite3_stmt* statement = found->second;
    BindAll(statement, arguments);
    return Cursor(statement, failure);
}

void Database::BindAll(sqlite3_stmt* statement, const std::vector<SqlValue>& arguments) {
    int index = 0;
    for (const SqlValue& argument : arguments) {
        ++index;
        if (const auto* number = std::get_if<long long>(&argument)) {
            Bind(statement, index, *number);
        } else if (const auto* text = std::get_if<std::string>(&argument)) {
            Bind(statement, index, std::string_view(*text));
        } else if (const auto* view = std::get_if<std::string_view>(&argument)) {
            Bind(statement, index, *view);
        } else if (sqlite3_bind_null(statement, index) != SQLITE_OK) {
            Raise(KivConfigStore::ERR_DB_BIND_FAILED);
        }
    }
}

void Database::Bind(sqlite3_stmt* statement, int index, std::string_view text) {
    // No copy: the text outlives the cursor, whose end clears the bindings.
    if (sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8) != SQLITE_OK) {
        Raise(KivConfigStore::ERR_DB_BIND_FAILED);
    }
}

void Database::Bind(sqlite3_stmt* statement, int index, StoredDocument document) {
    if (!document.compressed) return Bind(statement, index, document.bytes);
    // A frame is never empty, so its data is never the null that would bind NULL.
    if (sqlite3_bind_blob64(statement, index, document.bytes.data(), document.bytes.size(),
                            SQLITE_STATIC) != SQLITE_OK) {
        Raise(KivConfigStore::ERR_DB_BIND_FAILED);
    }
}

void Database::Bind(sqlite3_stmt* statement, int index, long long number) {
    if (sqlite3_bind_int64(statement, index, number) != SQLITE_OK) {
        Raise(KivConfigStore::ERR_DB_BIND_FAILED);
    }
}

}  // namespace standin
