// The man pages of the calls, which cmake/calls_man.sh makes from the public headers as calls_page.sh makes
// docs/calls.md.
#include "project/calls_page.h"
#include "project/program_output.h"
#include "project/symbols.h"
#include "support/temp_dir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

namespace {

// The pages, made once.
class ManPages : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        directory_ = new testing_support::TempDir;
        const ProgramOutput output =
            runProgram("'" ISAM_SOURCE_DIR "/cmake/calls_man.sh' '" + directory_->file("man3") + "' 1.2.3 2001-02-03");
        ASSERT_EQ(output.status, 0) << output.text;
    }

    static void TearDownTestSuite() { delete directory_; }

    static std::string path(const std::string &name) { return directory_->file("man3/" + name + ".3"); }

    // The page's text; of a reference, that of the page referred to.
    static std::string page(const std::string &name) {
        std::ostringstream text;
        text << std::ifstream(path(name)).rdbuf();
        static const std::regex kReference("\\.so man3/(\\w+)\\.3\n");
        std::smatch match;
        const std::string read = text.str();
        return std::regex_match(read, match, kReference) ? page(match[1]) : read;
    }

    // What stands below a heading.
    static std::string section(const std::string &name, const std::string &heading) {
        const std::string text = page(name), begin = ".SH \"" + heading + "\"\n";
        const std::size_t start = text.find(begin);
        if (start == std::string::npos) return "";
        const std::size_t end = text.find("\n.SH ", start);
        return text.substr(start + begin.size(), end == std::string::npos ? end : end + 1 - start - begin.size());
    }

    // The words that stand in bold, in a text without the mark that keeps names together.
    static std::set<std::string> boldWords(const std::string &text) {
        static const std::regex kBold(R"(\\fB(?:\\%)?(\w+))");
        std::set<std::string> words;
        for (std::sregex_iterator i(text.begin(), text.end(), kBold), end; i != end; ++i)
            words.insert((*i)[1]);
        return words;
    }

    static testing_support::TempDir *directory_;
};

testing_support::TempDir *ManPages::directory_ = nullptr;

}  // namespace

TEST_F(ManPages, AreThereForAllThatTheLibraryExportsAndNothingElse) {
    std::set<std::string> pages, expected = listedSymbols();
    expected.insert("isam");
    std::istringstream names(runProgram("ls '" + directory_->file("man3") + "'").text);
    std::string name;
    while (names >> name)
        pages.insert(name.substr(0, name.find('.')));
    expectSame(expected, pages);
}

TEST_F(ManPages, TellTheNameAndTheSynopsisOfEachCall) {
    int calls = 0;
    for (const auto &[name, kind] : exportedKinds()) {
        if (kind != 'T') {
            EXPECT_EQ(page(name), page("isam")) << name;
            continue;
        }
        ++calls;
        const std::string text = section(name, "NAME");
        EXPECT_TRUE(std::regex_search(text, std::regex("^(\\w+,\\s)*" + name + "(,[\\w,\\s]*)? \\\\- [a-z]"))) << text;
        EXPECT_TRUE(std::regex_search(section(name, "SYNOPSIS"), std::regex("[ *]" + name + "\\(.*\\);"))) << name;
        EXPECT_NE(section(name, "DESCRIPTION"), "") << name;
        EXPECT_EQ(boldWords(section(name, "SEE ALSO")).count("isam"), 1U) << name;
    }
    EXPECT_GT(calls, 90);
}

TEST_F(ManPages, IncludeTheHeaderThatDeclaresTheCall) {
    EXPECT_NE(section("isread", "SYNOPSIS").find("#include <isam.h>\n"), std::string::npos);
    EXPECT_NE(section("isRebuildIdx", "SYNOPSIS").find("#include <isam_maint.h>\n"), std::string::npos);
}

TEST_F(ManPages, HaveTheErrorsOfTheReferencePage) {
    const CallsPage reference = readCallsPage(ISAM_SOURCE_DIR "/docs/calls.md");
    ASSERT_GT(reference.calls.size(), 90U);
    static const std::regex kError(R"(\.TP\n\\fB(\w+)\\fR(?: \(\\fB(\w+)\\fR\))?\n)");
    for (const auto &[call, errors] : reference.calls) {
        const std::string text = section(call, "ERRORS");
        std::map<std::string, std::string> found;
        for (std::sregex_iterator i(text.begin(), text.end(), kError), end; i != end; ++i)
            found[(*i)[1]] = (*i)[2];
        EXPECT_EQ(found.size(), errors.size()) << call;
        for (const auto &[code, row] : errors)
            EXPECT_EQ(found[code], row.name) << call << " " << code;
    }
}

TEST_F(ManPages, OverviewHasEveryConstantWithItsValueAndEveryCall) {
    const std::string text = page("isam");
    const CallsPage reference = readCallsPage(ISAM_SOURCE_DIR "/docs/calls.md");
    ASSERT_GT(reference.constants.size(), 90U);
    for (const auto &[name, row] : reference.constants)
        EXPECT_NE(text.find("\\fB" + name + "\\fR " + row.value + "\n"), std::string::npos) << name;
    const std::set<std::string> words = boldWords(text);
    for (const auto &[call, errors] : reference.calls)
        EXPECT_EQ(words.count(call), 1U) << call;
    for (const std::string &name : reference.globals)
        EXPECT_TRUE(std::regex_search(text, std::regex("\n\\.TP\n\\\\fB.*[ *]" + name + "[;[]"))) << name;
    EXPECT_NE(section("isam", "CONVENTIONS").find("\n.IP 11. 4\n"), std::string::npos);
}

TEST_F(ManPages, TellReleaseAndDate) {
    EXPECT_NE(page("isread").find("\n.TH isread 3 \"2001-02-03\" \"isam 1.2.3\" \""), std::string::npos);
}

TEST_F(ManPages, GiveTheFormatterNothingToComplainOf) {
    const ProgramOutput output =
        runProgram("cd '" + directory_->path() + "' && groff -man -ww -z -rCHECKSTYLE=10 -Tutf8 man3/*.3");
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(output.text, "");
}

TEST_F(ManPages, ShowTextAsTheHeadersHaveIt) {
    const std::string shown =
        runProgram("cd '" + directory_->path() + "' && groff -man -Tascii -P-c -rLL=1000n man3/iscopy.3 man3/isam.3")
            .text;
    EXPECT_NE(shown.find("iscopy - copies all records of one open file into another, in the order of an index\n"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("Calls return 0 on success and -1 on failure, unless they say otherwise."), std::string::npos);
    EXPECT_NE(shown.find("    short start;         /* offset in the record, from 0 */\n"), std::string::npos);
}
