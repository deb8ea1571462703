// Clustering files that a link file leads to: it stays, and everything happens where it leads.
#include "cluster_kinds.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace api {
namespace {

class ClusterLink : public WholeTest {
  protected:
    void link(const std::string &name, const std::string &to) { std::ofstream(path(name + ".lnk")) << to << "\n"; }
    int source(const std::string &name) {
        KeyDesc key = idKey();
        const int fd = isbuild(path(name).c_str(), kRowLen, &key, ISINOUT | ISLOCKEXCL);
        EXPECT_GE(fd, 0) << iserrno;
        putIds(fd, {30, 10, 20});
        return fd;
    }
    KeyDesc id = idKey();
};

TEST_F(ClusterLink, IntoAnotherDirectory) {
    std::filesystem::create_directory(path("far"));
    link("file", path("far/real"));
    const int fd = source("file");
    const std::string line = contents(path("file.lnk"));
    const int done = iscluster(fd, &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
    EXPECT_STREQ(isqv_name(done), base());
    EXPECT_EQ(contents(path("file.lnk")), line);
    EXPECT_EQ(namesIn(directory()), (std::vector<std::string>{"far", "file.lnk"}));
    EXPECT_EQ(namesIn(path("far")), (std::vector<std::string>{"real.dat", "real.idx"}));
    expectWhole(done, path("far/real"));
    EXPECT_OK(isclose(done));
    EXPECT_EQ(idsBy(open(), noKey()), (Ids{10, 20, 30}));
    EXPECT_EQ(idsBy(openNamed("far/real"), noKey()), (Ids{10, 20, 30}));
}

// Beside the real files, whatever lies beside the link.
TEST_F(ClusterLink, TemporaryNameIsBesideTheRealFiles) {
    std::filesystem::create_directory(path("far"));
    link("file", path("far/real"));
    const int fd = source("file");
    std::ofstream(temporary() + ".idx") << "not ours";
    int done = iscluster(fd, &id);
    EXPECT_GE(done, 0) << iserrno;
    EXPECT_EQ(contents(temporary() + ".idx"), "not ours");
    std::ofstream(path("far/" + temporaryName() + ".idx")) << "not ours";
    EXPECT_FAILS(EEXIST, iscluster(done, &id));
    EXPECT_EQ(iserrio, 0x21);
    EXPECT_EQ(contents(path("far/" + temporaryName() + ".idx")), "not ours");
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
}

TEST_F(ClusterLink, BesideTheLink) {
    link("file", path("real"));
    const int done = iscluster(source("file"), &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
    EXPECT_EQ(namesIn(directory()), (std::vector<std::string>{"file.lnk", "real.dat", "real.idx"}));
}

TEST_F(ClusterLink, OfAnotherNameForTheSameFiles) {
    link("file", path("real"));
    const int fd = source("file");
    EXPECT_OK(isclose(fd));
    const int done = iscluster(openNamed("real", ISINOUT | ISLOCKEXCL), &id);
    EXPECT_STREQ(isqv_name(done), path("real").c_str());
    EXPECT_OK(isclose(done));
    EXPECT_EQ(idsBy(open(), noKey()), (Ids{10, 20, 30}));
}

// Another file system cannot take part by a link: the two files come into being where the old ones are.
TEST_F(ClusterLink, IntoAnotherFileSystem) {
    const std::filesystem::path far = "/dev/shm/" + std::filesystem::path(directory()).filename().string();
    std::error_code failed;
    if (!std::filesystem::create_directory(far, failed)) return;  // there is none here
    link("file", far.string() + "/real");
    const int done = iscluster(source("file"), &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
    expectWhole(done, far.string() + "/real");
    EXPECT_EQ(namesIn(far.string()), (std::vector<std::string>{"real.dat", "real.idx"}));
    std::filesystem::remove_all(far);
}

// Index and data file in two places by the system's own links: what is to be erased and renamed is in one place.
TEST_F(ClusterLink, SymbolicLinksIntoAnotherFileSystemAreRefused) {
    const std::filesystem::path far = "/dev/shm/" + std::filesystem::path(directory()).filename().string();
    std::error_code failed;
    if (!std::filesystem::create_directory(far, failed)) return;
    struct stat here {
    }, there{};
    ASSERT_EQ(stat(directory().c_str(), &here), 0);
    ASSERT_EQ(stat(far.c_str(), &there), 0);
    if (here.st_dev != there.st_dev) {
        EXPECT_OK(isclose(source("file")));
        for (const char *extension : {".idx", ".dat"}) {
            const std::filesystem::path moved = far / (std::string("real") + extension);
            std::filesystem::copy(path("file") + extension, moved);
            std::filesystem::remove(path("file") + extension);
            std::filesystem::create_symlink(moved, path("file") + extension);
        }
        const int fd = open(ISINOUT | ISLOCKEXCL);
        ASSERT_GE(fd, 0) << iserrno;
        EXPECT_FAILS(EXDEV, iscluster(fd, &id));
        EXPECT_FALSE(temporaryThere());
        EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 10, 20}));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(idsBy(open(), noKey()), (Ids{30, 10, 20}));
    }
    std::filesystem::remove_all(far);
}

}  // namespace
}  // namespace api
