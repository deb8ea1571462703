// Erasing and renaming file sets.
#include "logs.h"

#include <cerrno>
#include <cstdio>
#include <fstream>

namespace api {
namespace {

class WholeFile : public LogTest {
  protected:
    // A closed file of ids 1 and 2.
    std::string made(const std::string &name = "file") {
        const int fd = buildNamed(path(name));
        putIds(fd, {1, 2});
        EXPECT_OK(isclose(fd));
        dontCheck();
        return path(name);
    }
    int rename(const std::string &from, const std::string &to) { return isrename(from.c_str(), to.c_str()); }
    int erase(const std::string &name) { return iserase(name.c_str()); }
    static bool there(const std::string &name) { return exists(name + ".idx") || exists(name + ".dat"); }
};

TEST_F(WholeFile, EraseRemovesBothFiles) {
    const std::string name = made();
    const int before = openDescriptors();
    iserrno = 77;
    EXPECT_OK(erase(name));
    EXPECT_FALSE(there(name));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FAILS(ENOENT, isopen(name.c_str(), ISINOUT));
    EXPECT_EQ(made(), name);
}

TEST_F(WholeFile, RenameMovesBothFiles) {
    const std::string name = made(), to = path("other");
    EXPECT_OK(rename(name, to));
    EXPECT_FALSE(there(name));
    const int fd = isopen(to.c_str(), ISINOUT);
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
    EXPECT_OK(iswrite(fd, row(3)));
}

TEST_F(WholeFile, FilesOfKeysAloneHaveOneFile) {
    const int fd = build(ISINOUT, idKey(), 0);
    dontCheck();
    EXPECT_OK(isclose(fd));
    std::ofstream(path("file.dat")) << "not ours";
    EXPECT_OK(rename(base(), path("other")));
    EXPECT_TRUE(exists(path("file.dat")));
    EXPECT_FALSE(exists(path("other.dat")));
    EXPECT_OK(erase(path("other")));
    EXPECT_FALSE(exists(path("other.idx")));
    EXPECT_TRUE(exists(path("file.dat")));
}

TEST_F(WholeFile, VariableLengthsNeedNoMode) {
    EXPECT_OK(isclose(fillVar({2000, 5})));
    dontCheck();
    EXPECT_OK(rename(base(), path("other")));
    EXPECT_EQ(allOf(isopen(path("other").c_str(), ISINPUT | ISVARLEN)), (Records{rec(10, 2000), rec(20, 5)}));
    EXPECT_OK(iscleanup());
    EXPECT_OK(erase(path("other")));
}

TEST_F(WholeFile, EmptyAndNullNamesAreRefused) {
    const std::string name = made();
    EXPECT_FAILS(ISERR_ARGUMENT, iserase(""));
    EXPECT_FAILS(ISERR_ARGUMENT, iserase(nullptr));
    EXPECT_FAILS(ISERR_ARGUMENT, isrename("", path("b").c_str()));
    EXPECT_FAILS(ISERR_ARGUMENT, isrename(nullptr, path("b").c_str()));
    EXPECT_FAILS(ISERR_ARGUMENT, isrename(name.c_str(), ""));
    EXPECT_FAILS(ISERR_ARGUMENT, isrename(name.c_str(), nullptr));
    EXPECT_TRUE(there(name));
}

TEST_F(WholeFile, NamesThatDoNotFitAreRefused) {
    const std::string name = made(), longest = path(std::string(260, 'n'));
    EXPECT_FAILS(ISERR_NAMETOOLONG, erase(longest));
    EXPECT_FAILS(ISERR_NAMETOOLONG, rename(longest, path("b")));
    EXPECT_FAILS(ISERR_NAMETOOLONG, rename(name, longest));
    EXPECT_TRUE(there(name));
    EXPECT_EQ(idsOf(isopen(name.c_str(), ISINPUT)), (Ids{1, 2}));
}

TEST_F(WholeFile, OpenFilesAreRefused) {
    const std::string name = made();
    for (const int mode : {ISINPUT, ISINOUT, ISINOUT | ISLOCKEXCL}) {
        const int fd = isopen(name.c_str(), mode);
        EXPECT_FAILS(ISERR_FILEINUSE, erase(name));
        EXPECT_FAILS(ISERR_FILEINUSE, rename(name, path("other")));
        EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
        EXPECT_OK(isclose(fd));
    }
    EXPECT_TRUE(exists(name + ".idx") && exists(name + ".dat"));
    EXPECT_FALSE(there(path("other")));
}

TEST_F(WholeFile, MissingFilesAreReported) {
    EXPECT_FAILS(ENOENT, erase(path("none")));
    EXPECT_EQ(iserrio, 0x11);
    EXPECT_FAILS(ENOENT, rename(path("none"), path("other")));
    EXPECT_EQ(iserrio, 0x11);
    const std::string name = made();
    ASSERT_EQ(std::remove((name + ".dat").c_str()), 0);
    EXPECT_FAILS(ENOENT, erase(name));
    EXPECT_EQ(iserrio, 0x12);
    EXPECT_FAILS(ENOENT, rename(name, path("other")));
    EXPECT_EQ(iserrio, 0x12);
    EXPECT_TRUE(exists(name + ".idx"));
}

TEST_F(WholeFile, NothingIsOverwritten) {
    const std::string name = made(), other = made("other");
    const Image before = imageOf(other);
    EXPECT_FAILS(EEXIST, rename(name, other));
    EXPECT_EQ(iserrio, 1);
    EXPECT_TRUE(imageOf(other) == before);
    // Only the data file is in the way: then the index file stays, too.
    ASSERT_EQ(std::remove((other + ".idx").c_str()), 0);
    EXPECT_FAILS(EEXIST, rename(name, other));
    EXPECT_EQ(iserrio, 2);
    EXPECT_FALSE(exists(other + ".idx"));
    EXPECT_EQ(idsOf(isopen(name.c_str(), ISINPUT)), (Ids{1, 2}));
}

TEST_F(WholeFile, OntoItselfIsRefused) {
    const std::string name = made();
    EXPECT_FAILS(EEXIST, rename(name, name));
    EXPECT_EQ(idsOf(isopen(name.c_str(), ISINPUT)), (Ids{1, 2}));
}

TEST_F(WholeFile, IntoAMissingDirectoryIsRefused) {
    const std::string name = made();
    EXPECT_FAILS(ENOENT, rename(name, path("none/other")));
    EXPECT_EQ(idsOf(isopen(name.c_str(), ISINPUT)), (Ids{1, 2}));
}

TEST_F(WholeFile, FilesThatAreNoneAreNotRemoved) {
    std::ofstream(path("text.idx")) << "text";
    EXPECT_EQ(erase(path("text")), -1);
    EXPECT_EQ(rename(path("text"), path("other")), -1);
    EXPECT_TRUE(exists(path("text.idx")));
}

TEST_F(WholeFile, LinkFilesLead) {
    const std::string name = made("real");
    std::ofstream(path("link.lnk")) << name << "\n";
    EXPECT_OK(rename(path("link"), path("other")));
    EXPECT_FALSE(there(name));
    EXPECT_TRUE(there(path("other")));
    std::ofstream(path("link.lnk")) << path("other") << "\n";
    EXPECT_OK(erase(path("link")));
    EXPECT_FALSE(there(path("other")));
}

TEST_F(WholeFile, DescriptorsAndGlobalsStay) {
    const int open_one = buildNamed(path("open"));
    const std::string name = made();
    isrecnum = 77;
    isreclen = 78;
    EXPECT_OK(rename(name, path("other")));
    EXPECT_OK(erase(path("other")));
    EXPECT_EQ(isrecnum, 77);
    EXPECT_EQ(isreclen, 78);
    EXPECT_OK(iswrite(open_one, row(1)));
    EXPECT_EQ(build(), open_one + 1);
}

TEST_F(WholeFile, TransactionsDoNotUndoThem) {
    const std::string name = made(), second = made("second");
    startLog();
    EXPECT_OK(isbegin());
    EXPECT_OK(rename(name, path("other")));
    EXPECT_OK(erase(second));
    EXPECT_OK(isrollback());
    EXPECT_TRUE(there(path("other")));
    EXPECT_FALSE(there(name) || there(second));
    EXPECT_EQ(types(), "BW RE ER RW");
    for (const LogRecord &record : logOf(log())) {
        if (record.type == "RE" || record.type == "ER") EXPECT_EQ(record.previousLength, 0U);
    }
}

TEST_F(WholeFile, RefusedOnesAreNotLogged) {
    const std::string name = made(), other = made("other");
    startLog();
    EXPECT_FAILS(EEXIST, rename(name, other));
    EXPECT_FAILS(ENOENT, erase(path("none")));
    EXPECT_FAILS(ISERR_ARGUMENT, iserase(""));
    EXPECT_EQ(contents(log()), "");
}

}  // namespace
}  // namespace api
