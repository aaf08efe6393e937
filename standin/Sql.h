// The engine's one SQL layer: a connection, the statements it keeps prepared for its life, and
// cursors that bind arguments in order and reset their statement when they go out of scope.
// Every SQLite failure leaves as a ConfigStoreException with the code its statement names, but
// for a damaged file, which is 1010 whatever met it.
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "Errors.h"

namespace standin {

// One statement of the engine: its text, the code its failures carry, and the database (schema)
// whose file they name.
struct Sql {
    const char* text;
    CSErrorCodes failure;
    const char* schema = "main";
};

// An argument of a statement built at run time: NULL, an integer or text.
using SqlValue = std::variant<std::nullptr_t, long long, std::string, std::string_view>;

// A document as a row holds it: JSON text, or a compressed frame (a blob).
struct StoredDocument {
    std::string_view bytes;
    bool compressed = false;
};

class Cursor {
public:
    Cursor(sqlite3_stmt* statement, CSErrorCodes failure, const char* schema = "main");
    Cursor(Cursor&& other) noexcept;
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;
    ~Cursor();

    // Steps to the next row; false when there is none.
    bool Next();
    long long Integer(int column) const;
    std::string_view Text(int column) const;
    StoredDocument Document(int column) const;
    bool IsNull(int column) const;

private:
    sqlite3_stmt* statement_;
    CSErrorCodes failure_;
    const char* schema_;
};

class Database {
public:
    // Opens the existing file `path`, never through a symbolic link; failures name `name`, the
    // file that `path` stands for (1001 when it cannot be opened).
    Database(const std::string& path, std::string name);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    // Runs SQL text that takes no arguments (pragmas, schema, transaction control); failures
    // name the file of `schema`.
    void Execute(const std::string& text, CSErrorCodes failure, const char* schema = "main");

    // Runs `sql` with `arguments` bound to its parameters in order. Text is bound where it is,
    // so it must outlive the cursor.
    template <class... Arguments>
    Cursor Run(const Sql& sql, const Arguments&... arguments) {
        sqlite3_stmt* statement = Prepared(sql);
        int index = 0;
        (Bind(statement, ++index, arguments), ...);
        return Cursor(statement, sql.failure, sql.schema);
    }

    // Runs statement text built at run time (a filter's query), prepared on first use and kept
    // like the constant statements; `arguments` are bound in order and must outlive the cursor.
    Cursor Query(const std::string& text, CSErrorCodes failure,
                 const std::vector<SqlValue>& arguments);

    // Runs `sql` with `arguments` bound to its parameters in order; text as with Run.
    Cursor RunList(const Sql& sql, const std::vector<SqlValue>& arguments) {
        sqlite3_stmt* statement = Prepared(sql);
        BindAll(statement, arguments);
        return Cursor(statement, sql.failure, sql.schema);
    }

    // Runs a statement that returns no rows.
    template <class... Arguments>
    void Do(const Sql& sql, const Arguments&... arguments) {
        Run(sql, arguments...).Next();
    }

    // The first column of a pragma's rows as text, one a line; failures raise 1001 naming the
    // file of `schema`.
    std::string Pragma(const std::string& pragma, const char* schema = "main");
    long long PragmaNumber(const std::string& pragma, const char* schema = "main") {
        return std::atoll(Pragma(pragma, schema).c_str());
    }
    // Attaches the database file `path` as `schema`; failures raise 1001 naming the path.
    void Attach(const std::string& path, const char* schema);
    // For rollbacks on a path that is failing already: a second failure has no one to tell.
    void ExecuteQuietly(const char* text) noexcept;
    void SetBusyTimeout(int milliseconds) { sqlite3_busy_timeout(db_, milliseconds); }
    int Changes() const { return sqlite3_changes(db_); }
    long long LastRowId() const { return sqlite3_last_insert_rowid(db_); }
    bool InTransaction() const { return sqlite3_get_autocommit(db_) == 0; }
    // The longest text or blob the connection stores.
    std::size_t LongestValue() const {
        return static_cast<std::size_t>(sqlite3_limit(db_, SQLITE_LIMIT_LENGTH, -1));
    }
    // SQLite's code of the connection's last failure.
    int ErrorCode() const { return sqlite3_extended_errcode(db_); }
    // Raises `code` with SQLite's description of the connection's last failure, naming the file
    // of `schema`.
    [[noreturn]] void Raise(CSErrorCodes code, const char* schema = "main") const;
    // From now on every statement that changes `schema`, or reads one of its tables other than
    // `readable`, fails with `failure`: the schema is a stand-in for a file that is unavailable.
    void Refuse(const std::string& schema, const std::string& readable,
                const KivConfigStore::ConfigStoreException& failure);

private:
    sqlite3_stmt* Prepared(const Sql& sql);
    sqlite3_stmt* Prepare(const char* text);
    void BindAll(sqlite3_stmt* statement, const std::vector<SqlValue>& arguments);
    void Bind(sqlite3_stmt* statement, int index, std::string_view text);
    void Bind(sqlite3_stmt* statement, int index, long long number);
    void Bind(sqlite3_stmt* statement, int index, StoredDocument document);
    void Bind(sqlite3_stmt* statement, int index, int number) {
        Bind(statement, index, static_cast<long long>(number));
    }
    void Bind(sqlite3_stmt* statement, int index, const std::string& text) {
        Bind(statement, index, std::string_view(text));
    }

    struct Refusal {
        std::string schema, readable;
        KivConfigStore::ConfigStoreException failure;
    };
    static int Authorize(void* refusal, int action, const char* table, const char* column,
                         const char* schema, const char* trigger);

    sqlite3* db_ = nullptr;
    std::string name_;
    std::unique_ptr<Refusal> refusal_;
    // Every statement is a constant of the engine, so its address names it.
    std::unordered_map<const Sql*, sqlite3_stmt*> statements_;
    // Few texts: one per shape of filter (identity fields named, number of values).
    std::unordered_map<std::string, sqlite3_stmt*> queries_;
};

}  // namespace standin
