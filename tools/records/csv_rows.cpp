// CSV, cut into cells by libcsv. It is fed line by line, so that the line of every row is known.
#include "records/rows.h"

#include "base/failure.h"

#include <csv.h>

#include <deque>
#include <set>
#include <utility>

namespace tool {

namespace {

constexpr char kEscape = '\\';
constexpr char kHexEscape = 'x';
constexpr std::size_t kMostCells = 70000;
// Programs of other systems put it before the text to tell that it is UTF-8.
constexpr std::string_view kMark = "\xef\xbb\xbf";

std::string countOfCells(std::size_t count) { return std::to_string(count) + (count == 1 ? " cell" : " cells"); }

class CsvCells {
  public:
    CsvCells() {
        if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw Failure("no memory for CSV");
        // Blanks are part of a cell.
        csv_set_space_func(&parser_, [](unsigned char /*byte*/) { return 0; });
    }
    ~CsvCells() { csv_free(&parser_); }
    CsvCells(const CsvCells &) = delete;
    CsvCells &operator=(const CsvCells &) = delete;

    // False where quotes do not stand as they should.
    bool feed(const std::string &text) {
        return csv_parse(&parser_, text.data(), text.size(), &CsvCells::addCell, &CsvCells::endRow, this) ==
               text.size();
    }
    bool finish() { return csv_fini(&parser_, &CsvCells::addCell, &CsvCells::endRow, this) == 0; }
    bool tooLong() { return csv_get_buffer_size(&parser_) > 2 * kLongestLine || cells_.size() > kMostCells; }

    std::deque<std::vector<std::string>> rows;

  private:
    static void addCell(void *text, std::size_t length, void *self) {
        static_cast<CsvCells *>(self)->cells_.emplace_back(static_cast<const char *>(text), length);
    }
    static void endRow(int /*end*/, void *self) {
        auto *cells = static_cast<CsvCells *>(self);
        cells->rows.push_back(std::move(cells->cells_));
        cells->cells_.clear();
    }

    csv_parser parser_;
    std::vector<std::string> cells_;
};

class CsvSource : public RowSource {
  public:
    CsvSource(const Columns &columns, LineReader &lines) : columns_(columns), lines_(lines) { readHeader(); }

    bool next(InputRow &row) override {
        std::vector<std::string> cells;
        if (!nextCells(cells, row.line)) return false;
        row.values.assign(columns_.count(), std::nullopt);
        row.number.reset();
        row.mask.reset();
        if (cells.size() != places_.size())
            throw RowFault("has " + countOfCells(cells.size()) + ", the header " + std::to_string(places_.size()));
        for (std::size_t i = 0; i < cells.size(); ++i)
            putCell(row, places_[i], cells[i]);
        return true;
    }

  private:
    void putCell(InputRow &row, const Place &place, const std::string &cell) const {
        try {
            putInto(row, place, valueOfCell(cell));
        } catch (const ValueFault &fault) {
            const std::string name = place.kind == Place::kField ? columns_[place.column].name() + ": " : std::string();
            throw RowFault("field " + name + fault.what());
        }
    }

    [[noreturn]] void fail(long line, const std::string &what) const {
        throw Failure(lines_.name() + ": line " + std::to_string(line) + ": " + what);
    }

    bool nextCells(std::vector<std::string> &cells, long &line) {
        line = lines_.number() + 1;
        std::string text;
        while (cells_.rows.empty()) {
            const long at = line;
            if (!lines_.next(text)) {
                if (!std::exchange(finished_, true) && !cells_.finish()) fail(at, "a quote is opened and not closed");
                if (cells_.rows.empty()) return false;
                break;
            }
            if (lines_.number() == 1 && text.starts_with(kMark)) text.erase(0, kMark.size());
            if (!cells_.feed(text)) fail(lines_.number(), "a quote stands where none can be");
            if (cells_.tooLong()) fail(at, "too long for a record");
        }
        cells = std::move(cells_.rows.front());
        cells_.rows.pop_front();
        return true;
    }

    void readHeader() {
        std::vector<std::string> names;
        long line = 0;
        if (!nextCells(names, line)) throw Failure(lines_.name() + ": has no header line with the fields' names");
        std::set<std::string> seen;
        for (const std::string &name : names) {
            if (!seen.insert(name).second) fail(line, "the header has '" + name + "' twice");
            try {
                places_.push_back(placeOf(columns_, name));
            } catch (const RowFault &fault) {
                fail(line, fault.what());
            }
        }
    }

    const Columns &columns_;
    LineReader &lines_;
    CsvCells cells_;
    bool finished_ = false;
    std::vector<Place> places_;
};

}  // namespace

std::unique_ptr<RowSource> makeCsvSource(const Columns &columns, LineReader &lines) {
    return std::make_unique<CsvSource>(columns, lines);
}

std::vector<std::string> cellsOf(const std::string &line) {
    CsvCells cells;
    if (!cells.feed(line) || !cells.finish()) throw ValueFault("has quotes where none can be");
    if (cells.rows.empty()) return {""};
    if (cells.rows.size() > 1) throw ValueFault("has more than one line");
    return cells.rows.front();
}

Value valueOfCell(const std::string &cell) {
    if (cell.empty() || cell.front() != kEscape) return {Value::kText, cell};
    if (cell.size() > 1 && cell[1] == kEscape) return {Value::kText, cell.substr(1)};
    Value value = {Value::kBytes, {}};
    if (cell.size() < 2 || cell[1] != kHexEscape || !fromHex(std::string_view(cell).substr(2), value.text))
        throw ValueFault("behind the backslash that begins it comes a second one, or x and pairs of hexadecimal "
                         "digits");
    return value;
}

}  // namespace tool
