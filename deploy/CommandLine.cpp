#include "CommandLine.h"

#include <algorithm>
#include <set>

namespace {

// In the order of the enumeration. The first one is what is done without an option.
constexpr const char* COMMANDS[] = {"--register", "--dry-run", "--verify", "--restore",
                                    "--list",     "--help",    "--version"};

std::string Name(Command command) {
    return std::string(COMMANDS[static_cast<std::size_t>(command)]).substr(2);
}

void Require(bool holds, const std::string& otherwise) {
    Require(holds, Status::WrongUsage, otherwise + "; see tamsel-deploy --help");
}

std::chrono::seconds Seconds(const std::string& text) {
    const bool isNumber = text.find_first_not_of("0123456789") == std::string::npos;
    Require(isNumber && !text.empty() && text.size() <= 6,
            "--wait needs a number of seconds, not \"" + text + "\"");
    return std::chrono::seconds(std::stoi(text));
}

std::string Json(const std::string& text) {
    return "\"" + Escaped(text, true) + "\"";
}

std::string JsonOrNull(const std::string& text) {
    return text.empty() ? "null" : Json(text);
}

std::string Json(const Difference& item) {
    return R"({"name":)" + Json(item.name) + R"(,"expected":)" + Json(item.expected)
           + R"(,"found":)" + (item.found ? Json(*item.found) : "null") + "}";
}

std::string Json(const Backup& item) {
    std::string made = item.name.substr(item.name.find('-') + 1);
    made.insert(sizeof "2026-01-31T23" - 1, ":").insert(sizeof "2026-01-31T23:59" - 1, ":");
    return R"({"name":)" + Json(item.name) + R"(,"made":)" + Json(made) + R"(,"reason":)"
           + Json(item.reason) + R"(,"restorable":)" + (item.CanRestore() ? "true" : "false") + "}";
}

std::string Json(const Application& item);
template <typename Item>
std::string Json(const std::vector<Item>& items) {
    std::string list;
    for (const Item& item : items) {
        list += (list.empty() ? "" : ",") + Json(item);
    }
    return "[" + list + "]";
}

std::string Json(const Application& item) {
    return R"({"path":)" + Json(item.path) + R"(,"state":)" + Json(item.state) + R"(,"changed":)"
           + (item.changed ? "true" : "false") + R"(,"reason":)" + JsonOrNull(item.reason)
           + R"(,"differences":)" + Json(item.differences) + "}";
}

} // namespace

// By hand, since getopt_long takes abbreviations and cannot name the option that is wrong.
Options ReadOptions(int argc, char* argv[]) {
    Options options;
    std::vector<std::string>& words = options.words;
    const std::vector<std::string> given(argv + std::min(argc, 1), argv + argc);
    const auto end = std::find(given.begin(), given.end(), "--");
    if (std::count(given.begin(), end, "-h") + std::count(given.begin(), end, "--help") > 0) {
        options.command = Command::Help;
        return options;
    }
    std::set<std::string> seen;
    for (auto word = given.begin(); word != end; ++word) {
        if (word->rfind('-', 0) != 0) {
            words.push_back(*word);
            continue;
        }
        const std::string name = word->substr(0, word->find('='));
        const bool hasValue = name != *word;
        const std::string value = hasValue ? word->substr(name.size() + 1) : "";
        const auto* command = std::find(COMMANDS + 1, std::end(COMMANDS), name);
        Require(seen.insert(name).second, name + " is given twice");
        if (command != std::end(COMMANDS)) {
            Require(options.command == Command::Register,
                    name + " cannot be given with --" + Name(options.command));
            options.command = static_cast<Command>(command - COMMANDS);
        } else if (name == "--wait") {
            options.wait = Seconds(hasValue || std::next(word) == end ? value : *++word);
        } else {
            Require(name == "--json" || name == "--replace-file", "option " + name + " is unknown");
            (name == "--json" ? options.json : options.replaceFile) = true;
        }
        if (hasValue && name == "--restore") {
            words.push_back(value);
        } else {
            Require(!hasValue || name == "--wait", name + " takes no value");
        }
    }
    words.insert(words.end(), end == given.end() ? end : std::next(end), given.end());
    const std::size_t most = options.command == Command::Restore ? 1 : 0;
    if (options.command >= Command::Restore && words.size() > most) {
        Require(false, "--" + Name(options.command) + " does not take \"" + words[most] + "\"");
    }
    return options;
}

std::string Help() {
    return R"(Registers InDesign and InCopy with the Adobe Extension Manager CC: saves what is
there, writes all of it or nothing, and checks it before it counts.

usage: tamsel-deploy [--verify | --dry-run] [OPTION...] [APPLICATION...]
       tamsel-deploy --list [OPTION...]
       tamsel-deploy --restore [OPTION...] [BACKUP]
       tamsel-deploy -h | --help | --version

  APPLICATION     the path of an application; by default every supported one in
                  /Applications
  --verify        only looks: says of each application whether it is registered
  --dry-run       rehearses a registration and says what would be done
  --list          lists the backups, oldest first
  --restore       brings back the state before the last registration, or BACKUP:
                  its number, its name or its path
  --wait SECONDS  how long to wait in all for another run, for the database and
                  for the Extension Manager to quit (default: 10)
  --replace-file  the XManConfigV2.xml that comes with Tamsel replaces an
                  installed one, which is kept otherwise
  --json          prints one object instead of lines

Standard output has one line per application, standard error has the log, which
goes to the system's log as well. The first failure gives the exit status:

  0   every application is registered; with --dry-run, nothing stands in the
      way; with --restore, restored
  1   at least one application is not registered; it is as it was before
  2   wrong usage
  3   root is needed, to write or to read
  4   the Extension Manager is running
  5   there is no Extension Manager: no database
  6   no application found; or one missing, not supported or given twice
  7   no backup could be made; nothing was changed
  8   XManConfigV2.xml is missing, or with --replace-file another one, or it
      cannot be put in place
  9   a restore failed; the log says what has changed and what has not
  10  the installation is incomplete
  11  another run holds the lock
  12  the database is in use
  13  the database is damaged, or not the Extension Manager's
  14  the result could not be written, whatever it was
)";
}

void Report::Fail(Status failure, const std::string& why) {
    if (status == Status::Done) {
        status = failure;
        reason = why;
    }
    Log(why);
}

void Report::Fail(Application& application, Status failure, const std::string& why) {
    application.reason = why;
    Fail(failure, application.path + ": " + why);
}

std::string Lines(const Report& report) {
    std::string lines = report.restored.empty() ? "" : "restored: " + report.restored + "\n";
    for (const Backup& backup : report.backups) {
        lines += backup.name + " " + Escaped(backup.reason);
        lines += backup.CanRestore() ? "\n" : " (cannot be restored)\n";
    }
    for (const Application& application : report.applications) {
        lines += application.state + ": " + Escaped(application.path) + "\n";
    }
    return lines;
}

std::string Json(const Report& report, Command command) {
    return R"({"command":)" + Json(Name(command)) + R"(,"status":)"
           + std::to_string(static_cast<int>(report.status))
           + R"(,"version":")" TAMSEL_VERSION R"(","reason":)" + JsonOrNull(report.reason)
           + R"(,"backup":)" + JsonOrNull(report.backup) + R"(,"restored":)"
           + JsonOrNull(report.restored) + R"(,"applications":)" + Json(report.applications)
           + (command == Command::List ? R"(,"backups":)" + Json(report.backups) : "") + "}\n";
}
