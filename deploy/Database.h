#pragma once

#include "Status.h"
#include "Waiting.h"

#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>

// SQLite, with connections and statements that end with their scope. Whatever fails throws: a
// Failure with Status::DatabaseInUse if another program has locked the database and patience has
// run out, one with Status::NotRegistered if a signal has arrived, otherwise a DatabaseError.

class DatabaseError : public std::runtime_error {
public:
    DatabaseError(int code, const std::string& message)
        : std::runtime_error(message), itsCode(code) {}
    // SQLite's result code, the primary one.
    int Code() const { return itsCode; }
    // Whether the database is damaged, or another than was expected.
    bool MeansDamage() const {
        return itsCode == SQLITE_NOTADB || itsCode == SQLITE_CORRUPT || itsCode == SQLITE_ERROR;
    }

private:
    int itsCode;
};

// How a database is opened. What may not be written is opened for reading only.
inline constexpr std::string_view READWRITE = "mode=rw";
inline constexpr std::string_view READONLY = "mode=ro";
inline constexpr std::string_view CREATED = "mode=rwc";
// Nobody writes to it, so no lock is taken and no file is made beside it.
inline constexpr std::string_view IMMUTABLE = "mode=ro&immutable=1";

class Database {
public:
    // Opens the database at an absolute path. patience must outlive the connection.
    Database(const std::string& path, std::string_view how, Patience& patience);

    // Runs statements; rows that they yield are skipped.
    void Execute(const std::string& sql);
    // The first value of the only row that a statement yields.
    std::string Value(const std::string& sql);
    // Whether everything in the database, looked at from end to end, is intact.
    bool IsIntact() { return Value("PRAGMA main.integrity_check") == "ok"; }
    // Whether a transaction is open. A statement that fails may have ended it.
    bool IsInTransaction() { return sqlite3_get_autocommit(handle.get()) == 0; }
    // Makes this database the same as another one, in one transaction.
    void CopyFrom(Database& source);
    sqlite3* Handle() { return handle.get(); }
    // Throws unless a result code means success.
    void Check(int code);

private:
    struct Close {
        void operator()(sqlite3* opened) const { sqlite3_close(opened); }
    };
    std::string itsPath;
    std::unique_ptr<sqlite3, Close> handle;
};

class Statement {
public:
    // Compiles a statement.
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

private:
    Database& itsDatabase;
    struct Finalize {
        void operator()(sqlite3_stmt* compiled) const { sqlite3_finalize(compiled); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> handle;
};

// What is waited for if another program has locked the database.
inline constexpr char THEDATABASE[] = "another program to release the database";

// What a message about a database that cannot be used ends with.
inline constexpr char MENDING[] =
    "; start the Extension Manager once, or bring back a backup with --restore";

// What an error of any kind means for a run that it ends.
Failure AsFailure(const std::exception& exception);
