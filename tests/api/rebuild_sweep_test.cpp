// Rebuilds of files damaged at random anywhere: they come back, with a success that holds or an error.
#include "check_sweep.h"
#include "rebuild_kinds.h"

namespace api {
namespace {

class RebuildSweep : public RebuildTest {
  protected:
    // A rebuild may fail, but then with a code; one that succeeds leaves something that its check finds sound. A slot
    // that is neither a record nor free is beyond it, though, and does not let list and entries be counted.
    void rebuildAll() {
        iserrno = 0;
        const int fd = isopen(base(), ISINOUT | ISVARAUTO | kind().mode);
        if (fd < 0) {
            EXPECT_NE(iserrno, 0);
            return;
        }
        IsamFile *file = isAdmItoD(fd);
        const bool list = isRebuildFree(file, ISFREE_DATA) == 1;
        EXPECT_EQ(list, isErrno(file) == 0);
        const int data = ischeckdata(fd);
        if (list && !kind().precious) EXPECT_EQ(data & ~ISCHK_RECORD, (data & ISCHK_RECORD) != 0 ? ISCHK_FREELIST : 0);
        for (int index = 1; index <= kind().indexes(); ++index) {
            const bool done = isRebuildIdx(file, index) == 1;
            EXPECT_EQ(done, isErrno(file) == 0);
            if (done && data == 0) EXPECT_EQ(ischeckindex(fd, index), 0) << index;
        }
        checksOf(fd, kind().indexes());
        EXPECT_OK(isclose(fd));
    }
};

TEST_P(RebuildSweep, DamageAnywhere) {
    EXPECT_OK(isclose(make(24)));
    dontCheck();
    const Damage::Contents whole = damage().contents();
    EXPECT_EQ(sweep(200,
                    [&](int i) {
                        damage().restore(whole);
                        Dice dice(static_cast<std::uint32_t>(7000 + i));
                        scatterDamage(damage(), dice);
                        rebuildAll();
                    }),
              0);
    damage().restore(whole);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RebuildSweep,
                         testing::ValuesIn(kindsWith([](const Kind &kind) { return kind.records; })), kindName);

}  // namespace
}  // namespace api
