// Logs made by the library, for the commands to read.
#ifndef TESTS_TOOLS_SAMPLE_LOG_H
#define TESTS_TOOLS_SAMPLE_LOG_H

#include <isam.h>
#include <string>

namespace tool_tests {

constexpr int kItemLength = 16;

// Unique key of four bytes from offset 0.
KeyDesc itemKey();
// A record of kItemLength bytes: the number and the text.
std::string item(long number, const std::string &text);

// Builds and opens a file for transactions, in the test's directory; fails the test otherwise.
int buildItems(const char *name, int mode = ISINOUT | ISTRANS | ISLOCKMANUAL);
void writeItem(int fd, long number, const std::string &text);
// Rewrites and deletes by the key.
void rewriteItem(int fd, long number, const std::string &text);
void deleteItem(int fd, long number);

// Writes a log that has each type of record once or more.
//   build and open of "all", addindex, delindex, setunique, uniqueid, a transaction with two writes, a rewrite and a
//   delete, one that is rolled back, close, rename to "new", erase; a build with variable-length records ("tails").
void makeFullLog(const char *log);

}  // namespace tool_tests

#endif
