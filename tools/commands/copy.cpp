// isam copy: all records of one file into another.
#include "base/failure.h"
#include "base/left_over.h"
#include "base/watch.h"
#include "commands/commands.h"
#include "commands/whole.h"
#include "base/place.h"

#include <cstdio>
#include <optional>

namespace tool {

namespace {

struct Options {
    std::string from;
    std::string to;
    int index = -1;
    bool create = false;
};

OpenFile clone(const OpenFile &from, const std::string &to) {
    const int fd = isclone(from.fd(), to.c_str());
    if (fd < 0) failCall(to, "cannot be made");
    return {fd, to};
}

std::string lengths(const OpenFile &file) {
    if (!file.hasRecords()) return "keys alone";
    if (!file.variableLength()) return "records of " + std::to_string(file.maximumLength()) + " bytes";
    return "records of " + std::to_string(file.minimumLength()) + " to " + std::to_string(file.maximumLength()) +
           " bytes";
}

// made: the destination has just been made for it, and goes after a failure.
void copy(const OpenFile &to, const OpenFile &from, int index, bool made) {
    KeyDesc storage;
    KeyDesc *key = orderOf(from, index, storage);
    const std::string extension = from.hasRecords() ? ".dat" : ".idx";
    const std::uint64_t total = fileSize(to.name() + extension) + fileSize(from.name() + extension);
    const long before = to.recordCount();
    {
        const Watch watch("copying " + from.name(), to.name() + extension, total);
        if (iscopy(to.fd(), from.fd(), key) == 0) return;
    }
    const int code = iserrno;
    const std::string failed = from.name() + ": cannot be copied to " + to.name() + ": ";
    if (code == ISERR_ARGUMENT) {
        const bool same = lengths(from) == lengths(to);
        throw Failure(failed + (same ? "both are one file, or their keys differ"
                                     : "it has " + lengths(to) + ", and the other " + lengths(from)));
    }
    std::string why = code == ISERR_DUPLICATE ? "a key is there already that may occur once (100)" : lastError();
    if (!made && from.hasRecords())
        why += "; " + std::to_string(to.recordCount() - before) + " records were copied before that, and stay";
    throw Failure(failed + why);
}

int run(const Options &options) {
    // A clone is opened as the file it is made of.
    const OpenFile from = options.create ? OpenFile::forChanging(options.from) : OpenFile::forReading(options.from);
    OpenFile to = options.create ? clone(from, options.to) : OpenFile::forChanging(options.to);
    std::optional<LeftOver> left_over;
    if (options.create) left_over.emplace(linkedPlace(options.to));
    try {
        copy(to, from, options.index, options.create);
        to.close();
    } catch (const Failure &) {
        if (options.create) {
            if (to.fd() >= 0) isclose(to.fd());
            to.replace(-1);
            iserase(options.to.c_str());
        }
        throw;
    }
    return kClean;
}

}  // namespace

void addCopy(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "copy", "Copy all records of a file into another one",
        "The records of FILE are added to those that TO has, in the order of an index; each gets a number of its own "
        "there, "
        "and goes into the indexes of TO, which may be others. The record lengths must be the same. Where a key of a "
        "unique "
        "index is there already the copy stops; what was copied before stays.",
        {{"isam copy january orders", "The records of january are added to orders."},
         {"isam copy orders sorted --create --index 2", "A new file, its records in the order of index 2."}});
    Program::addFile(command, options->from);
    command
        ->add_option_function<std::string>(
            "TO", [options](const std::string &typed) { options->to = basePath(typed); },
            "base path of the file added to")
        ->required()
        ->type_name("");
    addOrder(command, options->index);
    command->add_flag("--create", options->create,
                      "make TO first, as 'isam clone' does; nothing of it stays where the copy fails or is ended");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
