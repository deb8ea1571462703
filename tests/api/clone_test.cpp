// Cloning: an empty file set of the same shape.
#include "cluster_kinds.h"

namespace api {
namespace {

class Clone : public WholeKindTest {
  protected:
    std::string copyName() const { return path("copy"); }
    int clone(int fd) {
        const int made = isclone(fd, copyName().c_str());
        EXPECT_GE(made, 0) << "iserrno " << iserrno << ", iserrio 0x" << std::hex << iserrio;
        return made;
    }
};

TEST_P(Clone, HasTheBytesOfASetBuiltInTheSameWay) {
    const int fd = make(kind(), 40);
    const int made = clone(fd);
    Kind plain = kind();
    plain.precious = false;
    makeEmpty(plain, "built");
    EXPECT_TRUE(imageOf(copyName()) == imageOf(path("built")));
    EXPECT_EQ(exists(copyName() + ".dat"), kind().records);
    expectWhole(made, copyName());
}

TEST_P(Clone, HasTheSourcesModeAndDescriptions) {
    const int fd = make(kind(), 5);
    const int made = clone(fd);
    int mode = -1, source_mode = -2;
    EXPECT_OK(isgetmode(fd, &source_mode));
    EXPECT_OK(isgetmode(made, &mode));
    EXPECT_EQ(mode, source_mode);
    DictInfo info{}, source_info{};
    EXPECT_OK(isisaminfo(fd, &source_info));
    EXPECT_OK(isisaminfo(made, &info));
    EXPECT_EQ(info.keyCount, source_info.keyCount);
    EXPECT_EQ(info.recordLength, source_info.recordLength);
    EXPECT_EQ(info.recordCount, 0);
    for (int index = 1; index <= kind().indexes(); ++index) {
        KeyDesc key{};
        EXPECT_OK(isindexinfo(made, &key, index));
        EXPECT_TRUE(testing_support::sameKeyDesc(key, kind().key(index))) << index;
    }
    EXPECT_STREQ(isqv_name(made), copyName().c_str());
}

TEST_P(Clone, LeavesTheSourceAlone) {
    const int fd = make(kind(), 40);
    std::vector<char> buffer(kVarMax);
    EXPECT_OK(isread(fd, buffer.data(), ISFIRST));
    EXPECT_OK(isread(fd, buffer.data(), ISNEXT));
    const long stood = position(fd);
    const Image before = imageOf(base());
    clone(fd);
    EXPECT_TRUE(imageOf(base()) == before);
    EXPECT_EQ(position(fd), stood);
    expectWhole(fd, base());
}

TEST_P(Clone, TakesRecords) {
    const int fd = makeEmpty(kind());
    const int made = clone(fd);
    writeKind(fd, kind(), 1, 30);
    writeKind(made, kind(), 1, 30);
    EXPECT_TRUE(heldBy(copyName()).records == heldBy(base()).records);
    EXPECT_TRUE(heldBy(copyName()).entries() == heldBy(base()).entries());
    expectWhole(made, copyName());
    EXPECT_OK(isclose(made));
    expectWhole(openNamed("copy", ISINOUT | ISVARAUTO), copyName());
}

TEST_P(Clone, CanBeClonedAgain) {
    const int made = clone(make(kind(), 10));
    const int again = isclone(made, path("again").c_str());
    EXPECT_GE(again, 0);
    EXPECT_TRUE(imageOf(path("again")) == imageOf(copyName()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, Clone, testing::ValuesIn(wholeKinds()), kindName);

}  // namespace
}  // namespace api
