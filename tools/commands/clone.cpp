// isam clone: an empty file of the same shape.
#include "base/failure.h"
#include "base/open_file.h"
#include "commands/commands.h"

namespace tool {

namespace {

struct Options {
    std::string file;
    std::string made;
};

int run(const Options &options) {
    const OpenFile file = OpenFile::forReading(options.file);
    const int fd = isclone(file.fd(), options.made.c_str());
    if (fd < 0) failCall(options.made, "cannot be made");
    OpenFile(fd, options.made).close();
    return kClean;
}

}  // namespace

void addClone(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add("clone", "Make an empty file of the same shape",
                                    "The new file has the record lengths, indexes and masks of FILE, and no records. "
                                    "Unique id, the application's bytes, "
                                    "precious mode and audit trail are not taken along.",
                                    {{"isam clone orders orders-2031", "orders-2031.idx and orders-2031.dat, empty."}});
    Program::addFile(command, options->file);
    command
        ->add_option_function<std::string>(
            "NEW", [options](const std::string &typed) { options->made = basePath(typed); },
            "base path of the new file")
        ->required()
        ->type_name("");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
