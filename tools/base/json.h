// JSON as the commands print it: members in the order in which they were put in.
#pragma once

#include <nlohmann/json.hpp>

namespace tool {

using Json = nlohmann::ordered_json;

// Prints a document and a line's end on standard output; bytes that are no UTF-8 come out as U+FFFD.
void print(const Json &document);

}  // namespace tool
