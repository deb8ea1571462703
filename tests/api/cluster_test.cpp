// Clustering every kind of file set by each of its indexes: the same records, in the data file in key order.
#include "cluster_kinds.h"

namespace api {
namespace {

class Cluster : public WholeKindTest {
  protected:
    std::vector<std::string> sorted(const Held &held) const {
        std::vector<std::string> records = held.sequence(0);
        std::sort(records.begin(), records.end());
        return records;
    }
};

TEST_P(Cluster, ByEachIndexOneAfterTheOther) {
    int fd = make(kind(), 200);
    for (int index = kind().indexes(); index >= 0; --index) {
        SCOPED_TRACE(index);
        const Held before = heldBy(base());
        fd = cluster(fd, kind(), index);
        const Held after = heldBy(base());
        expectCopy(before, foundIndex(kind(), index), after);
        EXPECT_EQ(sorted(after), sorted(before));
        expectWhole(fd, base());
        EXPECT_FALSE(temporaryThere());
    }
    EXPECT_EQ(namesIn(directory()), (std::vector<std::string>{"file.dat", "file.idx"}));
}

// A second time changes nothing but what counts changes.
TEST_P(Cluster, TwiceIsOnce) {
    int fd = cluster(make(kind(), 60), kind(), kind().indexes());
    const Image once = imageOf(base());
    fd = cluster(fd, kind(), kind().indexes());
    EXPECT_TRUE(imageOf(base()) == once);
}

// Above all, the files shrink to what the records need.
TEST_P(Cluster, HasTheBytesOfACopyIntoAClone) {
    const int fd = make(kind(), 100);
    const int made = isclone(fd, path("copy").c_str());
    EXPECT_OK(copy(made, fd, kind(), kind().indexes()));
    if (kind().precious) EXPECT_OK(isprecious(made, 1));
    cluster(fd, kind(), kind().indexes());
    Image copied = imageOf(path("copy"));
    if (kind().precious) copied.index.replace(41, 4, long4(changeCounter(copied) - 1));
    EXPECT_TRUE(imageOf(base()) == copied);
}

TEST_P(Cluster, NoRecordAndOneRecord) {
    int fd = makeEmpty(kind());
    fd = cluster(fd, kind(), kind().indexes());
    EXPECT_EQ(recordCount(fd), 0);
    EXPECT_EQ(imageOf(base()).data, "");
    writeKind(fd, kind(), 1, 1);
    const Held before = heldBy(base());
    fd = cluster(fd, kind(), std::min(1, kind().indexes()));
    EXPECT_TRUE(heldBy(base()).records == before.records);
    expectWhole(fd, base());
}

TEST_P(Cluster, FileGoesOnAndOpensAgain) {
    int fd = cluster(make(kind(), 60), kind(), kind().indexes());
    // A number that is not free counts as a record.
    const int count = recordCount(fd) + (kind().precious ? 11 : 10);
    std::vector<char> buffer(kVarMax);
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(isread(fd, buffer.data(), ISFIRST));
    EXPECT_OK(isdelcurr(fd));
    writeKind(fd, kind(), 1000, 1010);
    EXPECT_EQ(recordCount(fd), count);
    expectWhole(fd, base());
    EXPECT_OK(isclose(fd));
    fd = open(ISINOUT | ISVARAUTO);
    EXPECT_EQ(recordCount(fd), count);
    expectWhole(fd, base());
}

TEST_P(Cluster, CurrentIndexIsTakenWithoutKey) {
    const int fd = make(kind(), 60);
    const Held before = heldBy(base());
    EXPECT_OK(isindex(fd, kind().indexes(), 0));
    EXPECT_GE(iscluster(fd, nullptr), 0);
    expectCopy(before, kind().indexes(), heldBy(base()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, Cluster, testing::ValuesIn(clusterKinds()), kindName);

}  // namespace
}  // namespace api
