// Damage in the lists of free numbers and in counters: what the calls that use them say.
#include "../support/damage.h"
#include "steps.h"

#include <memory>

namespace api {
namespace {

using testing_support::Damage;
namespace field = testing_support::field;

class ListDamage : public ApiTest {
  protected:
    void make(std::initializer_list<long> ids) {
        const int fd = build();
        putIds(fd, ids);
        EXPECT_OK(isclose(fd));
        dontCheck();
        damage_ = std::make_unique<Damage>(base());
    }
    Damage &damage() { return *damage_; }

  private:
    std::unique_ptr<Damage> damage_;
};

TEST_F(ListDamage, ListOfRecordsWithNoNumberInIt) {
    make({10, 20, 30});
    int fd = open();
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(isclose(fd));
    const auto nodes = damage().freeList(true).nodes;
    ASSERT_EQ(nodes.size(), 1U);
    damage().node(nodes[0], field::kUsed, field::kNumbers, 2);
    fd = open();
    expectRefused(base(), ISERR_CORRUPT, [fd] { return iswrite(fd, row(40)); });
    EXPECT_EQ(idsOf(fd), (Ids{10, 30}));
}

// The highest record number is that of the last slot; a file of 2^31 slots, without a byte on the disk, has none.
TEST_F(ListDamage, DataFileOfMoreSlotsThanThereAreNumbers) {
    make({10});
    damage().cutData((std::int64_t{1} << 31) * (kRowLen + 1));
    const int fd = open();
    EXPECT_FAILS(ISERR_CORRUPT, isprecious(fd, 1));
    EXPECT_OK(isclose(fd));
    // Nothing of that size is left for others to read.
    damage().cutData(kRowLen + 1);
    const int again = open();
    EXPECT_OK(isprecious(again, 1));
    EXPECT_EQ(idsOf(again), Ids{10});
}

}  // namespace
}  // namespace api
