// Sound files of every kind: all three checks find nothing, whatever has been done to the file before.
#include "../support/file_check.h"
#include "check_kinds.h"
#include "check_partner.h"

namespace api {
namespace {

class CheckSound : public KindTest {
  protected:
    // Writes a record, and returns what deletes and rewrites it: its number, or n itself in a file without records.
    int writeOne(int fd, int n) {
        writeKind(fd, kind(), n, n);
        return kind().records ? static_cast<int>(isrecnum) : n;
    }
    // Writes records from n on, of which some are rewritten, some deleted again.
    void change(int fd, int n, int steps) {
        for (const int end = n + steps; n < end; ++n) {
            const int number = writeOne(fd, n);
            if (n % 3 == 0) rewriteKind(fd, kind(), number, n + 5000);
            if (n % 4 == 0) deleteKind(fd, kind(), number);
        }
    }
};

TEST_P(CheckSound, EmptyFile) {
    const int fd = make(0);
    EXPECT_EQ(found(fd), sound());
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(found(openKind()), sound());
}

TEST_P(CheckSound, FilledFile) {
    const int fd = make();
    EXPECT_EQ(found(fd), sound());
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(found(openKind(ISINPUT)), sound());
    const int levels = testing_support::checkFiles(base()).levels;
    EXPECT_GE(levels, kind().indexes() > 0 ? 2 : 0) << "the trees are not what these tests need";
}

TEST_P(CheckSound, FileThatNobodyLocks) {
    EXPECT_OK(isclose(make(40)));
    EXPECT_EQ(found(openKind(ISINPUT | ISLOCKNONE)), sound());
}

TEST_P(CheckSound, AfterEachChange) {
    const int fd = make(20);
    for (int n = 101; n <= 140; ++n) {
        const int number = writeOne(fd, n);
        ASSERT_EQ(found(fd), sound()) << "written " << n;
        rewriteKind(fd, kind(), number, n + 5000);
        ASSERT_EQ(found(fd), sound()) << "rewritten " << n;
        if (n % 2 == 0) deleteKind(fd, kind(), number);
        ASSERT_EQ(found(fd), sound()) << "deleted " << n;
    }
}

TEST_P(CheckSound, AfterEverythingIsDeleted) {
    const int fd = make();
    for (int n = 1; n <= kMany; ++n)
        if (n % 6 != 0) deleteKind(fd, kind(), n);
    EXPECT_EQ(found(fd), sound());
}

TEST_P(CheckSound, AfterIndexesCameAndWent) {
    if (!kind().records) return;
    const int fd = make();
    KeyDesc more = keyDesc(ISDUPS | ISTRAILCOMP, {{kNoteAt, kNoteLen}, {kNameAt, 5}});
    EXPECT_OK(isaddindex(fd, &more));
    Found expected = sound();
    expected.indexes.push_back(0);
    EXPECT_EQ(checksOf(fd, kind().indexes() + 1), expected);
    EXPECT_OK(isdelindex(fd, &more));
    EXPECT_EQ(found(fd), sound());
    EXPECT_EQ(ischeckindex(fd, kind().indexes() + 1), ISCHK_INDEXREAD);
}

TEST_P(CheckSound, WithinAndAfterTransactions) {
    if (!kind().records) return;
    startLog();
    EXPECT_OK(isclose(make(40)));
    const int fd = openKind(ISINOUT | ISTRANS);
    for (int (*const end)() : {iscommit, isrollback}) {
        EXPECT_OK(isbegin());
        change(fd, end == iscommit ? 101 : 121, 12);
        EXPECT_EQ(found(fd), sound());
        EXPECT_OK(end());
        EXPECT_EQ(found(fd), sound());
    }
}

TEST_P(CheckSound, WhileAnotherHandleWorks) {
    EXPECT_OK(isclose(make(40)));
    const int checker = openKind(ISINPUT);
    const int writer = openKind();
    EXPECT_EQ(found(checker), sound());
    for (int n = 101; n < 140; n += 8) {
        change(writer, n, 8);
        EXPECT_EQ(found(checker), sound());
        EXPECT_EQ(found(writer), sound());
    }
}

TEST_P(CheckSound, WhileAnotherProcessWorks) {
    EXPECT_OK(isclose(make(40)));
    Partner writer([this](Partner &test) {
        const int fd = openKind();
        // The same records over and over, so that the file stays small.
        for (bool first = true; first || !test.told(); first = false) {
            std::vector<int> numbers;
            for (int n = 101; n < 120; ++n) {
                numbers.push_back(writeOne(fd, n));
                if (n % 3 == 0) rewriteKind(fd, kind(), numbers.back(), n + 5000);
                if (first && n == 104) test.tell();
            }
            for (const int number : numbers)
                deleteKind(fd, kind(), number);
        }
        EXPECT_OK(isclose(fd));
    });
    EXPECT_TRUE(writer.await());
    const int fd = openKind(ISINPUT);
    for (int i = 0; i < 60; ++i)
        ASSERT_EQ(found(fd), sound());
    EXPECT_OK(isclose(fd));
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckSound, testing::ValuesIn(allKinds()), kindName);

}  // namespace
}  // namespace api
