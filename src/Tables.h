#pragma once

#include <map>
#include <string>

// What the program knows before it runs: the catalogue of supported products, the index from
// application name to product, and the messages. All texts are UTF-8 byte strings, and all keys
// are compared byte by byte.

// Texts by name.
using Table = std::map<std::string, std::string>;

// One product as the Extension Manager describes it: field name to value. Every record of the
// catalogue holds the same twenty fields. A value is spliced between single quotes into SQL, so
// where a dollar sign is to be stored inside it, it holds "' || CHAR(36) || '" instead.
using ProductRecord = Table;

// Application name, as GetFileName takes it from a path, to that application's record.
using ProductLine = std::map<std::string, ProductRecord>;

// Message key to the complete message, its own line breaks included.
using StringTable = Table;

// The Extension Manager's database. It cannot be changed at run time.
inline constexpr char EXMANDBPATH[] =
    "/Library/Application Support/Adobe/Extension Manager CC/Configuration/DB/ExMan.db";

// The applications that can be registered. Empty until SetupAdobeApplicationList has run.
extern ProductLine productLine;

// The product chosen for the run, or productLine.end() when the application is not supported.
// Designates nothing, and must not be read, before the registration run has set it.
extern ProductLine::const_iterator prodIt;

// The catalogue.
// Intended: the 2020 records keep "CC" in their names, though the products have dropped it.
extern const ProductRecord INCOPYCC2019WIN64;
extern const ProductRecord INCOPYCC2019MAC;
extern const ProductRecord INDESIGNCC2019WIN64;
extern const ProductRecord INDESIGNCC2019MAC;
extern const ProductRecord INCOPYCC2020WIN64;
extern const ProductRecord INCOPYCC2020MAC;
extern const ProductRecord INDESIGNCC2020WIN64;
extern const ProductRecord INDESIGNCC2020MAC;

// Everything that the program says as a whole message. Keys: help, exManDBNotFound,
// unknownCommand, unsupportedApp, fileNotFound, registrationSuccess.
extern const StringTable STRINGTABLE;

// Fills productLine with a copy of every record under its application's name. Entries that are
// there already stay as they are, so a second call changes nothing. Prints nothing.
void SetupAdobeApplicationList();

// The value under key in a record or in the message table. The key must be there; nothing is ever
// inserted. The reference is valid as long as the table is.
const std::string& ValueOf(const Table& table, const char* key);
