// Opening files of variable-length records: which modes fit the file, and how the length comes back.
#include "varlen.h"

namespace api {
namespace {

class VarOpen : public VarTest {
  protected:
    static int modeOf(int fd) {
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        return mode;
    }
    // Stores a number in the header of the closed file.
    void damageHeader(std::size_t offset, unsigned value) {
        patchFile(path("file.idx"), offset, {static_cast<char>(value >> 8), static_cast<char>(value)});
        dontCheck();
    }
};

TEST_F(VarOpen, WithoutTheModeIsRefused) {
    EXPECT_OK(isclose(fillVar({0, 100})));
    const int before = openDescriptors();
    for (const int mode : {ISINPUT, ISOUTPUT, ISINOUT, ISINOUT | ISLOCKEXCL, ISINOUT | ISLOCKNONE})
        EXPECT_FAILS(ISERR_ARGUMENT, open(mode)) << mode;
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(openVar(), 0);
}

TEST_F(VarOpen, AutomaticModeTakesTheKindFromTheFile) {
    EXPECT_OK(isclose(fillVar({0, 100})));
    const int fd = open(ISINOUT | ISVARAUTO);
    EXPECT_EQ(modeOf(fd), ISINOUT | ISVARLEN | ISLOCKMANUAL);
    EXPECT_EQ(allOf(fd), (Records{rec(10), rec(20, 100)}));
    const int both = open(ISINPUT | ISVARLEN | ISVARAUTO);
    EXPECT_EQ(modeOf(both), ISINPUT | ISVARLEN | ISLOCKMANUAL);
}

TEST_F(VarOpen, AutomaticModeTakesFixedLengthsToo) {
    EXPECT_OK(isclose(fill({1})));
    const int fd = open(ISINOUT | ISVARAUTO);
    EXPECT_EQ(modeOf(fd), ISINOUT | ISLOCKMANUAL);
    EXPECT_EQ(idsOf(fd), (Ids{1}));
    EXPECT_FAILS(ISERR_ARGUMENT, open(ISINOUT | ISVARAUTO | ISVARLEN));
}

TEST_F(VarOpen, LengthBecomesTheMaximumAndNumberThatOfTheFirstRecord) {
    EXPECT_OK(isclose(fillVar({0, 100})));
    isreclen = isrecnum = 77;
    iserrno = 77;
    EXPECT_EQ(openVar(), 0);
    EXPECT_EQ(isreclen, kVarMax);
    EXPECT_EQ(isrecnum, 1);
}

TEST_F(VarOpen, LengthsOfTwoFilesStandSideBySide) {
    const int small = buildVarNamed(path("a"), ISINOUT, idKey(), 100);
    const int large = buildVarNamed(path("b"), ISINOUT, idKey(), 4000);
    EXPECT_OK(send(iswrite, large, rec(1, 2000)));
    EXPECT_FAILS(ISERR_ROWSIZE, send(iswrite, small, rec(1, 69)));
    EXPECT_OK(send(iswrite, small, rec(1, 68)));
    EXPECT_EQ(take(large, ISFIRST), rec(1, 2000));
    EXPECT_EQ(take(small, ISFIRST), rec(1, 68));
}

TEST_F(VarOpen, CompressedFileBringsItsModeAlong) {
    const std::string record = rec(row(10), std::string(300, ' '));
    const int built = buildVar(ISINOUT | ISCOMPRESS);
    EXPECT_OK(send(iswrite, built, record));
    EXPECT_OK(isclose(built));
    for (const int mode : {0, ISVARLEN, ISCOMPRESS, ISVARLEN | ISCOMPRESS, ISVARAUTO}) {
        SCOPED_TRACE(mode);
        const int fd = open(ISINOUT | mode);
        EXPECT_EQ(modeOf(fd), ISINOUT | ISVARLEN | ISCOMPRESS | ISLOCKMANUAL);
        EXPECT_EQ(take(fd, ISFIRST), record);
        EXPECT_EQ(tailPointer(base(), 1).length, 6U);  // four runs of 63, one of 48, the end of the header
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(VarOpen, CompressionComesFromTheFileAlone) {
    EXPECT_OK(isclose(fillVar({100, 2000})));
    const Records all = {rec(10, 100), rec(20, 2000)};
    for (const int mode : {ISVARLEN | ISCOMPRESS, ISVARAUTO | ISCOMPRESS, ISVARAUTO | ISVARLEN | ISCOMPRESS}) {
        SCOPED_TRACE(mode);
        int fd = open(ISINOUT | mode);
        EXPECT_EQ(modeOf(fd), ISINOUT | ISVARLEN | ISLOCKMANUAL);
        EXPECT_EQ(allOf(fd), all);
        EXPECT_OK(send(isrewrite, fd, all[1]));
        EXPECT_OK(isclose(fd));
        fd = openVar();
        EXPECT_EQ(modeOf(fd), ISINOUT | ISVARLEN | ISLOCKMANUAL);
        EXPECT_EQ(allOf(fd), all);
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(VarOpen, MaximumBeyondTheLimitIsDamage) {
    EXPECT_OK(isclose(fillVar({0})));
    damageHeader(59, ISMAXVARLEN);
    EXPECT_OK(isclose(openVar()));
    const int before = openDescriptors();
    for (const unsigned maximum : {32512U, 40000U, 65535U}) {
        damageHeader(59, maximum);
        EXPECT_FAILS(ISERR_CORRUPT, openVar()) << maximum;
        EXPECT_FAILS(ISERR_CORRUPT, open(ISINOUT | ISVARAUTO)) << maximum;
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(VarOpen, MaximumNotAboveTheMinimumIsDamage) {
    EXPECT_OK(isclose(fillVar({0})));
    damageHeader(59, kRowLen);
    EXPECT_FAILS(ISERR_CORRUPT, openVar());
    damageHeader(59, 1);
    EXPECT_FAILS(ISERR_CORRUPT, openVar());
}

TEST_F(VarOpen, SmallNodesCannotHoldTails) {
    EXPECT_OK(isclose(fillVar({0})));
    damageHeader(6, 511);
    EXPECT_FAILS(ISERR_CORRUPT, openVar());
}

TEST_F(VarOpen, HandlesOfOneFileSeeEachOthersTails) {
    const int one = fillVar({0, 100});
    const int two = openVar();
    EXPECT_EQ(allOf(two), (Records{rec(10), rec(20, 100)}));
    EXPECT_OK(send(isrewrite, one, rec(10, 3000)));
    EXPECT_OK(send(isrewrite, two, rec(20, 2)));
    EXPECT_OK(send(iswrite, one, rec(30, 50)));
    const Records expected = {rec(10, 3000), rec(20, 2), rec(30, 50)};
    EXPECT_EQ(allOf(one), expected);
    EXPECT_EQ(allOf(two), expected);
}

TEST_F(VarOpen, LockModesChangeWithoutLosingTheKind) {
    const int fd = fillVar({100});
    EXPECT_OK(issetmode(fd, ISLOCKAUTO));
    EXPECT_EQ(modeOf(fd), ISINOUT | ISVARLEN | ISLOCKAUTO);
    EXPECT_EQ(take(fd, ISFIRST), rec(10, 100));
    EXPECT_OK(issetmode(fd, ISLOCKMANUAL));
    EXPECT_OK(send(iswrite, fd, rec(20, 7)));
    EXPECT_EQ(allOf(fd), (Records{rec(10, 100), rec(20, 7)}));
}

}  // namespace
}  // namespace api
