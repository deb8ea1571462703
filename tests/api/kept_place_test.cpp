// What changes leave of the position: the next step goes on from the entry that was read.
#include "steps.h"

#include <set>

namespace api {
namespace {

// Long keys, many of them equal, so that the tree has several levels.
class EqualKeys : public ApiTest {
  protected:
    static constexpr int kLen = 110, kKeyLen = 100, kRecords = 600, kNames = 40;
    static KeyDesc name() { return keyDesc(ISDUPS, {{4, kKeyLen}}); }

    // Builds a file of them and leaves it open; recordLength 0: the keys alone.
    int equal(int recordLength) {
        const int fd = build(ISINOUT, recordLength != 0 ? idKey() : name(), recordLength);
        if (recordLength != 0) add(fd, name());
        unsigned random = 3;
        for (int i = 1; i <= kRecords; ++i) {
            random = random * 1103515245U + 12345;
            char record[kLen] = {};
            stlong(i, record);
            stchar(std::to_string((random >> 16) % kNames).c_str(), record + 4, kKeyLen);
            isrecnum = i;
            EXPECT_OK(iswrite(fd, record));
        }
        dontCheck();  // the numbers of equal keys begin anew where a node of the third level does
        return fd;
    }

    // Reads all in the order of their names, each written back as it is.
    static void readAndRewrite(int fd) {
        char record[kLen] = {};
        std::set<long> seen;
        EXPECT_OK(isstart(fd, keep(name()), 0, record, ISFIRST));
        while (isread(fd, record, ISNEXT) == 0) {
            ASSERT_TRUE(seen.insert(isrecnum).second) << isrecnum << " again, after " << seen.size();
            ASSERT_OK(isrewcurr(fd, record));
        }
        EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
        EXPECT_EQ(seen.size(), std::size_t{kRecords});
    }

  private:
    static KeyDesc *keep(KeyDesc key) {
        static KeyDesc kept;
        kept = key;
        return &kept;
    }
};

TEST_F(EqualKeys, RewriteThatLeavesTheKeyKeepsThePlaceAmongThem) { readAndRewrite(equal(kLen)); }

TEST_F(EqualKeys, RewriteOfTheSameKeyInAFileOfKeysKeepsThePlaceAmongThem) { readAndRewrite(equal(0)); }

// The record that was read is gone, another one has its number, and a refused change has
// looked for a key near that.
class RefusedKey : public ApiTest {
  protected:
    int numberUsedAgain() {
        const int fd = fill({10, 20, 30, 40, 50});
        EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
        EXPECT_OK(isdelcurr(fd));
        EXPECT_EQ(put(fd, row(45)), 2);
        return fd;
    }
};

TEST_F(RefusedKey, OfAWriteLeavesThePosition) {
    const int fd = numberUsedAgain();
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(40)));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(RefusedKey, OfARewriteLeavesThePosition) {
    const int fd = numberUsedAgain();
    EXPECT_FAILS(ISERR_DUPLICATE, isrewrec(fd, 5, row(45)));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

}  // namespace
}  // namespace api
