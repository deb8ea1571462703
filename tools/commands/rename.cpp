// isam rename: both parts of a file under another name.
#include "base/failure.h"
#include "commands/commands.h"

#include <isam.h>

namespace tool {

namespace {

struct Options {
    std::string from;
    std::string to;
};

int run(const Options &options) {
    if (isrename(options.from.c_str(), options.to.c_str()) != 0)
        failCall(options.from, "cannot be renamed to " + options.to);
    return kClean;
}

}  // namespace

void addRename(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "rename", "Give a file another name",
        "Renames the index file and the data file, both or none. No existing file is overwritten. Nobody may have the "
        "file "
        "open.",
        {{"isam rename orders orders-2030", "orders.idx and orders.dat become orders-2030.idx and orders-2030.dat."}});
    Program::addFile(command, options->from);
    command->add_option("NEW", options->to, "base path that it is to have")->required()->type_name("");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
