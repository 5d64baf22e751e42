#include "XManConfig.h"

#include "PathUtils.h"

#include <cstdlib>
#include <string>

namespace {

constexpr char CONFIGURATIONFOLDER[] =
    "/Library/Application Support/Adobe/Extension Manager CC/Configuration";

} // namespace

void CopyXManConfig(const char* programPath) {
    // Intended: the folder of argv[0] as it came, not the executable's real place. A bare name
    // has no folder, and the source then lies at the root.
    const std::string source = GetParentDirectory(programPath) + "/Resources/XManConfigV2.xml";

    // Intended: nothing between the quotation marks is escaped, and the shell's cp does the copy.
    const std::string command = "cp \"" + source + "\" \"" + CONFIGURATIONFOLDER + "\"";

    // Intended: a failed copy is cp's to report; it changes nothing here.
    [[maybe_unused]] const int ignored = std::system(command.c_str());
}
