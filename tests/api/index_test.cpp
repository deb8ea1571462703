// Adding and dropping indexes.
#include "steps.h"

namespace api {
namespace {

class IndexChange : public ApiTest {
  protected:
    void drop(int fd, KeyDesc key) { EXPECT_OK(isdelindex(fd, &key)); }
    int addFails(int fd, KeyDesc key) { return isaddindex(fd, &key); }
    int dropFails(int fd, KeyDesc key) { return isdelindex(fd, &key); }
    // The key over one byte of the note.
    static KeyDesc byteKey(int at) { return keyDesc(ISDUPS, {{kNoteAt + at, 1}}); }
};

TEST_F(IndexChange, AddedIndexHoldsTheRecordsThatAreThere) {
    const int fd = build();
    put(fd, row(1, "c"));
    put(fd, row(2, "a"));
    put(fd, row(3, "b"));
    EXPECT_OK(isdelete(fd, row(2)));
    add(fd, nameKey());
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{3, 1}));
    put(fd, row(4, "aa"));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{4, 3, 1}));
}

TEST_F(IndexChange, ThousandRecordsWithThreeDeletedGive997Keys) {
    const int fd = build();
    for (int id = 1; id <= 1000; ++id)
        EXPECT_OK(iswrite(fd, row(id, std::to_string(id % 100), id)));
    for (const long number : {1, 500, 1000})
        EXPECT_OK(isdelrec(fd, number));
    add(fd, nameKey(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP));
    add(fd, groupKey(ISNODUPS));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{997, 997, 997}));
    EXPECT_EQ(idsBy(fd, groupKey()).size(), 997U);
}

TEST_F(IndexChange, AddLeavesTheCurrentIndexAndPosition) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    add(fd, nameKey());
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(position(fd), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(IndexChange, ExistingIndexIsRefusedWhateverItsFlags) {
    const int fd = fill({1});
    add(fd, nameKey(ISDUPS));
    const Image before = imageOf(base());
    for (const int flags : {ISDUPS, ISNODUPS, ISDUPS | ISLEADCOMP, ISTRAILCOMP | ISTRAILNUL}) {
        EXPECT_FAILS(ISERR_INDEXEXISTS, addFails(fd, nameKey(flags)));
        EXPECT_EQ(iserrio, 0);
    }
    EXPECT_FAILS(ISERR_INDEXEXISTS, addFails(fd, idKey(ISDUPS)));
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(IndexChange, DifferenceInAPartOrInNullSuppressionMakesAnotherIndex) {
    const int fd = fill({1});
    add(fd, nameKey());
    add(fd, nameKey(ISDUPS | ISNULLKEY));
    add(fd, keyDesc(ISDUPS, {{kNameAt, kNameLen, CHARTYPE | ISDESC}}));
    add(fd, keyDesc(ISDUPS, {{kNameAt, kNameLen, STRINGTYPE}}));
    add(fd, keyDesc(ISDUPS, {{kNameAt, kNameLen - 1}}));
    add(fd, keyDesc(ISDUPS, {{kNameAt, kNameLen - 1}, {kNameAt + kNameLen - 1, 1}}));
    EXPECT_EQ(indexCount(fd), 7);
}

TEST_F(IndexChange, NinthIndexIsTheLast) {
    const int fd = fill({1, 2});
    for (int i = 0; i < 8; ++i)
        add(fd, byteKey(i));
    EXPECT_EQ(indexCount(fd), 9);
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_KEYDESC, addFails(fd, byteKey(8)));
    EXPECT_TRUE(before == imageOf(base()));
    drop(fd, byteKey(3));
    add(fd, byteKey(8));
    EXPECT_EQ(indexCount(fd), 9);
}

TEST_F(IndexChange, NoPartsAreRefused) {
    const int fd = fill({1});
    EXPECT_FAILS(ISERR_PRIMARYKEY, addFails(fd, noKey()));
}

TEST_F(IndexChange, FileWithoutRecordsIsRefused) {
    const int fd = build(ISINOUT, idKey(), 0);
    EXPECT_FAILS(ISERR_ARGUMENT, addFails(fd, nameKey()));
}

TEST_F(IndexChange, BadKeysAreRefusedAndChangeNothing) {
    const int fd = fill({1, 2});
    KeyDesc eleven = byteKey(0);
    eleven.nparts = 11;
    KeyDesc negative = byteKey(0);
    negative.nparts = -1;
    const std::vector<KeyDesc> bad = {
        eleven,
        negative,
        keyDesc(0x40, {{0, 4}}),
        keyDesc(ISDUPS, {{0, 6, LONGTYPE}}),
        keyDesc(ISDUPS, {{0, 3, INTTYPE}}),
        keyDesc(ISDUPS, {{0, 8, QUADTYPE}}),
        keyDesc(ISDUPS, {{-1, 4}}),
        keyDesc(ISDUPS, {{0, -1}}),
        keyDesc(ISDUPS, {{kRowLen, 1}}),
    };
    const Image before = imageOf(base());
    for (std::size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FAILS(ISERR_KEYDESC, addFails(fd, bad[i]));
        EXPECT_EQ(iserrio, 0);
    }
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(IndexChange, DuplicateInAUniqueIndexTakesTheAddBack) {
    const int fd = build();
    add(fd, groupKey());
    for (int id = 1; id <= 400; ++id)
        EXPECT_OK(iswrite(fd, row(id, std::to_string(1000 + id), id)));
    put(fd, row(401, "1001"));
    const Image before = imageOf(base());
    EXPECT_EQ(freeNodes(base()), 0U);
    EXPECT_FAILS(ISERR_DUPLICATE, addFails(fd, nameKey(ISNODUPS)));
    EXPECT_EQ(iserrio, 0);
    // The same two indexes, each key in place, and the nodes it had taken are free now.
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{401, 401}));
    const Image after = imageOf(base());
    EXPECT_EQ((after.index.size() - before.index.size()) / 1024, freeNodes(base()));
    EXPECT_GT(freeNodes(base()), 3U);
    EXPECT_TRUE(before.data == after.data);
    EXPECT_EQ(nodeOf(before, 2), nodeOf(after, 2));
    EXPECT_EQ(indexCount(fd), 2);
    KeyDesc name = nameKey();
    EXPECT_FAILS(ISERR_KEYDESC, isstart(fd, &name, 0, nullptr, ISFIRST));
    // The file goes on working, and a later add uses those nodes.
    EXPECT_OK(isrewrite(fd, row(401, "1401")));
    EXPECT_EQ(readId(fd, ISEQUAL, row(401)), 401);
    add(fd, nameKey(ISNODUPS));
    EXPECT_EQ(imageOf(base()).index.size(), after.index.size());
    EXPECT_EQ(freeNodes(base()), 0U);
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{401, 401, 401}));
}

TEST_F(IndexChange, FailedAddLeavesPositionsAndOtherHandlesWelcome) {
    const int fd = build();
    put(fd, row(1, "same"));
    put(fd, row(2, "same"));
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_FAILS(ISERR_DUPLICATE, addFails(fd, nameKey(ISNODUPS)));
    EXPECT_EQ(readId(fd, ISNEXT), 2);
    const int other = open();
    EXPECT_EQ(idsOf(other), (Ids{1, 2}));
}

TEST_F(IndexChange, NullKeysAreLeftOutOfAnAddedIndex) {
    const int fd = build();
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    put(fd, row(3, ""));
    add(fd, keyDesc(ISNODUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}}));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{3, 1}));
}

TEST_F(IndexChange, OtherHandleOfTheProcessRefusesAddAndDrop) {
    const int fd = fill({1});
    add(fd, nameKey());
    const int other = open();
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_FILEINUSE, addFails(fd, groupKey()));
    EXPECT_FAILS(ISERR_FILEINUSE, dropFails(fd, nameKey()));
    EXPECT_TRUE(before == imageOf(base()));
    EXPECT_OK(isclose(other));
    add(fd, groupKey());
}

TEST_F(IndexChange, ArgumentsAreCheckedBeforeTheLock) {
    const int fd = fill({1});
    open();
    EXPECT_FAILS(ISERR_INDEXEXISTS, addFails(fd, idKey()));
    EXPECT_FAILS(ISERR_KEYDESC, addFails(fd, keyDesc(0x40, {{0, 4}})));
    EXPECT_FAILS(ISERR_PRIMARYKEY, addFails(fd, noKey()));
    EXPECT_FAILS(ISERR_PRIMARYKEY, dropFails(fd, idKey()));
}

TEST_F(IndexChange, ExclusiveHandleAddsAndDrops) {
    EXPECT_OK(isclose(fill({1, 2})));
    const int fd = open(ISINOUT | ISLOCKEXCL);
    add(fd, nameKey());
    drop(fd, nameKey());
    EXPECT_FAILS(ISERR_FILEINUSE, open());
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
}

TEST_F(IndexChange, LastIndexOfAFileCannotBeDropped) {
    const int fd = fill({1});
    EXPECT_FAILS(ISERR_PRIMARYKEY, dropFails(fd, idKey()));
    EXPECT_EQ(iserrio, 0);
    EXPECT_FAILS(ISERR_PRIMARYKEY, dropFails(fd, nameKey()));
}

TEST_F(IndexChange, FileWithoutPrimaryKeyCanLoseAllIndexes) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {2, 1});
    EXPECT_FAILS(ISERR_PRIMARYKEY, dropFails(fd, idKey()));
    add(fd, idKey());
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1, 2}));
    drop(fd, idKey());
    EXPECT_FAILS(ISERR_PRIMARYKEY, dropFails(fd, idKey()));
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{2, 1}));
}

TEST_F(IndexChange, PrimaryKeyCanBeDroppedWhenAnotherIndexIsThere) {
    const int fd = fill({2, 1});
    add(fd, nameKey());
    drop(fd, idKey());
    EXPECT_EQ(indexCount(fd), 1);
    KeyDesc first{};
    EXPECT_OK(isindexinfo(fd, &first, 1));
    EXPECT_TRUE(testing_support::sameKeyDesc(first, nameKey()));
    EXPECT_FAILS(ISERR_NOPRIMARYKEY, isrewrite(fd, row(1)));
}

TEST_F(IndexChange, DroppedIndexFreesItsNodesAndKeepsTheDescriptionNode) {
    const int fd = build();
    add(fd, nameKey());
    for (int id = 1; id <= 500; ++id)
        EXPECT_OK(iswrite(fd, row(id, std::to_string(id))));
    const Image before = imageOf(base());
    const unsigned long description = numberAt(before.index, 15, 4);
    drop(fd, nameKey());
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{500}));
    EXPECT_GT(freeNodes(base()), 5U);
    const Image after = imageOf(base());
    EXPECT_EQ(numberAt(after.index, 15, 4), description);
    EXPECT_EQ(before.index.size(), after.index.size());
}

TEST_F(IndexChange, IndexesBehindADroppedOneMoveDown) {
    const int fd = build();
    add(fd, nameKey());
    add(fd, groupKey());
    put(fd, row(1, "b", 1));
    put(fd, row(2, "a", 2));
    drop(fd, nameKey());
    KeyDesc second{};
    EXPECT_OK(isindexinfo(fd, &second, 2));
    EXPECT_TRUE(testing_support::sameKeyDesc(second, groupKey()));
    EXPECT_OK(isclose(fd));
    const int again = open();
    EXPECT_EQ(indexCount(again), 2);
    EXPECT_EQ(idsBy(again, groupKey()), (Ids{1, 2}));
}

TEST_F(IndexChange, CurrentIndexThatIsDroppedGivesWayToTheOneBefore) {
    const int fd = build();
    add(fd, nameKey());
    EXPECT_OK(isindex(fd, 2, 0));
    drop(fd, nameKey());
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(isqv_curidx(fd), 0);
}

TEST_F(IndexChange, RecordNumberOrderStaysAfterADrop) {
    const int fd = fill({2, 1});
    add(fd, nameKey());
    EXPECT_OK(isindex(fd, 0, 0));
    drop(fd, nameKey());
    EXPECT_EQ(currentIndex(fd), 0);
    EXPECT_EQ(idsOf(fd), (Ids{2, 1}));
}

TEST_F(IndexChange, UnknownIndexCannotBeDropped) {
    const int fd = fill({1});
    add(fd, nameKey());
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_KEYDESC, dropFails(fd, groupKey()));
    EXPECT_FAILS(ISERR_KEYDESC, dropFails(fd, noKey()));
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(IndexChange, IndexesSurviveReopening) {
    const int fd = build();
    add(fd, keyDesc(ISDUPS | ISLEADCOMP | ISTRAILCOMP | ISTRAILNUL, {{kNameAt, 4}, {kGroupAt, 2, INTTYPE | ISDESC}}));
    add(fd, keyDesc(ISNODUPS | ISNULLKEY, {{kNoteAt, 3, CHARTYPE, '*'}, {0, 4, LONGTYPE | ISDESC, 0xff}}));
    std::vector<KeyDesc> before(3), after(3);
    for (int i = 0; i < 3; ++i)
        EXPECT_OK(isindexinfo(fd, &before[static_cast<std::size_t>(i)], i + 1));
    EXPECT_OK(isclose(fd));
    const int again = open();
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const auto at = static_cast<std::size_t>(i);
        EXPECT_OK(isindexinfo(again, &after[at], i + 1));
        EXPECT_TRUE(testing_support::sameKeyDesc(before[at], after[at]));
        EXPECT_EQ(before[at].keyLength, after[at].keyLength);
        EXPECT_EQ(before[at].rootNode, after[at].rootNode);
    }
    EXPECT_EQ(after[2].keyLength, 7);
    EXPECT_EQ(after[2].parts[1].type, LONGTYPE | ISDESC | 0xff00);
}

}  // namespace
}  // namespace api
