// isam info: what a file is made of.
#include "base/open_file.h"
#include "commands/commands.h"

#include <cstdio>

namespace tool {

namespace {

struct Options {
    std::string file;
    bool json = false;
};

int run(const Options &options) {
    const OpenFile file = OpenFile::forReading(options.file);
    std::printf("records %ld\n", file.recordCount());
    return kClean;
}

}  // namespace

void addInfo(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add("info", "Tell what a file is made of",
                                    "Shows the kind of the file, the lengths of its records, and its indexes.",
                                    {{"isam info planets", "What planets.idx and planets.dat hold."}});
    Program::addFile(command, options->file);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
