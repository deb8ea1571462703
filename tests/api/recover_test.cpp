// Recovery does again what the library has logged.
#include "recovery.h"

#include <filesystem>
#include <random>

namespace api {
namespace {

class Recover : public RecoveryTest {};

TEST_F(Recover, EmptyLogIsNothingToDo) {
    EXPECT_OK(isclose(fill({1})));
    keepFiles();
    expectSameAfterRecovery();
}

TEST_F(Recover, FilesAreBuiltFilledAndClosedAgain) {
    keepFiles();
    const int fd = build();
    putIds(fd, {30, 10, 20});
    EXPECT_OK(isrewrite(fd, row(10, "new")));
    EXPECT_OK(isdelete(fd, row(30)));
    EXPECT_OK(iswrite(fd, row(40)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 40}));
}

TEST_F(Recover, FilesThatWereThereAreGoneOnWith) {
    const int before = build();
    add(before, nameKey(ISNODUPS));
    putIds(before, {1, 2, 3, 4, 5});
    EXPECT_OK(isdelete(before, row(2)));
    EXPECT_OK(isclose(before));
    keepFiles();
    const int fd = open();
    EXPECT_OK(isdelete(fd, row(4)));
    EXPECT_OK(isrewrec(fd, 1, row(9, "nine")));
    EXPECT_OK(iswrite(fd, row(7)));
    EXPECT_OK(iswrite(fd, row(8, "eight")));
    EXPECT_OK(iswrite(fd, row(6, "six")));
    expectSameAfterRecovery();
}

TEST_F(Recover, IndexesAndUniqueIds) {
    keepFiles();
    const int fd = build();
    putIds(fd, {3, 1, 2});
    KeyDesc name = nameKey(ISDUPS | ISTRAILCOMP | ISLEADCOMP), group = groupKey(ISNODUPS);
    long id = 0;
    EXPECT_OK(isaddindex(fd, &name));
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(issetunique(fd, 500));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_OK(isdelindex(fd, &name));
    EXPECT_OK(iswrite(fd, row(4, "four", 4)));
    expectSameAfterRecovery();
    const int again = open();
    EXPECT_OK(isuniqueid(again, &id));
    EXPECT_EQ(id, 502);
    EXPECT_EQ(indexCount(again), 2);
}

TEST_F(Recover, FilesAreRenamedAndErasedAgain) {
    EXPECT_OK(isclose(fill({1, 2})));
    dontCheck();
    keepFiles();
    EXPECT_OK(isrename(base(), path("other").c_str()));
    EXPECT_OK(isclose(buildNamed(path("file"))));
    const int fd = isopen(path("other").c_str(), ISINOUT);
    EXPECT_OK(iswrite(fd, row(3)));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(iserase(base()));
    dontCheck();
    expectSameAfterRecovery();
    EXPECT_FALSE(exists(path("file.idx")));
    EXPECT_EQ(idsOf(isopen(path("other").c_str(), ISINPUT)), (Ids{1, 2, 3}));
}

TEST_F(Recover, VariableLengths) {
    for (const int compress : {0, ISCOMPRESS}) {
        SCOPED_TRACE(compress);
        const std::string name = path(compress != 0 ? "b" : "a");
        keepFiles();
        const int fd = buildVarNamed(name, ISINOUT | compress);
        long id = 0;
        for (const std::size_t tail : {0, 1, 993, 994, 995, 4968})
            EXPECT_OK(send(iswrite, fd, rec(++id, tail)));
        EXPECT_OK(send(isrewrite, fd, rec(row(2), std::string(2000, ' '))));
        EXPECT_OK(send(isrewrite, fd, rec(3)));
        EXPECT_OK(sendAs(0, isrewrite, fd, rec(4)));
        EXPECT_OK(isdelete(fd, row(6)));
        EXPECT_OK(isclose(fd));
        const int again = isopen(name.c_str(), ISINOUT | ISVARLEN);
        EXPECT_OK(send(iswrite, again, rec(7, 3000)));
        expectSameAfterRecovery();
        EXPECT_OK(islogclose());
        EXPECT_TRUE(std::filesystem::remove(log()));
    }
}

TEST_F(Recover, FilesOfOtherShapes) {
    keepFiles();
    const int plain = buildNamed(path("plain"), ISINOUT, noKey());
    const int duplicates = buildNamed(path("dups"), ISINOUT, groupKey(ISDUPS | ISDUPCOMP));
    const int keys = buildNamed(path("keys"), ISINOUT, idKey(), 0);
    const int varlen = buildVarNamed(path("var"), ISINOUT, noKey());
    for (long id = 1; id <= 300; ++id) {
        EXPECT_OK(iswrite(plain, row(id)));
        EXPECT_OK(iswrite(duplicates, row(id, "", static_cast<int>(id % 7))));
        EXPECT_OK(send(iswrite, varlen, rec(id, static_cast<std::size_t>(id * 7 % 400))));
    }
    for (long number = 2; number <= 300; number += 3) {
        EXPECT_OK(isdelrec(plain, number));
        EXPECT_OK(isrewrec(duplicates, number, row(number, "", 3)));
        EXPECT_OK(isdelrec(varlen, number));
    }
    static_cast<void>(keys);
    expectSameAfterRecovery();
}

TEST_F(Recover, TransactionsWithAndWithoutEnd) {
    keepFiles();
    const int fd = buildTrans();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(iscommit());
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrite(fd, row(2, "kept")));
    EXPECT_OK(iswrite(fd, row(3)));
    const Image left = imageOf(base());
    // As if the process had ended here.
    EXPECT_OK(recover());
    EXPECT_TRUE(imageOf(base()) == left);
}

TEST_F(Recover, RolledBackTransactionsAreUndoneAgain) {
    keepFiles();
    const int setup = build();
    putIds(setup, {10, 20, 30});
    EXPECT_OK(isclose(setup));
    for (int round = 0; round < 3; ++round) {
        const int fd = openTrans();
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(40 + round)));
        EXPECT_OK(isrewrite(fd, row(10, std::to_string(round))));
        EXPECT_OK(isdelete(fd, row(20)));
        EXPECT_OK(round == 1 ? iscommit() : isrollback());
        if (round == 1) EXPECT_OK(iswrite(fd, row(20)));
        EXPECT_OK(isclose(fd));
    }
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30, 41}));
}

TEST_F(Recover, FilesClosedInsideTransactions) {
    keepFiles();
    EXPECT_OK(isclose(buildTrans("a")));
    EXPECT_OK(isclose(buildVarTrans("b")));
    for (const bool commit : {false, true, false}) {
        EXPECT_OK(isbegin());
        const int a = openTrans("a"), b = openTrans("b", ISVARLEN);
        EXPECT_OK(iswrite(a, row(1)));
        EXPECT_OK(isclose(a));
        EXPECT_OK(send(iswrite, b, rec(1, 1234)));
        EXPECT_EQ(openTrans("a"), a);
        EXPECT_OK(isrewrite(a, row(1, "again")));
        EXPECT_OK(isclose(a));
        EXPECT_OK(isclose(b));
        EXPECT_OK(commit ? iscommit() : isrollback());
        if (commit) {
            const int fd = openTrans("a"), gd = openTrans("b", ISVARLEN);
            EXPECT_OK(isdelete(fd, row(1)));
            EXPECT_OK(isdelete(gd, row(1)));
            EXPECT_OK(isclose(fd));
            EXPECT_OK(isclose(gd));
        }
    }
    expectSameAfterRecovery();
}

TEST_F(Recover, FileOpenedInARolledBackTransactionIsUsedOn) {
    keepFiles();
    EXPECT_OK(isclose(build()));
    EXPECT_OK(isbegin());
    const int fd = openTrans();
    EXPECT_OK(isrollback());
    // Nothing was undone through the handle, so it is logged on.
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isclose(fd));
    const int again = open();
    EXPECT_OK(iswrite(again, row(2)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{1, 2}));
}

TEST_F(Recover, RollbackThatFailedFailsAtTheSameChange) {
    keepFiles();
    const int fd = buildTrans(), other = open();
    putIds(fd, {10, 20, 30});
    EXPECT_OK(isrelease(fd));
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrite(fd, row(30, "stays")));
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(iswrite(other, row(10, "mine")));
    EXPECT_OK(isrewrite(fd, row(20, "goes")));
    EXPECT_FAILS(ISERR_DUPLICATE, isrollback());
    EXPECT_OK(iswrite(other, row(40)));
    expectSameAfterRecovery();
    EXPECT_EQ(allOf(open()), (Records{rec(row(10, "mine")), rec(row(20, "n20", 20)), rec(row(30, "stays")), rec(40)}));
}

TEST_F(Recover, FileClosedUnloggedIsOpenedAgain) {
    keepFiles();
    int fd = buildTrans();
    for (long round = 0; round < 3; ++round) {
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(99)));
        EXPECT_OK(isrollback());
        EXPECT_OK(isclose(fd));  // not logged
        fd = openTrans();
        EXPECT_OK(iswrite(fd, row(round)));
        KeyDesc key = nameKey();
        EXPECT_OK(round % 2 == 0 ? isaddindex(fd, &key) : isdelindex(fd, &key));
    }
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{0, 1, 2}));
}

TEST_F(Recover, SeveralHandlesAndDescriptorsUsedAgain) {
    keepFiles();
    const int one = build(), two = open(), three = buildNamed(path("other"));
    EXPECT_OK(iswrite(one, row(1)));
    EXPECT_OK(iswrite(two, row(2)));
    EXPECT_OK(iswrite(three, row(3)));
    EXPECT_OK(isclose(one));
    EXPECT_EQ(isopen(path("other").c_str(), ISINOUT), one);
    EXPECT_OK(iswrite(one, row(11)));
    EXPECT_OK(isclose(two));
    EXPECT_OK(iswrite(three, row(33)));
    EXPECT_OK(isclose(three));
    EXPECT_EQ(open(), two);
    EXPECT_OK(iswrite(two, row(22)));
    expectSameAfterRecovery();
}

TEST_F(Recover, MoreFilesThanTheTableHasAtFirst) {
    keepFiles();
    std::vector<int> fds;
    for (int i = 0; i < 23; ++i)
        fds.push_back(buildTrans("f" + std::to_string(i)));
    EXPECT_OK(isbegin());
    for (const int fd : fds)
        EXPECT_OK(iswrite(fd, row(fd)));
    EXPECT_OK(iscommit());
    EXPECT_OK(isbegin());
    for (const int fd : fds)
        EXPECT_OK(isrewrite(fd, row(fd, "gone")));
    for (const int fd : fds)
        EXPECT_OK(isclose(fd));
    EXPECT_OK(isrollback());
    expectSameAfterRecovery();
}

TEST_F(Recover, LogIsWrittenOnAfterwards) {
    keepFiles();
    EXPECT_OK(isclose(build()));
    expectSameAfterRecovery();
    EXPECT_EQ(types(), "BU FO FC");
    const int fd = open();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_EQ(types(), "BU FO FC FO IN");
    expectSameAfterRecovery();
}

TEST_F(Recover, RandomWork) {
    std::mt19937 random(5);
    keepFiles();
    const int fds[] = {buildTrans("a"), buildVarTrans("b"), buildVarTrans("c", ISCOMPRESS)};
    for (int step = 0; step < 600; ++step) {
        if (step % 20 == 0) {
            EXPECT_OK(iscommit() == 0 || step == 0 ? isbegin() : -1);
        }
        const std::size_t which = random() % 3;
        const long id = 1 + static_cast<long>(random() % 40);
        const std::string record = rec(id, which == 0 ? 0 : random() % 4 * 700);
        if (send(isrewrite, fds[which], record) == 0 && random() % 3 != 0) continue;
        if (isdelete(fds[which], row(id)) != 0) ASSERT_OK(send(iswrite, fds[which], record));
    }
    EXPECT_OK(isrollback());
    expectSameAfterRecovery();
}

}  // namespace
}  // namespace api
