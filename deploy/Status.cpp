#include "Status.h"

namespace {

// In the order of the enumeration.
constexpr const char* WORDS[] = {
    "every application is registered; nothing stands in the way; restored",
    "at least one application is not registered; it is as it was before",
    "wrong usage",
    "root is needed, to write or to read",
    "the Extension Manager is running",
    "there is no Extension Manager: no database",
    ("no application found; or one missing, not supported, given twice, with a quote or a line break"
     " in its path"),
    "no backup could be made; nothing was changed",
    "XManConfigV2.xml is missing, or with --replace-file not the one that comes with Tamsel",
    "not restored, what was there is still there; or not put back",
    "Tamsel or its file is missing beside it",
    "another run holds the lock",
    "the database is in use",
    "the database is damaged, or not the Extension Manager's",
    "the result could not be written, whatever it was",
};

} // namespace

std::string StatusLines() {
    std::string lines;
    int status = 0;
    for (const char* words : WORDS) {
        const std::string number = std::to_string(status++);
        lines += "  " + number + std::string(4 - number.size(), ' ') + words + "\n";
    }
    return lines;
}
