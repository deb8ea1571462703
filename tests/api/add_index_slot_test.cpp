// What an index that could not be added leaves in the slot buffer, which a read that locates nothing delivers.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "isam.h"
#include "support/temp_dir.h"

namespace {

constexpr int kLocatesNothing = 155;
constexpr int kLength = 10;

TEST(AddIndexSlot, IsThatOfTheFirstDuplicate) {
    testing_support::TempDir dir;
    KeyDesc none = {};
    const int fd = isbuild(dir.file("file").c_str(), kLength, &none, ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    for (const char *text : {"aaa first ", "bbb second", "aaa third ", "ccc fourth", "ddd fifth ", "eee sixth "})
        ASSERT_EQ(iswrite(fd, const_cast<char *>(text)), 0);
    KeyDesc key = {};
    key.nparts = 1;
    key.parts[0] = {0, 3, CHARTYPE};
    EXPECT_EQ(isaddindex(fd, &key), -1);
    EXPECT_EQ(iserrno, ISERR_DUPLICATE);
    char record[kLength] = {};
    EXPECT_EQ(isread(fd, record, kLocatesNothing), 0);
    EXPECT_EQ(std::string(record, kLength), "aaa third ");
    EXPECT_EQ(isclose(fd), 0);
}

}  // namespace
