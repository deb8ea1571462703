// Building files of variable-length records: which lengths and modes are taken, and what comes of them.
#include "varlen.h"

#include <cerrno>
#include <utility>

namespace api {
namespace {

class VarBuild : public VarTest {
  protected:
    static int modeOf(int fd) {
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        return mode;
    }
    // Builds by both calls, which must do the same.
    void expectRefused(int code, int minimum, int maximum, int mode, KeyDesc key = keyDesc(0, {{0, 4}})) {
        SCOPED_TRACE(std::to_string(minimum) + ".." + std::to_string(maximum));
        isreclen = minimum;
        EXPECT_FAILS(code, isbuild(base(), maximum, &key, mode));
        EXPECT_FAILS(code, isvbuild(base(), minimum, maximum, &key, mode));
        EXPECT_FALSE(exists(path("file.idx")));
        EXPECT_FALSE(exists(path("file.dat")));
    }
};

TEST_F(VarBuild, MinimumIsTakenFromTheGlobalLength) {
    KeyDesc key = keyDesc(0, {{0, 4}});
    isreclen = 10;
    isrecnum = 77;
    const int fd = buildNamed(base(), ISINOUT | ISVARLEN, key, 200);
    EXPECT_EQ(isreclen, 10);
    EXPECT_EQ(isrecnum, 0);
    EXPECT_EQ(isqv_datlen(fd), 10);
    const Image image = imageOf(base());
    EXPECT_EQ(numberAt(image.index, 13, 2), 10U);
    EXPECT_EQ(numberAt(image.index, 59, 2), 200U);
    EXPECT_TRUE(image.data.empty());
}

TEST_F(VarBuild, DescriptionTellsMaximumCountAndMinimum) {
    KeyDesc key = keyDesc(0, {{0, 4}});
    const int fd = isvbuild(base(), 10, 200, &key, ISINOUT | ISVARLEN);
    DictInfo info{};
    iserrno = 77;
    isreclen = 77;
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.keyCount, 0x8001);
    EXPECT_EQ(info.recordLength, 200);
    EXPECT_EQ(info.nodeSize, 1024);
    EXPECT_EQ(info.recordCount, 0);
    EXPECT_EQ(isreclen, 10);
    isreclen = 77;
    DictInfo again{};
    EXPECT_OK(isindexinfo(fd, &again, 0));
    EXPECT_EQ(again.keyCount, 0x8001);
    EXPECT_EQ(again.recordLength, 200);
    EXPECT_EQ(isreclen, 10);
}

TEST_F(VarBuild, DescriptionCountsRecordsAndIndexes) {
    const int fd = fillVar({0, 1, 100});
    add(fd, nameKey());
    EXPECT_OK(isdelrec(fd, 2));
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.keyCount, 0x8002);
    EXPECT_EQ(info.recordLength, kVarMax);
    EXPECT_EQ(info.recordCount, 2);
    EXPECT_EQ(isreclen, kRowLen);
}

TEST_F(VarBuild, LengthsOutOfBoundsAreRefused) {
    for (const auto &[minimum, maximum] :
         {std::pair{10, 32512}, {10, 40000}, {200, 200}, {201, 200}, {10, 0}, {10, -1}})
        expectRefused(ISERR_ARGUMENT, minimum, maximum, ISINOUT | ISVARLEN);
    for (const auto &[minimum, maximum] : {std::pair{32511, 32511}, {32511, 32512}, {65535, 65536}, {40000, 32511}})
        expectRefused(ISERR_ARGUMENT, minimum, maximum, ISINOUT | ISVARLEN);
}

TEST_F(VarBuild, MinimumMustHoldARecord) {
    for (const int minimum : {0, -1, -200})
        expectRefused(ISERR_ARGUMENT, minimum, 200, ISINOUT | ISVARLEN);
    expectRefused(ISERR_ARGUMENT, 0, 200, ISINOUT | ISVARLEN, noKey());
    expectRefused(ISERR_ARGUMENT, 0, 200, ISINOUT | ISVARLEN | ISCOMPRESS);
}

TEST_F(VarBuild, LongestMaximumAndLongestMinimumAreTaken) {
    KeyDesc key = keyDesc(0, {{0, 4}});
    const int shortest = isvbuild(path("a").c_str(), 4, ISMAXVARLEN, &key, ISINOUT | ISVARLEN);
    EXPECT_GE(shortest, 0);
    EXPECT_EQ(isreclen, 4);
    isreclen = ISMAXVARLEN - 1;
    const int longest = isbuild(path("b").c_str(), ISMAXVARLEN, &key, ISINOUT | ISVARLEN);
    EXPECT_GE(longest, 0);
    EXPECT_EQ(isreclen, ISMAXVARLEN - 1);
    const std::string record = letters(ISMAXVARLEN);
    for (const int fd : {shortest, longest}) {
        EXPECT_OK(send(iswrite, fd, record));
        EXPECT_EQ(take(fd, ISFIRST), record);
    }
}

TEST_F(VarBuild, KeysLieInTheFixedPart) {
    expectRefused(ISERR_KEYDESC, 10, 200, ISINOUT | ISVARLEN, keyDesc(0, {{7, 4}}));
    expectRefused(ISERR_KEYDESC, 10, 200, ISINOUT | ISVARLEN, keyDesc(0, {{10, 1}}));
    const int fd = buildVar();
    KeyDesc beyond = keyDesc(ISDUPS, {{kRowLen - 1, 2}});
    EXPECT_FAILS(ISERR_KEYDESC, isaddindex(fd, &beyond));
    KeyDesc last = keyDesc(ISDUPS, {{kRowLen - 1, 1}});
    EXPECT_OK(isaddindex(fd, &last));
}

TEST_F(VarBuild, ModeShowsWhatWasBuilt) {
    EXPECT_EQ(modeOf(buildVarNamed(path("a"))), ISINOUT | ISVARLEN | ISLOCKMANUAL);
    EXPECT_EQ(modeOf(buildVarNamed(path("b"), ISINOUT | ISCOMPRESS)), ISINOUT | ISVARLEN | ISCOMPRESS | ISLOCKMANUAL);
    EXPECT_EQ(modeOf(buildVarNamed(path("c"), ISINOUT | ISLOCKAUTO)), ISINOUT | ISVARLEN | ISLOCKAUTO);
    EXPECT_EQ(modeOf(buildVarNamed(path("d"), ISINOUT | ISMASK)), ISINOUT | ISVARLEN | ISMASK | ISLOCKMANUAL);
}

TEST_F(VarBuild, CompressionIsRememberedOnlyWithVariableLengths) {
    const std::size_t flags = 1024 - 6;
    buildVarNamed(path("a"));
    buildVarNamed(path("b"), ISINOUT | ISCOMPRESS);
    buildNamed(path("c"), ISINOUT | ISCOMPRESS);
    EXPECT_EQ(numberAt(contents(path("a.idx")), flags, 2), 0U);
    EXPECT_EQ(numberAt(contents(path("b.idx")), flags, 2), 4U);
    EXPECT_EQ(numberAt(contents(path("c.idx")), flags, 2), 0U);
    EXPECT_EQ(numberAt(contents(path("c.idx")), 59, 2), 0U);
}

TEST_F(VarBuild, WithoutTheModeTheMaximumIsIgnored) {
    KeyDesc key = idKey();
    const int fd = isvbuild(base(), kRowLen, 40000, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.keyCount, 1);
    EXPECT_EQ(info.recordLength, kRowLen);
}

TEST_F(VarBuild, GlobalLengthDoesNotCountForFixedRecords) {
    KeyDesc key = idKey();
    isreclen = 7;
    const int fd = isbuild(base(), kRowLen, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(isreclen, kRowLen);
    EXPECT_EQ(isqv_datlen(fd), kRowLen);
}

TEST_F(VarBuild, ExistingFileIsNotBuiltOver) {
    EXPECT_OK(isclose(fillVar({100})));
    const Image before = imageOf(base());
    KeyDesc key = idKey();
    isreclen = kRowLen;
    EXPECT_FAILS(EEXIST, isbuild(base(), kVarMax, &key, ISINOUT | ISVARLEN));
    EXPECT_EQ(iserrio, 0x21);
    EXPECT_TRUE(imageOf(base()) == before);
}

}  // namespace
}  // namespace api
