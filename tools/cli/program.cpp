#include "cli/program.h"

#include "base/failure.h"
#include "base/open_file.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <isam.h>
#include <utility>

namespace tool {

namespace {

std::string footer(const std::vector<Example> &examples) {
    std::string text;
    for (const Example &example : examples) {
        text += text.empty() ? "Examples:\n" : "";
        text += std::string("  ") + example.command + "\n        " + example.effect + "\n";
    }
    return text;
}

// The innermost subcommand that was asked for.
const CLI::App *chosen(const CLI::App *app) {
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    return app;
}

std::string fullName(const CLI::App *command) {
    const CLI::App *parent = command->get_parent();
    return parent == nullptr ? command->get_name() : fullName(parent) + " " + command->get_name();
}

std::string running;  // the command that is at work

// The library ends the process where it can do nothing else, as over some damage. Its message is no output.
void stop(char *message) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", running.c_str(), message);
    std::_Exit(kCannot);
}

}  // namespace

Program::Program()
    : root_("Looks into indexed-sequential files, checks and mends them, moves records in and out.", "isam") {
    root_.require_subcommand(1);
    root_.set_version_flag("--version", std::string("isam ") + ISAM_TOOL_VERSION);
    root_.set_help_flag("-h,--help", "Print this help and exit");
    root_.footer("'isam COMMAND --help' tells of a command, with examples; so does 'man isam-COMMAND'.");
    root_.get_formatter()->column_width(26);
}

void Program::group(const char *heading) { heading_ = heading; }

CLI::App *Program::add(const char *name, const char *summary, const char *description, std::vector<Example> examples) {
    CLI::App *command = addUnder(&root_, name, summary, description, std::move(examples));
    command->group(heading_);
    return command;
}

CLI::App *Program::addUnder(CLI::App *parent, const char *name, const char *summary, const char *description,
                            std::vector<Example> examples) {
    CLI::App *command = parent->add_subcommand(name, summary);
    command->footer(std::string(description) + "\n\n" + footer(examples));
    descriptions_[command] = description;
    examples_[command] = std::move(examples);
    return command;
}

void Program::onRun(CLI::App *command, std::function<int()> run) { runs_[command] = std::move(run); }

CLI::Option *Program::addFile(CLI::App *command, std::string &file) {
    return command
        ->add_option_function<std::string>(
            "FILE", [&file](const std::string &typed) { file = basePath(typed); },
            "base path of the file: FILE.idx and FILE.dat")
        ->required()
        ->type_name("");
}

CLI::Option *Program::addJson(CLI::App *command, bool &json) {
    return command->add_flag("--json", json, "print JSON, for programs");
}

int Program::main(int argc, char **argv) {
    try {
        root_.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return root_.exit(error) == 0 ? kClean : kCannot;
    }
    const CLI::App *command = chosen(&root_);
    running = fullName(command);
    isfatal(stop);
    int status = kCannot;
    try {
        status = runs_.at(command)();
    } catch (const Failure &failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", fullName(command).c_str(), failure.what());
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "%s: the output cannot be written\n", fullName(command).c_str());
        status = kCannot;
    }
    iscleanup();
    return status;
}

}  // namespace tool
