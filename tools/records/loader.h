// Puts rows into a file as records.
#pragma once

#include "base/open_file.h"
#include "layout/layout.h"
#include "records/rows.h"

#include <string>

namespace tool {

struct LoadOptions {
    bool update = false;           // rewrite a record whose primary key is there
    bool skip_duplicates = false;  // leave out a record that a unique index has no room for
    bool numbers = false;          // each record gets the number that its row says
};

struct LoadCounts {
    long written = 0;
    long updated = 0;
    long skipped = 0;
    long refused = 0;
};

class Loader {
  public:
    // Throws Failure where the file has not what the options need.
    Loader(OpenFile &file, const Layout &layout, const Columns &columns, const LoadOptions &options);
    ~Loader();
    Loader(const Loader &) = delete;
    Loader &operator=(const Loader &) = delete;

    // Writes or rewrites the row's record, or skips it. All of its values are checked before anything is written.
    // Throws RowFault where the row cannot be taken, and Failure where the file cannot be changed.
    void load(const InputRow &row);
    // Ends the load; throws Failure.
    void finish();

    const LoadCounts &counts() const { return counts_; }

  private:
    void put(std::string &record, const InputRow &row) const;
    bool readPresent(const InputRow &row, std::string &record);
    void write(std::string &record, const InputRow &row);
    void rewrite(std::string &record, const InputRow &row, const std::string &present);
    bool writeOnce(std::string &record, const InputRow &row);
    void writeUnder(long number, std::string &record, const InputRow &row);
    void refuse(int code, const std::string &record, long own);
    std::string duplicateIn(const std::string &record, long own);
    void checkTail(const std::string &record) const;
    char *staged(const std::string &record);

    OpenFile &file_;
    const Layout &layout_;
    const Columns &columns_;
    LoadOptions options_;
    LoadCounts counts_;
    std::string blank_;
    std::string buffer_;  // has room for the longest record
    enum class Numbers { kUnknown, kKept, kMadeKept } numbers_ = Numbers::kUnknown;
};

}  // namespace tool
