// isam cluster: the records of a file brought into an order.
#include "base/failure.h"
#include "base/left_over.h"
#include "base/watch.h"
#include "commands/commands.h"
#include "commands/whole.h"
#include "base/place.h"
#include "mend/checks.h"

#include <filesystem>
#include <optional>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::string file;
    int index = -1;
};

// Base path of the set that the library makes, beside the files themselves.
std::string temporary(const std::string &place) {
    char name[32];
    std::snprintf(name, sizeof name, "ist%05ld", static_cast<long>(getpid()));
    return std::filesystem::path(place).replace_filename(name).string();
}

// The old files go in the end, and with them what could be had from them still: records whose numbers the header does
// not count any more, the tails of others.
void requireSound(const std::string &name) {
    if (checkSet(name).damaged())
        throw Failure(name + ": is damaged: 'isam check " + name + "' tells how, 'isam repair " + name +
                      "' mends it; nothing has been done");
}

// What a killed clustering has left under the same name may have all records.
bool isFree(const std::string &base) {
    std::error_code ignored;
    return !std::filesystem::exists(base + ".idx", ignored) && !std::filesystem::exists(base + ".dat", ignored);
}

int run(const Options &options) {
    KeyDesc storage;
    {
        // Whatever is in the way is told before the file is read.
        const OpenFile file = OpenFile::alone(options.file);
        if (!file.hasRecords()) throw Failure(options.file + ": has keys alone: there are no records to put in order");
        orderOf(file, options.index, storage);
    }
    requireSound(options.file);
    OpenFile file = OpenFile::alone(options.file);
    KeyDesc *key = orderOf(file, options.index, storage);
    {
        const std::string place = linkedPlace(options.file), made = temporary(place);
        std::optional<LeftOver> left_over;
        if (isFree(made)) left_over.emplace(made, place);
        const Watch watch("clustering " + options.file, made + ".dat", fileSize(place + ".dat"));
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
        "stays. Nobody else may have the file open, and there must be room for the file a second time. A file that the "
        "checks find damaged is left as it is.",
        {{"isam cluster orders", "In the order of the first index."},
         {"isam cluster orders --index 2", "In the order of the second."},
         {"isam cluster orders --index 0", "In the order that the records have; only the gaps go."}});
    Program::addFile(command, options->file);
    addOrder(command, options->index);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
