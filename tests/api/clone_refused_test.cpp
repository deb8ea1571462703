// Clones that cannot be made: what was begun is taken back, the source and what stands in the way stay.
#include "cluster_kinds.h"
#include "cluster_limits.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace api {
namespace {

class CloneRefused : public WholeTest {
  protected:
    std::string copyName() const { return path("copy"); }

    // The call fails, with iserrio as well, changes no file of the directory, keeps nothing open, and the handle works
    // afterwards.
    void expectFailure(int fd, int code, int io, const std::string &name) {
        const std::vector<std::string> files = namesIn(directory());
        const Image before = imageOf(base());
        const int open_before = openDescriptors();
        iserrno = iserrio = 0;
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(code, isclone(fd, name.c_str()));
        EXPECT_EQ(iserrio, io);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
        EXPECT_EQ(namesIn(directory()), files);
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_EQ(openDescriptors(), open_before);
        Row got;
        EXPECT_OK(isread(fd, got, ISFIRST));
    }
    const Kind kind = wholeKind("Masked");
};

TEST_F(CloneRefused, BadDescriptors) {
    const int fd = build();
    EXPECT_OK(isclose(fd));
    for (const int bad : {fd, fd + 1, -1, -2147483647, 2147483647}) {
        iserrio = 77;
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(ISERR_NOTOPEN, isclone(bad, copyName().c_str()));
        EXPECT_EQ(iserrio, 77);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
    }
    EXPECT_FALSE(exists(copyName() + ".idx"));
}

TEST_F(CloneRefused, NullName) {
    const int fd = make(kind, 10);
    EXPECT_FAILS(ISERR_ARGUMENT, isclone(fd, nullptr));
    EXPECT_EQ(readId(fd, ISFIRST) > 0, true);
}

TEST_F(CloneRefused, NameOfAFileThatExists) {
    const int fd = make(kind, 10);
    EXPECT_OK(isclose(makeEmpty(kind, "copy")));
    const Image there = imageOf(copyName());
    expectFailure(fd, EEXIST, 0x21, copyName());
    EXPECT_TRUE(imageOf(copyName()) == there);
    expectFailure(fd, EEXIST, 0x21, base());
}

TEST_F(CloneRefused, OneFileOfTheTwoExists) {
    const int fd = make(kind, 10);
    std::ofstream(copyName() + ".dat") << "not ours";
    expectFailure(fd, EEXIST, 0x22, copyName());
    EXPECT_EQ(contents(copyName() + ".dat"), "not ours");
    std::filesystem::rename(copyName() + ".dat", copyName() + ".idx");
    expectFailure(fd, EEXIST, 0x21, copyName());
    EXPECT_EQ(contents(copyName() + ".idx"), "not ours");
}

TEST_F(CloneRefused, NameThatIsTooLong) {
    const int fd = make(kind, 10);
    expectFailure(fd, ISERR_NAMETOOLONG, 0, path(std::string(252, 'x')));
    expectFailure(fd, ISERR_NAMETOOLONG, 0, std::string(70000, 'x'));
}

TEST_F(CloneRefused, DirectoryThatIsMissing) {
    const int fd = make(kind, 10);
    expectFailure(fd, ENOENT, 0x21, path("none/copy"));
}

// The library would take the new file for the one that this process still has open under that name.
TEST_F(CloneRefused, NameOfFilesRemovedWhileOpen) {
    const int fd = make(kind, 10);
    const int gone = makeEmpty(kind, "copy");
    EXPECT_GE(gone, 0);
    dontCheck();
    for (const char *extension : {".idx", ".dat"})
        std::filesystem::remove(copyName() + extension);
    expectFailure(fd, ISERR_FILEINUSE, 0, copyName());
}

TEST_F(CloneRefused, FileWhoseKeyDescriptionsAreGone) {
    EXPECT_OK(isclose(make(kind, 10)));
    dontCheck();
    damage().header(testing_support::field::kDescription, 0);
    const int fd = open();
    ASSERT_GE(fd, 0);
    expectFailure(fd, ISERR_CORRUPT, 0, copyName());
}

// The first index comes with the build, each further one needs another node.
TEST_F(CloneRefused, DiskFullWhileIndexesAreAdded) {
    const int fd = make(wholeKind("NineIndexes"), 10);
    for (std::uintmax_t nodes = 1; nodes < 11; ++nodes) {
        SCOPED_TRACE(nodes);
        const SizeLimit limit(nodes * 1024);
        expectFailure(fd, EFBIG, 0x51, copyName());
    }
    const SizeLimit enough(11 * 1024);
    EXPECT_GE(isclone(fd, copyName().c_str()), 0);
}

TEST_F(CloneRefused, NoDescriptorIsLeft) {
    const int fd = make(kind, 10);
    // The lowest numbers that are free now; the clone needs both.
    const int first = dup(0), second = dup(0);
    close(first);
    close(second);
    {
        const DescriptorLimit none(first);
        EXPECT_FAILS(EMFILE, isclone(fd, copyName().c_str()));
        EXPECT_EQ(iserrio, 0x21);
    }
    {
        const DescriptorLimit one(second);
        EXPECT_FAILS(EMFILE, isclone(fd, copyName().c_str()));
        EXPECT_EQ(iserrio, 0x12);
    }
    EXPECT_FALSE(exists(copyName() + ".idx"));
    EXPECT_FALSE(exists(copyName() + ".dat"));
    EXPECT_GE(isclone(fd, copyName().c_str()), 0);
}

TEST_F(CloneRefused, DescriptorsOfTheLibraryStayAsTheyAre) {
    const int fd = make(kind, 10);
    std::ofstream(copyName() + ".dat") << "not ours";
    EXPECT_FAILS(EEXIST, isclone(fd, copyName().c_str()));
    EXPECT_EQ(buildNamed(path("next")), fd + 1);
}

}  // namespace
}  // namespace api
