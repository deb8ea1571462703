// Compressed nodes one byte from their brim: what would fill them to it splits them instead.

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kLength = 24;

// Reads all records of a file by a process that has none of it in memory.
int countAnew(const std::string &base) {
    const int fd = isopen(base.c_str(), ISINOUT);
    char record[kLength];
    int count = 0;
    while (isread(fd, record, count == 0 ? ISFIRST : ISNEXT) == 0)
        ++count;
    EXPECT_EQ(iserrno, 110);
    EXPECT_EQ(ischeckindex(fd, 1), 0);
    isclose(fd);
    return count;
}

void write(int fd, std::string record) {
    record.resize(kLength, ' ');
    ASSERT_EQ(iswrite(fd, record.data()), 0);
}

TEST(Brim, InsertionDoesNotReachIt) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(8, ISLEADCOMP);
    const int fd = isbuild(base.c_str(), kLength, &key, ISINOUT);
    // Entries of 13, 164 times 6 and three times 7 bytes: 2 + 13 + 984 + 21 = 1020.
    for (int group = 0; group < 4; ++group)
        for (int i = 0; i < 42; ++i)
            write(fd, "aaaaaa" + std::string(1, static_cast<char>('a' + group)) +
                          std::string(1, static_cast<char>('A' + i)));
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(countAnew(base), 168);
}

TEST(Brim, DeletionDoesNotReachIt) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(20, ISLEADCOMP | ISTRAILCOMP);
    const int fd = isbuild(base.c_str(), kLength, &key, ISINOUT);
    // 2 + 3 times 7 + 26 + 137 times 7 bytes; without "b" the entry behind it takes 12 bytes more than both did.
    write(fd, "a");
    write(fd, "b");
    write(fd, "b" + std::string(18, ' ') + "x");
    for (int i = 0; i < 138; ++i)
        write(fd, "c" + std::string(18, '.') + static_cast<char>(33 + i));
    ASSERT_EQ(isdelrec(fd, 2), 0);
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(countAnew(base), 140);
}

}  // namespace
