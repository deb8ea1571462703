#include "base/json_line.h"

#include <cstdio>

namespace tool {

void printLine(const Json &document) {
    const std::string text = document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace tool
