// docs/calls.md: up to date, whole, and true to what the library exports.
#include "project/calls_page.h"
#include "project/symbols.h"

#include "isam.h"

#include <cctype>
#include <gtest/gtest.h>

namespace {

const CallsPage &page() {
    static const CallsPage kPage = readCallsPage(ISAM_SOURCE_DIR "/docs/calls.md");
    return kPage;
}

std::set<std::string> errorsOf(const std::string &call) {
    std::set<std::string> errors;
    for (const auto &[code, row] : page().calls.at(call))
        errors.insert(code);
    return errors;
}

using Codes = std::set<std::string>;

}  // namespace

TEST(CallsPage, IndexIsWhatTheLibraryExports) {
    const std::set<std::string> names(page().index.begin(), page().index.end());
    EXPECT_EQ(names.size(), page().index.size()) << "a name stands twice";
    expectSame(exportedSymbols(), names);
    expectSame(listedSymbols(), names);
}

TEST(CallsPage, EveryExportedFunctionHasAnEntryAndEveryVariableStandsAmongTheGlobals) {
    std::set<std::string> functions, variables, entries;
    for (const auto &[name, kind] : exportedKinds())
        (kind == 'T' ? functions : variables).insert(name);
    for (const auto &[name, errors] : page().calls)
        entries.insert(name);
    expectSame(functions, entries);
    expectSame(variables, page().globals);
}

TEST(CallsPage, EveryLinkLeadsToAHeading) {
    EXPECT_GT(page().links.size(), 500U);
    for (const std::string &link : page().links)
        EXPECT_EQ(page().anchors.count(link), 1U) << link;
}

TEST(CallsPage, IndexIsInAlphabeticalOrder) {
    const auto small = [](std::string name) {
        for (char &c : name)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return name;
    };
    for (std::size_t i = 1; i < page().index.size(); ++i) {
        const std::string &before = page().index[i - 1], &name = page().index[i];
        EXPECT_TRUE(small(before) < small(name) || (small(before) == small(name) && before < name)) << name;
    }
}

TEST(CallsPage, TablesAndTextAreShownAsMeant) {
    for (const std::string &line : page().slips)
        ADD_FAILURE() << line;
}

TEST(CallsPage, ConstantsStandWithTheirValues) {
    EXPECT_EQ(page().constants.at("ISLOCKEXCL").value, "0x0800");
    EXPECT_EQ(page().constants.at("ISGTEQ").value, "7");
    EXPECT_EQ(page().constants.at("ISERR_LAST").value, "134");
    EXPECT_EQ(page().constants.at("ISFREE_DATA").value, "2");
    EXPECT_EQ(page().constants.count("ISAM_API"), 0U);
    for (const auto &[name, row] : page().constants)
        if (name.rfind("ISERR_", 0) == 0 && row.message != "")
            EXPECT_EQ(row.message, is_errlist[std::stoi(row.value) - ISERR_FIRST]) << name;
}

TEST(CallsPage, BitsOfTheChecksStandWithTheirMessages) {
    int bits = 0;
    for (const auto &[name, row] : page().constants)
        if (name.rfind("ISCHK_", 0) == 0) {
            ++bits;
            int bit = 0;
            for (unsigned long value = std::stoul(row.value, nullptr, 16); value > 1; value /= 2)
                ++bit;
            EXPECT_EQ(row.message, isCheckMsg[bit]) << name;
        }
    EXPECT_EQ(bits, 13);
}

TEST(CallsPage, ErrorsStandWithTheirMessages) {
    int rows = 0;
    for (const auto &[call, errors] : page().calls)
        for (const auto &[code, row] : errors) {
            EXPECT_NE(row.reason, "") << call << " " << code;
            if (code.front() == 'E') continue;
            ++rows;
            const int number = std::stoi(code);
            ASSERT_GE(number, ISERR_FIRST);
            ASSERT_LE(number, ISERR_LAST);
            EXPECT_EQ(row.message, is_errlist[number - ISERR_FIRST]) << call;
            EXPECT_NE(row.name, "") << call;
            EXPECT_NE(page().paragraphs.at(row.name).find(code + ", \"" + row.message + '"'), std::string::npos)
                << call;
        }
    EXPECT_GT(rows, 200);
}

TEST(CallsPage, IndexOfErrorCodesHasTheCallsOfEachTable) {
    std::map<std::string, Codes> calls;
    for (const auto &[call, errors] : page().calls)
        for (const auto &[code, row] : errors)
            if (row.name != "") calls[row.name].insert(call);
    EXPECT_EQ(calls.size(), 24U);
    for (const auto &[name, expected] : calls) {
        const std::string text = page().paragraphs.at(name);
        const Codes listed = linkedNames(text.substr(0, text.find("by convention")));
        for (const std::string &call : expected)
            EXPECT_EQ(listed.count(call), 1U) << name << " by " << call;
        for (const std::string &call : listed)
            EXPECT_TRUE(call == "conventions" || expected.count(call) != 0) << name << " by " << call;
    }
}

TEST(CallsPage, ErrorsOfOtherCallsAreWrittenOut) {
    EXPECT_EQ(errorsOf("isrewcurr"), (Codes{"100", "102", "107", "111", "112", "121", "131", "132", "134"}));
    Codes next = errorsOf("isrewcurr");
    next.insert("110");
    EXPECT_EQ(errorsOf("isrewnxt"), next);
    EXPECT_EQ(errorsOf("isvbuild"), errorsOf("isbuild"));
    EXPECT_EQ(errorsOf("isrename"), (Codes{"102", "105", "113", "114", "121", "EEXIST", "ENOENT"}));
    EXPECT_EQ(errorsOf("isdelcurr"), (Codes{"107", "111", "112", "121", "131"}));
    EXPECT_EQ(errorsOf("isrecover"), (Codes{"100", "102", "103", "105", "107", "108", "109", "111", "112", "113", "114",
                                            "118", "119", "128", "131", "132"}));
    EXPECT_EQ(page().calls.at("ispop").at("111").reason, page().calls.at("isindex").at("111").reason);
    EXPECT_NE(page().calls.at("isindex").at("111").reason.find("the current index leaves it out, with the index"),
              std::string::npos);
}

TEST(CallsPage, ConventionsAddWhatTheClassAndThePointersOfACallSay) {
    const auto adds = [](const std::string &call, const std::string &text) {
        return page().paragraphs.at(call).find("By [convention](#conventions): " + text + ". ") != std::string::npos;
    };
    const std::string descriptor = "[101](#iserr_notopen)", argument = "[102](#iserr_argument)";
    const std::string rest = "[105](#iserr_corrupt); system errors";
    EXPECT_TRUE(adds("isread", descriptor + "; " + argument + " file opened `ISOUTPUT`, null `record`; " + rest));
    EXPECT_TRUE(adds("isdelrec", descriptor + "; " + argument + " file opened `ISINPUT`; " + rest));
    EXPECT_TRUE(adds("isgoto", descriptor + "; " + rest));
    EXPECT_TRUE(adds("isrewnxt",
                     descriptor + "; " + argument + " file opened `ISOUTPUT` or `ISINPUT`, null `record`; " + rest));
    EXPECT_TRUE(adds("iscopy",
                     descriptor + "; " + argument + " `from` opened `ISOUTPUT`, `to` opened `ISINPUT`; system errors"));
    EXPECT_TRUE(adds("isdelindex", descriptor + "; " + argument +
                                       " file opened `ISINPUT`; [103](#iserr_keydesc) null `key`; " + rest));
    EXPECT_TRUE(adds("isopen", argument + " null `name`; system errors"));
    // A call that names 101 itself has named all.
    for (const char *whole : {"isclose", "isgetmode", "ispush", "islockcheck", "isfilter", "ischeckdata"})
        EXPECT_EQ(page().paragraphs.at(whole).find("By [convention]"), std::string::npos) << whole;
}

TEST(CallsPage, EntriesEndWithWhatHoldsAfterAFailure) {
    const std::string &text = page().paragraphs.at("isrewnxt");
    const std::size_t convention = text.find("By [convention]");
    ASSERT_NE(convention, std::string::npos);
    EXPECT_NE(text.find("After any other failure the position has moved all the same.", convention), std::string::npos);
    EXPECT_EQ(text.find("as for"), std::string::npos) << text;
}

TEST(CallsPage, EntriesTellTheClassOfACall) {
    EXPECT_EQ(page().paragraphs.at("isread").find("  `[read]` Reads a record."), 0U) << page().paragraphs.at("isread");
    EXPECT_NE(page().paragraphs.at("isrelease").find("`[read]` See [isunlock]"), std::string::npos);
    EXPECT_NE(page().paragraphs.at("iscopy").find("`[from: read, to: write]`"), std::string::npos);
    EXPECT_NE(page().paragraphs.at("isRebuildIdx").find("`[write]`"), std::string::npos);
    EXPECT_EQ(page().paragraphs.at("isqv_name").find("`["), std::string::npos);
}
