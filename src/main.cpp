// One run of the program, from top to bottom. Whole messages and fixed lines go through std::cout,
// lines that carry a result through printf. The two are in step, since std::cout is left
// synchronized with stdio. The program flushes nothing itself.

#include "PathUtils.h"
#include "SQLUtils.h"
#include "Tables.h"
#include "XManConfig.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

namespace {

void WriteMessage(const char* key) {
    std::cout << ValueOf(STRINGTABLE, key);
}

const char* TrueOrFalse(bool value) {
    return value ? "true" : "false";
}

// Registers the application at filePath. Results are reported and never acted upon: whatever
// fails, the run goes on to its end.
void RunRegistration(const std::string& filePath, const char* programPath) {
    const std::string fileName = GetFileName(filePath);
    if (fileName.empty()) {
        // Intended: a warning, not a stop. No application is named "", so the lookup will fail.
        WriteMessage("fileNotFound");
    }
    std::cout << "File name found: " << fileName << "\n\n";

    // Intended: not GetParentDirectory, which is empty where this is the whole path.
    const std::string appFolder = filePath.substr(0, filePath.rfind('/'));

    prodIt = productLine.find(fileName);
    if (prodIt == productLine.end()) {
        WriteMessage("unsupportedApp");
    } else {
        const ProductRecord record = prodIt->second;
        const bool infoInserted = SQLUtils::InsertProductInfo(record, appFolder);
        std::printf("InsertProductInfo %s\n\n", TrueOrFalse(infoInserted));
        const bool configInserted = SQLUtils::InsertXManConfig(record, appFolder);
        std::printf("InsertXManConfig %s\n\n", TrueOrFalse(configInserted));
        // Intended: said whatever the two results were, and before the copy.
        WriteMessage("registrationSuccess");
    }

    // Intended: for an application that is not supported as well.
    CopyXManConfig(programPath);
}

} // namespace

int main(int argc, char* argv[]) {
    // Intended: before everything else, so that even -h fails where the database is missing. The
    // probe is never read, and stays open until the end.
    std::ifstream probe(EXMANDBPATH);
    if (!probe.good()) {
        WriteMessage("exManDBNotFound");
        return EXIT_FAILURE;
    }

    bool handled = false;
    if (argc == 1) {
        std::cout << "ERROR: Not enough paramers were given\n\n";
    } else {
        const std::string option = argc >= 2 ? argv[1] : "";
        const std::string filePath = argc >= 3 ? argv[2] : "";
        SetupAdobeApplicationList();

        if (argc == 2) {
            if (option == "-h") {
                WriteMessage("help");
                handled = true;
            }
            // Intended: said of any single argument.
            std::cout << "Request for help\n\n";
        } else if (argc == 3) {
            std::cout << "Three parameters\n\n";
            if (option == "-r") {
                std::cout << "-r command found\n\n";
                RunRegistration(filePath, argv[0]);
                handled = true;
            }
        }
    }

    probe.close();
    if (!handled) {
        WriteMessage("unknownCommand");
    }
    return EXIT_SUCCESS;
}
