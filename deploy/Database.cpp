#include "Database.h"

#include "Files.h"

#include <new>
#include <system_error>

Database::Database(const std::string& name, const char* how) : path(name) {
    constexpr int FLAGS =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    constexpr int OPERATIONS = 10000; // of SQLite's machine, between two looks for a signal
    const auto waitForLock = [](void*, int) { return Wait(THEDATABASE) ? 1 : 0; };
    const auto endAtSignal = [](void*) { return IsInterrupted() ? 1 : 0; };
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(("file:" + name + how).c_str(), &opened, FLAGS, nullptr);
    handle.reset(opened);
    Check(code);
    sqlite3_busy_handler(opened, waitForLock, nullptr);
    sqlite3_progress_handler(opened, OPERATIONS, endAtSignal, nullptr);
}

void Database::Check(int code, const std::string& also) {
    constexpr int PRIMARY = 0xFF;
    const int error = code == SQLITE_OK ? 0 : sqlite3_system_errno(handle.get());
    switch (code & PRIMARY) {
    case SQLITE_OK:
        return;
    case SQLITE_NOMEM:
        throw std::bad_alloc();
    case SQLITE_INTERRUPT:
    case SQLITE_BUSY:
        RequireNoSignal();
        throw Failure(Status::DatabaseInUse,
                      "the database is in use; sudo lsof \"" + DATABASE + "\" names the program");
    default:
        std::string message = path + also + ": " + sqlite3_errmsg(handle.get());
        message += error == 0 ? "" : ", " + std::generic_category().message(error);
        if ((code & PRIMARY) == SQLITE_CANTOPEN && error == ENOENT) {
            message += " (in write-ahead mode, its folder must be writable)";
        }
        throw DatabaseError(code & PRIMARY, message);
    }
}

std::string Database::Value(const std::string& sql) {
    Statement statement(*this, sql);
    statement.Next();
    return statement.Text(0);
}

bool Database::IsIntact() {
    const std::string found = Value("PRAGMA main.integrity_check");
    for (const char* const unread : {"error code=", "failed to get page"}) {
        if (found.find(unread) != std::string::npos) {
            // A page that the disk does not give is no damage.
            throw DatabaseError(SQLITE_IOERR, path + ": a page of it cannot be read");
        }
    }
    return found == "ok";
}

void Database::CopyFrom(Database& source) {
    constexpr int PAGES = 256; // between two looks for a signal
    sqlite3_backup* backup = sqlite3_backup_init(handle.get(), "main", source.handle.get(), "main");
    Check(backup == nullptr ? sqlite3_errcode(handle.get()) : SQLITE_OK);
    int code = SQLITE_OK;
    while (code == SQLITE_OK) {
        code = IsInterrupted() ? SQLITE_INTERRUPT : sqlite3_backup_step(backup, PAGES);
    }
    const int end = sqlite3_backup_finish(backup);
    Check(code == SQLITE_DONE ? end : code, " or " + source.path);
}

Statement::Statement(Database& database, const std::string& sql) : owner(database) {
    sqlite3_stmt* compiled = nullptr;
    database.Check(sqlite3_prepare_v2(database.handle.get(), sql.c_str(), -1, &compiled, nullptr));
    handle.reset(compiled);
}

bool Statement::Next() {
    const int code = sqlite3_step(handle.get());
    owner.Check(code == SQLITE_ROW || code == SQLITE_DONE ? SQLITE_OK : code);
    return code == SQLITE_ROW;
}

std::string Statement::Text(int column) {
    if (IsNull(column)) {
        return {};
    }
    const auto* text = sqlite3_column_text(handle.get(), column);
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return {text, text + sqlite3_column_bytes(handle.get(), column)};
}

bool Statement::IsSameRow(Statement& other) {
    sqlite3_stmt* one = handle.get();
    sqlite3_stmt* two = other.handle.get();
    bool isSame = true;
    for (int i = 0; i < Columns(); ++i) {
        // As a text, a floating-point number loses digits.
        isSame &= sqlite3_column_type(one, i) == sqlite3_column_type(two, i)
                  && sqlite3_column_double(one, i) == sqlite3_column_double(two, i)
                  && Text(i) == other.Text(i);
    }
    return isSame;
}

Failure AsFailure(const std::exception& exception) {
    if (const auto* failure = dynamic_cast<const Failure*>(&exception)) {
        return *failure;
    }
    const auto* system = dynamic_cast<const std::system_error*>(&exception);
    const auto* error = dynamic_cast<const DatabaseError*>(&exception);
    const int code = error == nullptr ? SQLITE_OK : error->code;
    if (error != nullptr && error->MeansDamage()) {
        return {Status::NotTheDatabase, exception.what() + std::string("; ") + MENDING};
    }
    const bool isDenied = code == SQLITE_CANTOPEN || code == SQLITE_READONLY
                          || (system != nullptr && system->code() == std::errc::permission_denied);
    if (isDenied && geteuid() != 0) {
        return {Status::NotRoot, exception.what() + std::string("; try again with sudo")};
    }
    return {Status::NotRegistered, exception.what()};
}
