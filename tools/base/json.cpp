#include "base/json.h"

#include <cstdio>

namespace tool {

void print(const Json &document) {
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

}  // namespace tool
