// isstat1 and isstat2 after all kinds of outcomes.

#include "api_test.h"
#include "status.h"

#include <cerrno>
#include <functional>
#include <set>

namespace api {
namespace {

// The filter of the running test.
std::function<int()> verdict;
int callVerdict(int, char *, int) { return verdict(); }

class Status : public ApiTest {
  protected:
    // A read that ends with this error: the filter leaves it.
    void readWith(int error) {
        Row got;
        verdict = [error] {
            iserrno = error;
            return 0;
        };
        EXPECT_FAILS(error, isread(fd, got, ISFIRST));
    }

    int fd = fill({1, 2, 3});
};

TEST_F(Status, HasARowForEveryCode) {
    EXPECT_EQ(statusTable().size(), static_cast<std::size_t>(ISERR_LAST - ISERR_FIRST + 1));
    EXPECT_EQ(statusTable().begin()->first, ISERR_FIRST);
    EXPECT_EQ(statusTable().rbegin()->first, ISERR_LAST);
}

TEST_F(Status, TellsCodesApartButForThoseOfOneMeaning) {
    std::map<std::string, std::set<int>> codes;
    for (const auto &[code, characters] : statusTable())
        codes[characters].insert(code);
    for (const auto &[characters, of] : codes)
        EXPECT_TRUE(of.size() == 1 || of == (std::set<int>{109, 112, 127})) << characters;
    EXPECT_EQ(codes.count("90"), 0U);
    EXPECT_EQ(codes["22"], std::set<int>{100});
    EXPECT_EQ(codes["10"], std::set<int>{110});
    EXPECT_EQ(codes["23"], std::set<int>{111});
}

TEST_F(Status, OfEveryCodeIsWhatTheTableSays) {
    EXPECT_EQ(isfilter(fd, callVerdict), 0);
    for (int code = ISERR_FIRST; code <= ISERR_LAST; ++code) {
        readWith(code);
        EXPECT_EQ(status(), statusOf(code)) << code;
    }
}

TEST_F(Status, OfAnyOtherNumberIsTheSystems) {
    EXPECT_EQ(isfilter(fd, callVerdict), 0);
    for (const int error : {1, EIO, ENOSPC, EDEADLK, ISERR_FIRST - 1, ISERR_LAST + 1, 1000000, -1}) {
        readWith(error);
        EXPECT_EQ(status(), "90") << error;
    }
}

TEST_F(Status, IsSetForTheFilterToo) {
    Row got;
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(9), ISEQUAL));
    std::string seen;
    verdict = [&seen] {
        seen = status();
        return 1;
    };
    EXPECT_EQ(isfilter(fd, callVerdict), 0);
    EXPECT_EQ(status(), "23") << "no global is set";
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(seen, "00");
}

TEST_F(Status, OfAReadWhoseFilterPassesOverAllIsEndOrNotFound) {
    Row got;
    verdict = [] {
        return 0;
    };
    EXPECT_EQ(isfilter(fd, callVerdict), 0);
    EXPECT_FAILS(ISERR_ENDOFFILE, isread(fd, got, ISFIRST));
    EXPECT_EQ(status(), "10");
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(2), ISEQUAL));
    EXPECT_EQ(status(), "23");
}

TEST_F(Status, OfASuccessTakesBackWhatWasBefore) {
    Row got;
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(9), ISEQUAL));
    EXPECT_EQ(status(), "23");
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(status(), "00");
    EXPECT_FAILS(ISERR_ENDOFFILE, isread(fd, got, ISPREV));
    EXPECT_EQ(status(), "10");
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(status(), "00");
}

TEST_F(Status, OfThePrimaryKeyAndOfASequence) {
    KeyDesc key = idKey(), none = noKey();
    EXPECT_FAILS(ISERR_PRIMARYKEY, isdelindex(fd, &key));
    EXPECT_EQ(status(), "21");
    const int unordered = buildNamed(path("unordered"), ISINOUT, none);
    EXPECT_FAILS(ISERR_NOPRIMARYKEY, isrewrite(unordered, row(1)));
    EXPECT_EQ(status(), "21");
    EXPECT_OK(isstart(fd, &key, 0, row(0), ISFIRST));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
    EXPECT_EQ(status(), "21");
}

TEST_F(Status, OfCallsWithoutADescriptor) {
    EXPECT_FAILS(ISERR_NOLOG, isbegin());
    EXPECT_EQ(status(), "9G");
    EXPECT_FAILS(ENOENT, isopen(path("nowhere").c_str(), ISINOUT));
    EXPECT_EQ(status(), "90");
    EXPECT_OK(islogclose());
    EXPECT_EQ(status(), "00");
    EXPECT_FAILS(ISERR_FILEINUSE, iserase(base()));
    EXPECT_EQ(status(), "9U");
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(status(), "00");
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
    EXPECT_EQ(status(), "9O");
}

TEST_F(Status, OfAnOpeningIsPlain) {
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(9), ISEQUAL));
    EXPECT_GE(open(), 0);
    EXPECT_EQ(status(), "00");
}

TEST_F(Status, StaysUnderCallsThatSetNoGlobal) {
    int mode = 0;
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(9), ISEQUAL));
    EXPECT_EQ(isgetmode(fd, &mode), 0);
    EXPECT_EQ(isgetmask(fd), 0);
    EXPECT_EQ(ischeckindex(fd, 1), 0);
    EXPECT_NE(isqv_name(fd), nullptr);
    EXPECT_EQ(status(), "23");
    EXPECT_EQ(isgetmode(fd, nullptr), -1);
    EXPECT_EQ(status(), "9A");
    EXPECT_EQ(isgetmode(fd + 1, &mode), -1);
    EXPECT_EQ(status(), "9O");
}

}  // namespace
}  // namespace api
