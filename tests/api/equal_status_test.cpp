// isstat2 '2': a write or rewrite that puts a key into an index where equal keys stand.

#include "api_test.h"
#include "logs.h"
#include "status.h"

#include <map>
#include <random>

namespace api {
namespace {

using EqualStatus = ApiTest;

TEST_F(EqualStatus, FirstOfItsKeyIsPlainAndTheNextIsNot) {
    const int fd = build();
    KeyDesc group = groupKey();
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(iswrite(fd, row(1, "", 5)));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrite(fd, row(2, "", 5)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(iswrite(fd, row(3, "", 6)));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrlock(fd, row(4, "", 6)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(iswrcurr(fd, row(5, "", 6)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(iswrcurr(fd, row(6, "", 7)));
    EXPECT_EQ(status(), "00");
}

TEST_F(EqualStatus, KeysThatAreGoneDoNotCount) {
    const int fd = build(ISINOUT, groupKey());
    EXPECT_OK(iswrite(fd, row(1, "", 5)));
    EXPECT_OK(iswrite(fd, row(2, "", 5)));
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrite(fd, row(3, "", 5)));
    EXPECT_EQ(status(), "02") << "one is left";
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(iswrite(fd, row(4, "", 5)));
    EXPECT_EQ(status(), "00");
}

TEST_F(EqualStatus, UniqueIndexesNeverHaveThem) {
    const int fd = build();
    EXPECT_OK(iswrite(fd, row(1, "", 5)));
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(1, "", 5)));
    EXPECT_EQ(status(), "22");
    EXPECT_OK(iswrite(fd, row(2, "", 5)));
    EXPECT_EQ(status(), "00");
}

TEST_F(EqualStatus, OneIndexOfSeveralIsEnough) {
    const int fd = build();
    KeyDesc name = nameKey(), group = groupKey();
    EXPECT_OK(isaddindex(fd, &name));
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(iswrite(fd, row(1, "a", 1)));
    EXPECT_OK(iswrite(fd, row(2, "a", 2)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(iswrite(fd, row(3, "b", 2)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(iswrite(fd, row(4, "c", 3)));
    EXPECT_EQ(status(), "00");
}

TEST_F(EqualStatus, RewriteCountsTheKeysThatItChanges) {
    const int fd = build();
    KeyDesc group = groupKey();
    EXPECT_OK(isaddindex(fd, &group));
    for (const long id : {1, 2, 3})
        EXPECT_OK(iswrite(fd, row(id, "", id < 3 ? 5 : 6)));
    EXPECT_OK(isrewrite(fd, row(1, "", 5, "note")));
    EXPECT_EQ(status(), "00") << "its key stays among equal ones";
    EXPECT_OK(isrewrite(fd, row(1, "", 6)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(isrewrec(fd, 2, row(2, "", 7)));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_OK(isgoto(fd, 1));
    EXPECT_OK(isrewcurr(fd, row(1, "", 7)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(isrewnxt(fd, row(1, "", 6)));
    EXPECT_EQ(status(), "02");
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_FAILS(ISERR_ENDOFFILE, isrewnxt(fd, row(3, "", 7)));
    EXPECT_EQ(status(), "10");
}

TEST_F(EqualStatus, KeyLeftOutForItsMaskDoesNotCount) {
    dontCheck();
    const int fd = build(ISINOUT | ISMASK);
    KeyDesc group = groupKey();
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(iswrite(fd, row(1, "", 5)));
    issetmask(fd, 2);
    EXPECT_OK(iswrite(fd, row(2, "", 5)));
    EXPECT_EQ(status(), "00");
    issetmask(fd, 0);
    EXPECT_OK(isrewrec(fd, 2, row(2, "", 5)));
    EXPECT_EQ(status(), "02") << "the mask is taken back, the key goes in";
}

TEST_F(EqualStatus, NullKeyThatIsNotIndexedDoesNotCount) {
    const int fd = build();
    KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrite(fd, row(3, "a")));
    EXPECT_OK(isrewrec(fd, 2, row(2, "a")));
    EXPECT_EQ(status(), "02");
}

TEST_F(EqualStatus, OtherCallsThatPutKeysArePlain) {
    const int fd = build(ISINOUT, groupKey());
    for (long id = 1; id <= 3; ++id)
        EXPECT_OK(iswrite(fd, row(id, "same", 5)));
    EXPECT_EQ(status(), "02");
    KeyDesc name = nameKey();
    EXPECT_OK(isaddindex(fd, &name));
    EXPECT_EQ(status(), "00");
    const int copy = buildNamed(path("copy"), ISINOUT, groupKey());
    EXPECT_OK(iscopy(copy, fd, nullptr));
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrite(copy, row(4, "other", 6)));
    EXPECT_EQ(status(), "00") << "and leave nothing behind";
}

using EqualStatusLog = LogTest;

TEST_F(EqualStatusLog, RollbackThatPutsKeysBackIsPlain) {
    startLog();
    const int fd = buildNamed(path("file"), ISINOUT | ISTRANS, groupKey());
    for (long id = 1; id <= 3; ++id)
        EXPECT_OK(iswrite(fd, row(id, "", 5)));
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isrewrec(fd, 3, row(3, "", 6)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(status(), "00");
    EXPECT_OK(iswrite(fd, row(4, "", 6)));
    EXPECT_EQ(status(), "00");
}

// Long keys, so that nodes are small and equal keys lie on either side of their borders.
constexpr int kLong = 100;

struct EqualKind {
    const char *name;
    int flags;
    bool records;  // false: keys without records
};

void PrintTo(const EqualKind &kind, std::ostream *out) { *out << kind.name; }

class EqualStatusRun : public ApiTest, public testing::WithParamInterface<EqualKind> {
  protected:
    // A record is its key: few different ones.
    std::string draw() { return std::string(kLong - 1, '.') + static_cast<char>('a' + random_() % 12); }
    unsigned next(std::size_t count) { return static_cast<unsigned>(random_() % count); }
    void expectStatus(bool equal) { ASSERT_EQ(status(), equal ? "02" : "00") << step_; }

    void write(int fd) {
        std::string record = draw();
        isrecnum = 1000000 + step_;
        ASSERT_OK(iswrite(fd, record.data()));
        expectStatus(counts_[record]++ > 0);
        keys_[isrecnum] = record;
    }
    void moveTo(int fd, long number) {
        std::string key = keys_[number];
        ASSERT_OK(isread(fd, key.data(), ISEQUAL));
        while (isrecnum != number)
            ASSERT_OK(isread(fd, key.data(), ISNEXT));
    }
    void erase(int fd, long number) {
        ASSERT_NO_FATAL_FAILURE(moveTo(fd, number));
        ASSERT_OK(isdelcurr(fd));
        expectStatus(false);
        --counts_[keys_[number]];
        keys_.erase(number);
    }
    void rewrite(int fd, long number) {
        std::string record = draw();
        const bool changes = record != keys_[number];
        ASSERT_NO_FATAL_FAILURE(moveTo(fd, number));
        ASSERT_OK(isrewcurr(fd, record.data()));
        --counts_[keys_[number]];
        expectStatus(changes && counts_[record] > 0);
        ++counts_[record];
        keys_[number] = record;
    }

    std::mt19937 random_{20};
    std::map<long, std::string> keys_;
    std::map<std::string, int> counts_;
    int step_ = 0;
};

TEST_P(EqualStatusRun, TellsOfEqualKeysAtEveryPlaceOfTheTree) {
    const int fd = build(ISINOUT, keyDesc(GetParam().flags, {{0, kLong, CHARTYPE}}), GetParam().records ? kLong : 0);
    for (step_ = 0; step_ < 4000 && !HasFatalFailure(); ++step_) {
        // The file grows and shrinks, and some keys get very rare.
        const bool growing = step_ / 500 % 2 == 0;
        const unsigned dice = next(10);
        if (keys_.size() < 5 || dice < (growing ? 6U : 2U)) {
            write(fd);
            continue;
        }
        auto at = keys_.begin();
        std::advance(at, next(keys_.size()));
        if (dice < 8)
            erase(fd, at->first);
        else
            rewrite(fd, at->first);
    }
}

constexpr EqualKind kEqualKinds[] = {
    {"Flat", ISDUPS, true},
    {"DuplicatesOnce", ISDUPS | ISDUPCOMP, true},
    {"LeadingOnce", ISDUPS | ISLEADCOMP, true},
    {"Trailing", ISDUPS | ISTRAILCOMP, true},
    {"AllCompression", ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, true},
    {"KeysAlone", ISDUPS, false},
    {"CompressedKeysAlone", ISDUPS | ISDUPCOMP | ISLEADCOMP, false},
};

INSTANTIATE_TEST_SUITE_P(All, EqualStatusRun, testing::ValuesIn(kEqualKinds),
                         [](const auto &instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace api
