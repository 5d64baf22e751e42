#pragma once

#include "Log.h"

#include <memory>
#include <sqlite3.h>

// SQLite, with connections and statements that end with their scope. Whatever fails throws: a
// Failure with Status::DatabaseInUse if another program has locked the database and the wait is
// over, one with Status::NotRegistered if a signal has arrived, std::bad_alloc, or a DatabaseError.

struct DatabaseError : std::runtime_error {
    DatabaseError(int result, const std::string& message)
        : std::runtime_error(message), code(result) {}
    int code; // SQLite's result code, the primary one
    // Whether the database is damaged, or another than was expected.
    bool MeansDamage() const {
        return code == SQLITE_NOTADB || code == SQLITE_CORRUPT || code == SQLITE_ERROR;
    }
};

// How a database is opened. Of an immutable one, no lock is taken and no file is made beside it.
inline constexpr char READWRITE[] = "?mode=rw";
inline constexpr char READONLY[] = "?mode=ro";
inline constexpr char CREATED[] = "?mode=rwc";
inline constexpr char IMMUTABLE[] = "?mode=ro&immutable=1";

struct Database {
    Database(const std::string& name, const char* how);
    // Runs statements; rows that they yield are skipped.
    void Execute(const std::string& sql) {
        Check(sqlite3_exec(handle.get(), sql.c_str(), nullptr, nullptr, nullptr));
    }
    // The first value of the only row that a statement yields.
    std::string Value(const std::string& sql);
    // Whether everything in the database, looked at from end to end, is intact.
    bool IsIntact();
    // Whether a transaction is open. A statement that fails may have ended it.
    bool IsInTransaction() { return sqlite3_get_autocommit(handle.get()) == 0; }
    // Makes this database the same as another one, in one transaction.
    void CopyFrom(Database& source);
    // Throws unless it means success; also is another path that the message names.
    void Check(int code, const std::string& also = {});

    const std::string path;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle{nullptr, sqlite3_close};
};

struct Statement {
    Statement(Database& database, const std::string& sql);
    // Goes to the next row, or after the last one to the first. Returns false if there is none.
    bool Next();
    int Columns() { return sqlite3_column_count(handle.get()); }
    std::string Name(int column) { return sqlite3_column_name(handle.get(), column); }
    bool IsNull(int column) { return sqlite3_column_type(handle.get(), column) == SQLITE_NULL; }
    // A value of the current row, as text; "" for NULL.
    std::string Text(int column);
    // Whether the current row holds the same values as another statement's, types included.
    bool IsSameRow(Statement& other);

    Database& owner;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> handle{nullptr, sqlite3_finalize};
};

// What is waited for if another program has locked the database, and how one is mended.
inline constexpr char THEDATABASE[] = "another program to release the database";
inline constexpr char MENDING[] = "bring back a backup with --restore";

// What an error of any kind means for a run that it ends.
Failure AsFailure(const std::exception& exception);
