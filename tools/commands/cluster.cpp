// isam cluster: the records of a file brought into an order.
#include "base/failure.h"
#include "base/watch.h"
#include "commands/commands.h"
#include "commands/whole.h"

#include <filesystem>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::string file;
    int index = -1;
};

// Where the library puts the new data file.
std::string temporaryData(const std::string &file) {
    char name[32];
    std::snprintf(name, sizeof name, "ist%05ld.dat", static_cast<long>(getpid()));
    return std::filesystem::path(file).replace_filename(name).string();
}

int run(const Options &options) {
    OpenFile file = OpenFile::alone(options.file);
    KeyDesc storage;
    KeyDesc *key = orderOf(file, options.index, storage);
    {
        const Watch watch("clustering " + options.file, temporaryData(options.file), fileSize(options.file + ".dat"));
        const int fd = iscluster(file.fd(), key);
        if (fd < 0) failCall(options.file, "cannot be clustered");
        file.replace(fd);
    }
    file.close();
    return kClean;
}

}  // namespace

void addCluster(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "cluster", "Put the records of a file in the order of an index",
        "Writes the records anew, in the order of an index and without gaps, and both files with them. Reading in that "
        "order is then faster, and the room of deleted records is given back. Record numbers change; everything else "
        "stays. Nobody else may have the file open, and there must be room for the file a second time.",
        {{"isam cluster orders", "In the order of the first index."},
         {"isam cluster orders --index 2", "In the order of the second."},
         {"isam cluster orders --index 0", "In the order that the records have; only the gaps go."}});
    Program::addFile(command, options->file);
    addOrder(command, options->index);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
