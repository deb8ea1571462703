// Reading variable-length records by every mode: whole records, true lengths, and buffers left alone behind them.
#include "varlen.h"

#include <algorithm>
#include <utility>

namespace api {
namespace {

class VarRead : public VarTest {
  protected:
    // Ids 10 to 60; the buffer checks are in take().
    int six(int mode = ISINOUT) {
        const int fd = fillVar({0, 1, 993, 994, 995, 4968});
        EXPECT_OK(isclose(fd));
        return openVar(mode);
    }
    const Records all = {rec(10), rec(20, 1), rec(30, 993), rec(40, 994), rec(50, 995), rec(60, 4968)};
};

TEST_F(VarRead, StepsGoForwardsAndBackwards) {
    const int fd = six();
    EXPECT_EQ(take(fd, ISFIRST), all[0]);
    EXPECT_EQ(take(fd, ISNEXT), all[1]);
    EXPECT_EQ(take(fd, ISNEXT), all[2]);
    EXPECT_EQ(take(fd, ISLAST), all[5]);
    EXPECT_EQ(take(fd, ISPREV), all[4]);
    EXPECT_EQ(take(fd, ISCURR), all[4]);
    EXPECT_EQ(take(fd, ISPREV), all[3]);
    EXPECT_EQ(allOf(fd), all);
    Records backwards = all;
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(allOf(fd, ISLAST), backwards);
}

TEST_F(VarRead, KeyModesFindWholeRecords) {
    const int fd = six();
    for (long id = 10; id <= 60; id += 10) {
        const std::string &expected = all[static_cast<std::size_t>(id / 10 - 1)];
        EXPECT_EQ(take(fd, ISEQUAL, row(id)), expected);
        EXPECT_EQ(take(fd, ISGREAT, row(id - 1)), expected);
        EXPECT_EQ(take(fd, ISGTEQ, row(id)), expected);
        EXPECT_EQ(take(fd, ISGTEQ, row(id - 5)), expected);
    }
    EXPECT_EQ(take(fd, ISEQUAL, row(15)), error(ISERR_NOTFOUND));
    EXPECT_EQ(take(fd, ISGREAT, row(60)), error(ISERR_NOTFOUND));
}

TEST_F(VarRead, ModeBeyondSevenReadsTheCurrentRecordWhole) {
    const int fd = six();
    EXPECT_EQ(take(fd, ISEQUAL, row(50)), all[4]);
    EXPECT_EQ(take(fd, 9), all[4]);
}

TEST_F(VarRead, AllResultsAreSet) {
    const int fd = six();
    iserrno = iserrio = isreclen = 77;
    isrecnum = 77;
    EXPECT_EQ(take(fd, ISEQUAL, row(60)), all[5]);
    EXPECT_RESULTS(6, kVarMax);
    EXPECT_EQ(*is_reclen(fd), kVarMax);
    EXPECT_EQ(take(fd, ISFIRST), all[0]);
    EXPECT_RESULTS(1, kRowLen);
}

TEST_F(VarRead, LengthGivenDoesNotCount) {
    const int fd = six();
    for (const int length : {0, -1, 1, kRowLen, 40000}) {
        isreclen = length;
        EXPECT_EQ(take(fd, ISEQUAL, row(50)), all[4]);
    }
}

TEST_F(VarRead, FailureLeavesTheLength) {
    const int fd = six();
    isreclen = 77;
    EXPECT_EQ(take(fd, ISEQUAL, row(15)), error(ISERR_NOTFOUND));
    EXPECT_EQ(isreclen, 77);
}

TEST_F(VarRead, ByNumberReadsWholeRecordsWithoutMoving) {
    const int fd = six();
    EXPECT_EQ(take(fd, ISFIRST), all[0]);
    for (long number = 1; number <= 6; ++number) {
        EXPECT_EQ(takeNumber(fd, number), all[static_cast<std::size_t>(number - 1)]);
        EXPECT_EQ(isreclen, static_cast<int>(all[static_cast<std::size_t>(number - 1)].size()));
    }
    EXPECT_EQ(takeNumber(fd, 7), error(ISERR_ARGUMENT));
    EXPECT_EQ(take(fd, ISNEXT), all[1]);
    EXPECT_OK(isdelrec(fd, 5));
    EXPECT_EQ(takeNumber(fd, 5), error(ISERR_NOTFOUND));
}

TEST_F(VarRead, RecordNumberOrderReadsWholeRecords) {
    const int fd = six();
    EXPECT_OK(isdelrec(fd, 2));
    Records expected = all;
    expected.erase(expected.begin() + 1);
    EXPECT_EQ(allBy(fd, noKey()), expected);
    isrecnum = 6;
    EXPECT_EQ(take(fd, ISEQUAL), all[5]);
    isrecnum = 2;
    EXPECT_EQ(take(fd, ISEQUAL), error(ISERR_NOTFOUND));
}

TEST_F(VarRead, PositioningCallsLeadToWholeRecords) {
    const int fd = six();
    EXPECT_OK(isgoto(fd, 5));
    EXPECT_EQ(take(fd, ISCURR), all[4]);
    int index = 0;
    long number = 0;
    EXPECT_OK(ispush(fd, &index, &number));
    EXPECT_EQ(take(fd, ISLAST), all[5]);
    EXPECT_OK(ispop(fd, index, number));
    EXPECT_EQ(take(fd, ISCURR), all[4]);
    Row key = row(35);
    KeyDesc by_id = idKey();
    EXPECT_OK(isstart(fd, &by_id, 0, key, ISGTEQ));
    EXPECT_EQ(take(fd, ISNEXT), all[3]);
}

TEST_F(VarRead, LockedRecordIsDeliveredWholeAllTheSame) {
    const int fd = six();
    const int other = openVar();
    EXPECT_EQ(take(other, ISEQUAL | ISLOCK, row(50)), all[4]);
    std::vector<char> buffer(kVarMax, '?');
    Row key = row(50);
    std::copy(key.bytes, key.bytes + kRowLen, buffer.begin());
    EXPECT_FAILS(ISERR_LOCKED, isread(fd, buffer.data(), ISEQUAL | ISLOCK));
    EXPECT_EQ(isreclen, static_cast<int>(all[4].size()));
    EXPECT_EQ(std::string(buffer.data(), all[4].size()), all[4]);
    EXPECT_EQ(buffer[all[4].size()], '?');
    EXPECT_EQ(take(fd, ISNEXT), all[5]);
}

TEST_F(VarRead, AutomaticLocksFollowTheRecord) {
    const int fd = six(ISINOUT | ISLOCKAUTO);
    const int other = openVar();
    EXPECT_EQ(take(fd, ISFIRST), all[0]);
    EXPECT_EQ(take(fd, ISNEXT), all[1]);
    EXPECT_FAILS(ISERR_LOCKED, send(isrewrite, other, rec(20, 2)));
    EXPECT_OK(send(isrewrite, other, rec(10, 2)));
    EXPECT_EQ(take(fd, ISFIRST), rec(10, 2));
}

TEST_F(VarRead, InputAndLockFreeHandlesReadWholeRecords) {
    EXPECT_OK(isclose(six()));
    for (const int mode : {ISINPUT, ISINPUT | ISLOCKNONE, ISINOUT | ISLOCKEXCL}) {
        const int fd = openVar(mode);
        EXPECT_EQ(allOf(fd), all) << mode;
        EXPECT_OK(isclose(fd));
    }
}

// The filter keeps what it was shown.
std::vector<std::pair<std::string, int>> shown;
int keepLong(int fd, char *record, int) {
    EXPECT_EQ(isreclen, *is_reclen(fd));
    shown.emplace_back(std::string(record, static_cast<std::size_t>(isreclen)), isreclen);
    return isreclen > kRowLen + 993;
}

TEST_F(VarRead, FilterSeesWholeRecordsAndTheirLengths) {
    const int fd = six();
    shown.clear();
    EXPECT_EQ(isfilter(fd, keepLong), 0);
    std::vector<char> buffer(kVarMax);
    EXPECT_OK(isread(fd, buffer.data(), ISFIRST));
    EXPECT_EQ(isreclen, kRowLen + 994);
    EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(isreclen)), all[3]);
    ASSERT_EQ(shown.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(shown[i].first, all[i]);
        EXPECT_EQ(shown[i].second, static_cast<int>(all[i].size()));
    }
    EXPECT_OK(isread(fd, buffer.data(), ISLAST));
    EXPECT_EQ(isreclen, kVarMax);
    Row key = row(20);
    std::copy(key.bytes, key.bytes + kRowLen, buffer.begin());
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, buffer.data(), ISEQUAL));
}

}  // namespace
}  // namespace api
