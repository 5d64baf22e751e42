#pragma once

#include "PathUtils.h"
#include "Tables.h"

#include <string>

// Where everything is. The places of the Extension Manager follow from that of its database.

inline const std::string DATABASE = EXMANDBPATH;
inline const std::string DATABASEFOLDER = GetParentDirectory(DATABASE);
inline const std::string CONFIGURATION = GetParentDirectory(DATABASEFOLDER);
inline const std::string DATABASENAME = DATABASE.substr(DATABASEFOLDER.size() + 1);
inline const std::string FILENAME = "XManConfigV2.xml";
inline const std::string INSTALLEDFILE = CONFIGURATION + "/" + FILENAME;

// The tables of the database that Tamsel writes.
inline constexpr const char* TABLES[] = {"Tb_ProductInfoV2", "Tb_XManConfig"};

// tamsel-deploy's own places.
inline const std::string OWNFOLDER = "/Library/Application Support/Tamsel";
inline const std::string LOCKFILE = OWNFOLDER + "/lock";
inline const std::string BACKUPS = OWNFOLDER + "/Backups";
// A backup while it is being made or removed.
inline const std::string UNFINISHEDBACKUP = BACKUPS + "/.incomplete";
inline const std::string STAGING = OWNFOLDER + "/staging";

// The files beside a database while it is in use, or after a program has crashed: its name and one
// of these.
inline constexpr const char* SIDEFILES[] = {"-journal", "-wal", "-shm"};

// The same and the database itself.
inline constexpr const char* DATABASEFILES[] = {"-journal", "-wal", "-shm", ""};
