#include "Report.h"

namespace {

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
           + Json(item.reason) + "}";
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
        lines += backup.name + " " + Escaped(backup.reason) + "\n";
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
