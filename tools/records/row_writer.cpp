#include "records/row_writer.h"

#include "base/json.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t kRowsOfWidth = 1000;  // a table's first rows, which tell how wide its columns are
const char *const kBetween = "  ";

void put(std::FILE *out, const std::string &text) { std::fwrite(text.data(), 1, text.size(), out); }

// The columns that a writer shows, with what stands before the fields.
class Shown {
  public:
    Shown(const Columns &columns, const RowOptions &options) : columns_(columns), options_(options) {
        for (std::size_t i = 0; i < columns.count(); ++i) {
            if (options.gaps || !columns[i].gap) places_.push_back(i);
        }
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        if (options_.numbers) names.emplace_back(kNumberColumn);
        if (options_.masks) names.emplace_back(kMaskColumn);
        for (const std::size_t place : places_)
            names.push_back(columns_[place].name());
        return names;
    }

    // As many as there are names.
    std::vector<Value> values(const Record &record) const {
        std::vector<Value> values;
        if (options_.numbers) values.push_back({Value::kNumber, std::to_string(record.number)});
        if (options_.masks) values.push_back({Value::kNumber, std::to_string(record.mask)});
        for (const std::size_t place : places_)
            values.push_back(columns_.show(record, place));
        return values;
    }

    // Do its values stand at the right, as numbers do?
    std::vector<bool> right() const {
        std::vector<bool> right(names().size() - places_.size(), true);
        for (const std::size_t place : places_) {
            const FieldType type = columns_[place].field().type;
            right.push_back(type != FieldType::kChar && type != FieldType::kString && type != FieldType::kDate &&
                            type != FieldType::kHex);
        }
        return right;
    }

    // Is it a gap, of which nothing need be said?
    std::vector<bool> gaps() const {
        std::vector<bool> gaps(names().size() - places_.size(), false);
        for (const std::size_t place : places_)
            gaps.push_back(columns_[place].gap);
        return gaps;
    }

  private:
    const Columns &columns_;
    RowOptions options_;
    std::vector<std::size_t> places_;
};

class CsvWriter : public RowWriter {
  public:
    CsvWriter(const Columns &columns, const RowOptions &options, std::FILE *out) : shown_(columns, options), out_(out) {
        putLine(shown_.names());
    }
    void write(const Record &record) override {
        std::vector<std::string> cells;
        for (const Value &value : shown_.values(record))
            cells.push_back(quotedCell(cellOf(value)));
        putLine(cells);
    }

  private:
    // A line of one empty cell would be an empty line, which is no record.
    void putLine(const std::vector<std::string> &cells) {
        std::string line;
        for (const std::string &cell : cells)
            line += (&cell == &cells.front() ? "" : ",") + cell;
        put(out_, (line.empty() ? "\"\"" : line) + "\n");
    }

    Shown shown_;
    std::FILE *out_;
};

class JsonWriter : public RowWriter {
  public:
    JsonWriter(const Columns &columns, const RowOptions &options, std::FILE *out)
        : shown_(columns, options), out_(out), names_(shown_.names()), gaps_(shown_.gaps()) {}
    void write(const Record &record) override {
        const std::vector<Value> values = shown_.values(record);
        std::string line = "{";
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (gaps_[i] && values[i].text.empty()) continue;
            line += (line.size() == 1 ? "\"" : ", \"") + names_[i] + "\": " + literal(values[i]);
        }
        put(out_, line + "}\n");
    }

  private:
    static std::string literal(const Value &value) {
        if (value.kind == Value::kNumber) return value.text;
        if (value.kind == Value::kBytes) return "{\"hex\": \"" + toHex(value.text) + "\"}";
        return Json(value.text).dump();
    }

    Shown shown_;
    std::FILE *out_;
    std::vector<std::string> names_;
    std::vector<bool> gaps_;
};

std::size_t widthOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; }));
}

std::string padded(const std::string &text, std::size_t width, bool right) {
    const std::string fill(width - std::min(width, widthOf(text)), ' ');
    return right ? fill + text : text + fill;
}

class TableWriter : public RowWriter {
  public:
    TableWriter(const Columns &columns, const RowOptions &options, std::FILE *out)
        : shown_(columns, options), out_(out), right_(shown_.right()) {
        addRow(shown_.names());
    }
    void write(const Record &record) override {
        std::vector<std::string> cells;
        for (const Value &value : shown_.values(record))
            cells.push_back(shownValue(value));
        addRow(std::move(cells));
    }
    void end() override { flush(); }

  private:
    void addRow(std::vector<std::string> cells) {
        rows_.push_back(std::move(cells));
        if (widths_.empty() && rows_.size() <= kRowsOfWidth) return;
        flush();
    }
    void flush() {
        if (widths_.empty()) {
            widths_.assign(rows_.front().size(), 0);
            for (const std::vector<std::string> &cells : rows_) {
                for (std::size_t i = 0; i < cells.size(); ++i)
                    widths_[i] = std::max(widths_[i], widthOf(cells[i]));
            }
        }
        for (const std::vector<std::string> &cells : rows_) {
            std::string line;
            for (std::size_t i = 0; i < cells.size(); ++i)
                line += (i == 0 ? "" : kBetween) + padded(cells[i], widths_[i], right_[i]);
            line.erase(line.find_last_not_of(' ') + 1);
            put(out_, line + "\n");
        }
        rows_.clear();
    }

    Shown shown_;
    std::FILE *out_;
    std::vector<bool> right_;
    std::vector<std::size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
};

class ListWriter : public RowWriter {
  public:
    ListWriter(const Columns &columns, const RowOptions &options, std::FILE *out)
        : shown_(columns, options), out_(out), names_(shown_.names()), gaps_(shown_.gaps()) {
        for (const std::string &name : names_)
            width_ = std::max(width_, name.size());
    }
    void write(const Record &record) override {
        const std::vector<Value> values = shown_.values(record);
        std::string text = first_ ? "" : "\n";
        first_ = false;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (gaps_[i] && values[i].text.empty()) continue;
            std::string line = padded(names_[i], width_, false) + kBetween + shownValue(values[i]);
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
        }
        put(out_, text);
    }

  private:
    Shown shown_;
    std::FILE *out_;
    std::vector<std::string> names_;
    std::vector<bool> gaps_;
    std::size_t width_ = 0;
    bool first_ = true;
};

bool isControl(const std::string &text, std::size_t at, std::size_t &length) {
    const auto byte = static_cast<unsigned char>(text[at]);
    length = 1;
    if (byte < 0x20 || byte == 0x7f) return true;
    // U+0080 to U+009F, which some terminals take as commands too.
    if (byte != 0xc2 || at + 1 == text.size() || static_cast<unsigned char>(text[at + 1]) >= 0xa0) return false;
    length = 2;
    return true;
}

}  // namespace

std::string cellOf(const Value &value) {
    if (value.kind == Value::kBytes) return "\\x" + toHex(value.text);
    return (value.text.starts_with('\\') ? "\\" : "") + value.text;
}

std::string quotedCell(const std::string &cell) {
    const auto is_blank = [](char c) {
        return static_cast<unsigned char>(c) <= ' ';
    };
    const bool plain = cell.find_first_of(",\"\r\n") == std::string::npos &&
                       (cell.empty() || (!is_blank(cell.front()) && !is_blank(cell.back())));
    if (plain) return cell;
    std::string quoted = "\"";
    for (const char c : cell) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

std::string shownValue(const Value &value) {
    if (value.kind == Value::kBytes) return cellOf(value);
    std::string shown;
    for (std::size_t i = 0; i < value.text.size();) {
        std::size_t length = 1;
        if (isControl(value.text, i, length)) {
            shown += "\\x" + toHex(std::string_view(value.text).substr(i, length));
        } else {
            shown += value.text[i];
        }
        i += length;
    }
    return shown;
}

std::unique_ptr<RowWriter> makeCsvWriter(const Columns &columns, const RowOptions &options, std::FILE *out) {
    return std::make_unique<CsvWriter>(columns, options, out);
}

std::unique_ptr<RowWriter> makeJsonWriter(const Columns &columns, const RowOptions &options, std::FILE *out) {
    return std::make_unique<JsonWriter>(columns, options, out);
}

std::unique_ptr<RowWriter> makeTableWriter(const Columns &columns, const RowOptions &options, std::FILE *out) {
    return std::make_unique<TableWriter>(columns, options, out);
}

std::unique_ptr<RowWriter> makeListWriter(const Columns &columns, const RowOptions &options, std::FILE *out) {
    return std::make_unique<ListWriter>(columns, options, out);
}

}  // namespace tool
