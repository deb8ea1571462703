// Rows of named values, in CSV or JSON Lines, on their way into a file.
#pragma once

#include "records/columns.h"
#include "records/lines.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tool {

// One row: what it says of a record.
struct InputRow {
    long line = 0;                             // where it begins
    std::vector<std::optional<Value>> values;  // by column; nothing where the row does not say it
    std::optional<long> number;
    std::optional<std::uint32_t> mask;
};

// What is wrong with one row; the rows behind it can be read all the same.
class RowFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class RowSource {
  public:
    virtual ~RowSource() = default;
    // The next row, false behind the last. Throws RowFault, row.line being set, and Failure where nothing that follows
    // can be understood.
    virtual bool next(InputRow &row) = 0;
};

// A header line with names, then a line for each record, as RFC 4180 has it.
std::unique_ptr<RowSource> makeCsvSource(const Columns &columns, LineReader &lines);
// A line for each record: an object with names.
std::unique_ptr<RowSource> makeJsonSource(const Columns &columns, LineReader &lines);

// The cells of one line of CSV; throws ValueFault.
std::vector<std::string> cellsOf(const std::string &line);
// The value of a cell: \x41 is the bytes' digits, \\ a backslash that begins a text.
Value valueOfCell(const std::string &cell);

// The place in a row that a name has; throws RowFault where there is none.
struct Place {
    enum Kind { kField, kNumber, kMask } kind = kField;
    std::size_t column = 0;
};
Place placeOf(const Columns &columns, const std::string &name);
// Puts a value there; throws RowFault where it is no number or mask.
void putInto(InputRow &row, const Place &place, Value value);

}  // namespace tool
