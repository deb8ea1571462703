// Record masks: bit i of a record's mask keeps the record out of index i.
#include "steps.h"

namespace api {
namespace {

class RecordMask : public ApiTest {
  protected:
    // Two indexes, with records 1 (in both), 2 (by id alone) and 3 (by name alone).
    int masked() {
        const int fd = build(ISINOUT | ISMASK);
        add(fd, nameKey());
        put(fd, row(10, "a"));
        putMasked(fd, row(20, "b"), 1 << 1);
        putMasked(fd, row(30, "c"), 1 << 0);
        issetmask(fd, 0);
        return fd;
    }
    long putMasked(int fd, Row record, long mask) {
        EXPECT_EQ(issetmask(fd, mask), 0);
        return put(fd, record);
    }
    unsigned long storedMask(long number) {
        const std::size_t slot = kRowLen + 1 + 4;
        return numberAt(imageOf(base()).data, slot * static_cast<std::size_t>(number) - 4, 4);
    }
};

TEST_F(RecordMask, WrittenRecordIsLeftOutOfTheMaskedIndexes) {
    const int fd = masked();
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{10, 20}));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30}));
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{10, 20, 30}));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{2, 2}));
}

TEST_F(RecordMask, MaskIsStoredBehindTheRecord) {
    masked();
    EXPECT_EQ(storedMask(1), 0U);
    EXPECT_EQ(storedMask(2), 2U);
    EXPECT_EQ(storedMask(3), 1U);
}

TEST_F(RecordMask, ReadsLoadTheMask) {
    const int fd = masked();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_EQ(isgetmask(fd), 2);
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(isgetmask(fd), 0);
    Row got;
    EXPECT_OK(isdata(fd, got, 3));
    EXPECT_EQ(isgetmask(fd), 1);
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_EQ(isgetmask(fd), 2);
}

TEST_F(RecordMask, MaskOfTheHandleIsWhatWasSetLast) {
    const int fd = masked();
    EXPECT_EQ(issetmask(fd, 5), 0);
    EXPECT_EQ(isgetmask(fd), 5);
}

TEST_F(RecordMask, LowThirtyTwoBitsOfTheMaskCount) {
    const int fd = masked();
    EXPECT_EQ(issetmask(fd, static_cast<long>(0x80000002UL)), 0);
    put(fd, row(40, "d"));
    EXPECT_EQ(storedMask(4), 0x80000002U);
    if (sizeof(long) == 8) {
        EXPECT_EQ(issetmask(fd, static_cast<long>((1LL << 33) + 2)), 0);
        put(fd, row(50, "e"));
        EXPECT_EQ(storedMask(5), 2U);
        EXPECT_EQ(isgetmask(fd), 2);
    }
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30}));
}

TEST_F(RecordMask, ReadOfANegativeMaskGivesTheSameBitsBack) {
    const int fd = build(ISINOUT | ISMASK);
    issetmask(fd, -2);
    put(fd, row(1));
    issetmask(fd, 0);
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_EQ(static_cast<unsigned long>(isgetmask(fd)) & 0xffffffffUL, 0xfffffffeUL);
}

TEST_F(RecordMask, RewriteThatChangesOnlyTheMaskMovesTheEntry) {
    const int fd = masked();
    issetmask(fd, 1 << 1);
    EXPECT_OK(isrewrec(fd, 1, row(10, "a")));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{30}));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{10, 20}));
    issetmask(fd, 0);
    EXPECT_OK(isrewrec(fd, 1, row(10, "a")));
    EXPECT_OK(isrewrec(fd, 2, row(20, "b")));
    EXPECT_OK(isrewrec(fd, 3, row(30, "c")));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 20, 30}));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{10, 20, 30}));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{3, 3}));
}

TEST_F(RecordMask, RewriteUsesTheMaskOfTheRecordReadBefore) {
    const int fd = masked();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isrewcurr(fd, row(20, "bb")));
    EXPECT_EQ(storedMask(2), 2U);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30}));
}

TEST_F(RecordMask, DeleteFollowsTheStoredMask) {
    const int fd = masked();
    issetmask(fd, 0xff);
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{0, 0}));
}

TEST_F(RecordMask, MaskedRecordsDoNotCountAsDuplicates) {
    const int fd = masked();
    putMasked(fd, row(10, "x"), 1 << 0);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30, 10}));
    issetmask(fd, 0);
    EXPECT_FAILS(ISERR_DUPLICATE, isrewrec(fd, 4, row(10, "x")));
}

TEST_F(RecordMask, RecordLeftOutCannotBeGoneTo) {
    const int fd = masked();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, 3));
    EXPECT_EQ(position(fd), 1);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(isgoto(fd, 3));
}

TEST_F(RecordMask, WriteAndCurrentOfARecordLeftOutWritesAndFails) {
    const int fd = masked();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    issetmask(fd, 1 << 0);
    EXPECT_FAILS(ISERR_NOTFOUND, iswrcurr(fd, row(40, "d")));
    EXPECT_EQ(position(fd), 1);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30, 40}));
}

TEST_F(RecordMask, SameIndexTwiceIsAllowed) {
    const int fd = masked();
    add(fd, nameKey());
    EXPECT_EQ(indexCount(fd), 3);
    EXPECT_OK(isclose(fd));
    const int again = open();
    EXPECT_EQ(indexCount(again), 3);
    dontCheck();
}

TEST_F(RecordMask, AddedIndexLooksAtTheBitBelowItsOwn) {
    const int fd = masked();
    putMasked(fd, row(40, "d"), 1 << 2);
    issetmask(fd, 0);
    // The third index leaves out what the second one leaves out, and takes what its own bit would keep out.
    add(fd, keyDesc(ISDUPS, {{kNoteAt, 2}}));
    EXPECT_OK(isindex(fd, 3, 0));
    EXPECT_EQ(idsOf(fd), (Ids{10, 30, 40}));
    dontCheck();
    // Later writes go by its own bit.
    putMasked(fd, row(50, "e"), 1 << 2);
    putMasked(fd, row(60, "f"), 1 << 1);
    EXPECT_OK(isindex(fd, 3, 0));
    EXPECT_EQ(idsOf(fd), (Ids{10, 30, 40, 60}));
}

TEST_F(RecordMask, FirstIndexAddedToAFileLooksAtTheHighestBit) {
    const int fd = build(ISINOUT | ISMASK, noKey());
    putMasked(fd, row(1), 0);
    putMasked(fd, row(2), 1);
    putMasked(fd, row(3), static_cast<long>(0x80000000UL));
    issetmask(fd, 0);
    add(fd, idKey());
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1, 2}));
    dontCheck();
}

TEST_F(RecordMask, MasksSurviveReopening) {
    EXPECT_OK(isclose(masked()));
    const int fd = open();
    EXPECT_EQ(isgetmask(fd) & ~3L, 0);
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_EQ(isgetmask(fd), 2);
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{2, 2}));
}

// Indexes that leave null keys out.
class NullKeys : public ApiTest {
  protected:
    static KeyDesc blankName(int flags = ISDUPS) {
        return keyDesc(flags | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    }
    int nullable(int flags = ISDUPS) {
        const int fd = build();
        add(fd, blankName(flags));
        return fd;
    }
};

TEST_F(NullKeys, AreNotIndexed) {
    const int fd = nullable();
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    put(fd, row(3, " a"));
    EXPECT_EQ(idsBy(fd, blankName()), (Ids{3, 2}));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{3, 2}));
}

TEST_F(NullKeys, MayOccurOftenInAUniqueIndex) {
    const int fd = nullable(ISNODUPS);
    putIds(fd, {1});
    put(fd, row(2, ""));
    put(fd, row(3, ""));
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(4, "n1")));
    EXPECT_EQ(idsBy(fd, blankName()), (Ids{1}));
}

TEST_F(NullKeys, AreNotFound) {
    const int fd = nullable();
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "")), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISGTEQ, row(0, "")), 2);
    EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, 1));
}

TEST_F(NullKeys, RewriteMovesRecordsInAndOut) {
    const int fd = nullable();
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    EXPECT_OK(isrewrite(fd, row(1, "a")));
    EXPECT_OK(isrewrite(fd, row(2, "")));
    EXPECT_EQ(idsBy(fd, blankName()), (Ids{1}));
    EXPECT_OK(isdelete(fd, row(2)));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{0, 0}));
}

TEST_F(NullKeys, EveryByteOfEveryPartMustBeNull) {
    const int fd = build();
    const KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, 2, CHARTYPE, '*'}, {kGroupAt, 2, INTTYPE, 0}});
    add(fd, key);
    put(fd, row(1, "**", 0));
    put(fd, row(2, "**", 1));
    put(fd, row(3, "*a", 0));
    put(fd, row(4, "  ", 0));
    EXPECT_EQ(idsBy(fd, key), (Ids{4, 2, 3}));
}

TEST_F(NullKeys, BlankKeysOfOtherIndexesAreIndexed) {
    const int fd = build();
    add(fd, nameKey());
    put(fd, row(1, ""));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1}));
}

TEST_F(NullKeys, PrimaryKeyThatIsNullHidesTheRecord) {
    const int fd = build(ISINOUT, blankName(ISNODUPS));
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    EXPECT_EQ(idsOf(fd), (Ids{2}));
    EXPECT_FAILS(ISERR_NOTFOUND, isrewrite(fd, row(1, "")));
    EXPECT_FAILS(ISERR_NOTFOUND, isdelete(fd, row(1, "")));
    EXPECT_FAILS(ISERR_NOTFOUND, iswrcurr(fd, row(3, "")));
    EXPECT_EQ(recordCount(fd), 3);
    EXPECT_OK(isdelrec(fd, 1));
}

}  // namespace
}  // namespace api
