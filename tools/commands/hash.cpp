// isam hash: a number for what a file holds.
#include "archive/contents.h"
#include "base/json.h"
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
    const Contents contents = hashContents(file);
    if (options.json) {
        print({{"file", options.file},
               {"count", contents.count},
               {"recordsHash", hexadecimal(contents.records)},
               {"fileHash", hexadecimal(contents.file)}});
        return kClean;
    }
    std::printf("records %s\n", hexadecimal(contents.records).c_str());
    std::printf("file    %s\n", hexadecimal(contents.file).c_str());
    return kClean;
}

}  // namespace

void addHash(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "hash", "Tell by a hash whether two files hold the same",
        "Prints two SHA-256 hashes. 'records' is that of all records with their lengths and masks, whatever their "
        "order and "
        "their numbers; 'file' takes in the kind of the file and its indexes. Two files with the same hash hold the "
        "same. A "
        "file that somebody changes meanwhile has none.",
        {{"isam hash orders", "Two lines, the same before and after 'isam cluster orders'."},
         {"test \"$(isam hash orders)\" = \"$(isam hash copy)\"", "Does the copy hold what the file holds?"}});
    Program::addFile(command, options->file);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
