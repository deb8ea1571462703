// Goes through a file in one of its orders.
#pragma once

#include "base/open_file.h"

#include <cstdint>
#include <vector>

namespace tool {

// Bytes that any record of a file fits in; of a file without records, the bytes that its keys' parts reach to.
std::size_t recordRoom(const OpenFile &file);

class Scan {
  public:
    // index: 1 for the first, 0 for record-number order. Moves the position of the handle.
    Scan(const OpenFile &file, int index);

    // Goes to the next record, the first one at first; false at the end. Throws Failure where it cannot be read.
    bool next();

    std::uint32_t number() const { return number_; }
    int length() const { return length_; }
    std::uint32_t mask() const { return static_cast<std::uint32_t>(isgetmask(file_.fd())); }
    const char *record() const { return buffer_.data(); }

  private:
    const OpenFile &file_;
    std::vector<char> buffer_;
    int mode_ = ISFIRST;
    std::uint32_t number_ = 0;
    int length_ = 0;
};

}  // namespace tool
