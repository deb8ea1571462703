// The files that transactions work on: how they are made, and read as a whole.
#ifndef TESTS_PROCESS_TXN_FILES_H
#define TESTS_PROCESS_TXN_FILES_H

#include "support/key_desc.h"

#include "isam.h"

#include <string>
#include <vector>

namespace process_testing {

// A record: 8 digits of key, 4 digits of group, text from there on.
constexpr int kTxnFixed = 40;
constexpr int kTxnMinimum = 24;
constexpr int kTxnMaximum = 4096;

struct TxnFile {
    std::string base;
    int minimum = kTxnFixed;
    int maximum = 0;  // of variable-length records, else 0
    bool compressed = false;

    bool variable() const { return maximum != 0; }
    int room() const { return variable() ? maximum : minimum; }
    // With the flags given, to build it or to open it.
    int mode(int flags) const;
};

TxnFile fixedFile(const std::string &base);
TxnFile variableFile(const std::string &base);
TxnFile compressedFile(const std::string &base);

// The indexes, the unique one first.
std::vector<KeyDesc> txnKeys();

// Builds a file with all indexes, open for this process alone. Returns its descriptor, -1 when a call failed.
int buildTxnFile(const TxnFile &file);

// What a file holds: its indexes in words, its records in the order of their bytes, and the next unique id.
struct Contents {
    std::vector<std::string> indexes;
    std::vector<std::string> records;
    unsigned uniqueId = 1;
};

// In words, nothing where there is none.
std::string difference(const Contents &found, const Contents &expected);

// Reads a file through all its indexes and in record-number order. A test failure where they differ, where an index is
// not in order, or where the bytes of the files do not fit together.
Contents readContents(const std::string &base);

}  // namespace process_testing

#endif
