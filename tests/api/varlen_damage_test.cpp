// Damaged tails: every call that meets one fails with 105 and changes nothing.
#include "varlen.h"

#include <cstdio>

namespace api {
namespace {

constexpr std::size_t kNode = 1024;

class VarDamage : public VarTest {
  protected:
    // Record 1 has a tail of 2000 bytes: whole pieces in nodes 6 and 5, the rest of 12 bytes in node 4.
    void prepare(int mode = ISINOUT) {
        EXPECT_OK(isclose(fillVar({2000, 0}, mode)));
        dontCheck();
    }
    void patch(const char *extension, std::size_t offset, const std::string &bytes) {
        patchFile(path("file") + extension, offset, bytes);
    }
    void patchNode(std::size_t number, std::size_t offset, const std::string &bytes) {
        patch(".idx", (number - 1) * kNode + offset, bytes);
    }
    void patchPointer(const std::string &bytes, std::size_t offset = 0) { patch(".dat", kRowLen + 1 + offset, bytes); }

    void expectDamage() {
        const int fd = openVar();
        ASSERT_GE(fd, 0);
        expectRefused(base(), ISERR_CORRUPT, [=] { return send(isrewrite, fd, rec(10, 5)); });
        expectRefused(base(), ISERR_CORRUPT, [=] { return sendTo(fd, 1, rec(10, 3000)); });
        expectRefused(base(), ISERR_CORRUPT, [=] { return isdelete(fd, row(10)); });
        expectRefused(base(), ISERR_CORRUPT, [=] { return isdelrec(fd, 1); });
        EXPECT_EQ(take(fd, ISEQUAL, row(10)), error(ISERR_CORRUPT));
        EXPECT_EQ(takeNumber(fd, 1), error(ISERR_CORRUPT));
        // The other record is as good as ever.
        EXPECT_EQ(take(fd, ISEQUAL, row(20)), rec(20));
        EXPECT_OK(isclose(fd));
    }
};

TEST_F(VarDamage, SoundTailIsAsExpected) {
    prepare();
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{2000, 0, 6}));
    const Image image = imageOf(base());
    EXPECT_EQ(numberAt(nodeOf(image, 6), 2, 2), 0x7e26U);
    EXPECT_EQ(numberAt(nodeOf(image, 6), 17, 3), 5U);
    EXPECT_EQ(numberAt(nodeOf(image, 5), 17, 3), 4U);
    EXPECT_EQ(numberAt(nodeOf(image, 4), 20, 1), 0U);
}

TEST_F(VarDamage, NodeThatIsNoRemnantNode) {
    prepare();
    patchNode(5, 2, "\x7e\x27");
    expectDamage();
}

TEST_F(VarDamage, TailLongerOrShorterThanItsPieces) {
    for (const std::string &length : {std::string("\x07\xcf"), std::string("\x07\xd1"), std::string("\0\x01", 2),
                                      std::string("\x13\x68"), std::string("\xff\xff")}) {
        SCOPED_TRACE(numberAt(length, 0, 2));
        prepare();
        patchPointer(length);
        expectDamage();
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, PointerToNoPiece) {
    const struct {
        const char *name;
        std::string bytes;
    } cases[] = {{"slot outside the node", std::string("\x01\0\0\x06", 4)},
                 {"slot far outside", std::string("\xff\0\0\x06", 4)},
                 {"no node", std::string("\0\0\0\0", 4)},
                 {"the header", std::string("\0\0\0\x01", 4)},
                 {"the root", std::string("\0\0\0\x03", 4)},
                 {"behind the end", std::string("\0\0\0\x07", 4)},
                 {"far behind the end", std::string("\0\xff\xff\xff", 4)},
                 {"inside the chain", std::string("\0\0\0\x05", 4)}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        prepare();
        patchPointer(c.bytes, 2);
        expectDamage();
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, ChainThatGoesWrong) {
    const struct {
        const char *name;
        std::size_t node;
        std::string bytes;
    } cases[] = {{"ends early", 6, std::string("\0\0\0\x05\0", 5)},
                 {"goes on at the end", 4, std::string("\0\0\0\x05\x01", 5)},
                 {"in a circle", 5, std::string("\0\0\0\x06\x01", 5)},
                 {"to itself", 6, std::string("\0\0\0\x06\x01", 5)},
                 {"outside the file", 5, std::string("\0\0\x01\0\x01", 5)},
                 {"to a slot that is not there", 5, std::string("\x07\0\0\x04\x01", 5)}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        prepare();
        patchNode(c.node, 16, c.bytes);
        expectDamage();
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, PieceOutsideItsNode) {
    prepare();
    // The piece of node 6 begins 30 bytes before the node's end.
    patchNode(6, kNode - 5, "\x03\xe2");
    expectDamage();
}

TEST_F(VarDamage, CompressedTailThatCannotBeExpanded) {
    const struct {
        const char *name;
        std::string bytes;
    } cases[] = {{"no end of the header", std::string(6, '\xbf')},
                 {"body too short", std::string("\x3f\x02\0abc", 6)},
                 {"raw length too long", std::string("\0\x10\0abc", 6)},
                 {"raw length above the maximum", std::string("\0\xff\xff"
                                                              "abc",
                                                              6)}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const int built = buildVar(ISINOUT | ISCOMPRESS);
        EXPECT_OK(send(iswrite, built, rec(row(10), std::string(300, ' '))));  // six bytes
        EXPECT_OK(isclose(built));
        dontCheck();
        patchNode(4, 23, c.bytes);
        const int fd = openVar();
        EXPECT_EQ(take(fd, ISEQUAL, row(10)), error(ISERR_CORRUPT));
        EXPECT_EQ(takeNumber(fd, 1), error(ISERR_CORRUPT));
        EXPECT_OK(isclose(fd));
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, ExpansionNeverGoesPastTheMaximum) {
    // Six bytes that stand for 315 blanks, in a file of records of 300 bytes more than the minimum.
    for (const int spare : {314, 315}) {
        const int built = buildVar(ISINOUT | ISCOMPRESS, idKey(), kRowLen + spare);
        EXPECT_OK(send(iswrite, built, rec(row(10), std::string(300, ' '))));
        EXPECT_OK(isclose(built));
        dontCheck();
        patchNode(4, 23, std::string("\xbf\xbf\xbf\xbf\xbf\0", 6));
        const int fd = openVar();
        EXPECT_EQ(take(fd, ISFIRST), spare < 315 ? error(ISERR_CORRUPT) : rec(row(10), std::string(315, ' ')));
        EXPECT_OK(isclose(fd));
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, BucketHeadThatIsNoRemnantNode) {
    for (const std::string &head :
         {std::string("\0\0\0\x03", 4), std::string("\0\0\x01\0", 4), std::string("\xff\xff\xff\xff", 4)}) {
        SCOPED_TRACE(numberAt(head, 0, 4));
        prepare();
        patch(".idx", 61 + 4 * 4, head);
        const int fd = openVar();
        expectRefused(base(), ISERR_CORRUPT, [=] { return send(iswrite, fd, rec(30, 5)); });
        expectRefused(base(), ISERR_CORRUPT, [=] { return send(isrewrite, fd, rec(20, 5)); });
        EXPECT_EQ(take(fd, ISEQUAL, row(10)), rec(10, 2000));
        EXPECT_OK(isclose(fd));
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(VarDamage, BucketHeadWithoutRoomIsPassedOver) {
    prepare();
    patch(".idx", 61 + 4 * 4, std::string("\0\0\0\x06", 4));
    const int fd = openVar();
    EXPECT_OK(send(iswrite, fd, rec(30, 5)));
    EXPECT_OK(send(isrewrite, fd, rec(20, 5)));
    EXPECT_EQ(allOf(fd), (Records{rec(10, 2000), rec(20, 5), rec(30, 5)}));
}

}  // namespace
}  // namespace api
