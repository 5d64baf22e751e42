// Calls the program's main, linked in under another name, in ways that no command line can. The
// tests start it in the sandbox.

#include "Tables.h"

#include <string_view>

int TamselMain(int argc, char* argv[]);

int main(int argc, char* argv[]) {
    const std::string_view how = argc == 2 ? argv[1] : "";
    if (how == "without-arguments") {
        // Not even the program's name, which a kernel may insist on.
        char* none[] = {nullptr};
        return TamselMain(0, none);
    }
    if (how == "with-an-unnamed-application") {
        // Only an application without a name could be registered by a path without a folder.
        productLine[""] = INDESIGNCC2020MAC;
        char program[] = "/Tamsel";
        char command[] = "-r";
        char path[] = "no folder";
        char* arguments[] = {program, command, path, nullptr};
        return TamselMain(3, arguments);
    }
    return 2;
}
