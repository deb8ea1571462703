#include "audit_test.h"

namespace golden {

void AuditTest::setName(std::string_view name) {
    std::string buffer(name);
    ASSERT_EQ(0, isaudit(fd(), buffer.data(), ISAUDSETNAME)) << "error " << iserrno;
}

void AuditTest::switchOn() { ASSERT_EQ(0, isaudit(fd(), nullptr, ISAUDSTART)) << "error " << iserrno; }

void AuditTest::switchOff() { ASSERT_EQ(0, isaudit(fd(), nullptr, ISAUDSTOP)) << "error " << iserrno; }

void AuditTest::expectTrail(std::string_view text) {
    const std::string actual = fileContent("trail");
    EXPECT_EQ("", difference(stamped(text, actual, start_), actual, 1u << 16)) << "in the trail";
}

std::string AuditTest::entry(std::string_view type, std::string_view number, std::string_view image,
                             std::string_view user) {
    std::string text = "'";
    text.append(type).append("' TIME PID ").append(user).append(" ").append(number);
    return text.append(" ").append(image).append(" ");
}

}  // namespace golden
