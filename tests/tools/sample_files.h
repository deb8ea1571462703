// Files of every kind to look into, to damage and to mend; and what is in them.
#ifndef TESTS_TOOLS_SAMPLE_FILES_H
#define TESTS_TOOLS_SAMPLE_FILES_H

#include <map>
#include <string>
#include <vector>

namespace tool_tests {

// "fixed", "variable", "compressed", "masks", "heap" (no primary key) and "keys" (no records).
const std::vector<std::string> &sampleKinds();

// Builds the file set `kind` in the current directory: records numbered from 1, every fortieth of them deleted, three
// indexes (a unique number, a compressed text with duplicates, two parts with duplicates), user area "hello", next
// unique id 77.
void buildSample(const std::string &kind, int records);

// A layout of it.
std::string sampleLayout(const std::string &kind);

// Bytes from the beginning of a slot of the data file to the next, and of its record's fixed part.
int sampleSlot(const std::string &kind);
constexpr int kSampleRecord = 30;

// Records by their numbers, each with its mask behind it; keys with their record numbers where there are no records.
// A set that does not open, or a record that cannot be read, fails the test.
std::map<long, std::string> contentsOf(const std::string &name);

// How many records each index leads to.
std::vector<long> countsOf(const std::string &name);

}  // namespace tool_tests

#endif
