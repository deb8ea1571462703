// The name that a file has while it is made: in the directory of the old one, told apart by the process's number, and
// never that of a file which is there already.
#include "cluster_kinds.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace api {
namespace {

class ClusterName : public WholeTest {
  protected:
    void SetUp() override { std::filesystem::current_path(directory()); }
    void TearDown() override {
        WholeTest::TearDown();
        std::filesystem::current_path("/");
    }

    // A file by a name of the current directory, clustered; the one that is made meanwhile has to be called so: with
    // a file in its way nothing is clustered, and the two stay as they are.
    void expectName(const std::string &name, const std::string &temporary) {
        SCOPED_TRACE(name);
        KeyDesc key = idKey();
        int fd = isbuild(name.c_str(), kRowLen, &key, ISINOUT | ISLOCKEXCL);
        ASSERT_GE(fd, 0) << iserrno;
        putIds(fd, {30, 10, 20});
        const Image before = imageOf(name);
        struct {
            const char *extension;
            int io;
        } const cases[] = {{".idx", 0x21}, {".dat", 0x22}};
        for (const auto &each : cases) {
            std::ofstream(temporary + each.extension) << "not ours";
            const std::vector<std::string> files = allFiles();
            EXPECT_FAILS(EEXIST, iscluster(fd, &key));
            EXPECT_EQ(iserrio, each.io);
            EXPECT_EQ(contents(temporary + each.extension), "not ours");
            EXPECT_TRUE(imageOf(name) == before);
            EXPECT_EQ(allFiles(), files);
            EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 10, 20}));
            ASSERT_EQ(std::remove((temporary + each.extension).c_str()), 0);
        }
        const std::vector<std::string> files = allFiles();
        fd = iscluster(fd, &key);
        EXPECT_GE(fd, 0) << iserrno;
        EXPECT_EQ(idsBy(fd, noKey()), (Ids{10, 20, 30}));
        EXPECT_EQ(allFiles(), files);
        EXPECT_OK(isclose(fd));
        EXPECT_OK(iserase(name.c_str()));
    }
    static std::vector<std::string> allFiles() {
        std::vector<std::string> names;
        for (const auto &file : std::filesystem::recursive_directory_iterator("."))
            names.push_back(file.path().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    const std::string ist = temporaryName();
};

TEST_F(ClusterName, HasFiveDigitsOfTheProcessOrMore) {
    const std::string digits = std::to_string(getpid());
    EXPECT_EQ(ist, "ist" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits);
}

TEST_F(ClusterName, TakesThePlaceOfTheWholeName) {
    expectName("f", ist);
    expectName("file", ist);
    expectName("a name much longer than the one that it gets.dat", ist);
}

TEST_F(ClusterName, KeepsTheDirectory) {
    std::filesystem::create_directories("d/e");
    expectName("d/x", "d/" + ist);
    expectName("d/e/x", "d/e/" + ist);
    expectName("./x", "./" + ist);
    expectName(directory() + "/x", directory() + "/" + ist);
    expectName("d/e//x", "d/e//" + ist);
}

TEST_F(ClusterName, ColonAndBackslashSeparateToo) {
    std::filesystem::create_directories("d");
    expectName("a:b", "a:" + ist);
    expectName("a\\b", "a\\" + ist);
    expectName("d/a:b", "d/a:" + ist);
    expectName("a:b\\c", "a:b\\" + ist);
}

// A separator in the first place is not seen.
TEST_F(ClusterName, FirstCharacterIsNeverASeparator) {
    expectName(":x", ist);
    expectName("\\x", ist);
    expectName("\\:x", "\\:" + ist);
    expectName("::", "::" + ist);
}

TEST_F(ClusterName, NameThatEndsInASeparator) {
    expectName("a:", "a:" + ist);
    expectName("dots...", ist);
}

// A clone that is open under that very name.
TEST_F(ClusterName, OfAFileThatTheProcessHasOpen) {
    const int fd = build(ISINOUT | ISLOCKEXCL), open_one = buildNamed(temporary());
    putIds(fd, {2, 1});
    putIds(open_one, {5});
    KeyDesc key = idKey();
    EXPECT_FAILS(EEXIST, iscluster(fd, &key));
    EXPECT_EQ(iserrio, 0x21);
    EXPECT_EQ(idsOf(open_one), (Ids{5}));
    EXPECT_OK(iswrite(open_one, row(6)));
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{2, 1}));
}

TEST_F(ClusterName, FileOfThatNameItselfCannotBeClustered) {
    const int fd = buildNamed(temporary(), ISINOUT | ISLOCKEXCL);
    putIds(fd, {2, 1});
    const Image before = imageOf(temporary());
    KeyDesc key = idKey();
    EXPECT_FAILS(EEXIST, iscluster(fd, &key));
    EXPECT_TRUE(imageOf(temporary()) == before);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{2, 1}));
}

TEST_F(ClusterName, NameThatIsTooLongWithIt) {
    // The longest name that a file can have; the number of the process makes it longer where the last part is short.
    std::string name = directory();
    while (name.size() < 250)
        name += '/';
    name += 'y';
    KeyDesc key = idKey();
    const int fd = isbuild(name.c_str(), kRowLen, &key, ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0) << iserrno;
    putIds(fd, {2, 1});
    EXPECT_FAILS(ISERR_NAMETOOLONG, iscluster(fd, &key));
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{2, 1}));
    EXPECT_EQ(namesIn(directory()), (std::vector<std::string>{"y.dat", "y.idx"}));
}

TEST_F(ClusterName, DirectoryThatTakesNoNewFile) {
    if (geteuid() == 0) return;  // nothing is closed to root
    std::filesystem::create_directories("d");
    const int fd = buildNamed(path("d/file"), ISINOUT | ISLOCKEXCL);
    putIds(fd, {2, 1});
    std::filesystem::permissions("d", std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    KeyDesc key = idKey();
    EXPECT_FAILS(EACCES, iscluster(fd, &key));
    EXPECT_EQ(iserrio, 0x21);
    std::filesystem::permissions("d", std::filesystem::perms::owner_all);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{2, 1}));
}

}  // namespace
}  // namespace api
