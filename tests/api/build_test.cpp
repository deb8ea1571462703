// Making file sets: lengths, keys, modes, what is left after a failure.
#include "steps.h"

#include <cerrno>
#include <fcntl.h>

namespace api {
namespace {

using BuildFile = ApiTest;

TEST_F(BuildFile, SetsTheGlobals) {
    iserrno = iserrio = 77;
    isrecnum = 99;
    isreclen = 98;
    EXPECT_EQ(build(), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(isrecnum, 0);
    EXPECT_EQ(isreclen, kRowLen);
}

TEST_F(BuildFile, HeaderHasItsFixedBytes) {
    KeyDesc key = idKey();
    const int fd = isbuild(base(), 100, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    const std::string index = imageOf(base()).index;
    EXPECT_EQ(index.substr(0, 8), std::string("\xFE\x53\x02\x02\x04\x04\x03\xFF", 8));
    EXPECT_EQ(index.substr(10, 2), std::string("\x07\x04", 2));
    EXPECT_EQ(index.substr(13, 2), std::string("\x00\x64", 2));
    EXPECT_EQ(index.at(54), 8);
    EXPECT_EQ(index.substr(1020, 4), "kjsk");
}

TEST_F(BuildFile, ModeWithoutLockBitsBecomesManual) {
    for (const int access : {ISINPUT, ISOUTPUT, ISINOUT}) {
        const int fd = buildNamed(path("m" + std::to_string(access)), access);
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        EXPECT_EQ(mode, access | ISLOCKMANUAL);
    }
}

TEST_F(BuildFile, RecordLengthsAtTheLimits) {
    for (const int length : {1, 2, 32511, 32512, 65535}) {
        SCOPED_TRACE(length);
        const int fd = buildNamed(path("f" + std::to_string(length)), ISINOUT, keyDesc(ISNODUPS, {{0, 1}}), length);
        EXPECT_EQ(isreclen, length);
        EXPECT_EQ(isqv_datlen(fd), length);
        std::string record(static_cast<std::size_t>(length), 'x');
        EXPECT_OK(iswrite(fd, record.data()));
        std::string got(record.size(), ' ');
        EXPECT_OK(isread(fd, got.data(), ISFIRST));
        EXPECT_EQ(got, record);
        EXPECT_EQ(isreclen, length);
    }
}

TEST_F(BuildFile, RecordLengthsOutsideTheLimitsAreRefused) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1}});
    for (const int length : {-1, -65535, 65536, 65537, 0x7fffffff}) {
        SCOPED_TRACE(length);
        EXPECT_FAILS(ISERR_ARGUMENT, isbuild(base(), length, &key, ISINOUT));
        EXPECT_FAILS(ISERR_ARGUMENT, isvbuild(base(), length, 0, &key, ISINOUT));
        EXPECT_FALSE(exists(path("file.idx")));
    }
}

TEST_F(BuildFile, MaximumIsIgnoredForFixedLength) {
    KeyDesc key = idKey();
    const int fd = isvbuild(base(), kRowLen, 5, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(isreclen, kRowLen);
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.recordLength, kRowLen);
    EXPECT_EQ(info.keyCount, 1);
}

TEST_F(BuildFile, NoRecordLengthMakesNoDataFile) {
    build(ISINOUT, idKey(), 0);
    EXPECT_TRUE(exists(path("file.idx")));
    EXPECT_FALSE(exists(path("file.dat")));
    EXPECT_EQ(isreclen, 0);
    EXPECT_EQ(isqv_datfd(0), -1);
}

TEST_F(BuildFile, NoRecordLengthDoesNotGoWithMasksOrAutomaticLocks) {
    KeyDesc key = idKey();
    EXPECT_FAILS(ISERR_ARGUMENT, isbuild(base(), 0, &key, ISINOUT | ISMASK));
    EXPECT_FAILS(ISERR_ARGUMENT, isbuild(base(), 0, &key, ISINOUT | ISLOCKAUTO));
    EXPECT_FALSE(exists(path("file.idx")));
}

TEST_F(BuildFile, BadPrimaryKeysAreRefused) {
    KeyDesc eleven =
        keyDesc(ISNODUPS, {{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}});
    eleven.nparts = 11;
    KeyDesc negative = idKey();
    negative.nparts = -1;
    const std::vector<KeyDesc> bad = {
        eleven,
        negative,
        keyDesc(0x40, {{0, 4}}),
        keyDesc(0x8000, {{0, 4}}),
        keyDesc(ISNODUPS, {{-1, 4}}),
        keyDesc(ISNODUPS, {{0, -4, LONGTYPE}}),
        keyDesc(ISNODUPS, {{kRowLen - 3, 4}}),
        keyDesc(ISNODUPS, {{kRowLen, 1}}),
        keyDesc(ISNODUPS, {{0, 3, INTTYPE}}),
        keyDesc(ISNODUPS, {{0, 6, LONGTYPE}}),
        keyDesc(ISNODUPS, {{0, 4, DOUBLETYPE}}),
        keyDesc(ISNODUPS, {{0, 2, FLOATTYPE}}),
        keyDesc(ISNODUPS, {{0, 1, MINTTYPE}}),
        keyDesc(ISNODUPS, {{0, 2, MLONGTYPE}}),
        keyDesc(ISNODUPS, {{0, 8, QUADTYPE}}),
        keyDesc(ISNODUPS, {{0, 1, 9}}),
        keyDesc(ISNODUPS, {{0, 1, BYTETYPE}}),
        keyDesc(ISNODUPS, {{0, 6, RFATYPE}}),
        keyDesc(ISNODUPS, {{0, 1, COLLATETYPE}}),
    };
    for (std::size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(i);
        KeyDesc key = bad[i];
        EXPECT_FAILS(ISERR_KEYDESC, isbuild(base(), kRowLen, &key, ISINOUT));
        EXPECT_EQ(iserrio, 0);
        EXPECT_FALSE(exists(path("file.idx")));
    }
}

TEST_F(BuildFile, KeysOf128BytesAreTakenAndOf129Refused) {
    KeyDesc longest = keyDesc(ISNODUPS, {{0, 100}, {100, 28}});
    KeyDesc too_long = keyDesc(ISNODUPS, {{0, 100}, {100, 29}});
    EXPECT_GE(buildNamed(path("ok"), ISINOUT, longest, 200), 0);
    EXPECT_FAILS(ISERR_KEYDESC, isbuild(path("bad").c_str(), 200, &too_long, ISINOUT));
}

TEST_F(BuildFile, TenPartsAreTaken) {
    KeyDesc ten = keyDesc(ISNODUPS, {{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}});
    const int fd = build(ISINOUT, ten);
    KeyDesc back{};
    EXPECT_OK(isindexinfo(fd, &back, 1));
    EXPECT_EQ(back.nparts, 10);
    EXPECT_EQ(back.keyLength, 10);
}

TEST_F(BuildFile, PartMayEndWithTheRecord) { EXPECT_GE(build(ISINOUT, keyDesc(ISNODUPS, {{kRowLen - 4, 4}})), 0); }

TEST_F(BuildFile, KeyLengthAndRootOfTheCallerDoNotCount) {
    KeyDesc key = idKey();
    key.keyLength = 99;
    key.rootNode = 12345;
    const int fd = build(ISINOUT, key);
    KeyDesc back{};
    EXPECT_OK(isindexinfo(fd, &back, 1));
    EXPECT_EQ(back.keyLength, 4);
    EXPECT_EQ(back.rootNode, 3U);
}

TEST_F(BuildFile, ExistingIndexFileIsRefusedAndKept) {
    const int fd = build();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isclose(fd));
    const Image before = imageOf(base());
    KeyDesc key = idKey();
    EXPECT_FAILS(EEXIST, isbuild(base(), kRowLen, &key, ISINOUT));
    EXPECT_EQ(iserrio, 0x21);
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(BuildFile, ExistingDataFileIsRefusedAndTheIndexFileStays) {
    const int fd = build();
    EXPECT_OK(isclose(fd));
    ASSERT_EQ(std::remove(path("file.idx").c_str()), 0);
    dontCheck();
    KeyDesc key = idKey();
    EXPECT_FAILS(EEXIST, isbuild(base(), kRowLen, &key, ISINOUT));
    EXPECT_EQ(iserrio, 0x22);
    EXPECT_TRUE(exists(path("file.idx")));
}

TEST_F(BuildFile, MissingDirectoryIsReported) {
    KeyDesc key = idKey();
    EXPECT_FAILS(ENOENT, isbuild(path("no/file").c_str(), kRowLen, &key, ISINOUT));
    EXPECT_EQ(iserrio, 0x21);
}

TEST_F(BuildFile, OpenElsewhereInTheProcessIsRefused) {
    build();
    KeyDesc key = idKey();
    // The name is in use, but its files are gone, so that they can be created anew.
    ASSERT_EQ(std::remove(path("file.idx").c_str()), 0);
    ASSERT_EQ(std::remove(path("file.dat").c_str()), 0);
    dontCheck();
    EXPECT_FAILS(ISERR_FILEINUSE, isbuild(base(), kRowLen, &key, ISINOUT | ISLOCKEXCL));
}

TEST_F(BuildFile, FailuresReleaseEverything) {
    build();
    const int before = openDescriptors();
    KeyDesc key = idKey(), bad = keyDesc(0x40, {{0, 4}});
    EXPECT_FAILS(EEXIST, isbuild(base(), kRowLen, &key, ISINOUT));
    EXPECT_FAILS(ISERR_KEYDESC, isbuild(path("b").c_str(), kRowLen, &bad, ISINOUT));
    EXPECT_FAILS(ISERR_ARGUMENT, isbuild(path("b").c_str(), 70000, &key, ISINOUT));
    EXPECT_FAILS(ENOENT, isbuild(path("no/b").c_str(), kRowLen, &key, ISINOUT));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(buildNamed(path("b")), 1);
}

TEST_F(BuildFile, FreshHandleHasNoPosition) {
    const int fd = build();
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    putIds(fd, {2, 1});
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 2);
}

TEST_F(BuildFile, FreshHandleReadsOnAfterAStart) {
    const int fd = build();
    putIds(fd, {2, 1});
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    EXPECT_EQ(readId(fd, ISNEXT), 1);
}

TEST_F(BuildFile, FreshHandleWithRecordsStillHasNoPosition) {
    const int fd = build();
    putIds(fd, {1, 2});
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISEQUAL, row(1)), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 2);
}

TEST_F(BuildFile, ExclusiveBuildIsAlone) {
    const int fd = build(ISINOUT | ISLOCKEXCL);
    EXPECT_FAILS(ISERR_FILEINUSE, open());
    putIds(fd, {1, 2});
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
}

TEST_F(BuildFile, SynchronousWritesGoToTheSystem) {
    const int fd = build(ISINOUT | ISSYNCWR);
    EXPECT_EQ(fcntl(isqv_idxfd(fd), F_GETFL) & O_SYNC, O_SYNC);
    EXPECT_EQ(fcntl(isqv_datfd(fd), F_GETFL) & O_SYNC, O_SYNC);
    putIds(fd, {1});
    EXPECT_EQ(idsOf(fd), (Ids{1}));
}

}  // namespace
}  // namespace api
