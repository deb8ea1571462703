// Numbers under which records came back while a transaction was undone.
#include "txn/istransmove.h"
#include "unit/scratch_file.h"

namespace {

using unit::ScratchFile;

class Moves : public testing::Test {
  protected:
    ~Moves() override { isFreeMoves(&moves_); }
    std::uint32_t now(std::uint32_t number) { return isMovedTo(&moves_, h(), number); }
    IsamFile *h() { return file_.handle(); }

    ScratchFile file_{8, unit::charKey(8)};
    TxnMoves moves_{};
};

TEST_F(Moves, NumberThatNeverCameBackIsItself) {
    EXPECT_EQ(now(5), 5U);
    EXPECT_FALSE(isBack(&moves_, h(), 5));
}

TEST_F(Moves, RecordThatCameBackGoesByItsNewNumber) {
    isNoteMove(&moves_, h(), 5, 7);
    isNoteMove(&moves_, h(), 6, 6);
    EXPECT_EQ(now(5), 7U);
    EXPECT_EQ(now(7), 7U);
    EXPECT_TRUE(isBack(&moves_, h(), 5));
    EXPECT_TRUE(isBack(&moves_, h(), 6));
    EXPECT_FALSE(isBack(&moves_, h(), 7));
}

TEST_F(Moves, NumberIsItselfAgainWhenItsRecordHasGone) {
    isNoteMove(&moves_, h(), 5, 7);
    isEndMove(&moves_, h(), 5);
    EXPECT_EQ(now(5), 5U);
    EXPECT_FALSE(isBack(&moves_, h(), 5));
    isEndMove(&moves_, h(), 5);
    EXPECT_EQ(now(5), 5U);
}

TEST_F(Moves, TheLastOneCountsAndNoneWhenItHasGone) {
    isNoteMove(&moves_, h(), 1, 2);
    isNoteMove(&moves_, h(), 5, 7);
    isNoteMove(&moves_, h(), 5, 8);
    isEndMove(&moves_, h(), 1);
    EXPECT_EQ(now(5), 8U);
    isEndMove(&moves_, h(), 5);
    EXPECT_EQ(now(5), 5U);
}

TEST_F(Moves, FilesHaveTheirOwn) {
    ScratchFile other{8, unit::charKey(8)};
    isNoteMove(&moves_, h(), 5, 7);
    EXPECT_EQ(isMovedTo(&moves_, other.handle(), 5), 5U);
    isNoteMove(&moves_, other.handle(), 5, 9);
    EXPECT_EQ(now(5), 7U);
}

TEST_F(Moves, AreAsManyAsATransactionDeletes) {
    for (std::uint32_t number = 1; number <= 1000; ++number)
        isNoteMove(&moves_, h(), number, number + 5000);
    for (std::uint32_t number = 1; number <= 1000; ++number)
        EXPECT_EQ(now(number), number + 5000);
}

}  // namespace
