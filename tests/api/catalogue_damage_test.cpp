// Damage in the chain of key descriptions, and in the tree of an index that is dropped: the call fails, and ends.
#include "../support/damage.h"
#include "steps.h"

#include <memory>

namespace api {
namespace {

using testing_support::Damage;
namespace field = testing_support::field;

class CatalogueDamage : public ApiTest {
  protected:
    static constexpr std::uint32_t kCatalogue = 2;  // its node
    static constexpr int kFirstEntry = 6, kSerialWidth = 11;
    static constexpr int kEntryHead = 7, kPart = 5;

    // A file of two indexes with these many records, closed.
    void make(int records) {
        const int fd = build();
        add(fd, nameKey());
        for (long id = 1; id <= records; ++id)
            EXPECT_OK(iswrite(fd, row(id, std::to_string(id))));
        EXPECT_OK(isclose(fd));
        dontCheck();
        damage_ = std::make_unique<Damage>(base());
    }
    Damage &damage() { return *damage_; }

  private:
    std::unique_ptr<Damage> damage_;
};

TEST_F(CatalogueDamage, DescriptionsThatComeAgainAndAgainAreTooMany) {
    make(2000);
    damage().node(kCatalogue, field::kLink, kCatalogue, 4);
    EXPECT_FAILS(ISERR_KEYDESC, open());
}

TEST_F(CatalogueDamage, ChainThatTurnsRoundEnds) {
    make(1);
    damage().node(kCatalogue, field::kUsed, kFirstEntry, 2);
    damage().node(kCatalogue, field::kLink, kCatalogue, 4);
    EXPECT_FAILS(ISERR_CORRUPT, open());
}

TEST_F(CatalogueDamage, DescriptionOfMorePartsThanAKeyHas) {
    make(1);
    const int length = kEntryHead + (ISMAXPARTS + 1) * kPart;
    damage().node(kCatalogue, kFirstEntry, static_cast<std::uint32_t>(length), 2);
    damage().node(kCatalogue, field::kUsed, static_cast<std::uint32_t>(kFirstEntry + length), 2);
    EXPECT_FAILS(ISERR_KEYDESC, open());
}

TEST_F(CatalogueDamage, SerialsWiderThanNumbersAre) {
    make(1);
    damage().header(kSerialWidth, 8, 1);
    EXPECT_OK(isclose(open()));
    for (const std::uint32_t width : {9, 127, 128, 255}) {
        SCOPED_TRACE(width);
        damage().header(kSerialWidth, width, 1);
        EXPECT_FAILS(ISERR_CORRUPT, open());
    }
}

TEST_F(CatalogueDamage, MadeWhileTheFileIsOpenIsMetByAddingAndDropping) {
    make(10);
    const int fd = open();
    const std::uint32_t used = damage().nodeValue(kCatalogue, field::kUsed, 2);
    KeyDesc name = nameKey(), group = groupKey();
    // Round and round.
    damage().node(kCatalogue, field::kLink, kCatalogue, 4);
    EXPECT_FAILS(ISERR_CORRUPT, isaddindex(fd, &group));
    damage().node(kCatalogue, field::kUsed, kFirstEntry, 2);
    EXPECT_FAILS(ISERR_CORRUPT, isdelindex(fd, &name));
    // To the end, without the description.
    damage().node(kCatalogue, field::kLink, 0, 4);
    EXPECT_FAILS(ISERR_CORRUPT, isdelindex(fd, &name));
    damage().node(kCatalogue, field::kUsed, used, 2);
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(isdelindex(fd, &group));
    EXPECT_EQ(ischeckdata(fd), 0);
}

// A tree of three levels whose root leads to the same child again and again has more nodes than the file.
TEST_F(CatalogueDamage, TreeThatIsWalkedForEverIsNotDropped) {
    constexpr int kPerNode = 8;
    const int fd = build(ISINOUT, idKey(), 124);
    KeyDesc wide = keyDesc(ISNODUPS, {{0, 120, CHARTYPE}});
    EXPECT_OK(isaddindex(fd, &wide));
    std::string record(124, ' ');
    for (long id = 1; id <= 193; ++id) {
        stlong(id, record.data());
        ASSERT_OK(iswrite(fd, record.data()));
    }
    EXPECT_OK(isclose(fd));
    dontCheck();
    Damage damage(base());
    const std::uint32_t root = damage.tree(2).front();
    auto entries = damage.entries(2, root);
    const auto larger = [&damage](const auto &a, const auto &b) {
        return damage.entries(2, a.pointer).size() < damage.entries(2, b.pointer).size();
    };
    entries.assign(kPerNode, *std::max_element(entries.begin(), entries.end(), larger));
    damage.store(2, root, entries);
    const int again = open();
    expectRefused(base(), ISERR_CORRUPT, [&] { return isdelindex(again, &wide); });
    EXPECT_EQ(ischeckindex(again, 1), 0);
}

}  // namespace
}  // namespace api
