#include "cli/program.h"

#include "base/failure.h"
#include "base/open_file.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <isam.h>
#include <new>
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

// What is opened next must not get the number of a standard stream that the caller has closed: messages would go into
// it. What stands there instead can be neither read nor written as the stream would be.
void holdStandardStreams() {
    for (int fd = 0; fd <= 2; ++fd)
        if (fcntl(fd, F_GETFD) < 0) static_cast<void>(open("/dev/null", fd == 0 ? O_WRONLY : O_RDONLY));
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

CLI::Validator Program::wholeNumber() {
    const auto check = [](const std::string &typed) -> std::string {
        const bool digits = !typed.empty() && typed.find_first_not_of("0123456789") == std::string::npos;
        return digits && typed.size() <= 9 ? "" : "'" + typed + "' is to be a whole number from 0 to 999999999";
    };
    return {check, ""};
}

CLI::Option *Program::addJson(CLI::App *command, bool &json) {
    return command->add_flag("--json", json, "print JSON, for programs");
}

int Program::main(int argc, char **argv) {
    holdStandardStreams();
    int status = kCannot;
    const CLI::App *command = &root_;
    const auto complain = [&command](const char *what) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", fullName(command).c_str(), what);
    };
    try {
        root_.parse(argc, argv);
        command = chosen(&root_);
        running = fullName(command);
        isfatal(stop);
        status = runs_.at(command)();
    } catch (const CLI::ParseError &error) {
        command = chosen(&root_);
        if (error.get_exit_code() == 0) {
            root_.exit(error);
            status = kClean;
        } else {
            const bool no_command = command == &root_ && argc > 1 && argv[1][0] != '-';
            complain(no_command ? ("there is no command '" + std::string(argv[1]) + "'").c_str() : error.what());
            std::fprintf(stderr, "'%s --help' tells how it is used.\n", fullName(command).c_str());
        }
    } catch (const Failure &failure) {
        complain(failure.what());
    } catch (const std::bad_alloc &) {
        complain("there is not enough memory");
    } catch (const std::exception &other) {
        complain(other.what());
    }
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "%s: the output cannot be written\n", fullName(command).c_str());
        status = kCannot;
    }
    iscleanup();
    return status;
}

}  // namespace tool
