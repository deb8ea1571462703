#include "archive/settings.h"

#include "base/failure.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace tool {

namespace {

// Node 1 of the index file. The flags are counted back from the node's end.
constexpr off_t kNodeSizeOffset = 6;
constexpr off_t kCounterOffset = 41;
constexpr off_t kUniqueIdOffset = 45;
constexpr off_t kAuditNodeOffset = 49;
constexpr off_t kFlagsBack = 6;
constexpr unsigned kFlagPrecious = 2;

// A node of its own: state, then the trail's name, ended by a NUL.
constexpr off_t kAuditStateOffset = 2;
constexpr off_t kAuditNameOffset = 4;

template <std::size_t Count> std::array<std::uint8_t, Count> bytesAt(const OpenFile &file, off_t offset) {
    std::array<std::uint8_t, Count> bytes;
    if (pread(isqv_idxfd(file.fd()), bytes.data(), Count, offset) != static_cast<ssize_t>(Count))
        throw Failure(file.name() + ": the header of the index file cannot be read");
    return bytes;
}

unsigned shortAt(const OpenFile &file, off_t offset) {
    const auto bytes = bytesAt<2>(file, offset);
    return static_cast<unsigned>(ldint(bytes.data()));
}

std::uint32_t longAt(const OpenFile &file, off_t offset) {
    const auto bytes = bytesAt<4>(file, offset);
    return static_cast<std::uint32_t>(ldlong(bytes.data()));
}

void need(int result, const OpenFile &file, const char *what) {
    if (result != 0) failCall(file.name(), what);
}

}  // namespace

Settings readSettings(const OpenFile &file) {
    Settings settings;
    const off_t nodeSize = off_t{1} + shortAt(file, kNodeSizeOffset);
    settings.uniqueId = longAt(file, kUniqueIdOffset);
    settings.precious = (shortAt(file, nodeSize - kFlagsBack) & kFlagPrecious) != 0;
    need(isuserinfo(file.fd(), 0, settings.userInfo.data()), file, "cannot be read");
    const std::uint32_t node = longAt(file, kAuditNodeOffset);
    settings.hasTrail = node != 0;
    if (!settings.hasTrail) return settings;
    const off_t start = (off_t{node} - 1) * nodeSize;
    settings.auditing = shortAt(file, start + kAuditStateOffset) == 1;
    const auto name = bytesAt<ISAUDNAMELEN>(file, start + kAuditNameOffset);
    settings.trail.assign(name.begin(), std::find(name.begin(), name.end(), 0));
    return settings;
}

void writeSettings(const OpenFile &file, const Settings &settings) {
    const char *const kWhat = "cannot be given its settings";
    std::array<char, ISUSERINFOLEN> userInfo = settings.userInfo;
    need(isuserinfo(file.fd(), 1, userInfo.data()), file, kWhat);
    need(issetunique(file.fd(), static_cast<long>(settings.uniqueId)), file, kWhat);
    if (!settings.hasTrail) return;
    std::string trail = settings.trail;
    need(isaudit(file.fd(), trail.data(), ISAUDSETNAME), file, kWhat);
    if (settings.auditing) need(isaudit(file.fd(), nullptr, ISAUDSTART), file, kWhat);
}

std::uint32_t changeCounter(const OpenFile &file) { return longAt(file, kCounterOffset); }

}  // namespace tool
