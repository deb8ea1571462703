// isam rename: both parts of a file under another name.
#include "base/failure.h"
#include "base/open_file.h"
#include "commands/commands.h"
#include "layout/layout.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace tool {

namespace {

struct Options {
    std::string from;
    std::string to;
};

// The layout goes with the file that it describes, but takes no other one's place.
void takeLayout(const Options &options) {
    const std::string from = layoutPath(options.from), to = layoutPath(options.to);
    std::error_code failed;
    if (!std::filesystem::exists(from, failed)) return;
    if (!std::filesystem::exists(to, failed)) std::filesystem::rename(from, to, failed);
    if (std::filesystem::exists(from))
        std::fprintf(stderr, "isam rename: %s stays: %s\n", from.c_str(),
                     failed ? failed.message().c_str() : (to + " is there already").c_str());
}

int run(const Options &options) {
    if (isrename(options.from.c_str(), options.to.c_str()) != 0) {
        const std::string failed = "cannot be renamed to " + options.to;
        if (iserrno == EXDEV)
            throw Failure(options.from + ": " + failed +
                          ", which is in another file system: copy both files, and remove the old ones");
        failCall(options.from, failed);
    }
    takeLayout(options);
    return kClean;
}

}  // namespace

void addRename(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "rename", "Give a file another name",
        "Renames the index file and the data file, both or none, and FILE.layout with them. No existing file is "
        "overwritten. Nobody may have the file open.",
        {{"isam rename orders orders-2030", "orders.idx and orders.dat become orders-2030.idx and orders-2030.dat."}});
    Program::addFile(command, options->from);
    command
        ->add_option_function<std::string>(
            "NEW", [options](const std::string &typed) { options->to = basePath(typed); },
            "base path that it is to have")
        ->required()
        ->type_name("");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
