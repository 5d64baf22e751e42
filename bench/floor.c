/*
 * The floor: the smallest program that makes the library calls of one registration, with the same
 * lines in the same order. What Tamsel needs beyond it is what Tamsel itself adds.
 *
 * usage: floor STATEMENT STATEMENT COMMAND
 *
 * It computes nothing: the statements and the shell's command come ready-made.
 */

#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>

#define DATABASE "/Library/Application Support/Adobe/Extension Manager CC/Configuration/DB/ExMan.db"

static int execute(const char* sql) {
    int code = SQLITE_ERROR;
    sqlite3* database = NULL;
    sqlite3_stmt* statement = NULL;
    if (sqlite3_open(DATABASE, &database) == SQLITE_OK
        && sqlite3_prepare_v2(database, sql, -1, &statement, NULL) == SQLITE_OK) {
        code = sqlite3_step(statement);
    }
    printf("Return code after executing SQL: %d\n\n", code);
    printf("Finalized statemant: %d\n\n", sqlite3_finalize(statement));
    printf("Closed database: %d\n\n", sqlite3_close(database));
    return code == SQLITE_DONE;
}

static void insert(const char* operation, const char* sql) {
    const int succeeded = execute(sql);
    printf("%s execution: %s\n\n", operation, succeeded ? "succeeded" : "failed");
    printf("%s %s\n\n", operation, succeeded ? "true" : "false");
}

int main(int argc, char* argv[]) {
    if (argc != 4) {
        return EXIT_FAILURE;
    }
    FILE* probe = fopen(DATABASE, "r");
    if (probe == NULL) {
        return EXIT_FAILURE;
    }
    fputs("Three parameters\n\n", stdout);
    fputs("-r command found\n\n", stdout);
    fputs("File name found: Adobe InDesign 2020\n\n", stdout);
    insert("InsertProductInfo", argv[1]);
    insert("InsertXManConfig", argv[2]);
    fputs("\nThe application was successfully registrated\n\n", stdout);
    const int status = system(argv[3]);
    fclose(probe);
    return status == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
