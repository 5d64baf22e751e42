#include "Recorder.h"

#include <cstdlib>

// The handles are never looked into; only their addresses count.
struct sqlite3 {};
struct sqlite3_stmt {};

Recorder recorder;

namespace {

sqlite3 theDatabase;
sqlite3_stmt theStatement;

const char* Name(const sqlite3* database) {
    return database == &theDatabase ? "database" : database == nullptr ? "null" : "stranger";
}

const char* Name(const sqlite3_stmt* statement) {
    return statement == &theStatement ? "statement" : statement == nullptr ? "null" : "stranger";
}

void Record(const std::string& call) {
    recorder.calls.push_back(call);
}

} // namespace

extern "C" {

int sqlite3_open(const char* path, sqlite3** database) {
    Record("open(" + std::string(path) + ")");
    *database = recorder.openGivesHandle ? &theDatabase : nullptr;
    return recorder.open;
}

int sqlite3_prepare_v2(sqlite3* database, const char* sql, int length, sqlite3_stmt** statement,
                       const char** tail) {
    Record("prepare(" + std::string(Name(database)) + ", " + std::to_string(length) + ", "
           + (tail == nullptr ? "null" : "tail") + ")");
    recorder.statements.emplace_back(sql);
    *statement = recorder.prepare == SQLITE_OK ? &theStatement : nullptr;
    return recorder.prepare;
}

int sqlite3_step(sqlite3_stmt* statement) {
    Record("step(" + std::string(Name(statement)) + ")");
    const int code = recorder.steps.front();
    if (recorder.steps.size() > 1) {
        recorder.steps.erase(recorder.steps.begin());
    }
    return code;
}

int sqlite3_finalize(sqlite3_stmt* statement) {
    Record("finalize(" + std::string(Name(statement)) + ")");
    return recorder.finalize;
}

int sqlite3_close(sqlite3* database) {
    Record("close(" + std::string(Name(database)) + ")");
    return recorder.close;
}

const char* sqlite3_errmsg(sqlite3* database) {
    Record("errmsg(" + std::string(Name(database)) + ")");
    return "what SQLite says";
}

int system(const char* command) {
    recorder.commands.emplace_back(command);
    return recorder.shell;
}
}
