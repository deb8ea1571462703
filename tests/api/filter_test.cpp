// Filters: what they see, and how a read goes on after a rejected record.

#include "api_test.h"
#include "steps.h"

#include <functional>

namespace api {
namespace {

// The filter of the running test.
std::function<int(int, char *, int)> judge;
int callJudge(int fd, char *record, int mode) { return judge(fd, record, mode); }

class Filter : public ApiTest {
  protected:
    // Ids 1..6 with groups 1, 1, 2, 2, 3, 3; the index on the group is current.
    void SetUp() override {
        fd = build();
        KeyDesc key = groupKey();
        EXPECT_OK(isaddindex(fd, &key));
        for (long id = 1; id <= 6; ++id)
            EXPECT_OK(iswrite(fd, row(id, "", static_cast<int>(id + 1) / 2)));
        EXPECT_OK(isclose(fd));
        fd = open();
        EXPECT_OK(isindex(fd, 2, 0));
    }
    void install(std::function<int(int, char *, int)> filter) {
        judge = std::move(filter);
        EXPECT_EQ(isfilter(fd, callJudge), 0);
    }
    void acceptOnly(Ids wanted) {
        install([wanted](int, char *record, int) {
            return std::count(wanted.begin(), wanted.end(), ldlong(record)) != 0 ? 1 : 0;
        });
    }
    long get(int mode, Row key = row(0)) {
        const int result = isread(fd, key, mode);
        return result == 0 ? key.id() : -iserrno;
    }

    int fd = -1;
};

TEST_F(Filter, AcceptedRecordsComeThrough) {
    int calls = 0;
    install([&](int, char *, int) { return ++calls; });
    EXPECT_EQ(get(ISFIRST), 1);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(get(ISNEXT), 2);
    EXPECT_EQ(calls, 2);
}

TEST_F(Filter, SeesDescriptorRecordModeAndGlobals) {
    long seen = 0;
    install([&](int of, char *record, int mode) {
        EXPECT_EQ(of, fd);
        EXPECT_EQ(mode, ISLAST);
        EXPECT_EQ(isrecnum, 6);
        EXPECT_EQ(isreclen, kRowLen);
        EXPECT_EQ(iserrno, 0);
        seen = ldlong(record);
        return 1;
    });
    EXPECT_EQ(get(ISLAST), 6);
    EXPECT_EQ(seen, 6);
}

TEST_F(Filter, FirstAndNextGoOnWithNext) {
    acceptOnly({3, 5});
    EXPECT_EQ(get(ISFIRST), 3);
    EXPECT_EQ(get(ISNEXT), 5);
    EXPECT_EQ(get(ISNEXT), -ISERR_ENDOFFILE);
}

TEST_F(Filter, LastAndPrevGoOnWithPrev) {
    acceptOnly({2, 4});
    EXPECT_EQ(get(ISLAST), 4);
    EXPECT_EQ(get(ISPREV), 2);
    EXPECT_EQ(get(ISPREV), -ISERR_ENDOFFILE);
}

TEST_F(Filter, GreaterModesSkipTheRestOfTheRejectedKey) {
    acceptOnly({4, 6});
    // Record 3 is rejected; the search goes on above its key and passes over record 4, and so on.
    EXPECT_EQ(get(ISGREAT, row(0, "", 1)), -ISERR_NOTFOUND);
    acceptOnly({4, 5});
    EXPECT_EQ(get(ISGREAT, row(0, "", 1)), 5);
    EXPECT_EQ(get(ISGTEQ, row(0, "", 2)), 5);
    acceptOnly({1, 5});
    EXPECT_EQ(get(ISGTEQ, row(0, "", 1)), 1);
}

TEST_F(Filter, CurrAndEqualFailWithoutFollowUp) {
    EXPECT_EQ(get(ISFIRST), 1);
    acceptOnly({2});
    EXPECT_EQ(get(ISCURR), -ISERR_NOTFOUND);
    EXPECT_EQ(get(ISEQUAL, row(0, "", 1)), -ISERR_NOTFOUND);
    EXPECT_EQ(*is_errno(fd), ISERR_NOTFOUND);
}

TEST_F(Filter, ErrorLeftByTheFilterEndsTheRead) {
    int calls = 0;
    install([&](int, char *, int) {
        ++calls;
        iserrno = 119;
        return 0;
    });
    EXPECT_EQ(get(ISFIRST), -119);
    EXPECT_EQ(calls, 1);
}

TEST_F(Filter, EverythingRejectedReachesTheEnd) {
    int calls = 0;
    install([&](int, char *, int) {
        ++calls;
        return 0;
    });
    EXPECT_EQ(get(ISFIRST), -ISERR_ENDOFFILE);
    EXPECT_EQ(calls, 6);
    calls = 0;
    EXPECT_EQ(get(ISLAST), -ISERR_ENDOFFILE);
    EXPECT_EQ(calls, 6);
}

TEST_F(Filter, NullRemovesTheFilter) {
    acceptOnly({6});
    EXPECT_EQ(get(ISFIRST), 6);
    EXPECT_EQ(isfilter(fd, nullptr), 0);
    EXPECT_EQ(get(ISFIRST), 1);
}

TEST_F(Filter, BelongsToOneHandle) {
    acceptOnly({6});
    const int other = open();
    Row got;
    EXPECT_OK(isread(other, got, ISFIRST));
    EXPECT_EQ(got.id(), 1);
}

TEST_F(Filter, OtherReadsPassItBy) {
    acceptOnly({});
    Row got;
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(got.id(), 2);
    EXPECT_OK(isgoto(fd, 3));
    KeyDesc key = groupKey();
    EXPECT_OK(isstart(fd, &key, 0, got, ISFIRST));
}

TEST_F(Filter, InstallingSetsNoGlobals) {
    iserrno = 9;
    iserrio = 8;
    isrecnum = 7;
    isreclen = 6;
    EXPECT_EQ(isfilter(fd, callJudge), 0);
    EXPECT_EQ(iserrno, 9);
    EXPECT_EQ(iserrio, 8);
    EXPECT_EQ(isrecnum, 7);
    EXPECT_EQ(isreclen, 6);
}

TEST_F(Filter, FailedReadDoesNotCallIt) {
    int calls = 0;
    install([&](int, char *, int) { return ++calls; });
    EXPECT_EQ(get(ISEQUAL, row(0, "", 9)), -ISERR_NOTFOUND);
    EXPECT_EQ(calls, 0);
}

TEST_F(Filter, RejectedRecordsStayLockedAsTheReadAsked) {
    acceptOnly({3});
    EXPECT_EQ(get(ISFIRST | ISLOCK), 3);
    const int other = open();
    for (const long number : {1L, 2L, 3L})
        EXPECT_FAILS(ISERR_LOCKED, isdelrec(other, number)) << number;
    EXPECT_OK(isdelrec(other, 4));
}

TEST_F(Filter, MayCloseTheFile) {
    install([&](int of, char *, int) {
        isclose(of);
        return 0;
    });
    Row got;
    EXPECT_EQ(isread(fd, got, ISFIRST), -1);
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
}

// Damage: record 3 has the id of record 1, and whoever goes on with the next greater id behind it comes to record 2.
TEST_F(Filter, ReadThatWouldGoRoundForEverIsDamage) {
    const std::string data = contents(std::string(base()) + ".dat");
    patchFile(std::string(base()) + ".dat", 2 * data.size() / 6, data.substr(0, 4));
    EXPECT_OK(isindex(fd, 1, 0));
    int calls = 0;
    install([&](int, char *, int) {
        if (++calls == 1000) iserrno = ISERR_NOLOG;
        return 0;
    });
    EXPECT_EQ(get(ISGREAT), -ISERR_CORRUPT);
    EXPECT_LT(calls, 10);
    // The reads before are as they were.
    EXPECT_EQ(get(ISLAST), -ISERR_ENDOFFILE);
    patchFile(std::string(base()) + ".dat", 0, data);
}

// Keys alone may all have one number, and be equal as well: that is no circle.
TEST_F(Filter, PassesOverEqualKeysWithOneNumber) {
    KeyDesc key = groupKey();
    const int keys = isbuild(path("keys").c_str(), 0, &key, ISINOUT);
    for (const int group : {1, 1, 1, 2, 2, 2, 3}) {
        isrecnum = 7;
        EXPECT_OK(iswrite(keys, row(0, "", group)));
    }
    int calls = 0;
    judge = [&](int, char *, int) {
        ++calls;
        return 0;
    };
    EXPECT_OK(isfilter(keys, callJudge));
    EXPECT_FAILS(ISERR_ENDOFFILE, isread(keys, row(0), ISFIRST));
    EXPECT_EQ(calls, 7);
}

// One that looks elsewhere in the file itself may come by the same place again.
TEST_F(Filter, MayLeadTheReadRound) {
    int calls = 0;
    install([&](int of, char *record, int) {
        if (++calls == 100) return 1;
        if (ldlong(record) == 6) {
            const int standing = isfilter(of, nullptr) | isstart(of, nullptr, 0, record, ISFIRST);
            EXPECT_EQ(standing | isfilter(of, callJudge), 0);
        }
        return 0;
    });
    EXPECT_EQ(get(ISFIRST), 4);
    EXPECT_EQ(calls, 100);
}

}  // namespace
}  // namespace api
