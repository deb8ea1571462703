// Pieces of memory out of large blocks.

#include "base/isslab.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "base/isglobal.h"

namespace {

constexpr std::size_t kSize = 1216, kOther = 4288;

TEST(Slab, PiecesDoNotOverlapAndAreUsedAgain) {
    std::vector<std::uint8_t *> pieces;
    for (int i = 0; i < 4000; ++i) {
        pieces.push_back(static_cast<std::uint8_t *>(isSlabTake(i % 5 == 0 ? kOther : kSize)));
        std::memset(pieces.back(), i % 251, i % 5 == 0 ? kOther : kSize);
    }
    for (int i = 0; i < 4000; ++i)
        for (const std::size_t at : {std::size_t{0}, (i % 5 == 0 ? kOther : kSize) - 1})
            ASSERT_EQ(pieces[static_cast<std::size_t>(i)][at], i % 251) << i;
    isSlabGive(pieces[7]);
    EXPECT_EQ(isSlabTake(kSize), pieces[7]);
    for (std::uint8_t *piece : pieces)
        isSlabGive(piece);
    EXPECT_EQ(isProcess.slabs, nullptr) << "an empty block goes back";
}

TEST(Slab, BlockThatWasFullHasRoomAgain) {
    std::vector<void *> pieces = {isSlabTake(kSize)};
    while (isProcess.slabs != nullptr)
        pieces.push_back(isSlabTake(kSize));
    isSlabGive(pieces[3]);
    EXPECT_NE(isProcess.slabs, nullptr);
    EXPECT_EQ(isSlabTake(kSize), pieces[3]);
    EXPECT_EQ(isProcess.slabs, nullptr);
    for (void *piece : pieces)
        isSlabGive(piece);
    EXPECT_EQ(isProcess.slabs, nullptr);
}

}  // namespace
