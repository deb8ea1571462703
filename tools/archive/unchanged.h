// Reads a whole file, and fails where somebody changes it meanwhile.
#pragma once

#include "archive/settings.h"
#include "base/failure.h"
#include "base/open_file.h"

#include <memory>

namespace tool {

// A handle that reads without locks, beside one that holds the file open for reading; this one itself where it is alone
// with the file.
class QuickReader {
  public:
    explicit QuickReader(const OpenFile &file);
    const OpenFile &file() const { return own_ ? *own_ : file_; }

  private:
    const OpenFile &file_;
    std::unique_ptr<OpenFile> own_;
};

// The counter when nobody is in the middle of a change.
std::uint32_t settledCounter(const OpenFile &file);

// work takes a file to read from and gives what it has made of it. Whatever it says is for nothing where the file has
// been changed before it ends.
template <typename Work> auto readUnchanged(const OpenFile &file, Work work) {
    const std::uint32_t before = settledCounter(file);
    const auto check = [&file, before] {
        if (settledCounter(file) != before) throw Failure(file.name() + ": somebody changed it meanwhile");
    };
    const QuickReader reader(file);
    try {
        auto result = work(reader.file());
        check();
        return result;
    } catch (const Failure &) {
        check();
        throw;
    }
}

}  // namespace tool
