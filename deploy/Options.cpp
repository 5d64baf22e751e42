#include "Options.h"

#include "Status.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <iterator>
#include <set>

namespace {

constexpr option LONG[] = {
    {"dry-run", no_argument, nullptr, 'd'},      {"help", no_argument, nullptr, 'h'},
    {"json", no_argument, nullptr, 'j'},         {"list", no_argument, nullptr, 'l'},
    {"replace-file", no_argument, nullptr, 'f'}, {"restore", optional_argument, nullptr, 'r'},
    {"verify", no_argument, nullptr, 'v'},       {"version", no_argument, nullptr, 'V'},
    {"wait", required_argument, nullptr, 'w'},   {nullptr, 0, nullptr, 0},
};

Failure WrongUsage(const std::string& what) {
    return {Status::WrongUsage, what + "; see tamsel-deploy --help"};
}

// getopt_long accepts abbreviated options, too.
void RefuseAbbreviations(int argc, char* argv[]) {
    for (int i = 1; i < argc && argv[i] != std::string("--"); ++i) {
        const std::string word = argv[i];
        const std::string name = word.substr(0, word.find('='));
        if (word.rfind("--", 0) == 0
            && std::none_of(std::begin(LONG), std::end(LONG) - 1, [&name](const option& known) {
                   return "--" + std::string(known.name) == name;
               })) {
            throw WrongUsage("option " + word + " is unknown");
        }
    }
}

std::chrono::seconds Seconds(const std::string& text) {
    constexpr std::size_t DIGITS = 6;
    if (text.empty() || text.size() > DIGITS
        || text.find_first_not_of("0123456789") != std::string::npos) {
        throw WrongUsage("--wait needs a number of seconds");
    }
    return std::chrono::seconds(std::stoi(text));
}

void Take(Options& options, int letter) {
    switch (letter) {
    case 'f':
        options.replaceFile = true;
        break;
    case 'j':
        options.json = true;
        break;
    case 'w':
        options.wait = Seconds(optarg);
        break;
    case '?':
        throw WrongUsage("an option is unknown, lacks its value or has one too many");
    default:
        options.command = static_cast<Command>(letter);
        if (optarg != nullptr) {
            options.words.emplace_back(optarg);
        }
    }
}

// How many words may follow a command.
std::size_t MostWords(Command command) {
    const bool isForApplications =
        command == Command::Register || command == Command::DryRun || command == Command::Verify;
    return isForApplications ? SIZE_MAX : command == Command::Restore ? 1 : 0;
}

} // namespace

Options ReadOptions(int argc, char* argv[]) {
    RefuseAbbreviations(argc, argv);
    // Options may come in any order, whatever the caller's environment says.
    unsetenv("POSIXLY_CORRECT");
    opterr = 0;
    Options options;
    std::set<int> seen;
    int letter = 0;
    while ((letter = getopt_long(argc, argv, "h", LONG, nullptr)) != -1) { // NOLINT
        // All commands count as one option.
        const bool isCommand = std::strchr("fjw?", letter) == nullptr;
        if (!seen.insert(isCommand ? 0 : letter).second) {
            throw WrongUsage("an option is given twice, or two commands together");
        }
        Take(options, letter);
    }
    options.words.insert(options.words.end(), argv + optind, argv + argc);
    if (options.words.size() > MostWords(options.command)) {
        throw WrongUsage("there are more words than the command takes");
    }
    return options;
}

std::string Help() {
    return "Registers InDesign and InCopy with the Adobe Extension Manager CC: saves what is\n"
           "there, runs Tamsel, makes sure that the registration has arrived, and puts back what\n"
           "has not.\n"
           "\n"
           "usage: tamsel-deploy [OPTION...] [APPLICATION...]\n"
           "       tamsel-deploy --verify | --dry-run [OPTION...] [APPLICATION...]\n"
           "       tamsel-deploy --list [OPTION...]\n"
           "       tamsel-deploy --restore [OPTION...] [BACKUP]\n"
           "       tamsel-deploy -h | --help | --version\n"
           "\n"
           "  APPLICATION     the path of an application; by default every supported one in\n"
           "                  /Applications\n"
           "  --verify        only reads: says of each application whether it is registered\n"
           "  --dry-run       makes all checks that need no writing and says what would be done\n"
           "  --list          lists the backups, oldest first\n"
           "  --restore       brings back the state before the last registration, or BACKUP, a\n"
           "                  name or a path\n"
           "  --wait SECONDS  how long to wait in all for another run, a lock on the database\n"
           "                  and the Extension Manager to quit (default: 10)\n"
           "  --replace-file  the XManConfigV2.xml that comes with Tamsel replaces an installed\n"
           "                  one, which is kept otherwise\n"
           "  --json          prints one object instead of lines\n"
           "\n"
           "Standard output has one line per application, standard error the log, which goes to\n"
           "the system's log as well. The first failure gives the exit status:\n"
           "\n"
           + StatusLines();
}
