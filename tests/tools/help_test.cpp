// The command line itself: help, errors of use, and what the same declarations give besides.
#include "tools/tool_run.h"

#include "cli/manual.h"
#include "commands/commands.h"

namespace {

using tool_tests::Ran;
using tool_tests::ToolTest;

class Help : public ToolTest {};

TEST_F(Help, IsPrintedForEveryCommandWithItsExamples) {
    tool::Program program;
    tool::addCommands(program);
    for (const CLI::App *command : program.root().get_subcommands([](const CLI::App *) { return true; })) {
        const Ran ran = isam(command->get_name() + " --help");
        EXPECT_EQ(ran.status, 0) << command->get_name();
        EXPECT_FALSE(program.examples(command).empty()) << command->get_name();
        for (const tool::Example &example : program.examples(command)) {
            EXPECT_NE(ran.out.find(std::string("  ") + example.command + "\n"), std::string::npos) << example.command;
        }
    }
}

TEST_F(Help, SaysWhatIsWrongWithTheArgumentsAndExitsWithTwo) {
    for (const char *arguments : {"", "nosuch", "info", "info --nosuch planets", "info a b"}) {
        const Ran ran = isam(arguments);
        EXPECT_EQ(ran.status, 2) << arguments;
        EXPECT_FALSE(ran.err.empty()) << arguments;
        EXPECT_EQ(ran.out, "") << arguments;
    }
}

TEST_F(Help, FaultsOfArgumentsNameTheCommandAndWhatItTakes) {
    EXPECT_EQ(isam("scan planets --limit -1").err,
              "isam scan: --limit: '-1' is to be a whole number from 0 to 999999999\n"
              "'isam scan --help' tells how it is used.\n");
    EXPECT_EQ(isam("get planets 1 --index 99999999999999").status, 2);
    EXPECT_EQ(isam("chek planets").err, "isam: there is no command 'chek'\n'isam --help' tells how it is used.\n");
    EXPECT_EQ(isam("dump planets --format xml").err, "isam dump: --format: xml not in {csv,jsonl,binary}\n"
                                                     "'isam dump --help' tells how it is used.\n");
}

TEST_F(Help, TellsWhyAFileCannotBeOpened) {
    const Ran ran = isam("info planets");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam info: planets: cannot be opened: opening the index file: No such file or directory\n");
}

TEST_F(Help, HasAManualPageForEveryCommandThatTroffTakesWithoutAWord) {
    tool::Program program;
    tool::addCommands(program);
    for (const tool::Page &page : tool::manualPages(program)) {
        put(page.file, page.text);
        const Ran ran = shell("LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z " + page.file);
        EXPECT_EQ(ran.status, 0) << page.file;
        EXPECT_EQ(ran.err, "") << page.file;
    }
}

TEST_F(Help, CompletesCommandsOptionsAndBasePaths) {
    tool::Program program;
    tool::addCommands(program);
    put("completion", tool::bashCompletion(program));
    put("orders.idx", "");
    put("orders.dat", "");
    const auto complete = [this](const std::string &words, int at) {
        return shell("bash -c '. ./completion; COMP_WORDS=(" + words + "); COMP_CWORD=" + std::to_string(at) +
                     "; _isam; echo ${COMPREPLY[@]}'")
            .out;
    };
    EXPECT_EQ(complete("isam inf", 1), "info\n");
    EXPECT_EQ(complete("isam info --js", 2), "--json\n");
    EXPECT_EQ(complete("isam info ord", 2), "orders\n");
}

}  // namespace
