// Files for tests of whole files: every kind, with a history that leaves gaps and mixes the order among equal keys.
#ifndef TESTS_TOOLS_SAMPLE_H
#define TESTS_TOOLS_SAMPLE_H

#include <isam.h>
#include <string>
#include <vector>

namespace tool_tests {

struct Kind {
    const char *name;
    int minimum;   // record length; 0: keys without records
    int maximum;   // 0: fixed length
    int mode;      // ISCOMPRESS, ISMASK
    bool primary;  // else built in record-number order
    std::vector<KeyDesc> keys;
};

KeyDesc keyOf(unsigned flags, const std::vector<KeyPart> &parts);

// One of every kind.
std::vector<Kind> allKinds();

// An empty file of the kind, open alone.
int buildKind(const std::string &name, const Kind &kind);

// Writes, rewrites and deletes records of few different keys.
void work(int fd, const Kind &kind, unsigned seed, int steps);

// The kind's file after some work.
void makeSample(const std::string &name, const Kind &kind, unsigned seed, int steps);

}  // namespace tool_tests

#endif
