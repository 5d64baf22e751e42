#pragma once

#include "Tables.h"

#include <string>

// The Extension Manager's database, one connection per statement. What prints takes copies that it
// owns, prints its progress with printf on standard output, throws nothing of its own, and tells
// success by its result alone. Each line it prints ends in "\n\n".
namespace SQLUtils {

// Opens EXMANDBPATH, runs the first statement of sql, finalizes it and closes the database again,
// printing the result of every stage. Rows that the statement yields are skipped; nothing is
// retried. sql is UTF-8 and is read up to its first NUL.
//
// Returns true exactly when the statement compiled and its last step returned SQLITE_DONE.
// Empty sql returns false, prints nothing and opens nothing.
bool ExecuteSQL(std::string sql);

// The statement that writes the product's row into Tb_ProductInfoV2: one line of SQL, which names
// the table and the columns that it fills before its VALUES. Prints nothing.
//
// record is one of the catalogue's records, or has all their fields; those that are needed are
// looked up once each, in the order of the statement. appFolder is the folder that holds the
// application, in UTF-8; it may be empty. Both are spliced into the statement unescaped.
std::string ProductInfoStatement(const ProductRecord& record, const std::string& appFolder);

// The statement that writes the product's fourteen rows into Tb_XManConfig, all or none; else like
// ProductInfoStatement.
std::string XManConfigStatement(const ProductRecord& record, const std::string& appFolder);

// Runs ProductInfoStatement and prints "InsertProductInfo execution: ..." after the lines of
// ExecuteSQL. Returns what ExecuteSQL returned.
bool InsertProductInfo(ProductRecord record, std::string appFolder);

// Runs XManConfigStatement and prints "InsertXManConfig execution: ..." after the lines of
// ExecuteSQL. Returns what ExecuteSQL returned.
bool InsertXManConfig(ProductRecord record, std::string appFolder);

} // namespace SQLUtils
