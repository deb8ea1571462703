// Both zeros of a floating-point part stand before each other, so that a node of them has no order: where a search ends
// there follows from how it halves the node, and files depend on it.

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kLength = 20;

struct Record {
    char bytes[kLength + 1] = {};
    Record(double number, char letter) {
        stdbl(number, bytes);
        bytes[8] = letter;
    }
};

TEST(ZeroOrder, SearchEndsWhereTheHalvingLeads) {
    testing_support::TempDir directory;
    KeyDesc key = {};
    key.nparts = 2;
    key.parts[0] = {0, 8, DOUBLETYPE};
    key.parts[1] = {8, 1, CHARTYPE};
    const int fd = isbuild(directory.file("f").c_str(), kLength, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    // The node holds, in this order: +0 a, -0 a, +0 b, +0 e.
    for (Record record : {Record(0.0, 'b'), Record(-0.0, 'a'), Record(0.0, 'a'), Record(0.0, 'e')})
        ASSERT_EQ(iswrite(fd, record.bytes), 0);
    ASSERT_EQ(isstart(fd, &key, 0, nullptr, ISFIRST), 0);
    Record got(0.0, 'd');
    ASSERT_EQ(isread(fd, got.bytes, ISGTEQ), 0);
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(isclose(fd), 0);
}

}  // namespace
