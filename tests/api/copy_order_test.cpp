// The order in which records are copied, and what each gets in the destination.
#include "cluster_kinds.h"

namespace api {
namespace {

class CopyOrder : public WholeTest {
  protected:
    // Ids of the records of a set by number, read from its bytes; -1 for one that is free.
    static Ids slots(const std::string &name) {
        Ids ids;
        const Held held = heldBy(name);
        for (long number = 1; number <= static_cast<long>(held.header.lastRecord); ++number) {
            const auto found = held.records.find(number);
            ids.push_back(found == held.records.end() ? -1 : ldlong(found->second.data()));
        }
        return ids;
    }
    Ids copied() const { return slots(path("copy")); }
    int target(KeyDesc key = idKey()) { return buildNamed(path("copy"), ISINOUT, key); }
    // A set with names out of order.
    int named() {
        const int fd = build();
        add(fd, nameKey());
        put(fd, row(30, "b"));
        put(fd, row(10, "c"));
        put(fd, row(20, "a"));
        return fd;
    }
};

TEST_F(CopyOrder, ByAnIndex) {
    const int fd = named();
    KeyDesc id = idKey(), name = nameKey();
    EXPECT_OK(iscopy(target(), fd, &id));
    EXPECT_EQ(copied(), (Ids{10, 20, 30}));
    EXPECT_OK(iscopy(buildNamed(path("other")), fd, &name));
    EXPECT_EQ(slots(path("other")), (Ids{20, 30, 10}));
}

TEST_F(CopyOrder, ByRecordNumber) {
    const int fd = named();
    KeyDesc none = noKey();
    EXPECT_OK(iscopy(target(), fd, &none));
    EXPECT_EQ(copied(), (Ids{30, 10, 20}));
}

TEST_F(CopyOrder, WithoutKeyTheCurrentOneOfTheSource) {
    const int fd = named();
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(iscopy(target(), fd, nullptr));
    EXPECT_EQ(copied(), (Ids{20, 30, 10}));
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(iscopy(buildNamed(path("other")), fd, nullptr));
    EXPECT_EQ(slots(path("other")), (Ids{30, 10, 20}));
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_OK(iscopy(buildNamed(path("third")), fd, nullptr));
    EXPECT_EQ(slots(path("third")), (Ids{10, 20, 30}));
}

// The destination's own current index does not count.
TEST_F(CopyOrder, CurrentIndexOfTheDestinationDoesNotMatter) {
    const int fd = named(), to = target();
    add(to, nameKey());
    EXPECT_OK(isindex(to, 2, 0));
    EXPECT_OK(iscopy(to, fd, nullptr));
    EXPECT_EQ(copied(), (Ids{10, 20, 30}));
    EXPECT_EQ(currentIndex(to), 2);
}

TEST_F(CopyOrder, KeyFlagsForDuplicatesAndCompressionDoNotCount) {
    const int fd = named();
    KeyDesc name = nameKey(ISNODUPS | ISLEADCOMP);
    EXPECT_OK(iscopy(target(), fd, &name));
    EXPECT_EQ(copied(), (Ids{20, 30, 10}));
}

TEST_F(CopyOrder, StartLengthAndPositionOfTheSourceDoNotMatter) {
    const int fd = named();
    KeyDesc name = nameKey();
    EXPECT_OK(isstart(fd, &name, 1, row(0, "c"), ISEQUAL));
    EXPECT_OK(iscopy(target(), fd, nullptr));
    EXPECT_EQ(copied(), (Ids{20, 30, 10}));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "bxx")), 30) << "the length stays";
}

TEST_F(CopyOrder, DuplicatesKeepTheOrderThatTheyHave) {
    const int fd = build();
    add(fd, nameKey());
    for (const long id : {50, 20, 40, 10, 30})
        put(fd, row(id, "same"));
    // 40 goes to the end of its equals.
    EXPECT_OK(isrewrec(fd, 3, row(40, "other")));
    EXPECT_OK(isrewrec(fd, 3, row(40, "same")));
    KeyDesc name = nameKey();
    const int to = target();
    add(to, nameKey());
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(copied(), (Ids{50, 20, 10, 30, 40}));
    EXPECT_EQ(idsBy(to, name), (Ids{50, 20, 10, 30, 40}));
}

// In another index equal keys come as they were copied, not as they stood in the source.
TEST_F(CopyOrder, EqualKeysOfOtherIndexesStandAsCopied) {
    const int fd = build();
    add(fd, nameKey());
    for (const long id : {50, 20, 40})
        put(fd, row(id, "same"));
    const int to = target();
    add(to, nameKey());
    KeyDesc id = idKey();
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(idsBy(to, nameKey()), (Ids{20, 40, 50}));
}

TEST_F(CopyOrder, RecordsLeftOutByNullKeysFollowByNumber) {
    KeyDesc nulls = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    const int fd = build();
    add(fd, nulls);
    put(fd, row(40));
    put(fd, row(30, "b"));
    put(fd, row(20));
    put(fd, row(10, "a"));
    const int to = target();
    add(to, nulls);
    EXPECT_OK(iscopy(to, fd, &nulls));
    EXPECT_EQ(copied(), (Ids{10, 30, 40, 20}));
    EXPECT_EQ(idsBy(to, nulls), (Ids{10, 30}));
    EXPECT_EQ(idsBy(to, idKey()), (Ids{10, 20, 30, 40}));
}

TEST_F(CopyOrder, FreeNumbersOfTheDestinationAreUsedFirst) {
    const int fd = named(), to = target();
    putIds(to, {1, 2, 3, 4});
    EXPECT_OK(isdelrec(to, 2));
    EXPECT_OK(isdelrec(to, 3));
    KeyDesc id = idKey();
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(copied(), (Ids{1, 20, 10, 4, 30})) << "the number freed last comes first, as in every write";
    expectWhole(to, path("copy"));
}

TEST_F(CopyOrder, PreciousDestinationUsesNoNumberAgain) {
    const int fd = named(), to = target();
    EXPECT_OK(isprecious(to, 1));
    putIds(to, {1, 2});
    EXPECT_OK(isdelrec(to, 1));
    KeyDesc id = idKey();
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(copied(), (Ids{-1, 2, 10, 20, 30}));
    expectWhole(to, path("copy"));
}

TEST_F(CopyOrder, DestinationMayHaveOtherIndexesOrNone) {
    const int fd = named();
    KeyDesc id = idKey();
    const int to = target(groupKey());
    add(to, keyDesc(ISDUPS | ISLEADCOMP, {{kNoteAt, 4}}));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(copied(), (Ids{10, 20, 30}));
    EXPECT_EQ(soundEntries(path("copy")), (std::vector<std::size_t>{3, 3}));
    const int none = buildNamed(path("none"), ISINOUT, noKey());
    EXPECT_OK(iscopy(none, fd, &id));
    EXPECT_EQ(idsOf(none), (Ids{10, 20, 30}));
}

TEST_F(CopyOrder, BehindRecordsThatAreThere) {
    const int fd = named(), to = target();
    putIds(to, {1});
    KeyDesc name = nameKey();
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(copied(), (Ids{1, 20, 30, 10}));
    EXPECT_EQ(idsBy(to, idKey()), (Ids{1, 10, 20, 30}));
}

TEST_F(CopyOrder, SourceWithoutPrimaryKeyStandsInRecordNumberOrder) {
    const int fd = build(ISINOUT, noKey());
    add(fd, idKey());
    for (const long id : {30, 10, 20})
        put(fd, row(id));
    EXPECT_OK(isclose(fd));
    const int again = open(), to = target();
    EXPECT_OK(iscopy(to, again, nullptr));
    EXPECT_EQ(copied(), (Ids{30, 10, 20}));
}

TEST_F(CopyOrder, KeysAloneKeepTheirNumbers) {
    const KeyDesc key = keyDesc(ISDUPS, {{0, 4, LONGTYPE}});
    const int fd = build(ISINOUT, key, 0);
    const int to = buildNamed(path("copy"), ISINOUT, key, 0);
    const long numbers[][2] = {{20, 2147483647}, {10, 7}, {20, 0}, {20, 7}};
    for (const auto &entry : numbers) {
        isrecnum = entry[1];
        EXPECT_OK(iswrite(fd, row(entry[0])));
    }
    isrecnum = 99;
    EXPECT_OK(iscopy(to, fd, nullptr));
    EXPECT_EQ(isrecnum, 99);
    EXPECT_EQ(heldBy(path("copy")).entries(), heldBy(base()).entries());
    EXPECT_EQ(heldBy(path("copy")).entries()[0].size(), 4U);
    EXPECT_FALSE(exists(path("copy.dat")));
}

// A write to such a file does not look for null keys, and neither does a copy.
TEST_F(CopyOrder, NullKeysWithoutRecords) {
    const KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{0, 4, CHARTYPE, '*'}});
    const int fd = build(ISINOUT, key, 0), to = buildNamed(path("copy"), ISINOUT, key, 0);
    for (const char *text : {"****", "abcd"}) {
        Row record;
        std::memcpy(record.bytes, text, 4);
        isrecnum = 5;
        EXPECT_OK(iswrite(fd, record));
    }
    EXPECT_OK(iscopy(to, fd, nullptr));
    EXPECT_EQ(heldBy(path("copy")).entries(), heldBy(base()).entries());
    EXPECT_EQ(heldBy(path("copy")).entries()[0].size(), 2U);
}

// Of parts that overlap, no record can be made that gives the same key again.
TEST_F(CopyOrder, KeysWithoutRecordsWhosePartsOverlap) {
    const KeyDesc key = keyDesc(ISNODUPS, {{0, 4, CHARTYPE}, {2, 2, STRINGTYPE}});
    const int fd = build(ISINOUT, key, 0), to = buildNamed(path("copy"), ISINOUT, key, 0);
    for (const char last : {'c', 'd'}) {
        Row record;
        std::memcpy(record.bytes, "ab", 2);
        record.bytes[3] = last;
        isrecnum = last;
        EXPECT_OK(iswrite(fd, record));
    }
    EXPECT_OK(iscopy(to, fd, nullptr));
    EXPECT_EQ(heldBy(path("copy")).entries(), heldBy(base()).entries());
}

TEST_F(CopyOrder, KeysWithoutRecordsIntoAnotherIndex) {
    const int fd = build(ISINOUT, keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {kGroupAt, 2, INTTYPE}}), 0);
    const int to = buildNamed(path("copy"), ISINOUT, groupKey(ISDUPS | ISDUPCOMP), 0);
    for (long n = 1; n <= 6; ++n) {
        isrecnum = 100 + n;
        EXPECT_OK(iswrite(fd, row(n, "", static_cast<int>(n % 2))));
    }
    EXPECT_OK(iscopy(to, fd, nullptr));
    std::vector<long> numbers;
    Row got;
    for (int mode = ISFIRST; isread(to, got, mode) == 0; mode = ISNEXT)
        numbers.push_back(isrecnum);
    EXPECT_EQ(numbers, (std::vector<long>{102, 104, 106, 101, 103, 105}));
    expectWhole(to, path("copy"));
}

// An index added to a file with masks looks at another bit than writes do; what it has left out so is not damage.
TEST_F(CopyOrder, MaskedRecordsThatAnAddedIndexLeftOut) {
    const int fd = build(ISINOUT | ISMASK);
    put(fd, row(30, "b"));
    EXPECT_EQ(issetmask(fd, 1), 0);
    put(fd, row(20, "c"));
    EXPECT_EQ(issetmask(fd, 0), 0);
    put(fd, row(10, "a"));
    add(fd, nameKey());
    dontCheck();
    KeyDesc name = nameKey();
    EXPECT_EQ(idsBy(fd, name), (Ids{10, 30}));
    const int to = buildNamed(path("copy"), ISINOUT | ISMASK);
    add(to, name);
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(copied(), (Ids{10, 30, 20}));
    EXPECT_EQ(idsBy(to, name), (Ids{10, 30, 20})) << "by its own bit it belongs there";
    expectWhole(to, path("copy"));
}

// Both trees grow to several levels; every node is split by keys that ascend, and by some that do not.
TEST_F(CopyOrder, TreesOfSeveralLevels) {
    const KeyDesc wide = keyDesc(ISDUPS, {{kNameAt, 28}});
    const int fd = build();
    add(fd, wide);
    for (long n = 0; n < 4000; ++n)
        put(fd, row(n * 7919 % 4001, "n" + std::to_string(n * 31 % 4001)));
    const Held source = heldBy(base());
    EXPECT_GE(source.report.levels, 3);
    for (const KeyDesc &order : {idKey(), wide, noKey()}) {
        const int index = order.nparts == 0 ? 0 : order.parts[0].start == 0 ? 1 : 2;
        const std::string name = "copy" + std::to_string(index);
        const int to = buildNamed(path(name));
        add(to, wide);
        KeyDesc key = order;
        EXPECT_OK(iscopy(to, fd, &key));
        const Held copied = heldBy(path(name));
        EXPECT_GE(copied.report.levels, 3);
        expectCopy(source, index, copied);
        expectWhole(to, path(name));
    }
}

}  // namespace
}  // namespace api
