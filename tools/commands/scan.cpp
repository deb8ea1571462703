// isam scan: records in the order of an index, from a key to another.
#include "base/failure.h"
#include "base/key_image.h"
#include "base/number.h"
#include "commands/commands.h"
#include "records/key_words.h"
#include "records/key_order.h"
#include "records/record_file.h"
#include "records/walk.h"

#include <cstdio>
#include <optional>

namespace tool {

namespace {

constexpr int kNoIndex = -1;

struct Options {
    RecordFileOptions file;
    int index = kNoIndex;
    std::string from;
    std::string to;
    std::string prefix;
    bool reverse = false;
    long limit = -1;
    std::string format = "table";
    bool numbers = false;
    bool json = false;
};

// Where a scan begins and ends.
class Range {
  public:
    virtual ~Range() = default;
    virtual void begin(Walk &walk, bool reverse) const = 0;
    // The record is not beyond the end; the other side has been seen to by the beginning.
    virtual bool has(const Record &record, bool reverse) const = 0;
};

class NumberRange : public Range {
  public:
    explicit NumberRange(const Options &options) {
        if (!options.prefix.empty()) throw Failure("record numbers have no beginnings: use --from and --to");
        if (!options.from.empty()) from_ = typedNumber(options.from, "record number");
        if (!options.to.empty()) to_ = typedNumber(options.to, "record number");
    }
    void begin(Walk &walk, bool reverse) const override {
        if (reverse)
            to_ ? walk.behindNumber(*to_) : walk.toLast();
        else
            from_ ? walk.toNumber(*from_) : walk.toFirst();
    }
    bool has(const Record &record, bool reverse) const override {
        return reverse ? record.number >= from_.value_or(record.number) : record.number <= to_.value_or(record.number);
    }

  private:
    std::optional<long> from_;
    std::optional<long> to_;
};

class KeyRange : public Range {
  public:
    KeyRange(const Options &options, const KeyWords &words, const KeyDesc &key, int index) : key_(key) {
        if (!options.from.empty()) from_ = words.key(index, options.from);
        if (!options.to.empty()) to_ = words.key(index, options.to);
        if (!options.prefix.empty()) from_ = to_ = words.beginning(index, options.prefix);
    }
    void begin(Walk &walk, bool reverse) const override {
        if (reverse)
            to_ ? walk.behindKey(to_->image, to_->length) : walk.toLast();
        else
            from_ ? walk.toKey(from_->image, from_->length) : walk.toFirst();
    }
    bool has(const Record &record, bool reverse) const override {
        const std::optional<SearchKey> &end = reverse ? from_ : to_;
        if (!end) return true;
        const int order = compareKeys(key_, keyImage(key_, record.bytes.data()), end->key, end->length);
        return reverse ? order >= 0 : order <= 0;
    }

  private:
    KeyDesc key_;
    std::optional<SearchKey> from_;
    std::optional<SearchKey> to_;
};

int indexOf(const Options &options, const RecordFile &opened, const KeyWords &words) {
    if (options.index != kNoIndex) return options.index;
    for (const std::string &key : {options.from, options.to, options.prefix}) {
        const int named = key.empty() ? 0 : words.indexFor(key);
        if (named != 0) return named;
    }
    return opened.firstIndex();
}

std::unique_ptr<RowWriter> writerFor(const Options &options, const RecordFile &opened) {
    RowOptions rows = opened.rowOptions(options.numbers);
    if (options.json || options.format == "jsonl") return makeJsonWriter(opened.columns, rows, stdout);
    if (options.format == "csv") return makeCsvWriter(opened.columns, rows, stdout);
    rows.gaps = !opened.named;
    return makeTableWriter(opened.columns, rows, stdout);
}

int run(const Options &options) {
    const RecordFile opened(OpenFile::forReading(options.file.file), options.file);
    const KeyWords words(opened.layout, opened.columns);
    const int index = indexOf(options, opened, words);
    Walk walk(opened.file, opened.layout, index);
    std::unique_ptr<Range> range;
    if (index == 0)
        range = std::make_unique<NumberRange>(options);
    else
        range = std::make_unique<KeyRange>(options, words, walk.key(), index);
    range->begin(walk, options.reverse);
    const std::unique_ptr<RowWriter> writer = writerFor(options, opened);
    long left = options.limit;
    for (Record record; left != 0 && (options.reverse ? walk.previous(record) : walk.next(record)) &&
                        range->has(record, options.reverse);
         --left)
        writer->write(record);
    writer->end();
    return kClean;
}

}  // namespace

void addScan(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "scan", "Show records in the order of an index",
        "Shows records in the order of the first index, or of the one of --index, as a table, as CSV or as JSON Lines. "
        "--from and --to are keys, both included, written as for 'isam get'; where only the first parts are given, "
        "they "
        "alone count. --prefix takes the beginning of a text. Order means that of the index: in a descending one, the "
        "greater key comes first. With --index 0 the records come by their numbers.\n\n"
        "A table leaves out bytes that no field of the layout covers. Others may work on the file meanwhile.",
        {{"isam scan planets", "All records by the first index."},
         {"isam scan planets --index 2 --from J --to N", "Part of the second index."},
         {"isam scan planets --prefix name=Ma --json", "Names that begin so, as JSON Lines."},
         {"isam scan orders --reverse --limit 10", "The last ten."}});
    addRecordFile(command, options->file);
    command->add_option("--index,-i", options->index, "the index, or 0 for record numbers")
        ->check(Program::wholeNumber())
        ->type_name("N");
    auto *from = command->add_option("--from", options->from, "the first key, or its first parts")->type_name("KEY");
    auto *to = command->add_option("--to", options->to, "the last key, or its first parts")->type_name("KEY");
    command->add_option("--prefix", options->prefix, "the beginning of the keys")
        ->type_name("KEY")
        ->excludes(from)
        ->excludes(to);
    command->add_flag("--reverse", options->reverse, "from the last key to the first");
    command->add_option("--limit", options->limit, "so many records at most")
        ->check(Program::wholeNumber())
        ->type_name("N");
    auto *format = command->add_option("--format,-f", options->format, "table (unless it is given), csv or jsonl")
                       ->check(CLI::IsMember({"table", "csv", "jsonl"}))
                       ->type_name("FORMAT");
    command->add_flag("--numbers", options->numbers, "show record numbers");
    Program::addJson(command, options->json)->description("print JSON Lines, for programs")->excludes(format);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
