#pragma once

#include "Status.h"
#include "Waiting.h"

#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// SQLite, with connections and statements that end with their scope. Whatever fails throws: a
// Failure with Status::DatabaseInUse if another program has locked the database and patience has
// run out, otherwise a DatabaseError.

class DatabaseError : public std::runtime_error {
public:
    DatabaseError(int code, const std::string& message)
        : std::runtime_error(message), itsCode(code) {}
    // SQLite's result code, the primary one.
    int Code() const { return itsCode; }

private:
    int itsCode;
};

// How a database is opened. One in memory is empty at first, and called ":memory:".
inline constexpr std::string_view INMEMORY = "mode=memory";
inline constexpr std::string_view READONLY = "mode=ro";
inline constexpr std::string_view READWRITE = "mode=rw";
inline constexpr std::string_view CREATED = "mode=rwc";
// Nobody writes to it, so no lock is taken and no file is made beside it.
inline constexpr std::string_view IMMUTABLE = "mode=ro&immutable=1";

class Database {
public:
    // Opens the database at an absolute path. patience must outlive the connection.
    Database(const std::string& path, std::string_view how, const Patience& patience);

    // Runs statements; rows that they yield are skipped.
    void Execute(const std::string& sql);
    // The first value of the first row that a statement yields, or "" if it yields none.
    std::string Value(const std::string& sql);
    // Lets this connection see another database, too, under a name.
    void Attach(const std::string& path, std::string_view how, const std::string& name);
    // Keeps everybody else out of the database until this connection is closed. Nothing is written,
    // not even what waits in a write-ahead log, whose readers are left alone; only what a crashed
    // program left is rolled back.
    void LockExclusively();
    // Makes this database the same as another one, in one transaction.
    void CopyFrom(Database& source);
    sqlite3* Handle() { return handle.get(); }
    // Throws unless a result code means success.
    void Check(int code);

private:
    struct Close {
        void operator()(sqlite3* opened) const { sqlite3_close(opened); }
    };
    std::unique_ptr<sqlite3, Close> handle;
};

struct FreeValue {
    void operator()(sqlite3_value* value) const { sqlite3_value_free(value); }
};
// The values of a row, independent of the statement that yielded it.
using Row = std::vector<std::unique_ptr<sqlite3_value, FreeValue>>;

class Statement {
public:
    // Compiles a statement.
    Statement(Database& database, const std::string& sql);
    // The same, and binds a text to its parameter, or the values of a row to its parameters.
    Statement(Database& database, const std::string& sql, const std::string& text);
    Statement(Database& database, const std::string& sql, const Row& row);

    // Starts over.
    void Reset() { sqlite3_reset(handle.get()); }
    // Goes to the next row. Returns false if there is none.
    bool Next();
    // A value of the current row, as text; it must not be NULL.
    std::string Text(int column);
    // All values of the current row.
    Row Values();
    // Whether the current row holds the same values as another statement's, types included.
    bool IsSameRow(const Statement& other) const;

private:
    Database& itsDatabase;
    struct Finalize {
        void operator()(sqlite3_stmt* compiled) const { sqlite3_finalize(compiled); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> handle;
};

// Whether two statements yield the same rows in the same order.
bool YieldSame(Statement& one, Statement& other);

// Whether two databases hold the same rows in the same tables.
bool HoldSame(Database& one, Database& other);

// What an error of any kind means for a run that it ends.
Failure Refused(const std::exception& exception);
