// What files tell of themselves where it is not the plain case, and what looks into a handle show.
#include "logs.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace api {
namespace {

class Information : public LogTest {
  protected:
    static DictInfo infoOf(int fd) {
        DictInfo info{};
        EXPECT_OK(isisaminfo(fd, &info));
        return info;
    }
    static std::string keyAt(int fd, std::size_t length) {
        const void *key = isseekey(fd);
        return key != nullptr ? std::string(static_cast<const char *>(key), length) : "none";
    }
};

TEST_F(Information, FreeNumbersInSeveralNodesAreNoRecords) {
    const int fd = build();
    for (long id = 1; id <= 700; ++id)
        put(fd, row(id));
    for (long number = 100; number < 500; ++number)
        EXPECT_OK(isdelrec(fd, number));
    EXPECT_EQ(infoOf(fd).recordCount, 300);
}

TEST_F(Information, NumbersThatAreNotUsedAgainCountAsRecords) {
    const int fd = fill({1, 2, 3});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_EQ(infoOf(fd).recordCount, 3);
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_EQ(infoOf(fd).recordCount, 2);
}

TEST_F(Information, KeysAloneHaveNeitherRecordsNorADataFile) {
    const int fd = build(ISINOUT, idKey(), 0);
    isrecnum = 7;
    EXPECT_OK(iswrite(fd, row(1)));
    const DictInfo info = infoOf(fd);
    EXPECT_EQ(info.recordLength, 0);
    EXPECT_EQ(info.recordCount, 0);
    EXPECT_EQ(isqv_datlen(fd), 0);
    EXPECT_EQ(isqv_datfd(fd), -1);
    EXPECT_GE(isqv_idxfd(fd), 0);
}

TEST_F(Information, VariableLengthsAreToldByBothCalls) {
    isreclen = 10;
    const int fd = buildNamed(base(), ISINOUT | ISVARLEN, idKey(), 200);
    EXPECT_EQ(isqv_datlen(fd), 10);
    DictInfo whole{}, first{};
    isreclen = 5;
    EXPECT_OK(isindexinfo(fd, &whole, 0));
    EXPECT_EQ(isreclen, 10);
    isreclen = 5;
    EXPECT_OK(isisaminfo(fd, &first));
    EXPECT_EQ(isreclen, 10);
    EXPECT_EQ(std::memcmp(&whole, &first, sizeof whole), 0);
    EXPECT_EQ(whole.keyCount, 0x8001);
    EXPECT_EQ(whole.recordLength, 200);
    KeyDesc key;
    isreclen = 5;
    EXPECT_OK(isindexinfo(fd, &key, 1));
    EXPECT_EQ(isreclen, 5);
}

TEST_F(Information, DescriptionTellsLengthAndRoot) {
    const int fd = build();
    add(fd, nameKey());
    KeyDesc first{}, second{};
    EXPECT_OK(isindexinfo(fd, &first, 1));
    EXPECT_OK(isindexinfo(fd, &second, 2));
    // Node 1 is the header, node 2 holds the descriptions.
    EXPECT_EQ(first.keyLength, 4);
    EXPECT_EQ(first.rootNode, 3U);
    EXPECT_EQ(second.keyLength, kNameLen);
    EXPECT_EQ(second.rootNode, 4U);
}

TEST_F(Information, ResultsAreAsLongAsTheyAre) {
    const int fd = fill({1});
    struct {
        std::size_t length;
        std::function<int(char *)> call;
    } const results[] = {
        {12,
         [fd](char *room) {
             return isindexinfo(fd, room, 0);
         }},
        {72,
         [fd](char *room) {
             return isindexinfo(fd, room, 1);
         }},
        {12,
         [fd](char *room) {
             return isisaminfo(fd, reinterpret_cast<DictInfo *>(room));
         }},
        {10,
         [fd](char *room) {
             return isuserinfo(fd, 0, room);
         }},
    };
    for (const auto &result : results) {
        alignas(DictInfo) char room[100];
        std::memset(room, '#', sizeof room);
        EXPECT_OK(result.call(room));
        EXPECT_EQ(std::string(room + result.length, sizeof room - result.length),
                  std::string(sizeof room - result.length, '#'))
            << result.length;
        EXPECT_NE(room[result.length - 1], '#') << result.length;
    }
}

TEST_F(Information, ApplicationsBytesCanBeWrittenThroughAnInputHandle) {
    const int fd = fill({1}, ISINPUT);
    char bytes[] = "0123456789", back[ISUSERINFOLEN] = {};
    EXPECT_OK(isuserinfo(fd, 1, bytes));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(isuserinfo(open(ISOUTPUT), 0, back));
    EXPECT_EQ(std::string(back, sizeof back), bytes);
}

TEST_F(Information, WithoutPrimaryKeyThereIsNoCurrentIndex) {
    EXPECT_OK(isclose(build(ISINOUT, noKey())));
    const int fd = open();
    EXPECT_EQ(isqv_curidx(fd), 0);
    EXPECT_EQ(isqv_kdsc(fd), nullptr);
    EXPECT_EQ(isseekey(fd), nullptr);
}

TEST_F(Information, NameIsThatOfTheCallerWithALinkToo) {
    EXPECT_OK(isclose(fill({1})));
    std::FILE *link = std::fopen(path("link.lnk").c_str(), "w");
    ASSERT_NE(link, nullptr);
    std::fputs((path("file") + "\n").c_str(), link);
    std::fclose(link);
    const std::string name = path("link");
    const int fd = isopen(name.c_str(), ISINPUT);
    ASSERT_GE(fd, 0);
    EXPECT_STREQ(isqv_name(fd), name.c_str());
    EXPECT_EQ(idsOf(fd), (Ids{1}));
}

TEST_F(Information, PointersToAHandlesResultsStayGood) {
    const int fd = fill({1, 2, 3});
    long *const number = is_recnum(fd);
    int *const length = is_reclen(fd), *const error = is_errno(fd), *const io = is_errio(fd);
    EXPECT_EQ(readId(fd, ISLAST), 3);
    EXPECT_EQ(*number, 3);
    EXPECT_EQ(*length, kRowLen);
    EXPECT_EQ(*error, 0);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(*error, ISERR_ENDOFFILE);
    EXPECT_EQ(*io, 0);
    cutFile(path("file.dat"), 0);
    EXPECT_EQ(readId(fd, ISFIRST), -EIO);
    EXPECT_EQ(*error, EIO);
    EXPECT_EQ(*io, 0x42);
    dontCheck();
}

TEST_F(Information, CallsTakeNumberAndLengthFromTheGlobals) {
    const int fd = fill({1, 2, 3});
    // What stands in the handle is only the last call's.
    *is_recnum(fd) = 3;
    *is_reclen(fd) = 99;
    isrecnum = 2;
    isreclen = 5;
    EXPECT_OK(isindex(fd, 1, 1));
    EXPECT_EQ(position(fd), 2);
    EXPECT_EQ(*is_recnum(fd), 2);
    EXPECT_EQ(*is_reclen(fd), 5);
}

TEST_F(Information, KeyAtThePositionIsTheFirstOneAfterOpening) {
    const int fd = fill({5, 0x01020304});
    EXPECT_EQ(keyAt(fd, 4), std::string("\0\0\0\5", 4));
}

TEST_F(Information, KeyAtThePositionIsTheOneLookedForAfterAMiss) {
    const int fd = fill({1, 2});
    EXPECT_EQ(readId(fd, ISEQUAL, row(0x01020304)), -ISERR_NOTFOUND);
    EXPECT_EQ(keyAt(fd, 4), "\1\2\3\4");
}

TEST_F(Information, KeyAtThePositionIsThatOfTheCurrentIndex) {
    const int fd = build();
    add(fd, nameKey());
    put(fd, row(7, "abc"));
    EXPECT_EQ(readId(fd, ISFIRST), 7);
    EXPECT_OK(isindex(fd, 2, 1));
    EXPECT_EQ(keyAt(fd, kNameLen), "abc       ");
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_EQ(keyAt(fd, 4), std::string("\0\0\0\7", 4));
}

TEST_F(Information, MaskMeansNothingInAFileWithoutMasks) {
    const int fd = fill({1});
    EXPECT_EQ(issetmask(fd, 3), 0);
    put(fd, row(2));
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
    EXPECT_EQ(isgetmask(fd), 3);
    EXPECT_EQ(contents(path("file.dat")).size(), 2U * (kRowLen + 1));
}

TEST_F(Information, MaskOfOneHandleIsNotThatOfAnother) {
    EXPECT_OK(isclose(build(ISINOUT | ISMASK)));
    const int fd = open(), other = open();
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_EQ(isgetmask(other), 0);
    EXPECT_EQ(isgetmask(fd), 2);
}

TEST_F(Information, NothingIsFlushedOfAClosedDescriptorEither) {
    const int fd = build();
    EXPECT_OK(isclose(fd));
    iserrno = 55;
    EXPECT_EQ(isflush(fd), 0);
    EXPECT_EQ(isflush(-2147483647 - 1), -1);
    EXPECT_EQ(iserrno, 55);
}

// The descriptor that recovery used last stays in memory.
TEST_F(Information, EndOfATransactionAfterARecoveryTellsOfThatDescriptorsFile) {
    EXPECT_OK(isclose(fill({1, 2, 3})));
    const int below = buildNamed(path("below"));
    LogWriter().add("FO", fileBody(5, base())).add("SU", uniqueBody(5, 9)).save(log());
    startLog();
    EXPECT_OK(isrecover());
    const int fd = open();
    EXPECT_EQ(fd, below + 1);
    EXPECT_EQ(readId(fd, ISLAST), 3);
    for (int (*const end)() : {iscommit, isrollback}) {
        EXPECT_OK(isbegin());
        iserrno = iserrio = 77;
        isrecnum = 76;
        isreclen = 75;
        EXPECT_EQ(end(), 0);
        EXPECT_RESULTS(3, kRowLen);
    }
    // Its file's errors are not those of the transaction.
    EXPECT_EQ(readId(fd, ISEQUAL, row(9)), -ISERR_NOTFOUND);
    isrecnum = 76;
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    EXPECT_EQ(isrecnum, 3);
    EXPECT_OK(isclose(fd));
    isrecnum = 76;
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    EXPECT_EQ(isrecnum, 76);
}

}  // namespace
}  // namespace api
