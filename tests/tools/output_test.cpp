// Where commands write: never over what they read, never half over what was good, never into what is no output.
#include "tools/tool_run.h"

#include <isam.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using tool_tests::Ran;
using tool_tests::ToolTest;

class Output : public ToolTest {
  protected:
    void SetUp() override {
        put("goods.layout", "record 20\nfield number 0 4 long\nfield name 4 16 char\nindex unique number\n");
        ASSERT_EQ(isam("build goods").status, 0);
        std::string rows = "number,name\n";
        for (int i = 0; i < 3000; ++i)
            rows += std::to_string(i) + ",name of " + std::to_string(i) + "\n";
        put("rows.csv", rows);
        ASSERT_EQ(isam("load goods rows.csv").status, 0);
    }
    // The last records cannot be read any more.
    void damage() const {
        std::string data = get("goods.dat");
        put("goods.dat", data.substr(0, data.size() / 2));
    }
};

TEST_F(Output, NeverGoesOverTheFilesThatAreRead) {
    const std::string index = get("goods.idx"), data = get("goods.dat");
    std::filesystem::create_hard_link(path("goods.dat"), path("other.csv"));
    for (const char *arguments :
         {"dump goods -o goods.dat", "dump goods -f jsonl -o ./goods.idx", "dump goods -f binary -o goods.dat",
          "dump goods -o other.csv", "layout goods -o goods.idx", "tree goods --index 1 --svg goods.idx",
          "map goods --svg goods.dat"}) {
        const Ran ran = isam(arguments);
        EXPECT_EQ(ran.status, 2) << arguments;
        EXPECT_NE(ran.err.find(": belongs to goods itself, which would be lost\n"), std::string::npos) << ran.err;
        EXPECT_EQ(get("goods.idx"), index) << arguments;
        EXPECT_EQ(get("goods.dat"), data) << arguments;
    }
}

TEST_F(Output, LeavesWhatStoodThereUntilTheNewOneIsWhole) {
    const std::string whole = isam("dump goods").out;
    put("goods.csv", "the one of yesterday");
    put("goods.archive", "and its archive");
    const std::string data = get("goods.dat");
    damage();
    EXPECT_EQ(isam("dump goods -o goods.csv").status, 2);
    EXPECT_EQ(isam("dump goods -f binary -o goods.archive").status, 2);
    EXPECT_EQ(isam("dump goods -o new.csv").status, 2);
    EXPECT_EQ(get("goods.csv"), "the one of yesterday");
    EXPECT_EQ(get("goods.archive"), "and its archive");
    EXPECT_EQ(shell("ls new.csv* *.being-written").out, "");
    put("goods.dat", data);
    EXPECT_EQ(isam("dump goods -o goods.csv").status, 0);
    EXPECT_EQ(get("goods.csv"), whole);
    EXPECT_EQ(shell("ls *.being-written").out, "");
}

TEST_F(Output, KeepsPermissionsAndGoesWhereLinksLead) {
    std::filesystem::create_directory(path("there"));
    put("there/goods.csv", "old");
    chmod(path("there/goods.csv").c_str(), 0640);
    std::filesystem::create_symlink("there/goods.csv", path("goods.csv"));
    ASSERT_EQ(isam("dump goods -o goods.csv").status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path("goods.csv")));
    EXPECT_EQ(get("there/goods.csv"), isam("dump goods").out);
    struct stat status;
    ASSERT_EQ(stat(path("there/goods.csv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(isam("dump goods -o /dev/null").status, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(Output, MessagesGoIntoNoFileWhereStandardErrorIsClosed) {
    damage();
    const Ran ran = shell("mkfifo pipe; cat pipe >got & isam dump goods -o pipe 2>&-; echo $?; wait");
    EXPECT_EQ(ran.out, "2\n");
    EXPECT_NE(get("got").find("name of 12\n"), std::string::npos);
    EXPECT_EQ(get("got").find("isam dump"), std::string::npos);
}

TEST_F(Output, ThatCannotBeWrittenIsAFailure) {
    for (const char *arguments : {"info goods", "dump goods", "scan goods", "get goods 1", "hash goods", "--help",
                                  "dump --help", "--version"}) {
        const Ran full = isam(std::string(arguments) + " >/dev/full");
        EXPECT_EQ(full.status, 2) << arguments;
        EXPECT_NE(full.err.find("the output cannot be written\n"), std::string::npos) << arguments;
        EXPECT_EQ(isam(std::string(arguments) + " >&-").status, 2) << arguments;
    }
}

// Who may not write a file can get no locks of it.
TEST_F(Output, FilesThatMayOnlyBeReadAreReadWhereNobodyHasThem) {
    if (geteuid() != 0) GTEST_SKIP() << "needs another user to be";
    const std::string whole = isam("dump goods").out, hash = isam("hash goods").out;
    shell("chmod 755 . && chmod 444 goods.*");
    // What the shell writes stands in files of the superuser's.
    const std::string as_other = "setpriv --reuid 65534 --regid 65534 --clear-groups $(command -v isam) ";
    EXPECT_EQ(shell(as_other + "dump goods").out, whole);
    EXPECT_EQ(shell(as_other + "hash goods").out, hash);
    EXPECT_EQ(shell(as_other + "check goods").out, "goods: sound\n");
    EXPECT_EQ(shell(as_other + "get goods 7").out, "number  7\nname    name of 7\n");
    EXPECT_EQ(shell(as_other + "dump goods -f binary >goods.archive; isam load copy goods.archive -f binary").out,
              "3000 written, 0 updated, 0 skipped, 0 refused\n");
    const Ran changing = shell("echo number | " + as_other + "load goods");
    EXPECT_EQ(changing.status, 2);
    EXPECT_EQ(changing.err, "isam load: goods: cannot be opened: opening the index file: Permission denied\n");
    const int fd = isopen("goods", ISINOUT | ISLOCKMANUAL);
    ASSERT_GE(fd, 0);
    const Ran beside = shell(as_other + "dump goods");
    EXPECT_EQ(beside.status, 2);
    EXPECT_EQ(beside.err, "isam dump: goods: others have it open, and who may not write it gets no locks to read it "
                          "beside them\n");
    ASSERT_EQ(isclose(fd), 0);
}

}  // namespace
