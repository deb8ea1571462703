// The bytes of a file, all at once.
#ifndef TESTS_MODEL_WHOLE_FILE_H
#define TESTS_MODEL_WHOLE_FILE_H

#include "support/bytes.h"

#include <string>

namespace model {

testing_support::Bytes slurp(const std::string &path);
void spill(const std::string &path, const testing_support::Bytes &bytes);

}  // namespace model

#endif
