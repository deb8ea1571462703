// isam dump: all records of a file, for other programs or for isam load.
#include "archive/archive.h"
#include "base/failure.h"
#include "base/out_file.h"
#include "base/place.h"
#include "base/progress.h"
#include "commands/commands.h"
#include "records/record_file.h"
#include "records/walk.h"

#include <fstream>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace tool {

namespace {

constexpr int kNoIndex = -1;

struct Options {
    RecordFileOptions file;
    std::string format = "csv";
    std::string output;
    int index = kNoIndex;
    bool numbers = false;
};

void dumpRows(const Options &options) {
    refuseOwnFiles(options.output, options.file.file);
    const RecordFile opened(OpenFile::forReading(options.file.file), options.file);
    const int any = opened.layout.keysAlone() ? 1 : 0;
    WholeWalk walk(opened.file, opened.layout, options.index == kNoIndex ? any : options.index);
    OutFile out(options.output);
    // Rows on the terminal show by themselves how far it is.
    std::optional<Progress> progress;
    if (isatty(fileno(out.file())) == 0)
        progress.emplace("dumping " + options.file.file, static_cast<std::uint64_t>(opened.file.recordCount()));
    const RowOptions rows = opened.rowOptions(options.numbers);
    const auto make = options.format == "csv" ? makeCsvWriter : makeJsonWriter;
    const std::unique_ptr<RowWriter> writer = make(opened.columns, rows, out.file());
    for (Record record; walk.next(record);) {
        writer->write(record);
        if (progress) progress->step();
    }
    writer->end();
    out.close();
}

void dumpArchive(const Options &options) {
    if (options.index != kNoIndex || options.numbers || !options.file.layout.empty())
        throw Failure("the binary form has everything in its own order: no --index, --numbers or --layout");
    refuseOwnFiles(options.output, options.file.file);
    const OpenFile file = OpenFile::forReading(options.file.file);
    const bool to_file = !options.output.empty() && options.output != "-";
    if (!to_file && isatty(STDOUT_FILENO) == 1) throw Failure("the binary form is not for a terminal; see --output");
    std::optional<NewOutput> output;
    std::ofstream made;
    if (to_file) made.open(output.emplace(options.output).work(), std::ios::binary | std::ios::trunc);
    if (!made) failSystem(options.output, "cannot be made");
    for (const std::string &note : writeArchive(file, to_file ? made : std::cout))
        std::fprintf(stderr, "isam dump: %s: %s\n", options.file.file.c_str(), note.c_str());
    if (to_file) made.close();
    if (!made || !std::cout.flush()) throw Failure("the archive cannot be written");
    if (output) output->keep();
}

int run(const Options &options) {
    if (options.format == "binary")
        dumpArchive(options);
    else
        dumpRows(options);
    return kClean;
}

}  // namespace

void addDump(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "dump", "Write all records as CSV, JSON Lines or an archive",
        "Writes every record: as CSV with a header line, as JSON Lines (an object a line), or in a binary form that "
        "keeps "
        "everything, the order among equal keys and the numbers in between included. 'isam load' reads all three.\n\n"
        "Fields have the names and types of FILE.layout; without one, key parts are shown as k0_16 (16 bytes from byte "
        "0). Bytes that no field covers are shown as digits under _16 (from byte 16), and so are bytes that are no "
        "value "
        "of their field's type, marked: nothing is lost. Files with masks have a column @mask, keys without records "
        "@recnum.\n\n"
        "Others may work on the file meanwhile. What they change may or may not be in the dump.",
        {{"isam dump planets", "All records as CSV on standard output, in the order of their numbers."},
         {"isam dump planets --index 1 --output planets.csv", "The same in the order of the first index, into a file."},
         {"isam dump planets --format jsonl | jq .name", "For programs that read JSON."},
         {"isam dump planets --format binary --output planets.archive", "An archive for another place."}});
    addRecordFile(command, options->file);
    command->add_option("--format,-f", options->format, "csv (unless it is given), jsonl or binary")
        ->check(CLI::IsMember({"csv", "jsonl", "binary"}))
        ->type_name("FORMAT");
    command->add_option("--output,-o", options->output, "the file to write, in place of standard output")
        ->type_name("PATH");
    command->add_option("--index,-i", options->index, "order of the records: an index, or 0 for record numbers")
        ->check(Program::wholeNumber())
        ->type_name("N");
    command->add_flag("--numbers", options->numbers, "a column @recnum with record numbers");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
