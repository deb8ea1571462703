// A trace kept in a file, a call a line; behind '#' stands why it is made.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace trace {

// Compares with tests/trace/NAME.trace. With TRACE_RENEW set in the environment the file is written instead; lines that
// stay keep their comments.
testing::AssertionResult equalsStored(const std::string &name, const std::vector<std::string> &lines);

}  // namespace trace
