#include "log/audit_text.h"

#include "base/hex_text.h"
#include "base/time_text.h"
#include "base/user_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kBytesInLine = 48;

std::string columns(const std::string &time, const std::string &process, const std::string &user, const char *what,
                    const std::string &record) {
    std::array<char, 256> line;
    std::snprintf(line.data(), line.size(), "%-19s  %7s  %-10s  %-7s  %10s", time.c_str(), process.c_str(),
                  user.c_str(), what, record.c_str());
    return line.data();
}

// Bytes that are no printable ASCII become points.
std::string beginning(const ByteString &record) {
    std::string text;
    for (std::size_t i = 0; i < std::min(record.size(), kBytesInLine); ++i)
        text += record[i] >= 0x20 && record[i] < 0x7f ? static_cast<char>(record[i]) : '.';
    while (text.ends_with(' '))
        text.pop_back();
    return record.size() > kBytesInLine ? text + " .." : text;
}

}  // namespace

std::string auditHeading() { return columns("time", "process", "user", "what", "record") + "  bytes\n"; }

std::string auditLine(const AuditEntry &entry) {
    std::string line = columns(localTime(entry.time), std::to_string(entry.process), printable(userName(entry.user)),
                               auditWord(entry.kind), std::to_string(entry.number));
    if (entry.bare) {
        line += "  (a record without tail: the trail has no bytes of it)";
    } else if (!entry.sound) {
        line += "  (its compressed tail is damaged)";
    } else if (const std::string bytes = beginning(entry.record); !bytes.empty()) {
        line += "  " + bytes;
    }
    return line + "\n";
}

std::string auditContents(const AuditEntry &entry) { return hexDump(entry.record, std::string(12, ' ')); }

Json auditJson(const AuditEntry &entry) {
    Json json = {{"offset", entry.offset}, {"time", universalTime(entry.time)}, {"process", entry.process},
                 {"user", entry.user},     {"what", auditWord(entry.kind)},     {"record", entry.number}};
    json["bytes"] = entry.bare ? Json(nullptr) : Json(hexText(entry.record));
    if (!entry.sound) json["damaged"] = true;
    return json;
}

}  // namespace tool
