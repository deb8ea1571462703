// Slots read ahead: when, and that they are what the file has.

#include "storage/isahead.h"

#include <cerrno>

#include "base/isglobal.h"
#include "storage/isdatio.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kRecords = 400;

std::string text(int n) { return std::to_string(100000 + n); }

class SlotsAhead : public testing::Test {
  protected:
    SlotsAhead() {
        for (int n = 1; n <= kRecords; ++n)
            file_.write(text(n));
        isAheadForget(h());
        h()->ahead = {h()->ahead.bytes, 0, 0, 0, 0, 0};
    }
    void TearDown() override { iscachelimit(before_); }
    IsamFile *h() { return file_.handle(); }
    // Reads a slot inside of an operation; the record's first six bytes.
    std::string get(long recnum) {
        EXPECT_EQ(file_.change([&] { isGetData(h(), recnum); }), 0);
        return {reinterpret_cast<const char *>(h()->recordBuffer), 6};
    }
    long before_ = iscachelimit(-1);
    ScratchFile file_{20, charKey(6)};
};

TEST_F(SlotsAhead, AreReadAfterAFewStepsInOneDirection) {
    for (int n = 10; n < 14; ++n) {
        EXPECT_EQ(get(n), text(n));
        EXPECT_EQ(h()->ahead.count, 0U) << n;
    }
    EXPECT_EQ(get(14), text(14));
    EXPECT_EQ(h()->ahead.first, 14U);
    EXPECT_EQ(h()->ahead.count, 8U);
    for (int n = 15; n <= kRecords; ++n)
        EXPECT_EQ(get(n), text(n));
    EXPECT_EQ(h()->ahead.first + h()->ahead.count - 1, static_cast<unsigned>(kRecords));
}

TEST_F(SlotsAhead, AreThoseBeforeOnTheWayBack) {
    for (int n = 300; n > 0; --n)
        EXPECT_EQ(get(n), text(n));
    EXPECT_EQ(h()->ahead.first, 1U);
}

TEST_F(SlotsAhead, AreNotReadForWhoJumps) {
    for (int n = 1; n < kRecords; n += 2)
        EXPECT_EQ(get(n), text(n));
    for (int n = 1; n < 40; ++n)
        EXPECT_EQ(get(n % 2 == 0 ? n : kRecords - n), text(n % 2 == 0 ? n : kRecords - n));
    EXPECT_EQ(h()->ahead.count, 0U);
}

TEST_F(SlotsAhead, AreNotReadWhereNothingIsKept) {
    iscachelimit(0);
    for (int n = 1; n < 40; ++n)
        EXPECT_EQ(get(n), text(n));
    EXPECT_EQ(h()->ahead.count, 0U);
}

TEST_F(SlotsAhead, AreWhatThisHandleHasWritten) {
    for (int n = 1; n <= 20; ++n)
        get(n);
    ASSERT_GT(h()->ahead.count, 0U);
    const long inside = static_cast<long>(h()->ahead.first) + 3;
    std::string record = "zzzzzz" + std::string(14, ' ');
    ASSERT_EQ(isrewrec(file_.fd(), inside, record.data()), 0);
    ASSERT_EQ(isdelrec(file_.fd(), inside + 1), 0);
    ASSERT_GT(h()->ahead.count, 0U);
    EXPECT_EQ(get(inside), "zzzzzz");
    EXPECT_EQ(file_.change([&] { EXPECT_TRUE(isDelCheck(h(), inside + 1)); }), 0);
}

TEST_F(SlotsAhead, AreForgottenWhenAnotherHandleHasChangedTheFile) {
    for (int n = 1; n <= 20; ++n)
        get(n);
    const long inside = static_cast<long>(h()->ahead.first) + 3;
    const int other = isopen(file_.base().c_str(), ISINOUT | ISLOCKMANUAL);
    std::string record = "zzzzzz" + std::string(14, ' ');
    ASSERT_EQ(isrewrec(other, inside, record.data()), 0);
    EXPECT_EQ(isclose(other), 0);
    char seen[20];
    ASSERT_EQ(isdata(file_.fd(), seen, inside), 0);
    EXPECT_EQ(std::string(seen, 6), "zzzzzz");
}

TEST_F(SlotsAhead, EndWhereTheFileDoes) {
    h()->dataFree.last = kRecords + 50;
    for (int n = kRecords - 6; n <= kRecords; ++n)
        EXPECT_EQ(get(n), text(n));
    EXPECT_EQ(file_.change([&] { isGetData(h(), kRecords + 1); }), EIO);
}

}  // namespace
