// Compares what a file set holds with what the model holds.
#ifndef TESTS_MODEL_FILE_COMPARE_H
#define TESTS_MODEL_FILE_COMPARE_H

#include "file_model.h"

#include "support/file_check.h"
#include "support/file_reader.h"

#include <string>

namespace model {

// kOrder: entries of equal keys stand in the model's order. kSerials: and have its serials.
enum class Equals { kSet, kOrder, kSerials };

// report is that of a check just made through the reader. Returns the first difference, nothing when there is none.
std::string compareFile(const testing_support::FileReader &reader, const testing_support::CheckReport &report,
                        const FileModel &model, Equals equals);

// The structural check, the comparison in kOrder, and the library's own checks through a descriptor, or without them
// for -1. Returns what is wrong, nothing when all is well.
std::string compareSound(int fd, testing_support::FileReader *reader, const FileModel &model);

}  // namespace model

#endif
