#include "Database.h"

#include "Status.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <system_error>
#include <unistd.h>

namespace {

int WaitForLock(void* patience, int /*times*/) {
    return static_cast<const Patience*>(patience)->Wait() ? 1 : 0;
}

// SQLite returns no address when it has run out of memory.
template <typename Pointer>
Pointer Allocated(Pointer pointer) {
    if (pointer == nullptr) {
        throw std::bad_alloc();
    }
    return pointer;
}

bool IsSame(sqlite3_stmt* one, sqlite3_stmt* other, int column) {
    const int type = sqlite3_column_type(one, column);
    if (type != sqlite3_column_type(other, column)) {
        return false;
    }
    switch (type) {
    case SQLITE_INTEGER:
        return sqlite3_column_int64(one, column) == sqlite3_column_int64(other, column);
    case SQLITE_FLOAT:
        return sqlite3_column_double(one, column) == sqlite3_column_double(other, column);
    default:
        // Asked for before their size, as bytes, without any conversion.
        const void* bytes = sqlite3_column_blob(one, column);
        const void* others = sqlite3_column_blob(other, column);
        const int size = sqlite3_column_bytes(one, column);
        return size == sqlite3_column_bytes(other, column)
               && (size == 0 || std::memcmp(bytes, others, static_cast<std::size_t>(size)) == 0);
    }
}

std::string Name(const std::string& path, std::string_view how) {
    return "file:" + path + "?" + std::string(how);
}

} // namespace

Database::Database(const std::string& path, std::string_view how, const Patience& patience) {
    constexpr int FLAGS =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(Name(path, how).c_str(), &opened, FLAGS, nullptr);
    handle.reset(opened);
    Check(code);
    // SQLite takes the handler's argument as writable.
    sqlite3_busy_handler(opened, WaitForLock, const_cast<Patience*>(&patience)); // NOLINT
}

void Database::Check(int code) {
    constexpr int PRIMARY = 0xFF;
    switch (code & PRIMARY) {
    case SQLITE_OK:
        return;
    case SQLITE_BUSY:
        throw Failure(Status::DatabaseInUse, "the database is in use");
    default:
        throw DatabaseError(code & PRIMARY, sqlite3_errmsg(Handle()));
    }
}

void Database::Execute(const std::string& sql) {
    Check(sqlite3_exec(Handle(), sql.c_str(), nullptr, nullptr, nullptr));
}

std::string Database::Value(const std::string& sql) {
    Statement statement(*this, sql);
    return statement.Next() ? statement.Text(0) : "";
}

void Database::Attach(const std::string& path, std::string_view how, const std::string& name) {
    Statement(*this, "ATTACH ? AS " + name, Name(path, how)).Next();
}

void Database::LockExclusively() {
    sqlite3_db_config(Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr); // NOLINT
    Execute("BEGIN EXCLUSIVE");
}

void Database::CopyFrom(Database& source) {
    sqlite3_backup* backup =
        Allocated(sqlite3_backup_init(Handle(), "main", source.Handle(), "main"));
    // Waits for locks on its own, as the connections do.
    const int code = sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
    Check(code == SQLITE_DONE ? SQLITE_OK : code);
}

Statement::Statement(Database& database, const std::string& sql) : itsDatabase(database) {
    sqlite3_stmt* compiled = nullptr;
    database.Check(sqlite3_prepare_v2(database.Handle(), sql.c_str(), -1, &compiled, nullptr));
    handle.reset(compiled);
}

Statement::Statement(Database& database, const std::string& sql, const std::string& text)
    : Statement(database, sql) {
    database.Check(sqlite3_bind_text(handle.get(), 1, text.data(), static_cast<int>(text.size()),
                                     SQLITE_TRANSIENT));
}

Statement::Statement(Database& database, const std::string& sql, const Row& row)
    : Statement(database, sql) {
    int number = 0;
    for (const auto& value : row) {
        database.Check(sqlite3_bind_value(handle.get(), ++number, value.get()));
    }
}

bool Statement::Next() {
    const int code = sqlite3_step(handle.get());
    if (code == SQLITE_ROW) {
        return true;
    }
    itsDatabase.Check(code == SQLITE_DONE ? SQLITE_OK : code);
    return false;
}

std::string Statement::Text(int column) {
    const auto* text =
        reinterpret_cast<const char*>(sqlite3_column_text(handle.get(), column)); // NOLINT
    return {Allocated(text), static_cast<std::size_t>(sqlite3_column_bytes(handle.get(), column))};
}

bool Statement::IsSameRow(const Statement& other) const {
    const int columns = sqlite3_column_count(handle.get());
    bool same = columns == sqlite3_column_count(other.handle.get());
    for (int column = 0; same && column < columns; ++column) {
        same = IsSame(handle.get(), other.handle.get(), column);
    }
    return same;
}

Row Statement::Values() {
    Row row;
    for (int column = 0; column < sqlite3_column_count(handle.get()); ++column) {
        row.emplace_back(Allocated(sqlite3_value_dup(sqlite3_column_value(handle.get(), column))));
    }
    return row;
}

bool YieldSame(Statement& one, Statement& other) {
    while (one.Next()) {
        if (!other.Next() || !one.IsSameRow(other)) {
            return false;
        }
    }
    return !other.Next();
}

bool HoldSame(Database& one, Database& other) {
    const auto isSame = [&](const std::string& query) {
        Statement rows(one, query);
        Statement others(other, query);
        return YieldSame(rows, others);
    };
    for (const char* query :
         {"PRAGMA user_version", "PRAGMA application_id",
          "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY type, name"}) {
        if (!isSame(query)) {
            return false;
        }
    }
    Statement tables(one, "SELECT '\"' || replace(name, '\"', '\"\"') || '\"' FROM sqlite_master"
                          " WHERE type = 'table'");
    while (tables.Next()) {
        if (!isSame("SELECT * FROM " + tables.Text(0))) {
            return false;
        }
    }
    return true;
}

Failure Refused(const std::exception& exception) {
    if (const auto* failure = dynamic_cast<const Failure*>(&exception)) {
        return *failure;
    }
    const Status denied = geteuid() == 0 ? Status::NotRegistered : Status::NotRoot;
    if (const auto* system = dynamic_cast<const std::system_error*>(&exception)) {
        const bool isDenied = system->code() == std::errc::permission_denied;
        return {isDenied ? denied : Status::NotRegistered, system->what()};
    }
    const auto* error = dynamic_cast<const DatabaseError*>(&exception);
    if (error == nullptr) {
        return {Status::NotRegistered, exception.what()};
    }
    const std::string why = std::string("the database cannot be read: ") + error->what();
    constexpr int DAMAGED[] = {SQLITE_NOTADB, SQLITE_CORRUPT, SQLITE_ERROR};
    if (std::find(std::begin(DAMAGED), std::end(DAMAGED), error->Code()) != std::end(DAMAGED)) {
        return {Status::NotTheDatabase, why};
    }
    return {denied, why};
}
