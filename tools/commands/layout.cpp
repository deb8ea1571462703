// isam layout: a layout to begin with, for a file that has none.
#include "layout/layout.h"

#include "base/failure.h"
#include "base/out_file.h"
#include "base/place.h"
#include "base/progress.h"
#include "commands/commands.h"
#include "records/guess.h"
#include "records/walk.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

constexpr std::size_t kSample = 1000;
constexpr std::size_t kCommentColumn = 44;

struct Options {
    std::string file;
    std::string output;
    bool write = false;
    bool force = false;
};

// Records from all over the file.
std::vector<std::string> sampleOf(const OpenFile &file, const Layout &layout) {
    std::vector<std::string> sample;
    if (layout.keysAlone()) return sample;
    const long every = std::max<long>(1, file.recordCount() / static_cast<long>(kSample));
    Progress progress("looking at " + file.name(), static_cast<std::uint64_t>(file.recordCount()));
    Walk walk(file, layout, 0);
    walk.toFirst();
    long number = 0;
    for (Record record; sample.size() < 2 * kSample && walk.next(record); progress.step()) {
        if (number++ % every == 0) sample.push_back(record.bytes);
    }
    return sample;
}

std::string commented(std::string line, const std::string &comment) {
    line.resize(std::max(line.size() + 2, kCommentColumn), ' ');
    return line + "# " + comment + "\n";
}

std::string proposal(const OpenFile &file) {
    Layout layout = layoutOf(file);
    const std::vector<std::string> sample = sampleOf(file, layout);
    std::vector<Guess> fields;
    for (const Field &field : layout.fields)
        fields.push_back({field, "sure: a part of a key"});
    for (const Guess &guess : guessFields(layout, sample))
        fields.push_back(guess);
    std::stable_sort(fields.begin(), fields.end(),
                     [](const Guess &a, const Guess &b) { return a.field.start < b.field.start; });

    std::string text = "# " + file.name() + ": proposed by its indexes and " + std::to_string(sample.size()) +
                       " of its records. Names and types are to be\n# corrected by somebody who knows the program "
                       "that writes them.\n";
    text += recordLine(layout) + "\n";
    layout.fields.clear();
    for (const Guess &guess : fields) {
        text += commented(fieldLine(guess.field), guess.reason);
        layout.fields.push_back(guess.field);
    }
    for (const Field &gap : gapsOf(layout)) {
        const std::string length = gap.takesRest() ? "the rest" : std::to_string(gap.length) + " bytes";
        const std::string what = gap.takesRest() || sample.empty() ? "bytes" : "blanks or NULs in all of them";
        text += "# from byte " + std::to_string(gap.start) + ", " + length + ": " + what + "\n";
    }
    if (!layout.primary) text += std::string(kNoPrimaryLine) + "\n";
    for (const KeyDesc &key : layout.indexes)
        text += indexLine(layout, key) + "\n";
    parseLayout(text, "proposal for " + file.name());
    return text;
}

int run(const Options &options) {
    const OpenFile file = OpenFile::forReading(options.file);
    const std::string path = options.write ? layoutPath(options.file) : options.output;
    std::error_code ignored;
    if (options.write && !options.force && std::filesystem::exists(path, ignored))
        throw Failure(path + ": is there already; --force writes over it");
    refuseOwnFiles(path, options.file);
    const std::string text = proposal(file);
    OutFile out(path);
    std::fwrite(text.data(), 1, text.size(), out.file());
    out.close();
    return kClean;
}

}  // namespace

void addLayout(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "layout", "Propose a layout for a file's records",
        "A layout, FILE.layout beside the data, names the fields of the records, so that get, scan, dump and load "
        "speak "
        "of them. This prints a first one: key parts are certain, the rest is guessed from a sample of the records, "
        "and "
        "comments say how sure that is. It is to be corrected by hand.\n\n"
        "Lines of a layout, with # before comments:\n\n"
        "  record 64                            length of all records\n"
        "  record 40..2000 compressed           variable length: shortest and longest, compressed tails\n"
        "  record 64 masks                      records have masks\n"
        "  record none                          keys without records\n"
        "  field NAME START LENGTH TYPE ...     a field; LENGTH * for the rest of the record\n"
        "  index unique PART ...                an index, the primary key first; or: index duplicates PART ...\n"
        "  index record-number                  first: there is no primary key\n\n"
        "Types: char and string (text filled with blanks or NULs; charset NAME), int and long (2 and 4 bytes, most "
        "significant first), integer and unsigned (1 to 8), mint, mlong and quad (the machine's 2, 4 and 8), float, "
        "double, packed and zoned (scale N; sign none, letters or separate), date YYYYMMDD, hex.\n\n"
        "A PART of a key is a field's name, or START+LENGTH/TYPE; /desc behind it for descending order. Behind the "
        "parts: "
        "compress with repeats, leading, blanks or nuls, and nullkeys for an index without null keys, whose parts say "
        "/null=20.",
        {{"isam layout planets", "Prints what planets.layout could be."},
         {"isam layout planets --write", "Makes planets.layout of it, to be corrected."}});
    Program::addFile(command, options->file);
    auto *output =
        command->add_option("--output,-o", options->output, "the file to write, in place of standard output");
    output->type_name("PATH");
    auto *write = command->add_flag("--write", options->write, "write FILE.layout")->excludes(output);
    command->add_flag("--force", options->force, "with --write: although there is one")->needs(write);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
