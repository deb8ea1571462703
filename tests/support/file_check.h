// Checks that the bytes of a file set fit together: every node accounted for once, every tree in order,
// every slot and every key in its place.
#ifndef TESTS_SUPPORT_FILE_CHECK_H
#define TESTS_SUPPORT_FILE_CHECK_H

#include "audit_reader.h"
#include "file_reader.h"
#include "tail_check.h"

#include <string>
#include <vector>

namespace testing_support {

struct CheckOptions {
    // Compare index entries with the keys of the records. Not for files whose masks no longer tell which
    // index holds a record.
    bool membership = true;
    // Serials of equal keys must rise along the leaves and stay within what the branches above say.
    bool serials = true;
};

struct CheckReport {
    std::vector<std::string> problems;
    std::vector<std::vector<TreeEntry>> leaves;  // per index, all leaf entries from left to right
    std::vector<Bytes> storedTails;              // per record, record n at [n - 1]: its tail as the file has it,
    std::vector<Bytes> tails;                    // and as it is read; both empty in files without tails
    std::vector<std::uint32_t> freeRecords;      // free record numbers, the one that is used next first
    AuditSettings audit;                         // when the header names a node for them
    TailCounts tailCounts;
    long remnantNodes = 0;
    int levels = 0;  // levels of the highest tree
    long nodes = 0;  // tree nodes of all indexes

    bool clean() const { return problems.empty(); }
    // The problems, one per line, at most twenty of them.
    std::string text() const;
};

// Reads everything anew through the reader.
CheckReport checkFiles(FileReader &reader, const CheckOptions &options = {});

// The same for the files at a base path, with a reader of its own.
CheckReport checkFiles(const std::string &base, const CheckOptions &options = {});

}  // namespace testing_support

#endif
