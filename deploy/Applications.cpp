#include "Applications.h"

#include "Files.h"
#include "PathUtils.h"

#include <array>
#include <cstdlib>
#include <map>
#include <sstream>
#include <sys/stat.h>

namespace {

// The working folder, by the name that the shell knows it by.
std::string WorkingFolder() {
    const char* shells = std::getenv("PWD");
    const std::string path = shells == nullptr ? "" : shells + std::string("/");
    const bool isPlain = path.rfind('/', 0) == 0 && path.find("/./") == std::string::npos
                         && path.find("/../") == std::string::npos;
    return isPlain && Resolved(path) == Resolved(".") ? path : Resolved(".");
}

// The path as the shell's cd and pwd give it: absolute, with links as they are.
std::string Normalised(const std::string& path) {
    const std::string folder = path.rfind('/', 0) == 0 ? "/" : WorkingFolder();
    if (folder.empty()) {
        return {};
    }
    std::istringstream rest(folder + "/" + path);
    std::string result;
    std::string name;
    while (std::getline(rest, name, '/')) {
        if (name == "..") {
            result = GetParentDirectory(result);
        } else if (!name.empty() && name != ".") {
            result += "/" + name;
        }
    }
    return result.empty() ? "/" : result;
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsBundle(const std::string& path) {
    struct stat status {};
    const std::string extension = ".app";
    return path.size() > extension.size()
           && path.compare(path.size() - extension.size(), extension.size(), extension) == 0
           && stat((path + "/Contents/Info.plist").c_str(), &status) == 0
           && S_ISREG(status.st_mode);
}

// The record of the product that is at a path, or nullptr.
const ProductRecord* RecordOf(const std::string& path) {
    const auto entry = productLine.find(GetFileName(path));
    return entry == productLine.end() ? nullptr : &entry->second;
}

Application ApplicationAt(const std::string& given) {
    Application application;
    application.path = given;
    const std::string path = Normalised(given);
    const auto refuse = [&application](const char* state) {
        application.Settle(state, Status::NoApplication, state);
    };
    if ((given + path).find_first_of("'\n") != std::string::npos) {
        // Tamsel splices the path into SQL, and its output would hold another line.
        refuse("Tamsel cannot register a path with a quote or a line break");
    } else if (given.empty() || !IsFolder(path)) {
        refuse("not found");
    } else if (!IsBundle(path)) {
        refuse("not an application bundle");
    } else if (application.record = RecordOf(path); application.record == nullptr) {
        refuse("not supported");
    } else {
        application.path = path;
    }
    return application;
}

} // namespace

std::vector<Application> ApplicationsAt(const std::vector<std::string>& paths) {
    std::vector<Application> applications;
    std::map<const ProductRecord*, int> times;
    for (const std::string& path : paths) {
        applications.push_back(ApplicationAt(path));
        ++times[applications.back().record];
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
        // Only one copy of a product can be registered, and nobody can tell which one is meant.
        if (applications[i].record != nullptr && times[applications[i].record] > 1) {
            applications[i].path = paths[i];
            applications[i].record = nullptr;
            applications[i].Settle("given twice", Status::NoApplication, "given twice");
        }
    }
    return applications;
}

std::vector<Application> InstalledApplications() {
    std::map<std::array<std::string, 3>, std::string> names;
    for (const auto& [name, record] : productLine) {
        names[{ValueOf(record, "ProdVersion"), ValueOf(record, "FamilyName"),
               ValueOf(record, "ProdName")}] = name;
    }
    std::vector<std::string> paths;
    for (const auto& [order, name] : names) {
        const std::string inFolder = "/Applications/" + name + "/" + name + ".app";
        const std::string alone = "/Applications/" + name + ".app";
        if (IsBundle(inFolder)) {
            paths.push_back(inFolder);
        } else if (IsBundle(alone)) {
            paths.push_back(alone);
        }
    }
    return ApplicationsAt(paths);
}

Application ApplicationOnceAt(const std::string& path) {
    Application application;
    application.path = path;
    application.record = RecordOf(path);
    return application;
}
