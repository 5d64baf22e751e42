#include "Backups.h"

#include <algorithm>
#include <dirent.h>
#include <fnmatch.h>
#include <fstream>
#include <sstream>

namespace {

constexpr char FINISHED[] = "/note";
constexpr char UNFINISHED[] = "/unfinished";
constexpr char REGISTERING[] = "before registering";
const std::string COPY = INCOMPLETE + "/" + DATABASENAME;
constexpr std::size_t KEPT = 5;

// Whether a name has the form of a backup's.
bool IsName(const std::string& name) {
    constexpr char DIGITS[] = "0123456789";
    constexpr char TIME[] = "-[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]"
                            "T[0-9][0-9][0-9][0-9][0-9][0-9]Z";
    const auto digits = std::min(name.find_first_not_of(DIGITS), name.size());
    return fnmatch(TIME, name.c_str() + digits, 0) == 0
           && (digits == 4 || (digits > 4 && digits < 16 && name.front() != '0'));
}

// The names that have this form, sorted by their numbers.
std::vector<std::string> Names() {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(BACKUPS.c_str()), closedir);
    if (folder == nullptr) {
        Checked(errno == ENOENT ? 0 : -1, BACKUPS);
        return names;
    }
    const dirent* entry = nullptr;
    while (errno = 0, entry = readdir(folder.get()), entry != nullptr) {
        if (IsName(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    Checked(errno == 0 ? 0 : -1, BACKUPS);
    std::sort(names.begin(), names.end(), [](const std::string& one, const std::string& other) {
        return std::make_pair(one.size(), one) < std::make_pair(other.size(), other);
    });
    return names;
}

// Its number decides the order; the time is for people.
std::string NextName() {
    const std::vector<std::string> names = Names();
    const std::string number = std::to_string(names.empty() ? 1 : std::stoll(names.back()) + 1);
    std::string time = Now();
    time.erase(std::remove(time.begin(), time.end(), ':'), time.end());
    return std::string(number.size() < 4 ? 4 - number.size() : 0, '0') + number + "-" + time;
}

// What the note of a backup says; nothing if it cannot be read.
std::string ReasonIn(const std::string& note) {
    std::ostringstream text;
    if (KindOf(note) == S_IFREG) {
        text << std::ifstream(note).rdbuf();
    }
    // The last line break is the note's.
    return text.str().substr(0, text.str().find_last_not_of('\n') + 1);
}

// The bytes of the copy count once they are whole and synced to disk, so SQLite need not take care.
void CopyDatabase(Database& from) {
    {
        Database to(COPY, CREATED);
        to.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
        to.CopyFrom(from);
    }
    MakeLike(COPY, StatusOf(DATABASE));
}

void Begin() {
    Remove(INCOMPLETE);
    Checked(mkdir(INCOMPLETE.c_str(), 0700), INCOMPLETE);
    if (KindOf(INSTALLEDFILE) == S_IFREG) {
        CopyFile(INSTALLEDFILE, INCOMPLETE + "/" + FILENAME, StatusOf(INSTALLEDFILE));
    }
}

// It goes as a whole, even if this is the last thing that the run does.
void RemoveBackup(const Backup& backup) {
    Rename(backup.Folder(), INCOMPLETE);
    Remove(INCOMPLETE);
}

// Unlike a backup that has been found, it does not count as unfinished yet.
Backup PublishAs(const std::string& reason, const char* note) {
    const Backup backup{NextName(), reason};
    WriteFile(INCOMPLETE + note, reason + "\n");
    SyncFolder(INCOMPLETE);
    Checked(rename(INCOMPLETE.c_str(), backup.Folder().c_str()), backup.Folder());
    try {
        SyncFolder(BACKUPS);
    } catch (...) {
        OrLog([&backup] { RemoveBackup(backup); });
        throw;
    }
    return backup;
}

} // namespace

void RequireBackups(bool make) {
    for (const std::string& folder : {OWNFOLDER, BACKUPS}) {
        if (KindOf(folder) == NOTHING) {
            if (!make) {
                return;
            }
            // Another run may have been quicker.
            Checked(mkdir(folder.c_str(), 0755) == -1 && errno != EEXIST ? -1 : 0, folder);
            SyncFolder(GetParentDirectory(folder));
        }
        const struct stat status = StatusOf(folder);
        Require(S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & 022) == 0,
                Status::NoBackup,
                folder + " must be a folder of root's that nobody else can write, and no link");
    }
    if (make) {
        Checked(chmod(BACKUPS.c_str(), 0700), BACKUPS);
    }
}

std::vector<Backup> AllBackups() {
    std::vector<Backup> backups;
    for (const std::string& name : Names()) {
        Backup backup{name};
        if (KindOf(backup.Folder()) == S_IFDIR) {
            // In this order, a note that gets its other name meanwhile is found.
            backup.reason = ReasonIn(backup.Folder() + UNFINISHED);
            backup.isUnfinished = !backup.reason.empty();
            backup.reason += backup.isUnfinished ? "" : ReasonIn(backup.Folder() + FINISHED);
            backup.reason += backup.reason.empty() ? UNREADABLE : "";
            backups.push_back(backup);
        }
    }
    return backups;
}

std::optional<Backup> BeforeLastRegistration() {
    std::optional<Backup> last;
    for (const Backup& backup : AllBackups()) {
        const bool isOne = backup.reason.rfind(REGISTERING, 0) == 0 || backup.reason == UNREADABLE;
        last = isOne ? backup : last;
    }
    return last;
}

bool HasDatabase() {
    // SQLite itself would remove a journal beside something else, or write it back.
    const std::string_view magic("SQLite format 3\0", 16);
    std::string beginning(magic.size(), ' ');
    std::ifstream file(DATABASE);
    if (KindOf(DATABASE) == NOTHING) {
        return false;
    }
    return !file.read(beginning.data(), 1) || (file.read(&beginning[1], 15) && beginning == magic);
}

void SaveSound(Database& database) {
    Begin();
    CopyDatabase(database);
}

void SaveAnything() {
    Begin();
    try {
        if (HasDatabase()) {
            Database database(DATABASE, READWRITE);
            CopyDatabase(database);
            if (Database(COPY, IMMUTABLE).IsIntact()) {
                return;
            }
        }
    } catch (const DatabaseError& error) {
        if (!error.MeansDamage()) {
            throw;
        }
    }
    Remove(COPY);
    const std::string folder = INCOMPLETE + "/damaged";
    Checked(mkdir(folder.c_str(), 0700), folder);
    for (const std::string side : {"", "-journal", "-wal", "-shm"}) {
        if (KindOf(DATABASE + side) == S_IFREG) {
            const std::string copy = folder + "/" + DATABASENAME + side;
            CopyFile(DATABASE + side, copy, StatusOf(DATABASE + side));
        }
    }
    SyncFolder(folder);
}

Backup Publish(const std::vector<Application*>& applications, const std::string& shipped) {
    std::string reason = REGISTERING;
    for (const Application* application : applications) {
        reason += (application == applications.front() ? " " : ", ") + application->path;
    }
    const auto last = BeforeLastRegistration();
    if (!last || !last->isUnfinished || !HoldSame(last->Database(), COPY)
        || (KindOf(INSTALLEDFILE) == S_IFREG && !HoldSame(INSTALLEDFILE, shipped)
            && !HoldSame(INSTALLEDFILE, last->File()))) {
        return PublishAs(reason, UNFINISHED);
    }
    Remove(INCOMPLETE);
    WriteFile(INCOMPLETE, reason + "\n");
    Rename(INCOMPLETE, last->Folder() + UNFINISHED);
    return *last;
}

Backup Publish(const Backup& restored) {
    return PublishAs("before restoring " + restored.name, FINISHED);
}

void Withdraw(const Backup& backup) {
    if (!backup.isUnfinished) {
        RemoveBackup(backup);
    }
}

void EndUnfinished() {
    for (const Backup& backup : AllBackups()) {
        if (backup.isUnfinished) {
            Rename(backup.Folder() + UNFINISHED, backup.Folder() + FINISHED);
        }
    }
}

void RemoveOld() {
    std::vector<Backup> all = AllBackups();
    const std::optional<Backup> last = BeforeLastRegistration();
    std::size_t others = 0;
    for (auto backup = all.rbegin(); backup != all.rend(); ++backup) {
        const bool stays = backup->name == all.front().name || (last && backup->name == last->name);
        if (!stays && ++others > KEPT) {
            RemoveBackup(*backup);
        }
    }
}
