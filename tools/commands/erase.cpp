// isam erase: files removed, both parts of each.
#include "base/failure.h"
#include "base/open_file.h"
#include "commands/commands.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::vector<std::string> files;
    bool yes = false;
};

bool agreed(const std::string &file) {
    std::cerr << "isam erase: remove " << file << " and all its records? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "yes";
}

int run(const Options &options) {
    const bool asks = !options.yes;
    if (asks && isatty(STDIN_FILENO) != 1) throw Failure("nothing is removed without --yes where nobody can be asked");
    int status = kClean;
    for (const std::string &file : options.files) {
        if (asks && !agreed(file)) continue;
        if (iserase(file.c_str()) == 0) continue;
        try {
            failCall(file, "cannot be removed");
        } catch (const Failure &failure) {
            // The others are removed all the same.
            std::fprintf(stderr, "isam erase: %s\n", failure.what());
            status = kCannot;
        }
    }
    return status;
}

}  // namespace

void addErase(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add("erase", "Remove files",
                                    "Removes the index file and the data file of each FILE; FILE.layout stays. Nobody "
                                    "may have it open. On a terminal it asks before each one; elsewhere it needs "
                                    "--yes.",
                                    {{"isam erase orders", "Asks, then removes orders.idx and orders.dat."},
                                     {"isam erase --yes january february", "Does not ask."}});
    command
        ->add_option_function<std::vector<std::string>>(
            "FILE",
            [options](const std::vector<std::string> &typed) {
                for (const std::string &file : typed)
                    options->files.push_back(basePath(file));
            },
            "base path of a file: FILE.idx and FILE.dat")
        ->required()
        ->type_name("");
    command->add_flag("-y,--yes", options->yes, "do not ask");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
