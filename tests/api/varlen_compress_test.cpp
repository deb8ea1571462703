// Compressed tails: how long they are as stored, and what comes back.
#include "varlen.h"

namespace api {
namespace {

class VarCompress : public VarTest {
  protected:
    int fd = -1;
    void SetUp() override { fd = buildVar(ISINOUT | ISCOMPRESS); }
    // Writes a tail, looks at its stored length and reads back what should be left of it.
    void expectStored(unsigned long stored, const std::string &tail, const std::string &left) {
        SCOPED_TRACE("tail of " + std::to_string(tail.size()));
        const long id = ++last_;
        ASSERT_OK(send(iswrite, fd, rec(row(id), tail)));
        EXPECT_EQ(isreclen, kRowLen + static_cast<int>(tail.size()));
        EXPECT_EQ(tailPointer(base(), isrecnum).length, stored);
        EXPECT_EQ(takeNumber(fd, id), rec(row(id), left));
        EXPECT_EQ(isreclen, kRowLen + static_cast<int>(left.size()));
        EXPECT_EQ(take(fd, ISEQUAL, row(id)), rec(row(id), left));
    }
    void expectStored(unsigned long stored, const std::string &tail) { expectStored(stored, tail, tail); }

  private:
    long last_ = 0;
};

const std::string kTenBlanks(10, ' ');

TEST_F(VarCompress, RunsOfTheThreeFillBytesShrink) {
    expectStored(3, std::string(100, ' '));
    expectStored(3, std::string(100, '\0'));
    expectStored(3, std::string(100, '0'));
    expectStored(2, std::string(63, '0'));
    // 62 bytes saved in each of 78 runs, 53 in the last one; 79 counts and the end.
    expectStored(80, std::string(kVarMax - kRowLen, ' '));
    expectStored(4 + 3, "AB" + std::string(6, ' ') + "C");
}

TEST_F(VarCompress, WhatWouldNotShrinkIsStoredRaw) {
    expectStored(3 + 1, "x");
    expectStored(3 + 1, " ");
    expectStored(3 + 3, "   ");
    expectStored(2, "    ");
    expectStored(3 + 200, std::string(200, 'x'));
    expectStored(3 + 8, "AB     C");
    expectStored(3 + 990, letters(990));
}

TEST_F(VarCompress, LongestRawTailIsLongerThanTheRecord) {
    expectStored(3 + kVarMax - kRowLen, letters(kVarMax - kRowLen));
    KeyDesc key = keyDesc(0, {{0, 4}});
    const int other = isvbuild(path("b").c_str(), 4, ISMAXVARLEN, &key, ISINOUT | ISVARLEN | ISCOMPRESS);
    const std::string record = letters(ISMAXVARLEN);
    EXPECT_OK(send(iswrite, other, record));
    EXPECT_EQ(take(other, ISFIRST), record);
}

TEST_F(VarCompress, MixedRunsAndTextComeBack) {
    // 3 letters, 20 blanks, 2 letters, 5 NULs, 1 letter, 63 + 7 zeros: counts 3 20 2 5 1 63 7, the end, 6 letters.
    expectStored(8 + 6, "abc" + std::string(20, ' ') + "de" + std::string(5, '\0') + "f" + std::string(70, '0'));
    // A single fill byte between letters is a letter.
    expectStored(5 + 5, "a b" + std::string(30, '0') + " c" + std::string(30, ' '));
    expectStored(4, std::string(10, ' ') + std::string(10, '0') + std::string(10, ' '));
}

TEST_F(VarCompress, SixtyFourLettersAtTheEndAreLost) {
    expectStored(3 + 63, kTenBlanks + letters(63));
    expectStored(3, kTenBlanks + letters(64), kTenBlanks);
    expectStored(4 + 65, kTenBlanks + letters(65));
    expectStored(4 + 126, kTenBlanks + letters(126));
    expectStored(4 + 63, kTenBlanks + letters(127), kTenBlanks + letters(127).substr(0, 63));
    expectStored(5 + 128, kTenBlanks + letters(128));
    // A run ends with its 63rd byte: the 64th is the first of the lost ones.
    expectStored(3, std::string(64, ' ') + letters(63), std::string(63, ' '));
    expectStored(4 + 65, std::string(64, ' ') + letters(64));
    // Without anything to save the tail is stored raw, and whole.
    expectStored(3 + 64, letters(64));
}

TEST_F(VarCompress, RunIsNotLengthenedWhileSixtyThreeLettersWait) {
    // Counts: 63 letters, 1 more (the first blank), 19 blanks, 1 letter.
    expectStored(5 + 65, letters(63) + std::string(20, ' ') + "Z");
    expectStored(4 + 64, letters(62) + std::string(20, ' ') + letters(2));
}

TEST_F(VarCompress, LengthLimitIsThatOfTheWholeRecord) {
    EXPECT_OK(send(iswrite, fd, rec(row(1), std::string(10, ' '))));
    expectRefused(base(), ISERR_ROWSIZE,
                  [this] { return send(iswrite, fd, rec(row(2), std::string(kVarMax - kRowLen + 1, ' '))); });
    expectRefused(base(), ISERR_ROWSIZE,
                  [this] { return send(isrewrite, fd, rec(row(1), std::string(kVarMax - kRowLen + 1, ' '))); });
}

TEST_F(VarCompress, GrowsShrinksAndGoes) {
    for (const std::size_t size : {0, 1, 64, 100, 2000, 4968})
        for (const std::string &tail :
             {letters(size), std::string(size, '0'), std::string(size / 2, ' ') + letters(size / 2)}) {
            EXPECT_OK(send(iswrite, fd, rec(row(1), letters(300))));
            EXPECT_OK(send(isrewrite, fd, rec(row(1), tail)));
            EXPECT_EQ(take(fd, ISFIRST), rec(row(1), tail)) << size;
            EXPECT_OK(send(isrewrite, fd, rec(row(1), letters(1200))));
            EXPECT_EQ(take(fd, ISFIRST), rec(row(1), letters(1200)));
            EXPECT_OK(isdelete(fd, row(1)));
        }
    EXPECT_EQ(allOf(fd), (Records{}));
}

TEST_F(VarCompress, TailThatShrinksTakesFewerNodes) {
    const unsigned long before = lastNode(base());
    EXPECT_OK(send(iswrite, fd, rec(row(1), std::string(kVarMax - kRowLen, '0'))));
    EXPECT_EQ(lastNode(base()), before + 1);
    EXPECT_OK(send(iswrite, fd, rec(row(2), letters(kVarMax - kRowLen))));
    EXPECT_EQ(lastNode(base()), before + 6);
}

TEST_F(VarCompress, ReopenedWithoutTheModeItIsStillCompressed) {
    EXPECT_OK(send(iswrite, fd, rec(row(1), std::string(100, ' '))));
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_OK(send(iswrite, fd, rec(row(2), std::string(100, '0'))));
    EXPECT_EQ(tailPointer(base(), 2), (TailPointer{3, 1, 4}));
    EXPECT_EQ(allOf(fd), (Records{rec(row(1), std::string(100, ' ')), rec(row(2), std::string(100, '0'))}));
}

}  // namespace
}  // namespace api
