// A stream of JSON documents, one a line, for whoever reads while they come.
#pragma once

#include "base/json.h"

namespace tool {

// Prints the document on one line; bytes that are no UTF-8 come out as U+FFFD.
void printLine(const Json &document);

}  // namespace tool
