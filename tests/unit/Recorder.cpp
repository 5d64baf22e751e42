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
    return database == &theDatabase ? "database" : database == nullptr ? "null" : "another";
}

const char* Name(const sqlite3_stmt* statement) {
    return statement == &theStatement ? "statement" : statement == nullptr ? "null" : "another";
}

int Next(Recorder::Answers& answers) {
    const int answer = answers.front();
    if (answers.size() > 1) {
        answers.erase(answers.begin());
    }
    return answer;
}

void Record(const std::string& call) {
    recorder.calls.push_back(call);
}

} // namespace

extern "C" {

int sqlite3_open(const char* path, sqlite3** database) {
    Record("open(" + std::string(path) + ")");
    const int code = Next(recorder.open);
    *database = code == SQLITE_NOMEM ? nullptr : &theDatabase;
    return code;
}

int sqlite3_prepare_v2(sqlite3* database, const char* sql, int length, sqlite3_stmt** statement,
                       const char** tail) {
    Record("prepare(" + std::string(Name(database)) + ", " + std::to_string(length) + ", "
           + (tail == nullptr ? "null" : "tail") + ")");
    recorder.statements.emplace_back(sql);
    const int code = Next(recorder.prepare);
    *statement = code == SQLITE_OK ? &theStatement : nullptr;
    return code;
}

int sqlite3_step(sqlite3_stmt* statement) {
    Record("step(" + std::string(Name(statement)) + ")");
    return Next(recorder.step);
}

int sqlite3_finalize(sqlite3_stmt* statement) {
    Record("finalize(" + std::string(Name(statement)) + ")");
    return Next(recorder.finalize);
}

int sqlite3_close(sqlite3* database) {
    Record("close(" + std::string(Name(database)) + ")");
    return Next(recorder.close);
}

const char* sqlite3_errmsg(sqlite3* database) {
    Record("errmsg(" + std::string(Name(database)) + ")");
    return recorder.message.c_str();
}

int system(const char* command) {
    recorder.commands.emplace_back(command);
    return recorder.shell;
}

} // extern "C"
