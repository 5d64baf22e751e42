#include "Scenarios.h"

#include <cstddef>

namespace {

const std::string OPENED =
    "open(/Library/Application Support/Adobe/Extension Manager CC/Configuration/DB/ExMan.db)";
const std::string COMPILED = "prepare(database, -1, null)";
const std::string STEPPED = "step(statement)";

std::string Finalized(int code) {
    return "Finalized statemant: " + std::to_string(code) + "\n\n";
}

std::string Closed(int code) {
    return "Closed database: " + std::to_string(code) + "\n\n";
}

Scenario FailedOpen(int open, int close, const std::string& handle) {
    Scenario scenario{"open " + std::to_string(open) + ", close " + std::to_string(close),
                      {},
                      false,
                      false,
                      "ERROR: can't open database: what SQLite says\n\n" + Closed(close),
                      {OPENED, "errmsg(" + handle + ")", "close(" + handle + ")"}};
    scenario.answers.open = {open};
    scenario.answers.close = {close};
    return scenario;
}

Scenario FailedCompile(int prepare, int close) {
    Scenario scenario{"prepare " + std::to_string(prepare) + ", close " + std::to_string(close),
                      {},
                      true,
                      false,
                      "ERROR: while compiling sql: what SQLite says\n\n" + Finalized(0)
                          + Closed(close),
                      {OPENED, COMPILED, "errmsg(database)", "finalize(null)", "close(database)"}};
    scenario.answers.prepare = {prepare};
    scenario.answers.close = {close};
    return scenario;
}

Scenario Stepped(std::size_t rows, int code, int finalize, int close) {
    const std::string shown = std::to_string(code);
    Scenario scenario{std::to_string(rows) + " rows, step " + shown + ", finalize "
                          + std::to_string(finalize) + ", close " + std::to_string(close),
                      {},
                      true,
                      code == 101,
                      "Return code after executing SQL: " + shown + "\n\n" + Finalized(finalize)
                          + Closed(close),
                      {OPENED, COMPILED}};
    scenario.calls.insert(scenario.calls.end(), rows + 1, STEPPED);
    scenario.calls.insert(scenario.calls.end(), {"finalize(statement)", "close(database)"});
    scenario.answers.step.assign(rows, SQLITE_ROW);
    scenario.answers.step.push_back(code);
    scenario.answers.finalize = {finalize};
    scenario.answers.close = {close};
    return scenario;
}

} // namespace

const std::vector<Scenario>& Scenarios() {
    static const std::vector<Scenario> scenarios = [] {
        std::vector<Scenario> all;
        for (const int close : {SQLITE_OK, SQLITE_BUSY}) {
            all.push_back(FailedOpen(SQLITE_CANTOPEN, close, "database"));
            all.push_back(FailedOpen(SQLITE_NOMEM, close, "null"));
            for (const int code : {SQLITE_BUSY, SQLITE_ERROR, SQLITE_NOTADB, SQLITE_CORRUPT,
                                   SQLITE_READONLY, SQLITE_NOMEM}) {
                all.push_back(FailedCompile(code, close));
            }
            for (const std::size_t rows : {0U, 3U}) {
                for (const int code :
                     {SQLITE_OK, SQLITE_ERROR, SQLITE_BUSY, SQLITE_LOCKED, SQLITE_READONLY,
                      SQLITE_IOERR, SQLITE_FULL, SQLITE_CONSTRAINT, SQLITE_CORRUPT, SQLITE_NOMEM,
                      SQLITE_MISUSE, SQLITE_DONE}) {
                    // Finalizing repeats a failure, but may also hide or invent one.
                    for (const int finalize : {code, SQLITE_OK, SQLITE_IOERR}) {
                        all.push_back(Stepped(rows, code, finalize, close));
                    }
                }
            }
        }
        return all;
    }();
    return scenarios;
}
