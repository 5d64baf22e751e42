#include "Recorder.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sqlite3.h>

// The handles are never looked into; only their addresses count.
struct sqlite3 {};
struct sqlite3_stmt {};

Recorder recorder;

namespace {

sqlite3 theDatabase;
sqlite3_stmt theStatement;
Answers current;

std::string Name(const sqlite3* database) {
    return database == &theDatabase ? "(database)" : database == nullptr ? "(null)" : "(another)";
}

std::string Name(const sqlite3_stmt* statement) {
    return statement == &theStatement ? "(statement)"
           : statement == nullptr     ? "(null)"
                                      : "(another)";
}

void Record(const std::string& call) {
    recorder.calls += (recorder.calls.empty() ? "" : " ") + call;
}

} // namespace

extern "C" {

int sqlite3_open(const char* path, sqlite3** database) {
    EXPECT_STREQ(path, "/Library/Application Support/Adobe/Extension Manager CC/Configuration/DB/"
                       "ExMan.db");
    Record("open");
    current = {SQLITE_OK, SQLITE_OK, 0, SQLITE_DONE, SQLITE_OK, SQLITE_OK};
    if (!recorder.answers.empty()) {
        current = recorder.answers.front();
        recorder.answers.erase(recorder.answers.begin());
    }
    *database = current.open == SQLITE_NOMEM ? nullptr : &theDatabase;
    return current.open;
}

int sqlite3_prepare_v2(sqlite3* database, const char* sql, int length, sqlite3_stmt** statement,
                       const char** tail) {
    EXPECT_EQ(database, &theDatabase);
    EXPECT_EQ(length, -1);
    EXPECT_EQ(tail, nullptr);
    Record("prepare");
    recorder.statements.emplace_back(sql);
    *statement = current.prepare == SQLITE_OK ? &theStatement : nullptr;
    return current.prepare;
}

int sqlite3_step(sqlite3_stmt* statement) {
    EXPECT_EQ(statement, &theStatement);
    Record("step");
    return current.rows-- > 0 ? SQLITE_ROW : current.step;
}

int sqlite3_finalize(sqlite3_stmt* statement) {
    Record("finalize" + Name(statement));
    return current.finalize;
}

int sqlite3_close(sqlite3* database) {
    Record("close" + Name(database));
    return current.close;
}

const char* sqlite3_errmsg(sqlite3* database) {
    Record("errmsg" + Name(database));
    // It must not reach printf as a format.
    return "%s%d%n";
}

int system(const char* command) {
    recorder.commands.emplace_back(command);
    return recorder.shell;
}

} // extern "C"
