#include "base/number.h"

#include "base/failure.h"

#include <charconv>

namespace tool {

long typedNumber(const std::string &text, const char *what) {
    long number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) throw Failure("'" + text + "' is no " + what);
    return number;
}

}  // namespace tool
