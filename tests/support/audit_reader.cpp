#include "audit_reader.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace testing_support {

namespace {

constexpr std::size_t kNameAt = 4;
constexpr std::size_t kNameRoom = 65;
constexpr std::size_t kHeadSize = 14;

// What is wrong with an entry's head.
std::string compareHead(const std::uint8_t *p, const AuditEntry &expected, std::uint32_t since) {
    std::string type(reinterpret_cast<const char *>(p), 2);
    if (type != expected.type) return "type " + type + ", should be " + expected.type;
    std::uint32_t time = be32(p + 2);
    if (time < since || time > static_cast<std::uint32_t>(std::time(nullptr))) return "time " + std::to_string(time);
    if (be16(p + 6) != (static_cast<std::uint32_t>(getpid()) & 0xffffU)) return "process id";
    if (be16(p + 8) != (static_cast<std::uint32_t>(getuid()) & 0xffffU)) return "user id";
    if (be32(p + 10) != expected.recnum)
        return "record " + std::to_string(be32(p + 10)) + ", should be " + std::to_string(expected.recnum);
    return "";
}

}  // namespace

std::string readAuditSettings(const Bytes &node, AuditSettings *out) {
    const char *name = reinterpret_cast<const char *>(node.data()) + kNameAt;
    std::size_t length = strnlen(name, kNameRoom);
    if (length == kNameRoom) return "the name has no end";
    out->name.assign(name, length);
    std::uint32_t state = be16(node.data() + 2);
    out->on = state == 1;
    if (state > 1) return "state " + std::to_string(state);
    if (be16(node.data()) != length + 4)
        return "length " + std::to_string(be16(node.data())) + " for a name of " + std::to_string(length);
    std::size_t mark = node.size() - 2;
    if (node[mark] != '}') return "mark";
    if (!allZero(node, kNameAt + length, mark) || node.back() != 0) return "bytes that are not zero";
    return "";
}

std::string compareTrail(const Bytes &trail, const std::vector<AuditEntry> &expected, std::uint32_t since) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const AuditEntry &entry = expected[i];
        std::string where = "audit entry " + std::to_string(i) + " at " + std::to_string(at) + ": ";
        if (trail.size() - at < kHeadSize + entry.image.size()) return where + "cut off";
        std::string wrong = compareHead(trail.data() + at, entry, since);
        if (!wrong.empty()) return where + wrong;
        at += kHeadSize;
        if (!std::equal(entry.image.begin(), entry.image.end(), trail.begin() + static_cast<std::ptrdiff_t>(at)))
            return where + "another image";
        at += entry.image.size();
    }
    if (at != trail.size()) return "audit trail: " + std::to_string(trail.size() - at) + " bytes too many";
    return "";
}

}  // namespace testing_support
