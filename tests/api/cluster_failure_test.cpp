// Clusterings that the system stops: the old file stays byte for byte, nothing of the new one is left.
#include "cluster_kinds.h"
#include "cluster_limits.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <unistd.h>

namespace api {
namespace {

class ClusterFailure : public WholeTest {
  protected:
    // The call fails, and everything is as before: files, descriptors, position, locks.
    void expectUndone(int fd, KeyDesc key, int code, int io, const std::function<int(int, KeyDesc *)> &call) {
        const Image before = imageOf(base());
        const std::vector<std::string> files = namesIn(directory());
        const int descriptors = openDescriptors();
        EXPECT_OK(isindex(fd, 1, 0));
        const Rec first = take(fd, ISFIRST), second = take(fd, ISNEXT);
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(code, call(fd, &key));
        EXPECT_EQ(iserrio, io);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_EQ(namesIn(directory()), files);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(take(fd, ISPREV), first) << "the position has moved";
        EXPECT_EQ(take(fd, ISNEXT), second);
    }
    void expectFull(int fd, KeyDesc key, std::uintmax_t size, int io) {
        SCOPED_TRACE(size);
        expectUndone(fd, key, EFBIG, io, [size](int each, KeyDesc *order) {
            const SizeLimit limit(size);
            return iscluster(each, order);
        });
    }
    // Ids in any order, with names.
    int source(long count) {
        const int fd = build(ISINOUT | ISLOCKEXCL);
        add(fd, nameKey());
        for (long n = 1; n <= count; ++n)
            put(fd, row(n * 7919 % 10007, "n" + std::to_string(n * 31 % 97)));
        return fd;
    }
    KeyDesc id = idKey(), name = nameKey();
};

TEST_F(ClusterFailure, DiskFullWhileTheNewFileIsMade) {
    const int fd = source(50);
    for (const std::uintmax_t nodes : {0, 1, 2, 3})
        expectFull(fd, id, nodes * 1024, 0x51);
    EXPECT_EQ(idsBy(iscluster(fd, &id), noKey()), idsBy(fd, id));
}

TEST_F(ClusterFailure, DiskFullWhileRecordsAreCopied) {
    const int fd = build(ISINOUT | ISLOCKEXCL);
    for (long n = 1; n <= 1000; ++n)
        put(fd, row(n * 7919 % 10007));
    for (const std::size_t records : {800U, 999U})
        expectFull(fd, id, records * (kRowLen + 1), 0x52);
    const int done = iscluster(fd, &id);
    EXPECT_EQ(recordCount(done), 1000);
    expectWhole(done, base());
}

TEST_F(ClusterFailure, DiskFullWhileKeysAreCopied) {
    const int fd = source(1000);
    for (const std::uintmax_t nodes : {10U, 20U, 30U})
        expectFull(fd, noKey(), nodes * 1024, 0x51);
    const int done = iscluster(fd, &name);
    EXPECT_EQ(recordCount(done), 1000);
    expectWhole(done, base());
}

TEST_F(ClusterFailure, DiskFullWhileTailsAreCopied) {
    const int fd = buildVar(ISINOUT | ISLOCKEXCL);
    for (long n = 30; n >= 1; --n)
        EXPECT_OK(send(iswrite, fd, rec(n, 600 + static_cast<std::size_t>(n) * 37)));
    for (const std::uintmax_t nodes : {3U, 4U, 5U, 17U, 30U})
        expectFull(fd, id, nodes * 1024, 0x51);
    const int done = iscluster(fd, &id);
    EXPECT_EQ(recordCount(done), 30);
    expectWhole(done, base());
}

TEST_F(ClusterFailure, DiskFullForTheAuditSettings) {
    const int fd = source(10);
    std::string trail = path("trail");
    EXPECT_OK(isaudit(fd, trail.data(), ISAUDSETNAME));
    // Header, descriptions and two roots; the settings are the fifth node.
    expectFull(fd, id, 4U * 1024, 0x51);
    EXPECT_GE(iscluster(fd, &id), 0);
}

TEST_F(ClusterFailure, NoDescriptorIsLeft) {
    const int fd = source(10);
    const int first = dup(0), second = dup(0);
    close(first);
    close(second);
    expectUndone(fd, id, EMFILE, 0x21, [first](int each, KeyDesc *order) {
        const DescriptorLimit none(first);
        return iscluster(each, order);
    });
    expectUndone(fd, id, EMFILE, 0x12, [second](int each, KeyDesc *order) {
        const DescriptorLimit one(second);
        return iscluster(each, order);
    });
    EXPECT_GE(iscluster(fd, &id), 0);
}

// With two numbers it can be done: nothing has to be opened at the end.
TEST_F(ClusterFailure, TwoDescriptorsAreEnough) {
    const int fd = source(10);
    const int first = dup(0), second = dup(0), third = dup(0);
    for (const int each : {first, second, third})
        close(each);
    const DescriptorLimit two(third);
    const int done = iscluster(fd, &id);
    EXPECT_GE(done, 0) << iserrno;
    EXPECT_EQ(recordCount(done), 10);
}

// Records that the data file has lost are not passed over: in the order of an index the entries tell of them, in that
// of the numbers the highest one does.
TEST_F(ClusterFailure, DataFileThatIsTooShort) {
    EXPECT_OK(isclose(source(50)));
    dontCheck();
    cutFile(path("file.dat"), 30U * (kRowLen + 1));
    const int fd = open(ISINOUT | ISLOCKEXCL);
    const Image before = imageOf(base());
    for (KeyDesc *const key : {&id, &name}) {
        EXPECT_FAILS(ISERR_CORRUPT, iscluster(fd, key));
        EXPECT_EQ(iserrio, 0);
    }
    KeyDesc number = noKey();
    EXPECT_FAILS(EIO, iscluster(fd, &number));
    EXPECT_EQ(iserrio, 0x42);
    EXPECT_TRUE(imageOf(base()) == before);
    EXPECT_FALSE(temporaryThere());
}

TEST_F(ClusterFailure, HandleKeepsTheError) {
    const int fd = source(10);
    std::ofstream(temporary() + ".dat") << "not ours";
    EXPECT_FAILS(EEXIST, iscluster(fd, &id));
    EXPECT_EQ(*is_errno(fd), EEXIST);
    EXPECT_EQ(*is_errio(fd), 0x22);
    EXPECT_OK(iswrite(fd, row(20000)));
    EXPECT_EQ(*is_errno(fd), 0);
}

TEST_F(ClusterFailure, TwiceInARowAndThenSuccess) {
    int fd = source(300);
    for (int i = 0; i < 3; ++i)
        expectFull(fd, name, 5U * 1024, 0x51);
    EXPECT_OK(iswrite(fd, row(20000)));
    fd = iscluster(fd, &name);
    EXPECT_EQ(recordCount(fd), 301);
}

// The names of the old file are gone while it is open: there is nothing to erase.
TEST_F(ClusterFailure, FileThatWasRemovedWhileOpen) {
    const int fd = source(10);
    dontCheck();
    for (const char *extension : {".idx", ".dat"})
        ASSERT_EQ(std::remove((path("file") + extension).c_str()), 0);
    EXPECT_FAILS(ENOENT, iscluster(fd, &id));
    EXPECT_EQ(iserrio, 1);
    EXPECT_EQ(namesIn(directory()), std::vector<std::string>{});
    EXPECT_EQ(recordCount(fd), 10) << "the handle still has them";
}

// Another file has been put in its place meanwhile; it is not the one that was clustered.
TEST_F(ClusterFailure, FileThatWasReplacedWhileOpen) {
    const int fd = source(10);
    dontCheck();
    for (const char *extension : {".idx", ".dat"}) {
        std::filesystem::rename(path("file") + extension, path("moved") + extension);
        std::ofstream(path("file") + extension) << "not ours";
    }
    EXPECT_EQ(iscluster(fd, &id), -1);
    EXPECT_EQ(contents(path("file.idx")), "not ours");
    EXPECT_EQ(contents(path("file.dat")), "not ours");
    EXPECT_FALSE(temporaryThere());
    EXPECT_EQ(recordCount(fd), 10);
}

}  // namespace
}  // namespace api
