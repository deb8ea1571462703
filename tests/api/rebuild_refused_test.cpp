// Rebuilds that are refused, or fail half-way: codes, and what is left.
#include "../support/file_check.h"
#include "rebuild_kinds.h"

#include <cerrno>

namespace api {
namespace {

class RebuildRefused : public CheckTest {
  protected:
    // The rebuild fails with a code and changes no byte.
    void expectNothingDone(int fd, int code, const std::function<int(IsamFile *)> &rebuild) {
        IsamFile *file = isAdmItoD(fd);
        const Damage::Contents before = damage().contents();
        EXPECT_EQ(rebuild(file), 0);
        EXPECT_EQ(isErrno(file), code);
        EXPECT_EQ(isErrio(file), 0);
        EXPECT_TRUE(before == damage().contents());
    }
    // A file with a second, unique index, whose records 1 and 3 are made to share a key behind the library's back.
    int sharing() {
        const int fd = build();
        add(fd, nameKey(ISNODUPS));
        put(fd, row(1, "b"));
        put(fd, row(2, "a"));
        put(fd, row(3, "c"));
        put(fd, row(4, "d"));
        dontCheck();
        damage().slot(3, kNameAt, 'b');
        return fd;
    }
};

TEST_F(RebuildRefused, IndexesThatAreNone) {
    const int fd = build();
    add(fd, nameKey());
    putIds(fd, {1, 2, 3});
    for (const int index : {0, -1, 3, 10, 11, 1000000, -1000000})
        expectNothingDone(fd, ISERR_ARGUMENT, [=](IsamFile *file) { return isRebuildIdx(file, index); });
}

TEST_F(RebuildRefused, DescriptionOfNoPrimaryKeyIsNoIndex) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {1, 2});
    expectNothingDone(fd, ISERR_ARGUMENT, [](IsamFile *file) { return isRebuildIdx(file, 1); });
    add(fd, nameKey());
    EXPECT_TRUE(rebuilds(fd, 1));
    expectNothingDone(fd, ISERR_ARGUMENT, [](IsamFile *file) { return isRebuildIdx(file, 2); });
}

TEST_F(RebuildRefused, ListsThatAreNotRebuilt) {
    const int fd = fill({1, 2, 3});
    EXPECT_OK(isdelrec(fd, 2));
    for (const int list : {ISFREE_INDEX, 0, 3, -1, 1000})
        expectNothingDone(fd, ISERR_ARGUMENT, [=](IsamFile *file) { return isRebuildFree(file, list); });
}

TEST_F(RebuildRefused, FilesWithoutRecords) {
    for (const Kind &kind : kindsWith([](const Kind &each) { return !each.records; })) {
        const int fd = make(kind, 0);
        for (const int index : {0, 1, 2})
            expectNothingDone(fd, ISERR_ARGUMENT, [=](IsamFile *file) { return isRebuildIdx(file, index); });
        for (const int list : {ISFREE_INDEX, ISFREE_DATA, 7})
            expectNothingDone(fd, ISERR_ARGUMENT, [=](IsamFile *file) { return isRebuildFree(file, list); });
        break;
    }
}

TEST_F(RebuildRefused, PreciousFileKeepsNoList) {
    const int fd = fill({1, 2, 3});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    const Damage::Contents before = damage().contents();
    EXPECT_TRUE(rebuildsFree(fd));
    EXPECT_TRUE(before == damage().contents());
    EXPECT_EQ(ischeckdata(fd), 0);
}

TEST_F(RebuildRefused, HandlesForReadingOnly) {
    EXPECT_OK(isclose(fill({1, 2, 3})));
    const int fd = open(ISINPUT);
    expectNothingDone(fd, ISERR_ARGUMENT, [](IsamFile *file) { return isRebuildIdx(file, 1); });
    expectNothingDone(fd, ISERR_ARGUMENT, [](IsamFile *file) { return isRebuildFree(file, ISFREE_DATA); });
}

TEST_F(RebuildRefused, HandlesForWritingOnlyMayRebuild) {
    EXPECT_OK(isclose(fill({1, 2, 3})));
    const int fd = open(ISOUTPUT);
    EXPECT_TRUE(rebuilds(fd, 1));
    EXPECT_TRUE(rebuildsFree(fd));
}

TEST_F(RebuildRefused, FilesOpenedForReadingOnlyCannotBeWritten) {
    EXPECT_OK(isclose(fill({1, 2, 3})));
    const int fd = open(ISINOUT | ISLOCKNONE);
    const Damage::Contents before = damage().contents();
    EXPECT_EQ(isRebuildIdx(isAdmItoD(fd), 1), 0);
    EXPECT_EQ(isErrno(isAdmItoD(fd)), EBADF);
    EXPECT_EQ(isErrio(isAdmItoD(fd)), 0x51);
    EXPECT_EQ(isRebuildFree(isAdmItoD(fd), ISFREE_DATA), 0);
    EXPECT_EQ(isErrno(isAdmItoD(fd)), EBADF);
    EXPECT_TRUE(before == damage().contents());
    EXPECT_EQ(checksOf(fd, 1), (Found{0, {0}, 0}));
}

TEST_F(RebuildRefused, NoHandle) {
    EXPECT_EQ(isAdmItoD(-1), nullptr);
    EXPECT_EQ(isAdmItoD(0), nullptr);
    EXPECT_EQ(isAdmItoD(1000000), nullptr);
    for (const int call : {0, 1}) {
        errno = 0;
        EXPECT_EQ(call == 0 ? isRebuildIdx(nullptr, 1) : isRebuildFree(nullptr, ISFREE_DATA), 0);
        EXPECT_EQ(errno, ISERR_NOTOPEN);
        EXPECT_EQ(isErrno(nullptr), ISERR_NOTOPEN);
        EXPECT_EQ(isErrio(nullptr), 0);
        EXPECT_EQ(isRecnum(nullptr), -1);
        EXPECT_EQ(isReclen(nullptr), -1);
    }
}

TEST_F(RebuildRefused, HandleThatIsClosed) {
    const int fd = fill({1, 2, 3});
    IsamFile *file = isAdmItoD(fd);
    ASSERT_NE(file, nullptr);
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(isAdmItoD(fd), nullptr);
    const Damage::Contents before = damage().contents();
    for (const int call : {0, 1}) {
        errno = 0;
        EXPECT_EQ(call == 0 ? isRebuildIdx(file, 1) : isRebuildFree(file, ISFREE_DATA), 0);
        EXPECT_EQ(errno, ISERR_CORRUPT);
    }
    EXPECT_TRUE(before == damage().contents());
}

TEST_F(RebuildRefused, UniqueIndexOverRecordsWithOneKey) {
    const int fd = sharing();
    IsamFile *file = isAdmItoD(fd);
    EXPECT_EQ(isRebuildIdx(file, 2), 0);
    EXPECT_EQ(isErrno(file), ISERR_DUPLICATE);
    // What came before the second of them is in the index; the rest of the file is as sound as ever.
    EXPECT_EQ(idsBy(fd, nameKey(ISNODUPS)), (Ids{2, 1}));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1, 2, 3, 4}));
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, ISCHK_KEYCOUNT}, 0}));
    testing_support::CheckOptions options;
    options.membership = false;
    EXPECT_TRUE(checkFiles(damage().files(), options).clean());
    // With the record changed all is well again.
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    damage().slot(3, kNameAt, 'c');
    EXPECT_TRUE(rebuilds(fd, 2));
    EXPECT_EQ(idsBy(fd, nameKey(ISNODUPS)), (Ids{2, 1, 3, 4}));
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
}

TEST_F(RebuildRefused, FailedRebuildIsSeenByAllHandles) {
    const int fd = sharing();
    const int other = open();
    EXPECT_EQ(idsBy(other, nameKey(ISNODUPS)), (Ids{2, 1, 3, 4}));
    EXPECT_EQ(isRebuildIdx(isAdmItoD(fd), 2), 0);
    EXPECT_EQ(idsBy(other, nameKey(ISNODUPS)), (Ids{2, 1}));
    put(other, row(5, "x"));
    EXPECT_EQ(idsBy(fd, nameKey(ISNODUPS)), (Ids{2, 1, 5}));
}

// A list of free nodes that cannot be trusted: nothing is given to it, and nothing taken.
TEST_F(RebuildRefused, DamagedListOfFreeNodes) {
    const int fd = build();
    add(fd, nameKey());
    add(fd, groupKey());
    KeyDesc gone = groupKey();
    putIds(fd, {1, 2, 3});
    EXPECT_OK(isdelindex(fd, &gone));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isclose(fd));
    Kind kind = {"", 0, {idKey(), nameKey()}};
    add(open(), groupKey());
    EXPECT_OK(iscleanup());
    const int again = open();
    EXPECT_OK(isdelindex(again, &gone));
    EXPECT_OK(isclose(again));
    const std::uint32_t head = damage().files().header().indexFreeHead, last = damage().files().header().lastNode;
    ASSERT_NE(head, 0U);
    const std::function<void()> damages[] = {
        [&] { damage().node(head, field::kMark, 0, 1); },        [&] { damage().node(head, field::kLevel, 0, 1); },
        [&] { damage().node(head, field::kUsed, 7, 2); },        [&] { damage().node(head, field::kLink, head, 4); },
        [&] { damage().node(head, field::kLink, last + 1, 4); }, [&] { damage().storeFreeNode(head, 0, {1}); },
        [&] { damage().storeFreeNode(head, 0, {2}); },           [&] { damage().storeFreeNode(head, 0, {head}); },
        [&] { damage().storeFreeNode(head, 0, {0}); },           [&] { damage().storeFreeNode(head, 0, {last + 1}); },
        [&] { damage().header(field::kIndexFree, 2); },          [&] { damage().header(field::kIndexFree, 1); },
        [&] { damage().header(field::kIndexFree, last + 1); },
    };
    for (std::size_t i = 0; i < sizeof damages / sizeof *damages; ++i) {
        SCOPED_TRACE(i);
        const Damage::Contents whole = damage().contents();
        damages[i]();
        const int tool = open();
        expectNothingDone(tool, ISERR_CORRUPT, [](IsamFile *file) { return isRebuildIdx(file, 1); });
        expectNothingDone(tool, ISERR_CORRUPT, [](IsamFile *file) { return isRebuildIdx(file, 2); });
        expectNothingDone(tool, ISERR_CORRUPT, [](IsamFile *file) { return isRebuildFree(file, ISFREE_DATA); });
        EXPECT_OK(isclose(tool));
        damage().restore(whole);
    }
}

}  // namespace
}  // namespace api
