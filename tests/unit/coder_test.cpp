// Coded tails that nobody has coded: refused, or expanded within their room.

#include <algorithm>
#include <random>

#include "storage/issquash.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kGuard = 0xa5;

class Coder : public testing::Test {
  protected:
    // Expands stream into room bytes; the length, or minus the error code. Bytes behind the room stay.
    int expand(const Bytes &stream, int room) {
        IsamFile *h = file_.handle();
        out_.assign(static_cast<std::size_t>(room) + 70, kGuard);
        int length = 0;
        const int error = file_.change([&] {
            std::uint8_t *work = isDbuffer(h, static_cast<int>(stream.size()));
            std::copy(stream.begin(), stream.end(), work);
            length = isDexpand(h, out_.data(), static_cast<int>(stream.size()), room);
        });
        EXPECT_TRUE(std::all_of(out_.begin() + room, out_.end(), [](std::uint8_t b) { return b == kGuard; }));
        return error != 0 ? -error : length;
    }

    ScratchFile file_{8, charKey(4)};
    Bytes out_;
};

TEST_F(Coder, ExpandsControlBytesOfEveryKind) {
    EXPECT_EQ(expand({0x02, 0x43, 0x82, 0xc1, 0x01, 0x00, 'a', 'b', 'c'}, 20), 9);
    EXPECT_EQ(Bytes(out_.begin(), out_.begin() + 9), (Bytes{'a', 'b', 0, 0, 0, ' ', ' ', '0', 'c'}));
    EXPECT_EQ(expand({0x00, 0x00, 0x02, 'x', 'y'}, 2), 2);
    EXPECT_EQ(Bytes(out_.begin(), out_.begin() + 2), (Bytes{'x', 'y'}));
}

TEST_F(Coder, RefusesAStreamWithoutEnd) {
    EXPECT_EQ(expand({}, 10), -105);
    EXPECT_EQ(expand({0x81, 0x82, 0x83}, 10), -105);
    EXPECT_EQ(expand({0x00}, 10), -105);
    EXPECT_EQ(expand({0x00, 0x00}, 10), -105);
}

TEST_F(Coder, RefusesMoreLiteralsThanThereAre) {
    EXPECT_EQ(expand({0x03, 0x00, 'a', 'b'}, 10), -105);
    EXPECT_EQ(expand({0x00, 0x00, 0x03, 'a', 'b'}, 10), -105);
}

TEST_F(Coder, RefusesToGoPastTheRoom) {
    EXPECT_EQ(expand({0x8a, 0x00}, 10), 10);
    EXPECT_EQ(expand({0x8b, 0x00}, 10), -105);
    EXPECT_EQ(expand({0x8a, 0x01, 0x00, 'x'}, 10), -105);
    EXPECT_EQ(expand({0x00, 0x00, 0x03, 'a', 'b', 'c'}, 2), -105);
}

TEST_F(Coder, KeepsWithinItsRoomWhateverItIsGiven) {
    std::mt19937 random(20);
    int expanded = 0, refused = 0;
    for (int i = 0; i < 20000; ++i) {
        Bytes stream(random() % 12 + 1);
        for (std::uint8_t &byte : stream)
            byte = static_cast<std::uint8_t>(random() % 3 == 0 ? random() % 4 : random());
        const int room = static_cast<int>(random() % 80);
        const int result = expand(stream, room);
        if (result >= 0) {
            EXPECT_LE(result, room);
            ++expanded;
        } else {
            EXPECT_EQ(result, -105);
            ++refused;
        }
    }
    EXPECT_GT(expanded, 1000);
    EXPECT_GT(refused, 1000);
}

// What is coded fits the buffer that was asked for, and comes back.
TEST_F(Coder, BringsBackWhatItHasCoded) {
    std::mt19937 random(21);
    IsamFile *h = file_.handle();
    for (int i = 0; i < 5000; ++i) {
        // Ends in a run, so that no 64 literals stand at the end.
        Bytes tail(random() % 300 + 1);
        const unsigned dense = random() % 4 + 1;
        for (std::uint8_t &byte : tail)
            byte = random() % 4 < dense ? static_cast<std::uint8_t>(random()) : "\0 0"[random() % 3];
        tail.insert(tail.end(), 2 + random() % 200, "\0 0"[random() % 3]);

        const auto size = static_cast<int>(tail.size());
        Bytes back(tail.size());
        int length = 0;
        ASSERT_EQ(file_.change([&] {
            isDbuffer(h, size);
            length = isDsquash(h, tail.data(), size);
            isDexpand(h, back.data(), length, size);
        }),
                  0);
        ASSERT_LE(length, size + 3);
        ASSERT_EQ(back, tail);
    }
}

}  // namespace
