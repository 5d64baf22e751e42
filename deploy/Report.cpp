#include "Report.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <syslog.h>
#include <unistd.h>

namespace {

// How many bytes from position on form one UTF-8 character other than a control character, or 0.
std::size_t CharacterAt(const std::string& text, std::size_t position) {
    const auto byte = [&](std::size_t i) -> unsigned {
        return position + i < text.size() ? static_cast<unsigned char>(text[position + i]) : 0;
    };
    struct Form {
        unsigned mask, mark, least;
    };
    // The first byte of a character of one to four bytes, and the least character of that length.
    // Those from 0x80 to 0x9F are control characters.
    constexpr Form FORMS[] = {
        {0x80, 0x00, 0x20}, {0xE0, 0xC0, 0xA0}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
    std::size_t size = 1;
    for (const Form& form : FORMS) {
        if ((byte(0) & form.mask) == form.mark) {
            unsigned code = byte(0) & ~form.mask;
            for (std::size_t i = 1; i < size; ++i) {
                if ((byte(i) & 0xC0U) != 0x80U) {
                    return 0;
                }
                code = code << 6U | (byte(i) & 0x3FU);
            }
            const bool isCharacter = code >= form.least && code != 0x7F && code <= 0x10FFFF
                                     && (code < 0xD800 || code > 0xDFFF);
            return isCharacter ? size : 0;
        }
        ++size;
    }
    return 0;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : Escaped(text)) {
        quoted += byte == '"' || byte == '\\' ? "\\" : "";
        quoted += byte;
    }
    return quoted + "\"";
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

} // namespace

void Report::Fail(Status failure, const std::string& why) {
    if (status == Status::Done) {
        status = failure;
    }
    reason = why;
    Log(why);
}

void Log(const std::string& text) {
    std::array<char, 40> now{};
    const std::time_t seconds = std::time(nullptr);
    std::tm parts{};
    std::strftime(now.data(), now.size(), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
    const std::string line = Escaped(text);
    std::fprintf(stderr, "%s tamsel-deploy: %s\n", now.data(), line.c_str());
    syslog(LOG_NOTICE, "%s", line.c_str());
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t size = CharacterAt(text, i);
        if (text[i] == '\n' || text[i] == '\\') {
            escaped += text[i] == '\n' ? "\\n" : "\\\\";
        } else if (size == 0) {
            constexpr char DIGITS[] = "0123456789ABCDEF";
            const auto byte = static_cast<unsigned char>(text[i]);
            escaped += {'\\', 'x', DIGITS[byte / 16], DIGITS[byte % 16]};
        } else {
            escaped += text.substr(i, size);
        }
        i += size == 0 ? 1 : size;
    }
    return escaped;
}

bool WriteOut(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const auto written = write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (written == -1) {
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return close(STDOUT_FILENO) == 0;
}

std::string Lines(const Report& report) {
    std::string lines;
    if (!report.restored.empty()) {
        lines = "restored: " + report.restored + "\n";
    }
    for (const Backup& backup : report.backups) {
        lines += backup.name + " " + Escaped(backup.Reason()) + "\n";
    }
    for (const Application& application : report.applications) {
        lines += application.state + ": " + Escaped(application.path) + "\n";
    }
    return lines;
}

std::string Json(const Report& report, bool isList) {
    const auto application = [](const Application& item) {
        return R"({"path":)" + Quoted(item.path) + R"(,"state":)" + Quoted(item.state)
               + R"(,"reason":)" + QuotedOrNull(item.reason) + R"(,"missing":)"
               + List(item.missing, Quoted) + "}";
    };
    const auto backup = [](const Backup& item) {
        return R"({"name":)" + Quoted(item.name) + R"(,"made":)" + Quoted(item.Made())
               + R"(,"reason":)" + Quoted(item.Reason()) + "}";
    };
    return R"({"status":)" + std::to_string(static_cast<int>(report.status)) + R"(,"version":")"
           + TAMSEL_VERSION + R"(","reason":)" + QuotedOrNull(report.reason) + R"(,"backup":)"
           + QuotedOrNull(report.restored.empty() ? report.backup : report.restored)
           + R"(,"applications":)" + List(report.applications, application)
           + (isList ? R"(,"backups":)" + List(report.backups, backup) : "") + "}\n";
}
