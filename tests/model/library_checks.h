// The library's own checks of a sound file set, against what the structural check has counted.
#ifndef TESTS_MODEL_LIBRARY_CHECKS_H
#define TESTS_MODEL_LIBRARY_CHECKS_H

#include "support/file_check.h"
#include "support/file_reader.h"

#include <string>

namespace model {

// Runs the checks through a descriptor. report is that of a structural check just made through the reader. Returns what
// is wrong with their results, or with the globals afterwards, nothing when all is well.
std::string compareChecks(int fd, const testing_support::FileReader &reader,
                          const testing_support::CheckReport &report);

}  // namespace model

#endif
