#include "records/lines.h"

#include "base/failure.h"

#include <utility>

namespace tool {

LineReader::LineReader(std::FILE *in, std::string name, Progress &progress)
    : in_(in), name_(std::move(name)), progress_(progress) {}

bool LineReader::next(std::string &line) {
    line.clear();
    ++number_;
    int c = 0;
    while (line.size() <= kLongestLine && (c = getc_unlocked(in_)) != EOF) {
        line += static_cast<char>(c);
        if (c == '\n') break;
    }
    if (std::ferror(in_) != 0) failSystem(name_, "cannot be read");
    if (line.size() > kLongestLine)
        throw Failure(name_ + ": line " + std::to_string(number_) + " is too long for a record");
    progress_.step(line.size());
    return !line.empty();
}

}  // namespace tool
