#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <new>
#include <syslog.h>

namespace {

unsigned Byte(const std::string& text, std::size_t position) {
    return position < text.size() ? static_cast<unsigned char>(text[position]) : 0;
}

// How many bytes from position on form one UTF-8 character, or 0.
std::size_t CharacterAt(const std::string& text, std::size_t position) {
    const unsigned first = Byte(text, position);
    const unsigned second = Byte(text, position + 1);
    const std::size_t size = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((Byte(text, position + i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    // Forms that are too long, halves of surrogate pairs, and what is beyond the last character.
    const bool isNone = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0)
                        || (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return isNone ? 0 : size;
}

// The text as part of a line, or of a JSON string.
std::string Encoded(const std::string& text, bool json) {
    const auto hex = [json](const char* inJson, unsigned byte) {
        constexpr char DIGITS[] = "0123456789ABCDEF";
        return std::string(json ? inJson : "\\x") + DIGITS[byte / 16] + DIGITS[byte % 16];
    };
    std::string encoded;
    std::size_t size = 1;
    for (std::size_t i = 0; i < text.size(); i += std::max<std::size_t>(size, 1)) {
        size = CharacterAt(text, i);
        const unsigned byte = Byte(text, i);
        const bool isFarControl = byte == 0x7F || (byte == 0xC2 && Byte(text, i + 1) < 0xA0);
        if (size == 0) {
            encoded += hex("\\\\x", byte);
        } else if (byte == '\\' || (json && byte == '"')) {
            encoded += {'\\', text[i]};
        } else if (byte == '\n') {
            encoded += "\\n";
        } else if (byte < 0x20 || (!json && isFarControl)) {
            encoded += hex("\\u00", byte) + (size == 2 ? hex("", Byte(text, i + 1)) : "");
        } else {
            encoded += text.substr(i, size);
        }
    }
    return encoded;
}

std::string Quoted(const std::string& text) {
    return "\"" + Encoded(text, true) + "\"";
}

std::string QuotedOrNull(const std::string& text) {
    return text.empty() ? "null" : Quoted(text);
}

// A list of JSON values, each made from an item.
template <typename Items, typename Make>
std::string List(const Items& items, Make make) {
    std::string list;
    for (const auto& item : items) {
        list += (list.empty() ? "" : ",") + make(item);
    }
    return "[" + list + "]";
}

std::string Object(const Difference& item) {
    return R"({"name":)" + Quoted(item.name) + R"(,"expected":)" + Quoted(item.expected)
           + R"(,"found":)" + (item.found ? Quoted(*item.found) : "null") + "}";
}

std::string Object(const Application& item) {
    const auto difference = [](const Difference& one) { return Object(one); };
    return R"({"path":)" + Quoted(item.path) + R"(,"state":)" + Quoted(Words(item.state))
           + R"(,"changed":)" + (item.changed ? "true" : "false") + R"(,"reason":)"
           + QuotedOrNull(item.reason) + R"(,"differences":)" + List(item.differences, difference)
           + "}";
}

std::string Object(const Backup& item) {
    return R"({"name":)" + Quoted(item.name) + R"(,"made":)" + Quoted(item.Made()) + R"(,"reason":)"
           + Quoted(item.reason) + "}";
}

} // namespace

void Report::Fail(Status failure, const std::string& why) {
    if (status == Status::Done) {
        status = failure;
        reason = why;
    }
    Log(why);
}

void Report::Fail(Application& application, State state, Status failure, const std::string& why) {
    application.Settle(state, failure, why);
    Fail(failure, application.path + ": " + why);
}

void Log(const std::string& text) noexcept {
    try {
        char now[40];
        const std::time_t seconds = std::time(nullptr);
        std::tm parts{};
        std::strftime(now, sizeof now, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
        const std::string line = Escaped(text);
        std::fprintf(stderr, "%s tamsel-deploy: %s\n", now, line.c_str());
        syslog(LOG_NOTICE, "%s", line.c_str());
    } catch (const std::bad_alloc&) { // NOLINT
    }
}

std::string Escaped(const std::string& text) {
    return Encoded(text, false);
}

bool WriteOut(const std::string& text) {
    const bool isWhole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    return std::fclose(stdout) == 0 && isWhole;
}

std::string Lines(const Report& report) {
    std::string lines;
    if (!report.restored.empty()) {
        lines = "restored: " + report.restored + "\n";
    }
    for (const Backup& backup : report.backups) {
        lines += backup.name + " " + backup.reason + "\n";
    }
    for (const Application& application : report.applications) {
        lines += std::string(Words(application.state)) + ": " + Escaped(application.path) + "\n";
    }
    return lines;
}

std::string Json(const Report& report, Command command) {
    const auto object = [](const auto& item) { return Object(item); };
    return R"({"command":")" + std::string(Name(command)) + R"(","status":)"
           + std::to_string(static_cast<int>(report.status))
           + R"(,"version":")" TAMSEL_VERSION R"(","reason":)" + QuotedOrNull(report.reason)
           + R"(,"backup":)" + QuotedOrNull(report.backup) + R"(,"restored":)"
           + QuotedOrNull(report.restored) + R"(,"applications":)"
           + List(report.applications, object)
           + (command == Command::List ? R"(,"backups":)" + List(report.backups, object) : "")
           + "}\n";
}
