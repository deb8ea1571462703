// A file together with the layout that its records are shown by.
#pragma once

#include "base/open_file.h"
#include "cli/program.h"
#include "records/columns.h"
#include "records/row_writer.h"

#include <string>

namespace tool {

// What commands that show fields have in common: FILE, --layout, --no-layout.
struct RecordFileOptions {
    std::string file;
    std::string layout;
    bool no_layout = false;
};
void addRecordFile(CLI::App *command, RecordFileOptions &options);

struct RecordFile {
    OpenFile file;
    bool named;  // by a layout
    Layout layout;
    Columns columns;

    RecordFile(OpenFile opened, const RecordFileOptions &options);

    // The index that comes first; 0 where record-number order does.
    int firstIndex() const { return layout.primary && !layout.indexes.empty() ? 1 : 0; }
    // Masks wherever the file has them, and numbers wherever there is nothing but keys.
    RowOptions rowOptions(bool numbers) const;
};

}  // namespace tool
