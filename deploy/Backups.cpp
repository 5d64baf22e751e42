#include "Backups.h"

#include "Comparison.h"
#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "Status.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

const std::string UNFINISHED = BACKUPS + "/.incomplete";
constexpr const char* NOTES[] = {"registering", "registered", "restoring"};
constexpr std::size_t KEPT = 5;

std::string NoteOf(const Backup& backup) {
    return backup.Folder() + "/" + NOTES[static_cast<std::size_t>(backup.why)];
}

// The running number in a name of the form of a backup's, or 0.
long long NumberOf(const std::string& name) {
    const std::string form = "-0000-00-00T000000Z";
    const auto digits = name.find('-');
    if (digits == std::string::npos || digits < 4 || digits > 15 || (digits > 4 && name[0] == '0')
        || name.size() != digits + form.size()) {
        return 0;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char expected = i < digits ? '0' : form[i - digits];
        const bool isDigit = name[i] >= '0' && name[i] <= '9';
        if (expected == '0' ? !isDigit : name[i] != expected) {
            return 0;
        }
    }
    return std::stoll(name);
}

// The names of the form of a backup's, by their numbers.
std::vector<std::string> Names() {
    std::vector<std::string> names;
    const auto close = [](DIR* folder) { closedir(folder); };
    const std::unique_ptr<DIR, decltype(close)> folder(opendir(BACKUPS.c_str()), close);
    if (folder == nullptr) {
        Checked(errno == ENOENT ? 0 : -1, BACKUPS);
        return names;
    }
    errno = 0;
    while (const dirent* entry = readdir(folder.get())) {
        if (NumberOf(entry->d_name) > 0) {
            names.emplace_back(entry->d_name);
        }
    }
    Checked(errno == 0 ? 0 : -1, BACKUPS);
    std::sort(names.begin(), names.end(), [](const std::string& one, const std::string& other) {
        return std::make_pair(NumberOf(one), one) < std::make_pair(NumberOf(other), other);
    });
    return names;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream rest(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(rest, line);) {
        lines.push_back(line);
    }
    return lines;
}

void WriteNote(const Backup& backup, const std::string& note) {
    std::string text;
    for (const std::string& line : backup.what) {
        text += line + "\n";
    }
    WriteFile(note, text);
}

// A name for the next backup. The time is there for people; nothing depends on it.
std::string NextName() {
    const std::vector<std::string> names = Names();
    const std::string number = std::to_string(names.empty() ? 1 : NumberOf(names.back()) + 1);
    constexpr std::time_t LAST = 253402300799; // of the years with four digits
    const std::time_t now = std::clamp<std::time_t>(std::time(nullptr), 0, LAST);
    std::tm parts{};
    std::array<char, sizeof "-2026-01-31T235959Z"> time{};
    std::strftime(time.data(), time.size(), "-%Y-%m-%dT%H%M%SZ", gmtime_r(&now, &parts));
    return std::string(4 - std::min<std::size_t>(4, number.size()), '0') + number + time.data();
}

// Copies a database by SQLite, all that is in its journal included.
void CopyDatabase(std::string_view how, const std::string& to, const Patience& patience) {
    {
        Database source(DATABASE, how, patience);
        Database copy(to, CREATED, patience);
        // The copy counts when it is whole and on the disk, which is seen to later.
        copy.Execute("PRAGMA synchronous = OFF");
        copy.CopyFrom(source);
    }
    const struct stat like = StatusOf(DATABASE);
    Checked(chown(to.c_str(), like.st_uid, like.st_gid), to);
    Checked(chmod(to.c_str(), like.st_mode & 07777), to);
    Sync(to);
}

void CopyPlainFiles(const std::string& folder) {
    RemoveFile(folder + "/ExMan.db");
    CopyFile(DATABASE, folder + "/ExMan.db", StatusOf(DATABASE));
    for (const std::string side : SIDEFILES) {
        if (KindOf(DATABASE + side) == Kind::File) {
            CopyFile(DATABASE + side, folder + "/ExMan.db" + side, StatusOf(DATABASE + side));
        }
    }
}

// Saves the database before a restore. It is only read: to open a damaged one for writing could
// change it. Returns whether it was saved as plain files.
bool SaveAnything(const std::string& folder, const Patience& patience) {
    if (KindOf(DATABASE) == Kind::Nothing) {
        return true;
    }
    try {
        CopyDatabase(READONLY, folder + "/ExMan.db", patience);
        if (IsSound(folder + "/ExMan.db", patience)) {
            return false;
        }
    } catch (const DatabaseError&) {
        // It is no database, or one that has to be repaired first.
    }
    CopyPlainFiles(folder);
    return true;
}

void SaveSound(const std::string& folder, const Patience& patience) {
    CopyDatabase(READWRITE, folder + "/ExMan.db", patience);
    if (!IsSound(folder + "/ExMan.db", patience)) {
        throw Failure(Status::NotTheDatabase,
                      "the database is damaged, or not the Extension Manager's");
    }
}

// The newest backup serves once more, for what is wanted now.
Backup Renew(Backup newest, const Backup& wanted) {
    if (wanted.why == Why::Registering) {
        const std::string former = NoteOf(newest);
        newest.why = wanted.why;
        newest.what = wanted.what;
        const std::string note = UNFINISHED + "/note";
        WriteNote(newest, note);
        Rename(note, NoteOf(newest));
        if (former != NoteOf(newest)) {
            RemoveFile(former);
        }
    }
    return newest;
}

Backup SaveAs(Backup backup, const Patience& patience) {
    RemoveUnfinished();
    Checked(mkdir(UNFINISHED.c_str(), 0700), UNFINISHED);
    if (backup.why == Why::Registering) {
        SaveSound(UNFINISHED, patience);
    } else if (SaveAnything(UNFINISHED, patience)) {
        backup.what.emplace_back(PLAINFILES);
    }
    if (KindOf(INSTALLEDFILE) == Kind::File) {
        CopyFile(INSTALLEDFILE, UNFINISHED + "/" + FILENAME, StatusOf(INSTALLEDFILE));
    }
    const std::vector<Backup> all = AllBackups();
    if (!all.empty() && IsSameState(UNFINISHED, all.back().Folder(), patience)) {
        backup = Renew(all.back(), backup);
        RemoveUnfinished();
        return backup;
    }
    WriteNote(backup, UNFINISHED + "/" + NOTES[static_cast<std::size_t>(backup.why)]);
    Sync(UNFINISHED);
    backup.name = NextName();
    Rename(UNFINISHED, backup.Folder());
    return backup;
}

} // namespace

std::string Backup::Folder() const {
    return BACKUPS + "/" + name;
}

std::string Backup::Database() const {
    return Folder() + "/ExMan.db";
}

std::string Backup::File() const {
    return Folder() + "/" + FILENAME;
}

bool Backup::IsPlain() const {
    return why == Why::Restoring && what.size() > 1;
}

std::string Backup::Made() const {
    std::string time = name.substr(name.find('-') + 1);
    constexpr std::size_t MINUTES = sizeof "2026-01-31T23" - 1;
    constexpr std::size_t SECONDS = sizeof "2026-01-31T23:59" - 1;
    return time.insert(MINUTES, ":").insert(SECONDS, ":");
}

std::string Backup::Reason() const {
    std::string reason = why == Why::Restoring ? "before restoring" : "before registering";
    const char* separator = " ";
    for (const std::string& line : what) {
        reason += separator + line;
        separator = ", ";
    }
    return reason;
}

void CheckBackups(bool make) {
    OrFail(Status::NoBackup, "no backup could be made", [make] {
        if (make && KindOf(BACKUPS) == Kind::Nothing) {
            for (const std::string& folder : {OWNFOLDER, BACKUPS}) {
                Checked(mkdir(folder.c_str(), 0755) == -1 && errno != EEXIST ? -1 : 0, folder);
            }
            Sync(GetParentDirectory(OWNFOLDER));
            Sync(OWNFOLDER);
        }
        if (KindOf(BACKUPS) == Kind::Nothing) {
            return;
        }
        const struct stat status = StatusOf(BACKUPS);
        if (!S_ISDIR(status.st_mode) || status.st_uid != 0 || (status.st_mode & 022) != 0) {
            throw Failure(Status::NoBackup, "no backup could be made: " + BACKUPS
                                                + " is not a folder that root alone can write");
        }
        if (make) {
            Checked(chmod(BACKUPS.c_str(), 0700), BACKUPS);
        }
    });
}

std::vector<Backup> AllBackups() {
    std::vector<Backup> backups;
    for (const std::string& name : Names()) {
        for (const Why why : {Why::Registering, Why::Registered, Why::Restoring}) {
            Backup backup{name, why, {}};
            if (KindOf(backup.Folder()) == Kind::Folder && KindOf(NoteOf(backup)) == Kind::File) {
                backup.what = LinesOf(ReadFile(NoteOf(backup)));
                backups.push_back(backup);
                break;
            }
        }
    }
    return backups;
}

std::optional<Backup> BeforeLastRegistration() {
    std::optional<Backup> last;
    for (const Backup& backup : AllBackups()) {
        if (backup.why == Why::Registering) {
            return backup;
        }
        if (backup.why == Why::Registered) {
            last = backup;
        }
    }
    return last;
}

Backup Save(Why why, const std::vector<std::string>& what, const Patience& patience) {
    return OrFail(Status::NoBackup, "no backup could be made", [&] {
        try {
            return SaveAs({"", why, what}, patience);
        } catch (...) {
            RemoveUnfinished();
            throw;
        }
    });
}

void End(const Backup& backup) {
    if (backup.why == Why::Registering) {
        Backup ended = backup;
        ended.why = Why::Registered;
        Rename(NoteOf(backup), NoteOf(ended));
    }
}

void RemoveUnfinished() {
    RemoveFolder(UNFINISHED);
}

void RemoveOld() {
    std::vector<Backup> all = AllBackups();
    const std::optional<Backup> last = BeforeLastRegistration();
    std::size_t others = 0;
    for (auto backup = all.rbegin(); backup != all.rend(); ++backup) {
        const bool stays = backup->name == all.front().name || backup->why == Why::Registering
                           || (last && backup->name == last->name);
        if (!stays && ++others > KEPT) {
            // It goes as a whole, even if this is the last that the run does.
            Rename(backup->Folder(), UNFINISHED);
            RemoveUnfinished();
        }
    }
}

bool IsSound(const std::string& path, const Patience& patience) {
    Database database(path, IMMUTABLE, patience);
    return database.Value("PRAGMA integrity_check") == "ok"
           && database.Value("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name IN"
                             " ('Tb_ProductInfoV2', 'Tb_XManConfig')")
                  == "2";
}
