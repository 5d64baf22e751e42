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
constexpr char RESTORING[] = "before restoring ";
constexpr std::size_t KEPT = 5;

// Whether a name has the form of a backup's.
bool IsName(const std::string& name) {
    constexpr char TIME[] = "-[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]"
                            "T[0-9][0-9][0-9][0-9][0-9][0-9]Z";
    const auto digits = std::min(name.find_first_not_of("0123456789"), name.size());
    return fnmatch(TIME, name.c_str() + digits, 0) == 0
           && (digits == 4 || (digits > 4 && digits < 16 && name.front() != '0'));
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

// It goes as a whole, even if this is the last thing that the run does.
void RemoveBackup(const Backup& backup) {
    Rename(backup.Folder(), INCOMPLETE);
    Remove(INCOMPLETE);
}

Backup PublishAs(const std::string& reason, const char* note) {
    // Its number decides the order; the time is for people.
    const auto all = AllBackups();
    std::string number = std::to_string(all.empty() ? 1 : std::stoll(all.back().name) + 1);
    number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
    const Backup backup{number + "-" + Now(false), reason};
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

// The newest from before a registration. One whose note cannot be read may be one, so it counts.
std::optional<Backup> BeforeLastRegistration() {
    std::optional<Backup> last;
    for (const Backup& backup : AllBackups()) {
        last = backup.reason.rfind(RESTORING, 0) == 0 ? last : backup;
    }
    return last;
}

// Whether a word is the name of a backup, its number with or without zeros in front, or its path.
bool Means(const std::string& word, const Backup& backup) {
    const std::string number = backup.name.substr(0, backup.name.find('-'));
    const auto zeros = number.size() - std::min(number.size(), word.size());
    return word == backup.name || (!word.empty() && std::string(zeros, '0') + word == number)
           || Resolved(word) == Resolved(backup.Folder());
}

} // namespace

std::string RequireBackups(bool make) {
    for (const std::string& folder : {OWNFOLDER, BACKUPS}) {
        const bool isNew = make && mkdir(folder.c_str(), 0755) == 0;
        Checked(make && !isNew && errno != EEXIST ? -1 : 0, folder);
        if (isNew) {
            SyncFolder(GetParentDirectory(folder));
        }
        if (KindOf(folder) == NOTHING) {
            return GetParentDirectory(folder);
        }
        const struct stat status = StatusOf(folder);
        Require(S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & 022) == 0,
                Status::NoBackup,
                folder + " must be a folder of root's that nobody else can write, and no link");
    }
    Checked(make ? chmod(BACKUPS.c_str(), 0700) : 0, BACKUPS);
    return BACKUPS;
}

std::vector<Backup> AllBackups() {
    std::vector<Backup> backups;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(BACKUPS.c_str()), closedir);
    Checked(folder == nullptr && errno != ENOENT ? -1 : 0, BACKUPS);
    const dirent* entry = nullptr;
    while (errno = 0, entry = folder ? readdir(folder.get()) : nullptr, entry != nullptr) {
        Backup backup{entry->d_name};
        if (IsName(backup.name) && KindOf(backup.Folder()) == S_IFDIR) {
            // In this order, a note that gets its other name meanwhile is found.
            backup.reason = ReasonIn(backup.Folder() + UNFINISHED);
            backup.isUnfinished = !backup.reason.empty();
            backup.reason += backup.isUnfinished ? "" : ReasonIn(backup.Folder() + FINISHED);
            backup.reason += backup.reason.empty() ? "with a note that cannot be read" : "";
            backup.isOlder = true;
            backups.push_back(backup);
        }
    }
    Checked(errno == 0 ? 0 : -1, BACKUPS);
    // The longer a number, the greater.
    std::sort(backups.begin(), backups.end(), [](const Backup& one, const Backup& other) {
        return std::pair(one.name.size(), one.name) < std::pair(other.name.size(), other.name);
    });
    return backups;
}

Backup Publish(const std::vector<Application*>& applications, const std::string& shipped) {
    std::string reason = REGISTERING;
    for (const Application* application : applications) {
        reason += (application == applications.front() ? " " : ", ") + application->path;
    }
    const auto last = BeforeLastRegistration();
    if (!last || !last->isUnfinished || !HoldSame(last->DatabaseFile(), SAVEDDATABASE)
        || (KindOf(INSTALLEDFILE) == S_IFREG && !HoldSame(INSTALLEDFILE, shipped)
            && !HoldSame(INSTALLEDFILE, last->ConfigurationFile()))) {
        return PublishAs(reason, UNFINISHED);
    }
    Remove(INCOMPLETE);
    WriteFile(INCOMPLETE, reason + "\n");
    Rename(INCOMPLETE, last->Folder() + UNFINISHED);
    return *last;
}

Backup Publish(const Backup& restored) {
    return PublishAs(RESTORING + restored.name, FINISHED);
}

void Withdraw(const Backup& backup) {
    if (!backup.isOlder) {
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
    const std::string last = BeforeLastRegistration().value_or(Backup{}).name;
    std::size_t others = 0;
    for (auto backup = all.rbegin(); backup != all.rend(); ++backup) {
        const bool stays = backup->name == all.front().name || backup->name == last;
        if (!stays && ++others > KEPT) {
            RemoveBackup(*backup);
        }
    }
}

Backup FindBackup(const std::vector<std::string>& words) {
    std::optional<Backup> found = words.empty() ? BeforeLastRegistration() : std::nullopt;
    for (const Backup& backup : AllBackups()) {
        const bool isMeant = !words.empty() && Means(words.front(), backup);
        found = isMeant ? backup : found;
    }
    const std::string which = words.empty() ? "from before a registration" : words.front();
    Require(found.has_value(), Status::NotRestored,
            "there is no backup " + which + "; --list shows them");
    Require(!words.empty() || found->reason.rfind(REGISTERING, 0) == 0, Status::NotRestored,
            "the note of " + found->name + " cannot be read, so name the backup to be restored");
    const std::string refusal =
        "this backup has no sound database; what was there is in " + found->Folder();
    const std::string saved = found->DatabaseFile();
    try {
        Require(KindOf(saved) == S_IFREG && Database(saved, IMMUTABLE).IsIntact(),
                Status::NotRestored, refusal);
    } catch (const DatabaseError& error) {
        Require(!error.MeansDamage(), Status::NotRestored, refusal);
        throw;
    }
    return *found;
}
