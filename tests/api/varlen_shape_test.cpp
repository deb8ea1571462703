// Variable-length records in files of other shapes: masks, no primary key, several indexes, null keys.
#include "varlen.h"

#include <algorithm>

namespace api {
namespace {

class VarShape : public VarTest {};

TEST_F(VarShape, MaskStandsBehindTheTailPointer) {
    const int fd = buildVar(ISINOUT | ISMASK);
    add(fd, nameKey());
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_OK(send(iswrite, fd, rec(1, 100)));
    EXPECT_EQ(issetmask(fd, 0), 0);
    EXPECT_OK(send(iswrite, fd, rec(2, 50)));
    const std::string data = imageOf(base()).data;
    const std::size_t slot = kRowLen + 1 + 6 + 4;
    ASSERT_EQ(data.size(), 2 * slot);
    EXPECT_EQ(numberAt(data, slot - 4, 4), 2U);
    EXPECT_EQ(numberAt(data, 2 * slot - 4, 4), 0U);
    EXPECT_EQ(tailPointer(base(), 1, 4).length, 100U);
    EXPECT_EQ(tailPointer(base(), 2, 4).length, 50U);
}

TEST_F(VarShape, MasksKeepRecordsOutOfIndexes) {
    const int fd = buildVar(ISINOUT | ISMASK);
    add(fd, nameKey());
    EXPECT_OK(send(iswrite, fd, rec(row(10, "a"), 100)));
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_OK(send(iswrite, fd, rec(row(20, "b"), 2000)));
    EXPECT_EQ(issetmask(fd, 1), 0);
    EXPECT_OK(send(iswrite, fd, rec(row(30, "c"), 0)));
    EXPECT_EQ(allBy(fd, idKey()), (Records{rec(row(10, "a"), 100), rec(row(20, "b"), 2000)}));
    EXPECT_EQ(isgetmask(fd), 2);
    EXPECT_EQ(allBy(fd, nameKey()), (Records{rec(row(10, "a"), 100), rec(row(30, "c"), 0)}));
    EXPECT_EQ(isgetmask(fd), 1);
    EXPECT_EQ(takeNumber(fd, 2), rec(row(20, "b"), 2000));
    EXPECT_EQ(isgetmask(fd), 2);
}

TEST_F(VarShape, RewriteAndDeleteGoByTheStoredMask) {
    const int fd = buildVar(ISINOUT | ISMASK);
    add(fd, nameKey());
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_OK(send(iswrite, fd, rec(row(20, "b"), 2000)));
    EXPECT_EQ(issetmask(fd, 0), 0);
    EXPECT_OK(send(isrewrite, fd, rec(row(20, "b"), 3000)));
    EXPECT_EQ(allBy(fd, nameKey()), (Records{rec(row(20, "b"), 3000)}));
    EXPECT_EQ(issetmask(fd, 1), 0);
    EXPECT_OK(sendTo(fd, 1, rec(row(20, "b"), 10)));
    EXPECT_EQ(allBy(fd, idKey()), (Records{}));
    EXPECT_EQ(allBy(fd, nameKey()), (Records{rec(row(20, "b"), 10)}));
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{0, 0}));
}

TEST_F(VarShape, TooLongWithAMaskNothingChanges) {
    const int fd = buildVar(ISINOUT | ISMASK);
    EXPECT_OK(send(iswrite, fd, rec(1, 100)));
    EXPECT_EQ(issetmask(fd, 1), 0);
    expectRefused(base(), ISERR_ROWSIZE, [=] { return send(iswrite, fd, rec(2, kVarMax)); });
    expectRefused(base(), ISERR_ROWSIZE, [=] { return sendTo(fd, 1, rec(1, kVarMax)); });
    EXPECT_EQ(takeNumber(fd, 1), rec(1, 100));
    EXPECT_EQ(isgetmask(fd), 0);
}

TEST_F(VarShape, WithoutPrimaryKeyRecordsGoByNumber) {
    const int fd = buildVar(ISINOUT, noKey());
    EXPECT_OK(send(iswrite, fd, rec(3, 100)));
    EXPECT_OK(send(iswrite, fd, rec(1, 2000)));
    EXPECT_OK(send(iswrcurr, fd, rec(2, 0)));
    EXPECT_EQ(take(fd, ISCURR), rec(2));
    EXPECT_EQ(allOf(fd), (Records{rec(3, 100), rec(1, 2000), rec(2)}));
    EXPECT_OK(sendTo(fd, 3, rec(5, 4000)));
    EXPECT_EQ(take(fd, ISFIRST), rec(3, 100));
    EXPECT_OK(send(isrewcurr, fd, rec(4, 1)));
    EXPECT_OK(send(isrewnxt, fd, rec(4, 2)));
    EXPECT_OK(isdelcurr(fd));
    EXPECT_EQ(allOf(fd), (Records{rec(4, 2), rec(5, 4000)}));
    expectRefused(base(), ISERR_NOPRIMARYKEY, [=] { return send(isrewrite, fd, rec(4, 2)); });
    expectRefused(base(), ISERR_ROWSIZE, [=] { return send(iswrite, fd, rec(4, kVarMax)); });
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(allOf(openVar()), (Records{rec(4, 2), rec(5, 4000)}));
}

TEST_F(VarShape, WithoutPrimaryKeyIndexesMayCome) {
    const int fd = buildVar(ISINOUT, noKey());
    for (long id = 40; id > 0; --id)
        EXPECT_OK(send(iswrite, fd, rec(id, static_cast<std::size_t>(id * 50))));
    add(fd, idKey());
    Records expected;
    for (long id = 1; id <= 40; ++id)
        expected.push_back(rec(id, static_cast<std::size_t>(id * 50)));
    EXPECT_EQ(allBy(fd, idKey()), expected);
}

TEST_F(VarShape, AddedAndDroppedIndexesLeaveTheTails) {
    const int fd = buildVar();
    Records expected;
    for (long id = 1; id <= 60; ++id) {
        expected.push_back(rec(row(id, std::to_string(99 - id)), static_cast<std::size_t>(id * 40)));
        ASSERT_OK(send(iswrite, fd, expected.back()));
    }
    KeyDesc name = nameKey(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP);
    add(fd, name);
    Records reversed = expected;
    std::reverse(reversed.begin(), reversed.end());
    EXPECT_EQ(allBy(fd, name), reversed);
    EXPECT_OK(isdelindex(fd, &name));
    EXPECT_EQ(allBy(fd, idKey()), expected);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = rec(static_cast<long>(i + 1), 3000 - i * 40);
        ASSERT_OK(send(isrewrite, fd, expected[i]));
    }
    EXPECT_EQ(allBy(fd, idKey()), expected);
}

TEST_F(VarShape, NullKeysAreLeftOut) {
    const int fd = buildVar();
    KeyDesc name = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    add(fd, name);
    EXPECT_OK(send(iswrite, fd, rec(row(1), 100)));
    EXPECT_OK(send(iswrite, fd, rec(row(2, "b"), 2000)));
    EXPECT_EQ(allBy(fd, name), (Records{rec(row(2, "b"), 2000)}));
    EXPECT_FAILS(ISERR_NOTFOUND, send(iswrcurr, fd, rec(row(3), 300)));
    EXPECT_EQ(allBy(fd, idKey()), (Records{rec(row(1), 100), rec(row(2, "b"), 2000), rec(row(3), 300)}));
}

TEST_F(VarShape, PreciousFilesKeepNumbersBackButNotNodes) {
    const int fd = fillVar({3000, 200});
    const unsigned long nodes = lastNode(base());
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(send(iswrite, fd, rec(30, 3000)));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(lastNode(base()), nodes);
    EXPECT_EQ(allOf(fd), (Records{rec(20, 200), rec(30, 3000)}));
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_OK(send(iswrite, fd, rec(10, 1)));
    EXPECT_EQ(isrecnum, 1);
}

TEST_F(VarShape, UserBytesUniqueIdsAndTailsShareTheHeader) {
    const int fd = fillVar({100, 1500});
    char bytes[ISUSERINFOLEN + 1] = "0123456789";
    EXPECT_OK(isuserinfo(fd, 1, bytes));
    EXPECT_OK(issetunique(fd, 500));
    EXPECT_OK(send(iswrite, fd, rec(30, 700)));
    long id = 0;
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_EQ(id, 500);
    char back[ISUSERINFOLEN + 1] = "";
    EXPECT_OK(isuserinfo(fd, 0, back));
    EXPECT_STREQ(back, "0123456789");
    EXPECT_EQ(allOf(fd), (Records{rec(10, 100), rec(20, 1500), rec(30, 700)}));
}

}  // namespace
}  // namespace api
