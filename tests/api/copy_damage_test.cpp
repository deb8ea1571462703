// Copies of damaged files stop at the damage.
#include "cluster_damage.h"

#include <cerrno>
#include <functional>

namespace api {
namespace {

class CopyDamaged : public DamageTest {
  protected:
    static Ids range(long first, long last) {
        Ids ids;
        for (long each = first; each != last; each += first < last ? 1 : -1)
            ids.push_back(each);
        return ids;
    }
    void expectStopped(int to, int from, KeyDesc key) {
        const Image before = imageOf(base());
        isrecnum = 55;
        EXPECT_FAILS(ISERR_CORRUPT, iscopy(to, from, &key));
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_TRUE(imageOf(base()) == before);
        expectWhole(to, path("copy"));
        // Both go on; no lock keeps them.
        EXPECT_OK(send(iswrite, to, rec(1000, 5)));
        EXPECT_OK(isindex(from, 0, 0));
        EXPECT_EQ(take(from, ISLAST).substr(0, 4), std::string(row(1).bytes, 4));
        EXPECT_OK(isuserinfo(from, 1, row(5)));
    }
};

TEST_P(CopyDamaged, ById) {
    const int fd = makeDamaged(ISLOCKMANUAL), to = makeTarget("copy");
    ASSERT_GE(fd, 0);
    expectStopped(to, fd, id);
    EXPECT_OK(isdelete(to, row(1000)));
    EXPECT_EQ(intact(path("copy")).size(), static_cast<std::size_t>(GetParam().byId));
}

TEST_P(CopyDamaged, ByNumber) {
    const int fd = makeDamaged(ISLOCKMANUAL), to = makeTarget("copy");
    ASSERT_GE(fd, 0);
    if (GetParam().byNumber < 0) {
        EXPECT_OK(iscopy(to, fd, &number));
        EXPECT_EQ(intact(path("copy")).size(), static_cast<std::size_t>(GetParam().found));
        expectWhole(to, path("copy"));
        return;
    }
    expectStopped(to, fd, number);
    EXPECT_OK(isdelete(to, row(1000)));
    EXPECT_EQ(intact(path("copy")), range(kDamagedCount, kDamagedCount - GetParam().byNumber));
}

INSTANTIATE_TEST_SUITE_P(Damages, CopyDamaged, testing::ValuesIn(fileDamages()), fileDamageName);

// Slots by hand: what their status says, and whether they are there at all.
class CopySlots : public WholeTest {
  protected:
    static constexpr std::size_t kSlot = kRowLen + 1;

    // Ids 60 to 10 as records 1 to 6, with an index that leaves out the even ones; opened anew after the change.
    int changed(const std::function<void()> &change) {
        const int fd = build();
        add(fd, partial);
        for (long n = 1; n <= 6; ++n)
            put(fd, row(70 - 10 * n, n % 2 == 0 ? "" : "n" + std::to_string(n)));
        EXPECT_OK(isclose(fd));
        dontCheck();
        change();
        return open();
    }
    void setStatus(std::size_t number, char status) {
        patchFile(path("file.dat"), (number - 1) * kSlot + kRowLen, std::string(1, status));
    }
    // The ids that a copy in an order has taken; the error and iserrio below 0 behind them when it failed.
    Ids copied(int from, KeyDesc key) {
        const std::string name = "copy" + std::to_string(++copies_);
        const int to = buildNamed(path(name));
        Ids ids;
        const int result = iscopy(to, from, &key), code = iserrno, io = iserrio;
        dontCheck();
        for (const auto &record : heldBy(path(name)).records)
            ids.push_back(ldlong(record.second.data()));
        if (result != 0) {
            ids.push_back(-code);
            ids.push_back(-io);
        }
        return ids;
    }
    KeyDesc id = idKey(), partial = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});

  private:
    int copies_ = 0;
};

TEST_F(CopySlots, AsTheyAre) {
    const int fd = changed([] {});
    EXPECT_EQ(copied(fd, id), (Ids{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(copied(fd, noKey()), (Ids{60, 50, 40, 30, 20, 10}));
    EXPECT_EQ(copied(fd, partial), (Ids{60, 40, 20, 50, 30, 10}));
}

// Neither present nor deleted: what reads it, takes it.
TEST_F(CopySlots, UnknownStatusCountsAsPresent) {
    const int fd = changed([this] {
        setStatus(3, 5);
        setStatus(4, 5);
    });
    EXPECT_EQ(copied(fd, noKey()), (Ids{60, 50, 40, 30, 20, 10}));
    EXPECT_EQ(copied(fd, id), (Ids{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(copied(fd, partial), (Ids{60, 40, 20, 50, 30, 10}));
}

// Where no entry leads to it, and one should, it is no record.
TEST_F(CopySlots, UnknownStatusOfADeletedRecord) {
    const int fd = changed([this] {
        const int each = open();
        EXPECT_OK(isdelrec(each, 3));
        EXPECT_OK(isclose(each));
        setStatus(3, 5);
    });
    EXPECT_EQ(copied(fd, id), (Ids{10, 20, 30, 50, 60}));
    EXPECT_EQ(copied(fd, noKey()).size(), 6U);
}

TEST_F(CopySlots, SlotsThatTheDataFileLacks) {
    const int fd = changed([this] { cutFile(path("file.dat"), 4 * kSlot); });
    EXPECT_EQ(copied(fd, noKey()), (Ids{60, 50, 40, 30, -EIO, -0x42}));
    EXPECT_EQ(copied(fd, id), (Ids{-ISERR_CORRUPT, 0}));
    EXPECT_EQ(copied(fd, partial), (Ids{60, 40, -ISERR_CORRUPT, 0}));
}

// The partial index leads to the slots that are there; the others are among those that it leaves out.
TEST_F(CopySlots, LastSlotIsLackingAndLeftOut) {
    const int fd = changed([this] { cutFile(path("file.dat"), 5 * kSlot); });
    EXPECT_EQ(copied(fd, partial), (Ids{60, 40, 20, 50, 30, -EIO, -0x42}));
}

TEST_F(CopySlots, NumbersBeyondTheLastRecord) {
    const int fd = changed([this] {
        long last = 0;
        const int each = open();
        EXPECT_OK(islastrec(each, &last));
        EXPECT_OK(isclose(each));
    });
    EXPECT_EQ(copied(fd, id), (Ids{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(copied(fd, noKey()), (Ids{60, 50, 40, 30, 20, 10, -EIO, -0x42}));
}

// Elsewhere a count that no key can have ends the process.
TEST_F(CopySlots, CountThatNoKeyCanHaveIsAnError) {
    KeyDesc key = nameKey(ISLEADCOMP | ISTRAILCOMP);
    const int made = build();
    add(made, key);
    for (long n = 1; n <= 5; ++n)
        put(made, row(n, "name" + std::to_string(n)));
    EXPECT_OK(isclose(made));
    dontCheck();
    patchFile(path("file.idx"), 3 * 1024 + 2, "\xff");  // the first entry's leading count, in the second index's root
    const int fd = open(), to = buildNamed(path("copy"));
    EXPECT_FAILS(ISERR_CORRUPT, iscopy(to, fd, &key));
    EXPECT_OK(iscopy(to, fd, nullptr));
}

}  // namespace
}  // namespace api
