#include "Applications.h"

#include "Files.h"
#include "Log.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

// The absolute path, with links as they are; empty if the working folder is gone.
std::string Normalised(const std::string& path) {
    const std::string folder = path.rfind('/', 0) == 0 ? "/" : Resolved(".");
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

// Whether there is something of this kind at a path, or where links from there lead.
bool IsThere(const std::string& path, mode_t kind) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == kind;
}

bool IsBundle(const std::string& path) {
    const auto end = path.rfind(".app");
    return end != std::string::npos && end + 4 == path.size()
           && IsThere(path + "/Contents/Info.plist", S_IFREG);
}

Application ApplicationAt(const std::string& given) {
    const std::string path = Normalised(given);
    const auto product = productLine.find(GetFileName(path));
    if (given.empty() || !IsThere(path, S_IFDIR)) {
        return {given, nullptr, "not found", "there is no such folder"};
    }
    if (!IsBundle(path)) {
        return {given, nullptr, "not an application bundle",
                "not an application: the name does not end in .app, or there is no"
                " Contents/Info.plist in it"};
    }
    if (product == productLine.end()) {
        return {given, nullptr, "not supported", "no application of this name is supported"};
    }
    return {path, &product->second};
}

} // namespace

std::string Sentence(const std::vector<Difference>& differences) {
    std::string sentence;
    std::string missing;
    for (const auto& [name, expected, found] : differences) {
        if (found) {
            sentence += name + " is \"" + *found + "\" instead of \"" + expected + "\"; ";
        } else {
            missing += (missing.empty() ? "missing: " : ", ") + name;
        }
    }
    return missing.empty() ? sentence.substr(0, sentence.size() - 2) : sentence + missing;
}

std::vector<Application> ApplicationsAt(const std::vector<std::string>& paths) {
    std::vector<Application> found;
    std::transform(paths.begin(), paths.end(), std::back_inserter(found), ApplicationAt);
    std::vector<Application> applications = found;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        for (std::size_t j = 0; j < paths.size(); ++j) {
            if (i != j && found[i].record != nullptr && found[i].record == found[j].record) {
                // Only one copy of a product can be registered, and nobody can tell which is meant.
                applications[i] = {paths[i], nullptr, "given twice",
                                   "only one of this and " + paths[j] + " can be registered"};
            }
        }
    }
    return applications;
}

std::vector<Application> InstalledApplications() {
    std::set<std::pair<std::string, std::string>> products;
    for (const auto& [name, record] : productLine) {
        products.emplace(ValueOf(record, "ProdVersion"), name);
    }
    std::vector<std::string> paths;
    for (const auto& [version, name] : products) {
        const std::string inFolder = "/Applications/" + name + "/" + name + ".app";
        const std::string alone = "/Applications/" + name + ".app";
        if (IsBundle(inFolder) || IsBundle(alone)) {
            paths.push_back(IsBundle(inFolder) ? inFolder : alone);
        }
        if (IsBundle(inFolder) && IsBundle(alone)) {
            Log("left out: " + alone + ", since there is " + inFolder);
        }
    }
    return ApplicationsAt(paths);
}
