#include "Backups.h"

#include "Files.h"
#include "Places.h"
#include "Status.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr const char* NOTES[] = {"registering", "registered", "restoring"};
constexpr std::size_t KEPT = 5;

// The running number in a name that has the form of a backup's, or 0.
long long NumberOf(const std::string& name) {
    int length = 0;
    // Each part is at most as long as in the form; the total length decides that none is shorter.
    std::sscanf(name.c_str(), "%*15[0-9]-%*4[0-9]-%*2[0-9]-%*2[0-9]T%*6[0-9]Z%n",
                &length); // NOLINT
    const auto digits = name.find('-');
    const bool isForm = name.size() == static_cast<std::size_t>(length)
                        && name.size() == digits + std::strlen("-2026-01-31T235959Z")
                        && (digits == 4 || (digits > 4 && name.front() != '0'));
    return isForm ? std::stoll(name) : 0;
}

// The names that have the form of a backup's, sorted by their numbers.
std::vector<std::string> Names() {
    std::vector<std::string> names;
    const auto close = [](DIR* folder) { closedir(folder); };
    const std::unique_ptr<DIR, decltype(close)> folder(opendir(BACKUPS.c_str()), close);
    if (folder == nullptr) {
        Checked(errno == ENOENT ? 0 : -1, BACKUPS);
        return names;
    }
    const dirent* entry = nullptr;
    while (errno = 0, (entry = readdir(folder.get())) != nullptr) {
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
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<Backup> ReadBackups() {
    std::vector<Backup> backups;
    for (const std::string& name : Names()) {
        // Again at the end, since meanwhile a run can put such a note in the place of another.
        for (const Why why :
             {Why::Registering, Why::Registered, Why::Restoring, Why::Registering}) {
            Backup backup{name, why, {}};
            if (KindOf(backup.Folder()) == Kind::Folder && KindOf(backup.Note()) == Kind::File) {
                backup.what = LinesOf(ReadFile(backup.Note()));
                backups.push_back(backup);
                break;
            }
        }
    }
    return backups;
}

} // namespace

std::string Backup::Folder() const {
    return BACKUPS + "/" + name;
}

std::string Backup::Database() const {
    return Folder() + "/" + DATABASENAME;
}

std::string Backup::File() const {
    return Folder() + "/" + FILENAME;
}

std::string Backup::Note() const {
    return Folder() + "/" + NOTES[static_cast<std::size_t>(why)];
}

bool Backup::IsPlain() const {
    return why == Why::Restoring && what.size() > 1;
}

bool Backup::HasFinished() const {
    return std::any_of(what.begin(), what.end(),
                       [](const std::string& line) { return line.front() == FINISHED; });
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
        reason += separator + line.substr(line.front() == FINISHED ? 1 : 0);
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
    try {
        return ReadBackups();
    } catch (const std::system_error&) {
        // Perhaps a run has renamed or removed one meanwhile.
        return ReadBackups();
    }
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

std::string NextName() {
    const std::vector<std::string> names = Names();
    const std::string number = std::to_string(names.empty() ? 1 : NumberOf(names.back()) + 1);
    constexpr std::time_t LAST = 253402300799; // of the years that have four digits
    const std::time_t now = std::clamp<std::time_t>(std::time(nullptr), 0, LAST);
    std::tm parts{};
    std::array<char, sizeof "-2026-01-31T235959Z"> time{};
    std::strftime(time.data(), time.size(), "-%Y-%m-%dT%H%M%SZ", gmtime_r(&now, &parts));
    return std::string(4 - std::min<std::size_t>(4, number.size()), '0') + number + time.data();
}

void End(const Backup& backup) {
    if (backup.why == Why::Registering) {
        Backup ended = backup;
        ended.why = Why::Registered;
        Rename(backup.Note(), ended.Note());
    }
}

void RemoveUnfinished() {
    RemoveFolder(UNFINISHEDBACKUP);
}

void RemoveOld() {
    std::vector<Backup> all = AllBackups();
    const std::optional<Backup> last = BeforeLastRegistration();
    std::size_t others = 0;
    for (auto backup = all.rbegin(); backup != all.rend(); ++backup) {
        const bool stays = backup->name == all.front().name || (last && backup->name == last->name);
        if (!stays && ++others > KEPT) {
            // It goes as a whole, even if this is the last thing that the run does.
            Rename(backup->Folder(), UNFINISHEDBACKUP);
            RemoveUnfinished();
        }
    }
}
