// cmake/calls_page.sh, which makes docs/calls.md from the public headers.
#include "project/program_output.h"
#include "support/temp_dir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace {

// A copy of what the script reads, with the page that it makes of it.
class ScriptTree {
  public:
    ScriptTree() {
        const ProgramOutput copied = runProgram("cd '" ISAM_SOURCE_DIR "' && cp -r --parents include cmake "
                                                "src/base/isglobal.cpp '" +
                                                dir_.path() + "'");
        EXPECT_EQ(copied.status, 0) << copied.text;
        const ProgramOutput made = run("");
        EXPECT_EQ(made.status, 0) << made.text;
    }

    ProgramOutput run(const std::string &argument) const {
        return runProgram("'" + dir_.file("cmake/calls_page.sh") + "' " + argument);
    }

    std::string path(const std::string &name) const { return dir_.file(name); }

    std::string read(const std::string &name) const {
        std::ostringstream text;
        text << std::ifstream(dir_.file(name)).rdbuf();
        return text.str();
    }

    // Replaces words that stand in the file once.
    void edit(const std::string &name, const std::string &before, const std::string &after) const {
        std::string text = read(name);
        const std::size_t at = text.find(before);
        ASSERT_NE(at, std::string::npos) << before;
        ASSERT_EQ(text.find(before, at + 1), std::string::npos) << before;
        std::ofstream(dir_.file(name)) << text.replace(at, before.size(), after);
    }

  private:
    testing_support::TempDir dir_;
};

}  // namespace

TEST(CallsScript, PageIsWhatTheHeadersSay) {
    const ProgramOutput output = runProgram("'" ISAM_SOURCE_DIR "/cmake/calls_page.sh' --check");
    EXPECT_EQ(output.status, 0) << output.text;
}

TEST(CallsScript, CheckShowsTheDifferenceAndWritesNothing) {
    const ScriptTree tree;
    const std::string page = tree.read("docs/calls.md");
    ASSERT_NE(page, "");
    tree.edit("include/isam.h", "/* Returns 1. */", "/* Returns 1 at once. */");
    const ProgramOutput output = tree.run("--check");
    EXPECT_EQ(output.status, 1);
    EXPECT_NE(output.text.find("\n-Returns 1.\n+Returns 1 at once.\n"), std::string::npos) << output.text;
    EXPECT_EQ(tree.read("docs/calls.md"), page);
}

TEST(CallsScript, WritesThePageAnew) {
    const ScriptTree tree;
    tree.edit("src/base/isglobal.cpp", "\"File not open\"", "\"File not to be seen\"");
    EXPECT_EQ(tree.run("--check").status, 1);
    EXPECT_EQ(tree.run("").status, 0);
    EXPECT_EQ(tree.run("--check").status, 0);
    EXPECT_NE(tree.read("docs/calls.md").find("101, \"File not to be seen\""), std::string::npos);
}

TEST(CallsScript, BreaksLinesWhereTheNextOneIsNoListOrHeading) {
    const ScriptTree tree;
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += "\n * word + 1. - # > ";
    tree.edit("include/isam.h", "/* Returns 1. */", "/* Returns 1:" + text + ". */");
    ASSERT_EQ(tree.run("").status, 0);
    std::istringstream page(tree.read("docs/calls.md"));
    std::string line;
    int lines = 0;
    while (std::getline(page, line))
        if (line.find("word + 1. - #") != std::string::npos) {
            ++lines;
            EXPECT_LE(line.size(), 130U);
            EXPECT_TRUE(line.rfind("word", 0) == 0 || line.rfind("Returns", 0) == 0) << line;
        }
    EXPECT_GT(lines, 10);
}

TEST(CallsScript, WritesToAFileThatIsNamed) {
    const ScriptTree tree;
    EXPECT_EQ(tree.run("'" + tree.path("other.md") + "'").status, 0);
    EXPECT_EQ(tree.read("other.md"), tree.read("docs/calls.md"));
}

TEST(CallsScript, CheckFailsWhereThereIsNoPage) {
    const ScriptTree tree;
    EXPECT_EQ(tree.run("--check").status, 0);
    ASSERT_EQ(std::remove(tree.path("docs/calls.md").c_str()), 0);
    EXPECT_NE(tree.run("--check").status, 0);
}

TEST(CallsScript, MakesTheSamePageInEveryLocaleAndPlace) {
    const ScriptTree tree;
    for (const char *locale : {"C", "C.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8"}) {
        const ProgramOutput output = runProgram("cd / && LC_ALL=" + std::string(locale) + " LANG=" + locale + " '" +
                                                tree.path("cmake/calls_page.sh") + "' --check 2>/dev/null");
        EXPECT_EQ(output.status, 0) << locale << output.text;
    }
}

struct Slip {
    const char *name;
    const char *before, *after;  // in isam.h
    const char *complaint;
};

void PrintTo(const Slip &slip, std::ostream *out) { *out << slip.name; }

class CallsScriptSlip : public testing::TestWithParam<Slip> {};

// A header that the script cannot follow makes no page at all.
TEST_P(CallsScriptSlip, IsRefused) {
    const ScriptTree tree;
    const std::string page = tree.read("docs/calls.md");
    tree.edit("include/isam.h", GetParam().before, GetParam().after);
    const ProgramOutput output = tree.run("");
    EXPECT_NE(output.status, 0);
    EXPECT_EQ(output.text, "calls_page: " + std::string(GetParam().complaint) + "\n");
    EXPECT_EQ(tree.read("docs/calls.md"), page);
}

constexpr Slip kSlips[] = {
    {"UnknownCall", "Errors: as for isbuild.", "Errors: as for isbild.",
     "isvbuild has errors as for isbild, which is no call"},
    {"ErrorThatTheOtherCallHasNot", "Errors: 103 and 111 as for isindex.", "Errors: 103 and 110 as for isindex.",
     "ispop has 110 as for isindex, which does not have it"},
    {"Circle", "Errors: 103 no such index; 111 as for isgoto, with",
     "Errors: 103 as for ispop; 111 as for isgoto, with", "the errors of isindex lead back to themselves"},
    {"UnknownCode", "Error: 131 none is left.", "Error: 171 none is left.", "islastrec has the unknown error 171"},
    {"NoCode", "Error: 131 none is left.", "Error: none is left.", "islastrec has an error without code: none is left"},
    {"ReservedCode", "Error: 131 none is left.", "Error: 116 none is left.", "116 is reserved, but set by islastrec"},
    {"CodeOfNoCall", "106 not open with ISLOCKEXCL;", "", "106 is set by no call"},
    {"SystemErrorWithoutReason", "Error: 131 none is left.", "Error: EIO.", "islastrec gives no reason for EIO"},
    {"NoFullStop", "Error: 131 none is left.", "Error: 131 none is left",
     "the errors of islastrec do not end with a full stop"},
    {"WordsBehindAReference", "Errors: as for isbuild.", "Errors: as for isbuild always.",
     "isvbuild has something behind \"as for isbuild\""},
    {"NoClass", "and stores it [write].", "and stores it.", "islastrec has no class, such as [read]"},
    {"TwoDeclarations", "ISAM_API int isthreaded(void);",
     "ISAM_API int isthreaded(void);\nISAM_API int isflush(int fd);", "isflush is declared twice"},
    {"TwoHeadingsAlike", "ISAM_API int isthreaded(void);",
     "ISAM_API int isthreaded(void);\nISAM_API int isthreadeD(void);", "two headings have the anchor #isthreaded"},
};

INSTANTIATE_TEST_SUITE_P(All, CallsScriptSlip, testing::ValuesIn(kSlips),
                         [](const auto &instance) { return std::string(instance.param.name); });
