#include "audits.h"

#include <ctime>
#include <unistd.h>

namespace api {

namespace {

constexpr std::size_t kTimeAt = 2;

}  // namespace

std::string entry(const std::string &type, long recnum, const std::string &image) {
    return type + std::string(4, 'T') + int2(static_cast<unsigned long>(getpid())) +
           int2(static_cast<unsigned long>(getuid())) + long4(static_cast<unsigned long>(recnum)) + image;
}

std::string varImage(const Row &fixed, const std::string &stored_tail) {
    return int2(kRowLen + stored_tail.size()) + std::string(fixed.bytes, kRowLen) + stored_tail;
}

void AuditTest::setName(int fd, const std::string &name) {
    std::string buffer = name + '\0';
    EXPECT_OK(isaudit(fd, buffer.data(), ISAUDSETNAME));
}

void AuditTest::startAudit(int fd, const std::string &name) {
    setName(fd, name);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
}

void AuditTest::startAudit(int fd) { startAudit(fd, trail()); }

std::string AuditTest::nameOf(int fd) {
    std::string buffer(ISAUDNAMELEN + 1, '?');
    EXPECT_OK(isaudit(fd, buffer.data(), ISAUDGETNAME));
    return buffer.c_str();
}

int AuditTest::isOn(int fd) {
    char buffer[2] = {'?', '?'};
    EXPECT_OK(isaudit(fd, buffer, ISAUDINFO));
    EXPECT_EQ(buffer[1], '?');
    return buffer[0];
}

void AuditTest::expectTrail(const std::string &name, const std::vector<std::string> &entries) {
    std::string found = contents(name), expected;
    const auto now = static_cast<unsigned long>(std::time(nullptr));
    for (const std::string &each : entries) {
        const std::size_t at = expected.size() + kTimeAt;
        expected += each;
        if (at + 4 > found.size()) continue;
        const unsigned long time = numberAt(found, at, 4);
        EXPECT_LE(time, now);
        EXPECT_GE(time, now - 3600);
        found.replace(at, 4, "TTTT");
    }
    EXPECT_EQ(found, expected);
}

}  // namespace api
