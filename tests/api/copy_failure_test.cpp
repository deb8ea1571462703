// Copies that fail part-way: what was copied before stays in a sound file, the record that failed leaves no trace.
#include "cluster_kinds.h"
#include "cluster_limits.h"

#include <cerrno>

namespace api {
namespace {

class CopyFailure : public WholeTest {
  protected:
    static constexpr int kCount = 100;

    // Ids 1 to 100, names in the other order.
    int source() {
        const int fd = build();
        add(fd, nameKey());
        for (long n = 1; n <= kCount; ++n)
            put(fd, row(n, "name" + std::to_string(1000 - n), static_cast<int>(n % 7)));
        return fd;
    }
    int target() {
        const int fd = buildNamed(path("copy"));
        add(fd, nameKey());
        return fd;
    }
    int clone(int fd) const { return isclone(fd, path("whole").c_str()); }
    // The copy fails and leaves exactly the first records of an order in the destination.
    void expectStopped(int code, int io, int to, int from, KeyDesc key, std::size_t copied) {
        const Held source = heldBy(base());
        const Image before = imageOf(path("copy"));
        const std::size_t there = heldBy(path("copy")).records.size();
        const int descriptors = openDescriptors();
        isrecnum = 55;
        EXPECT_FAILS(code, iscopy(to, from, &key));
        EXPECT_EQ(iserrio, io);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(openDescriptors(), descriptors);
        const Held held = heldBy(path("copy"));
        EXPECT_EQ(held.records.size(), there + copied);
        EXPECT_EQ(held.header.lastRecord, there + copied);
        EXPECT_EQ(recordCount(to), static_cast<int>(there + copied));
        std::vector<std::string> sequence = held.sequence(0);
        std::vector<std::string> expected = source.sequence(key.nparts == 0 ? 0 : key.parts[0].start == 0 ? 1 : 2);
        sequence.erase(sequence.begin(), sequence.begin() + static_cast<std::ptrdiff_t>(there));
        expected.resize(copied);
        EXPECT_TRUE(sequence == expected);
        if (copied > 0) EXPECT_GT(changeCounter(imageOf(path("copy"))), changeCounter(before));
        expectWhole(to, path("copy"));
        expectWhole(from, base());
    }
    KeyDesc id = idKey(), name = nameKey();
};

TEST_F(CopyFailure, DuplicateInTheDestination) {
    const int fd = source(), to = target();
    put(to, row(37, "x"));
    expectStopped(ISERR_DUPLICATE, 0, to, fd, id, 36);
    // What stands in the way is gone: the rest cannot follow, since the first ones are there now.
    EXPECT_OK(isdelete(to, row(37)));
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 36);
}

TEST_F(CopyFailure, NoRecordNumberIsLeft) {
    const int fd = source(), to = target();
    EXPECT_OK(issetlastrec(to, 2147483647));
    const Image before = imageOf(path("copy"));
    EXPECT_FAILS(ISERR_DISKSPACE, iscopy(to, fd, &id));
    EXPECT_TRUE(imageOf(path("copy")) == before);
    EXPECT_OK(issetlastrec(to, 0));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), kCount);
}

TEST_F(CopyFailure, DuplicateOfTheFirstRecord) {
    const int fd = source(), to = target();
    put(to, row(1, "x"));
    const Image before = imageOf(path("copy"));
    expectStopped(ISERR_DUPLICATE, 0, to, fd, id, 0);
    EXPECT_TRUE(imageOf(path("copy")).data == before.data);
}

TEST_F(CopyFailure, DuplicateInAnotherIndexThanTheFirst) {
    const int fd = source();
    const int to = target();
    add(to, keyDesc(ISNODUPS, {{kGroupAt, 2, INTTYPE}}));
    expectStopped(ISERR_DUPLICATE, 0, to, fd, name, 7);
    EXPECT_EQ(idsBy(to, id), (Ids{94, 95, 96, 97, 98, 99, 100}));
}

// A number that was free goes back to where it was.
TEST_F(CopyFailure, DuplicateLeavesTheFreeNumbersAsTheyWere) {
    const int fd = source(), to = target();
    putIds(to, {500, 3, 600});
    EXPECT_OK(isdelrec(to, 1));
    EXPECT_OK(isdelrec(to, 3));
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 3);
    expectWhole(to, path("copy"));
    EXPECT_EQ(idsBy(to, noKey()), (Ids{2, 3, 1})) << "the number freed last was taken first";
    EXPECT_OK(iswrite(to, row(700)));
    EXPECT_EQ(isrecnum, 4);
}

TEST_F(CopyFailure, DuplicateKeyWithoutRecords) {
    const KeyDesc key = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}});
    const int fd = buildNamed(path("keys"), ISINOUT, key, 0), to = buildNamed(path("copy"), ISINOUT, key, 0);
    for (long n = 1; n <= 5; ++n) {
        isrecnum = n;
        EXPECT_OK(iswrite(fd, row(n)));
    }
    isrecnum = 9;
    EXPECT_OK(iswrite(to, row(3)));
    isrecnum = 55;
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, nullptr));
    EXPECT_EQ(isrecnum, 55);
    EXPECT_EQ(idsOf(to), (Ids{1, 2, 3}));
    expectWhole(to, path("copy"));
}

TEST_F(CopyFailure, DuplicateOfAVariableLengthRecord) {
    const int fd = fillVar({2000, 700, 1500, 3000, 600});
    const int to = buildVarNamed(path("copy"), ISINOUT);
    EXPECT_OK(send(iswrite, to, rec(40, 10)));
    expectStopped(ISERR_DUPLICATE, 0, to, fd, id, 3);
}

// Slots are written behind one another, so that the limit says how many records find room.
TEST_F(CopyFailure, DiskFullInTheDataFile) {
    const int fd = buildNamed(path("file"));
    for (long n = 1; n <= 400; ++n)
        put(fd, row(n));
    for (const int found_room : {200, 399}) {
        const int to = buildNamed(path("copy"));
        {
            const SizeLimit limit(static_cast<std::uintmax_t>(found_room) * (kRowLen + 1));
            expectStopped(EFBIG, 0x52, to, fd, id, static_cast<std::size_t>(found_room));
        }
        EXPECT_OK(iswrite(to, row(1000)));
        EXPECT_EQ(isrecnum, found_room + 1);
        EXPECT_OK(isclose(to));
        EXPECT_OK(iserase(path("copy").c_str()));
    }
    dontCheck();
}

// The system took a part of the slot and refuses the rest: the part must not stay.
TEST_F(CopyFailure, PieceOfASlotIsTakenAway) {
    const int fd = build(), to = buildNamed(path("copy"));
    for (long n = 1; n <= 300; ++n)
        put(fd, row(n));
    {
        const SizeLimit limit(250U * (kRowLen + 1) + 10);
        EXPECT_FAILS(EFBIG, iscopy(to, fd, &id));
        EXPECT_EQ(iserrio, 0x52);
    }
    EXPECT_EQ(heldBy(path("copy")).records.size(), 250U);
    expectWhole(to, path("copy"));
    EXPECT_OK(iswrite(to, row(1000)));
    EXPECT_EQ(isrecnum, 251);
}

// Wherever the index file stops growing, the records before are there and whole.
TEST_F(CopyFailure, DiskFullInTheIndexFile) {
    const KeyDesc wide = keyDesc(ISDUPS, {{kNameAt, 28}});
    const int fd = buildNamed(path("file"));
    add(fd, wide);
    for (long n = 1; n <= 300; ++n)
        put(fd, row(n * 7919 % 1009, "n" + std::to_string(n * 31 % 97)));
    EXPECT_OK(iscopy(clone(fd), fd, &id));
    const std::uintmax_t full = imageOf(path("whole")).index.size();
    ASSERT_GT(full, 10U * 1024);
    for (std::uintmax_t nodes = 4; nodes * 1024 < full; nodes += 3) {
        SCOPED_TRACE(nodes);
        const int to = buildNamed(path("copy"));
        add(to, wide);
        {
            const SizeLimit limit(nodes * 1024);
            EXPECT_FAILS(EFBIG, iscopy(to, fd, &id));
            EXPECT_EQ(iserrio, 0x51);
        }
        const Held held = heldBy(path("copy"));
        std::vector<std::string> expected = heldBy(base()).sequence(1);
        expected.resize(held.records.size());
        EXPECT_TRUE(held.sequence(0) == expected);
        EXPECT_EQ(recordCount(to), static_cast<int>(held.records.size()));
        expectWhole(to, path("copy"));
        EXPECT_OK(iswrite(to, row(5000)));
        EXPECT_OK(isclose(to));
        EXPECT_OK(iserase(path("copy").c_str()));
    }
    dontCheck();
}

TEST_F(CopyFailure, DiskFullInTheTails) {
    const int fd = buildVar();
    for (long n = 1; n <= 40; ++n)
        EXPECT_OK(send(iswrite, fd, rec(n, 600 + static_cast<std::size_t>(n) * 37)));
    EXPECT_OK(iscopy(clone(fd), fd, &id));
    const std::uintmax_t full = imageOf(path("whole")).index.size();
    for (std::uintmax_t nodes = 3; nodes * 1024 < full; nodes += 4) {
        SCOPED_TRACE(nodes);
        const int to = buildVarNamed(path("copy"), ISINOUT);
        {
            const SizeLimit limit(nodes * 1024);
            EXPECT_FAILS(EFBIG, iscopy(to, fd, &id));
            EXPECT_EQ(iserrio, 0x51);
        }
        const Held held = heldBy(path("copy"));
        EXPECT_GE(held.records.size(), nodes / 3 - 1);
        std::vector<std::string> expected = heldBy(base()).sequence(1);
        expected.resize(held.records.size());
        EXPECT_TRUE(held.sequence(0) == expected);
        expectWhole(to, path("copy"));
        EXPECT_OK(send(iswrite, to, rec(500, 3000)));
        EXPECT_OK(isclose(to));
        EXPECT_OK(iserase(path("copy").c_str()));
    }
    dontCheck();
}

// The tail of the record that finds no slot has to go again, out of a node that others share.
TEST_F(CopyFailure, DiskFullInTheDataFileOfVariableLengths) {
    const int fd = buildVar();
    for (long n = 1; n <= 800; ++n)
        EXPECT_OK(send(iswrite, fd, rec(n, 3)));
    const std::uintmax_t slot = kRowLen + 1 + 6;
    ASSERT_GT(imageOf(base()).data.size(), imageOf(base()).index.size() * 4 / 3);
    for (const std::uintmax_t found_room : {799U, 700U, 640U}) {
        SCOPED_TRACE(found_room);
        const int to = buildVarNamed(path("copy"), ISINOUT);
        {
            const SizeLimit limit(found_room * slot);
            expectStopped(EFBIG, 0x52, to, fd, id, static_cast<std::size_t>(found_room));
        }
        EXPECT_OK(send(iswrite, to, rec(2000, 5)));
        EXPECT_EQ(static_cast<std::uintmax_t>(isrecnum), found_room + 1);
        EXPECT_OK(isclose(to));
        EXPECT_OK(iserase(path("copy").c_str()));
    }
    dontCheck();
}

// Records before an interrupted copy are not concerned.
TEST_F(CopyFailure, SecondAttemptAfterAFullDisk) {
    const KeyDesc dups = idKey(ISDUPS);
    const int fd = source();
    const int to = buildNamed(path("copy"), ISINOUT, dups);
    putIds(to, {1000});
    {
        const SizeLimit limit(4U * 1024);
        EXPECT_FAILS(EFBIG, iscopy(to, fd, &name));
    }
    const int first = recordCount(to);
    EXPECT_GT(first, 1);
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(recordCount(to), first + kCount);
    expectWhole(to, path("copy"));
}

}  // namespace
}  // namespace api
