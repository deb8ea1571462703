// Lines of an input, counted.
#pragma once

#include "base/progress.h"

#include <cstdio>
#include <string>

namespace tool {

// A line longer than this is no record of any file.
inline constexpr std::size_t kLongestLine = std::size_t{1} << 20U;

class LineReader {
  public:
    // name: what failures call the input.
    LineReader(std::FILE *in, std::string name, Progress &progress);

    // The next line with its end, which may be missing in the last one; false when there is none. Throws Failure.
    bool next(std::string &line);
    // The number of the line read last, 1 for the first.
    long number() const { return number_; }
    const std::string &name() const { return name_; }

  private:
    std::FILE *in_;
    std::string name_;
    Progress &progress_;
    long number_ = 0;
};

}  // namespace tool
