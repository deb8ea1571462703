// Records on their way out, as rows of named values.
#pragma once

#include "records/columns.h"

#include <cstdio>
#include <memory>
#include <string>

namespace tool {

struct RowOptions {
    bool numbers = false;  // a column with record numbers
    bool masks = false;    // a column with masks
    bool gaps = true;      // columns for bytes that no field covers
};

class RowWriter {
  public:
    virtual ~RowWriter() = default;
    virtual void write(const Record &record) = 0;
    // Behind the last one.
    virtual void end() {}
};

// A header line, then a line for each record, as RFC 4180 has it but with a line feed alone.
std::unique_ptr<RowWriter> makeCsvWriter(const Columns &columns, const RowOptions &options, std::FILE *out);
// An object a line. A gap of blanks alone is left out.
std::unique_ptr<RowWriter> makeJsonWriter(const Columns &columns, const RowOptions &options, std::FILE *out);
// Columns below each other, for people.
std::unique_ptr<RowWriter> makeTableWriter(const Columns &columns, const RowOptions &options, std::FILE *out);
// A line for each field, for people.
std::unique_ptr<RowWriter> makeListWriter(const Columns &columns, const RowOptions &options, std::FILE *out);

// A value as a cell of CSV shows it, and quoted where it has to be.
std::string cellOf(const Value &value);
std::string quotedCell(const std::string &cell);
// A value on a terminal: nothing in it can move the cursor.
std::string shownValue(const Value &value);

}  // namespace tool
