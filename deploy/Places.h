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

// The files beside a database while it is in use, or after a program has crashed: its name and one
// of these.
inline constexpr const char* SIDEFILES[] = {"-journal", "-wal", "-shm"};

// tamsel-deploy's own places.
inline const std::string OWNFOLDER = "/Library/Application Support/Tamsel";
inline const std::string LOCKFILE = OWNFOLDER + "/lock";
inline const std::string BACKUPS = OWNFOLDER + "/Backups";

// What is not finished yet: a backup that is being made or removed, the next XManConfigV2.xml, the
// one that it replaces until that is final, and the next database if it replaces one as a file.
// Whatever a killed run leaves of them, the next one removes.
inline const std::string INCOMPLETE = BACKUPS + "/.incomplete";
inline const std::string NEWFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-new";
inline const std::string OLDFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-old";
inline const std::string NEWDATABASE = DATABASEFOLDER + "/." + DATABASENAME + ".tamsel-new";
