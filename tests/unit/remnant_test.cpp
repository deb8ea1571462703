// Remnant nodes in memory: pieces and slots, and nodes that are damaged.

#include <cstring>
#include <random>

#include "storage/isremnant.h"
#include "storage/remnant_layout.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;
using namespace remnant;

class RemnantNode : public testing::Test {
  protected:
    int add(const std::string &piece) {
        int slot = -1;
        const int error =
            file_.change([&] { slot = toRemNode(h_, node_.data(), piece.data(), static_cast<int>(piece.size())); });
        return error != 0 ? -error : slot;
    }
    int cut(int slot) {
        return file_.change([&] { rmRemSlot(h_, node_.data(), slot); });
    }
    std::string piece(int slot) {
        std::string bytes = "?";
        file_.change([&] {
            const PieceBytes found = isRemPiece(h_, node_.data(), slot);
            bytes.assign(reinterpret_cast<const char *>(found.data), static_cast<std::size_t>(found.length));
        });
        return bytes;
    }
    int check() {
        return file_.change([&] { isCheckRemNode(h_, node_.data()); });
    }

    ScratchFile file_{8, charKey(4)};
    IsamFile *h_ = file_.handle();
    std::vector<std::uint8_t> node_ = std::vector<std::uint8_t>(1024);
};

TEST_F(RemnantNode, PiecesKeepTheirSlotsWhenOthersGo) {
    EXPECT_EQ(add("alpha"), 0);
    EXPECT_EQ(add("beta"), 1);
    EXPECT_EQ(add("gamma"), 2);
    EXPECT_EQ(cut(0), 0);
    EXPECT_EQ(piece(1), "beta");
    EXPECT_EQ(piece(2), "gamma");
    EXPECT_EQ(slotCount(h_, node_.data()), 2);
    EXPECT_EQ(cut(2), 0);
    EXPECT_EQ(add("delta"), 2);
    EXPECT_EQ(add("eps"), 0);
    EXPECT_EQ(slots(node_.data()), 3);
    EXPECT_EQ(freeBytes(node_.data()), 998 - 3 * 4 - 12);
    EXPECT_EQ(dataEnd(node_.data()), 23 + 12);
}

TEST_F(RemnantNode, BytesOfACutPieceAreZero) {
    ASSERT_EQ(add("alpha"), 0);
    ASSERT_EQ(add("beta"), 1);
    ASSERT_EQ(cut(0), 0);
    EXPECT_EQ(std::string(node_.begin() + 23, node_.begin() + 32), std::string("beta\0\0\0\0\0", 9));
    EXPECT_EQ(ld_long(slotAt(node_.data(), 1024, 0)), 0U);
}

TEST_F(RemnantNode, HoldsExactlyOneWholePiece) {
    EXPECT_EQ(add(std::string(994, 'x')), 0);
    EXPECT_EQ(freeBytes(node_.data()), 0);
    EXPECT_EQ(add("y"), -105);
    EXPECT_EQ(check(), 0);
}

TEST_F(RemnantNode, EachFieldOutOfRangeIsDamage) {
    ASSERT_EQ(add("alpha"), 0);
    const std::vector<std::uint8_t> sound = node_;
    struct Field {
        int offset;
        std::uint8_t value;
    };
    for (const Field f :
         {Field{2, 0x7f}, Field{12, 0xff}, Field{14, 0x04}, Field{15, 22}, Field{21, 250}, Field{22, 5}}) {
        node_ = sound;
        node_[static_cast<std::size_t>(f.offset)] = f.value;
        EXPECT_EQ(check(), 105) << f.offset;
    }
}

TEST_F(RemnantNode, SlotsWithoutAPieceAreDamage) {
    ASSERT_EQ(add("alpha"), 0);
    EXPECT_EQ(piece(1), "?");
    EXPECT_EQ(piece(255), "?");
    std::uint8_t *slot = slotAt(node_.data(), 1024, 0);
    for (const auto &[length, offset] : {std::pair(5, 22), std::pair(6, 23), std::pair(0, 23), std::pair(5, 0)}) {
        setPiece(slot, length, offset);
        EXPECT_EQ(piece(0), "?") << length << " at " << offset;
        EXPECT_EQ(cut(0), 105);
    }
}

TEST_F(RemnantNode, OverlappingPiecesAreDamage) {
    ASSERT_EQ(add("alpha"), 0);
    ASSERT_EQ(add("beta"), 1);
    setPiece(slotAt(node_.data(), 1024, 1), 4, 25);
    EXPECT_EQ(cut(0), 105);
}

// Nothing outside the node is touched, whatever it holds: the sanitizers watch.
TEST_F(RemnantNode, DamageNeverLeadsOutOfTheNode) {
    std::mt19937 random(22);
    int refused = 0, worked = 0;
    for (int round = 0; round < 5000; ++round) {
        std::fill(node_.begin(), node_.end(), std::uint8_t{0});
        for (int i = 0; i < 6; ++i)
            add(std::string(random() % 150 + 1, static_cast<char>('a' + i)));
        for (unsigned i = random() % 4; i > 0; --i) {
            const std::size_t at = random() % 2 != 0 ? random() % 23 : 1023 - random() % 40;
            node_[at] = static_cast<std::uint8_t>(random());
        }
        for (int step = 0; step < 4; ++step) {
            if (check() != 0) {
                ++refused;
                break;
            }
            const int slot = static_cast<int>(random() % 8);
            const bool done = random() % 2 != 0 ? cut(slot) == 0 : add(std::string(random() % 300 + 1, 'z')) >= 0;
            ++(done ? worked : refused);
        }
    }
    EXPECT_GT(refused, 500);
    EXPECT_GT(worked, 500);
}

}  // namespace
