// isam load: records from CSV or JSON Lines into a file; a file from an archive.
#include "archive/archive.h"
#include "base/failure.h"
#include "base/json.h"
#include "base/progress.h"
#include "base/stop_signals.h"
#include "commands/commands.h"
#include "records/loader.h"
#include "records/record_file.h"

#include <fstream>
#include <iostream>
#include <sys/stat.h>

namespace tool {

namespace {

struct Options {
    RecordFileOptions file;
    std::string input;
    std::string format;
    LoadOptions load;
    bool keep_going = false;
    bool alone = false;
    bool json = false;
};

bool fromStandardInput(const Options &options) { return options.input.empty() || options.input == "-"; }

// What the format is where it is not said.
std::string formatOf(const Options &options) {
    if (!options.format.empty()) return options.format;
    return options.input.ends_with(".jsonl") || options.input.ends_with(".json") ? "jsonl" : "csv";
}

class Input {
  public:
    explicit Input(const Options &options)
        : name_(fromStandardInput(options) ? "standard input" : options.input),
          file_(fromStandardInput(options) ? stdin : std::fopen(name_.c_str(), "rb")) {
        if (file_ == nullptr) failSystem(name_, "cannot be opened");
    }
    ~Input() {
        if (file_ != stdin) std::fclose(file_);
    }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    std::FILE *file() const { return file_; }
    const std::string &name() const { return name_; }
    // 0 where nobody knows.
    std::uint64_t size() const {
        struct stat status;
        const bool known = fstat(fileno(file_), &status) == 0 && S_ISREG(status.st_mode);
        return known ? static_cast<std::uint64_t>(status.st_size) : 0;
    }

  private:
    std::string name_;
    std::FILE *file_;
};

void tell(const LoadCounts &counts, bool json) {
    if (json) {
        print(Json{{"written", counts.written},
                   {"updated", counts.updated},
                   {"skipped", counts.skipped},
                   {"refused", counts.refused}});
        return;
    }
    std::printf("%ld written, %ld updated, %ld skipped, %ld refused\n", counts.written, counts.updated, counts.skipped,
                counts.refused);
}

int loadRows(const Options &options) {
    const StopSignals stop;
    const bool alone = options.alone || options.load.numbers;
    RecordFile opened(alone ? OpenFile::alone(options.file.file) : OpenFile::forChanging(options.file.file),
                      options.file);
    Loader loader(opened.file, opened.layout, opened.columns, options.load);
    const Input input(options);
    Progress progress("loading " + options.file.file, input.size());
    LineReader lines(input.file(), input.name(), progress);
    const auto make = formatOf(options) == "csv" ? makeCsvSource : makeJsonSource;
    const std::unique_ptr<RowSource> source = make(opened.columns, lines);
    long refused = 0;
    const auto counts = [&loader, &refused] {
        LoadCounts all = loader.counts();
        all.refused = refused;
        return all;
    };
    InputRow row;
    long last = 0;  // the line of the row done last
    const auto stopped = [&] {
        progress.clear();
        tell(counts(), options.json);
        std::fprintf(stderr, "isam load: %s: stopped by a signal behind the row of line %ld\n", input.name().c_str(),
                     last);
        return kCannot;
    };
    for (bool more = true; more;) {
        if (stop.caught()) return stopped();
        try {
            more = source->next(row);
            if (more) loader.load(row);
            last = row.line;
        } catch (const RowFault &fault) {
            const std::string what = input.name() + ": line " + std::to_string(row.line) + ": " + fault.what();
            ++refused;
            progress.clear();
            if (!options.keep_going) {
                tell(counts(), options.json);
                throw Failure(what);
            }
            std::fprintf(stderr, "isam load: %s\n", what.c_str());
        } catch (const Failure &) {
            if (stop.caught()) return stopped();
            progress.clear();
            tell(counts(), options.json);
            throw;
        }
    }
    loader.finish();
    opened.file.close();
    progress.clear();
    tell(counts(), options.json);
    return refused == 0 ? kClean : kCannot;
}

int loadArchive(const Options &options) {
    if (options.load.update || options.load.skip_duplicates || options.load.numbers || options.keep_going)
        throw Failure("an archive makes a new file as the old one was: only FILE and INPUT go with it");
    std::ifstream opened;
    if (!fromStandardInput(options)) {
        opened.open(options.input, std::ios::binary);
        if (!opened) failSystem(options.input, "cannot be opened");
    }
    for (const std::string &note : readArchive(fromStandardInput(options) ? std::cin : opened, options.file.file))
        std::fprintf(stderr, "isam load: %s: %s\n", options.file.file.c_str(), note.c_str());
    LoadCounts counts;
    counts.written = OpenFile::forReading(options.file.file).recordCount();
    tell(counts, options.json);
    return kClean;
}

int run(const Options &options) { return formatOf(options) == "binary" ? loadArchive(options) : loadRows(options); }

}  // namespace

void addLoad(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "load", "Write records from CSV, JSON Lines or an archive",
        "Reads what 'isam dump' writes, and the same from other programs, and writes the records into FILE, which is "
        "there ('isam build' makes one); an archive makes FILE itself. A field that a row does not have is left empty: "
        "blanks, NULs or zero.\n\n"
        "All values of a row are checked before its record is written. A row that cannot be taken ends the work, with "
        "its "
        "line and field; the records before it stay. With --keep-going it is left out, and the exit status is 2 at the "
        "end. At the end it is told how many records were written, updated and skipped.",
        {{"isam load planets planets.csv", "Adds the records of a file with a header line."},
         {"isam load planets --format jsonl --update <new", "Adds some and rewrites those whose key is there."},
         {"isam load copy planets.archive --format binary", "Makes copy.idx and copy.dat."}});
    addRecordFile(command, options->file);
    command->add_option("INPUT", options->input, "the file to read, in place of standard input")->type_name("");
    command
        ->add_option("--format,-f", options->format,
                     "csv, jsonl or binary; jsonl for *.jsonl and *.json, else csv unless it is given")
        ->check(CLI::IsMember({"csv", "jsonl", "binary"}))
        ->type_name("FORMAT");
    auto *update =
        command->add_flag("--update", options->load.update,
                          "rewrite a record whose primary key is there; fields that the row does not have stay");
    command->add_flag("--skip-duplicates", options->load.skip_duplicates,
                      "leave out a record whose key a unique index has already");
    command
        ->add_flag("--numbers", options->load.numbers,
                   "give each record its @recnum; they ascend, and nobody else has the file")
        ->excludes(update);
    command->add_flag("--alone", options->alone, "nobody else has the file meanwhile; faster");
    command->add_flag("--keep-going", options->keep_going, "leave out rows that cannot be taken, in place of stopping");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
