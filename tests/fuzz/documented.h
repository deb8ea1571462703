// The errors that the manual allows.
#ifndef TESTS_FUZZ_DOCUMENTED_H
#define TESTS_FUZZ_DOCUMENTED_H

#include <string>

namespace fuzz {

// May the call fail with the error? Of the system's errors those count that it names; any other one must come from a
// system call.
bool isDocumented(const std::string &call, int error);

// Is it a fatal stop that a damaged file may lead to?
bool isNamedStop(const std::string &message);

}  // namespace fuzz

#endif
