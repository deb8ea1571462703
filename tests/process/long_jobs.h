// Variable-length records too long for a job: they are made and judged inside the worker.
#ifndef TESTS_PROCESS_LONG_JOBS_H
#define TESTS_PROCESS_LONG_JOBS_H

#include "jobs.h"

#include "support/key_desc.h"

#include <string>

namespace process_testing {

constexpr int kLongMinimum = 16;
constexpr int kLongMaximum = 5000;

// The record of a key with so many bytes, on which all of its tail depends. It ends in a run of blanks: coding would
// lose some tails that do not.
std::string longRecord(int key, int length);
int longKey(const char *record);

inline const KeyDesc kByLongKey = testing_support::keyDesc(ISNODUPS, {{0, 8}});
inline const KeyDesc kByLongGroup = testing_support::keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP, {{7, 1}});  // last digit

namespace jobs {

// Builds the file with both indexes; compressed tails if so wanted.
Job buildLong(const std::string &name, bool compressed);
Job openLong(const std::string &name, int mode);

Job writeLong(int fd, int key, int length);
Job rewriteLong(int fd, int key, int length);
Job removeLong(int fd, int key);

// Reads a record by its key. It has to be the one of that length, else the result is -3.
Job readLong(int fd, int key, int length);

// Reads all records in the order of the keys; each has to be one that longRecord makes, else the result is -3. number
// becomes how many there are, other the sum of their lengths.
Job readAllLong(int fd);

}  // namespace jobs

}  // namespace process_testing

#endif
