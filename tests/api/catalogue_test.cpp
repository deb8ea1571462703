// Many and long key descriptions, and indexes that could not be added.

#include "steps.h"

namespace api {
namespace {

class Catalogue : public ApiTest {
  protected:
    // A key on one byte of the note.
    static KeyDesc noteKey(int number) { return keyDesc(ISDUPS, {{kNoteAt + number, 1}}); }

    // Ten parts of one byte each, from a byte of the record on.
    static KeyDesc longKey(int start) {
        KeyDesc key = keyDesc(ISDUPS, {});
        key.nparts = ISMAXPARTS;
        for (int part = 0; part < ISMAXPARTS; ++part) {
            key.parts[part].start = static_cast<short>(start + part);
            key.parts[part].length = 1;
            key.parts[part].type = CHARTYPE;
        }
        return key;
    }
};

TEST_F(Catalogue, NineIndexesFitBesidesAMissingPrimaryKey) {
    int fd = build(ISINOUT, noKey());
    EXPECT_OK(iswrite(fd, row(1)));
    for (int i = 0; i < ISMAXINDEXES; ++i) {
        KeyDesc key = noteKey(i);
        EXPECT_OK(isaddindex(fd, &key));
    }
    EXPECT_EQ(indexCount(fd), ISMAXINDEXES + 1);
    EXPECT_OK(isclose(fd));
    fd = open();
    KeyDesc more = noteKey(12);
    EXPECT_FAILS(ISERR_KEYDESC, isaddindex(fd, &more));
    EXPECT_EQ(idsBy(fd, noteKey(8)), (Ids{1}));
}

TEST_F(Catalogue, ManyLongDescriptionsComeBackAndGo) {
    int fd = build(ISINOUT, longKey(0));
    EXPECT_OK(iswrite(fd, row(1)));
    for (int i = 1; i < ISMAXINDEXES; ++i) {
        KeyDesc key = longKey(i);
        EXPECT_OK(isaddindex(fd, &key));
    }
    EXPECT_OK(isclose(fd));
    fd = open();
    for (int i = 0; i < ISMAXINDEXES; ++i) {
        KeyDesc stored;
        EXPECT_OK(isindexinfo(fd, &stored, i + 1));
        EXPECT_TRUE(testing_support::sameKeyDesc(stored, longKey(i))) << i;
        EXPECT_EQ(idsBy(fd, longKey(i)), (Ids{1}));
    }
    for (const int i : {4, 0, 8, 1, 7, 2, 6, 3}) {
        KeyDesc key = longKey(i);
        EXPECT_OK(isdelindex(fd, &key));
    }
    EXPECT_EQ(indexCount(fd), 1);
    EXPECT_EQ(idsBy(fd, longKey(5)), (Ids{1}));
}

TEST_F(Catalogue, FailedAddCanBeRepeatedWithoutGrowingTheFile) {
    const int fd = build();
    for (long id = 1; id <= 300; ++id)
        EXPECT_OK(iswrite(fd, row(id, std::to_string(id % 299))));
    KeyDesc unique = nameKey(ISNODUPS);
    EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &unique));
    const std::size_t size = contents(path("file.idx")).size();
    for (int i = 0; i < 10; ++i)
        EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &unique));
    EXPECT_EQ(contents(path("file.idx")).size(), size);
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{300}));
    EXPECT_OK(isrewrec(fd, 300, row(300, "other")));
    EXPECT_OK(isaddindex(fd, &unique));
    EXPECT_EQ(contents(path("file.idx")).size(), size);
    EXPECT_EQ(idsBy(fd, unique).size(), 300U);
}

TEST_F(Catalogue, FourPartsWithNullBytesComeBackWhole) {
    const int fd = fill({1});
    KeyDesc key =
        keyDesc(ISDUPS | ISNULLKEY,
                {{0, 4, LONGTYPE, 1}, {4, 10, CHARTYPE, ' '}, {14, 2, INTTYPE | ISDESC, 9}, {16, 4, STRINGTYPE, 255}});
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_OK(isclose(fd));
    const int again = open();
    KeyDesc stored;
    EXPECT_OK(isindexinfo(again, &stored, 2));
    EXPECT_TRUE(testing_support::sameKeyDesc(stored, key));
    EXPECT_EQ(stored.keyLength, 20);
}

TEST_F(Catalogue, FivePartsWithNullBytesAreCountedAsSix) {
    const int fd = fill({1});
    KeyDesc key = keyDesc(ISDUPS | ISNULLKEY,
                          {{0, 1, CHARTYPE, 1}, {1, 1, CHARTYPE, 2}, {2, 1, CHARTYPE, 3}, {3, 1, CHARTYPE, 4}, {4, 1}});
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_OK(isclose(fd));
    const int again = open();
    ASSERT_GE(again, 0) << iserrno;
    KeyDesc stored;
    EXPECT_OK(isindexinfo(again, &stored, 2));
    // What lies behind the last description is zero and reads as an empty part.
    EXPECT_EQ(stored.nparts, 6);
    for (int part = 0; part < 5; ++part) {
        EXPECT_EQ(stored.parts[part].start, key.parts[part].start);
        EXPECT_EQ(stored.parts[part].length, 1);
        EXPECT_EQ(stored.parts[part].type, key.parts[part].type);
    }
    EXPECT_EQ(stored.parts[5].length, 0);
    EXPECT_EQ(stored.keyLength, 5);
    EXPECT_EQ(idsBy(again, stored), (Ids{1}));
    dontCheck();  // the stored description says something else than the index
}

}  // namespace
}  // namespace api
