// isam get: the record that has a key.
#include "base/failure.h"
#include "base/key_image.h"
#include "base/number.h"
#include "commands/commands.h"
#include "records/key_words.h"
#include "records/record_file.h"
#include "records/walk.h"

#include <cstdio>

namespace tool {

namespace {

constexpr int kNoIndex = -1;

struct Options {
    RecordFileOptions file;
    std::string key;
    int index = kNoIndex;
    bool all = false;
    bool numbers = false;
    bool json = false;
};

int run(const Options &options) {
    const RecordFile opened(OpenFile::forReading(options.file.file), options.file);
    const KeyWords words(opened.layout, opened.columns);
    int index = options.index;
    if (index == kNoIndex) index = words.indexFor(options.key);
    if (index == 0 && options.index == kNoIndex) index = opened.firstIndex();
    Walk walk(opened.file, opened.layout, index);
    SearchKey search;
    long number = 0;
    if (index == 0) {
        number = typedNumber(options.key, "record number");
        walk.toNumber(number);
    } else {
        search = words.key(index, options.key);
        walk.toKey(search.image, search.length);
    }
    const auto has_key = [&](const Record &record) {
        if (index == 0) return record.number == number;
        const std::string key = keyImage(walk.key(), record.bytes.data());
        return key.compare(0, static_cast<std::size_t>(search.length), search.key, 0,
                           static_cast<std::size_t>(search.length)) == 0;
    };
    const RowOptions rows = opened.rowOptions(options.numbers);
    const auto make = options.json ? makeJsonWriter : makeListWriter;
    const std::unique_ptr<RowWriter> writer = make(opened.columns, rows, stdout);
    bool found = false;
    for (Record record; (!found || options.all) && walk.next(record) && has_key(record); found = true)
        writer->write(record);
    if (found) return kClean;
    std::fprintf(stderr, "isam get: %s: no record has this key\n", options.file.file.c_str());
    return kDamage;
}

}  // namespace

void addGet(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "get", "Show the record that has a key",
        "Looks for KEY in the first index, or in the one of --index, and shows the record field by field. A key of "
        "several parts is written with commas between, as a line of CSV; the last parts may be left out. Fields may be "
        "named, name=Meyer, which finds the index too. With --index 0 the key is a record number. A key that begins "
        "with "
        "a minus stands behind --.\n\n"
        "Without --all only the first of several records is shown. The exit status is 1 where there is none.",
        {{"isam get planets 4", "The planet with the key 4."},
         {"isam get planets name=Mars --json", "By the index that begins with the field name; JSON, for programs."},
         {"isam get orders 1024,7", "A key of two parts."},
         {"isam get orders customer=1024 --all", "Every record whose key begins so."}});
    addRecordFile(command, options->file);
    command->add_option("KEY", options->key, "the key, or its first parts")->required()->type_name("");
    command->add_option("--index,-i", options->index, "the index to look in, or 0 for record numbers")
        ->check(Program::wholeNumber())
        ->type_name("N");
    command->add_flag("--all", options->all, "all records that have the key");
    command->add_flag("--numbers", options->numbers, "show record numbers");
    Program::addJson(command, options->json)->description("print JSON, an object a line, for programs");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
