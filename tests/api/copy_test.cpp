// Copying every kind of file set in every order.
#include "cluster_kinds.h"

namespace api {
namespace {

class Copy : public WholeKindTest {
  protected:
    std::string target(int index) const { return path("copy" + std::to_string(index)); }
    int empty(int index) { return makeEmpty(kind(), "copy" + std::to_string(index)); }
};

TEST_P(Copy, EachOrder) {
    const int fd = make(kind(), 150);
    const Held source = heldBy(base());
    for (int index = lowestOrder(kind()); index <= kind().indexes(); ++index) {
        SCOPED_TRACE(index);
        const int to = empty(index);
        const Image before = imageOf(target(index));
        EXPECT_OK(copy(to, fd, kind(), index));
        const Held copied = heldBy(target(index));
        expectCopy(source, foundIndex(kind(), index), copied);
        EXPECT_EQ(copied.header.changeCounter, changeCounter(before) + 1) << "one change";
        expectWhole(to, target(index));
    }
    EXPECT_TRUE(heldBy(base()).records == source.records);
}

// A file that is copied by record number twice has its first copy's bytes: nothing else goes into them.
TEST_P(Copy, OfACopyIsTheSame) {
    const int fd = make(kind(), 150);
    const int first = empty(1), second = empty(2);
    EXPECT_OK(copy(first, fd, kind(), kind().indexes()));
    EXPECT_OK(copy(second, first, kind(), lowestOrder(kind())));
    EXPECT_TRUE(imageOf(target(2)) == imageOf(target(1)));
}

TEST_P(Copy, IntoAClone) {
    const int fd = make(kind(), 60);
    const int to = isclone(fd, target(1).c_str());
    EXPECT_OK(copy(to, fd, kind(), kind().indexes()));
    expectCopy(heldBy(base()), foundIndex(kind(), kind().indexes()), heldBy(target(1)));
    expectWhole(to, target(1));
    expectWhole(fd, base());
}

TEST_P(Copy, NoRecordAndOneRecord) {
    const int fd = makeEmpty(kind());
    const int to = empty(1);
    const Image before = imageOf(target(1));
    EXPECT_OK(copy(to, fd, kind(), std::min(1, kind().indexes())));
    const Image after = imageOf(target(1));
    EXPECT_EQ(changeCounter(after), changeCounter(before) + 1);
    EXPECT_EQ(after.index.substr(0, 41), before.index.substr(0, 41));
    EXPECT_EQ(after.index.substr(45), before.index.substr(45));
    EXPECT_EQ(after.data, "");
    writeKind(fd, kind(), 1, 1);
    EXPECT_OK(copy(to, fd, kind(), std::min(1, kind().indexes())));
    expectCopy(heldBy(base()), 0, heldBy(target(1)));
    expectWhole(to, target(1));
}

TEST_P(Copy, LeavesTheSourcesBytesAlone) {
    const int fd = make(kind(), 60);
    const Image before = imageOf(base());
    EXPECT_OK(copy(empty(1), fd, kind(), lowestOrder(kind())));
    EXPECT_TRUE(imageOf(base()) == before);
}

TEST_P(Copy, BothFilesGoOn) {
    const int fd = make(kind(), 30);
    const int to = empty(1);
    EXPECT_OK(copy(to, fd, kind(), lowestOrder(kind())));
    for (const int each : {fd, to}) {
        std::vector<char> buffer(kVarMax);
        EXPECT_OK(isread(each, buffer.data(), ISFIRST));
        const int length = isreclen;
        EXPECT_OK(isdelcurr(each));
        isrecnum = 700;
        isreclen = length;
        EXPECT_OK(iswrite(each, buffer.data()));
    }
    expectWhole(fd, base());
    expectWhole(to, target(1));
}

INSTANTIATE_TEST_SUITE_P(Kinds, Copy, testing::ValuesIn(wholeKinds()), kindName);

}  // namespace
}  // namespace api
