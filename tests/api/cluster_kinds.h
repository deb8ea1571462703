// What a file set holds, read from its bytes, for the calls that work on whole files.
#ifndef TESTS_API_CLUSTER_KINDS_H
#define TESTS_API_CLUSTER_KINDS_H

#include "check_kinds.h"

#include "../support/file_check.h"

#include <map>
#include <string>
#include <vector>

namespace api {

// All kinds, and some more: nine indexes of all flags, no unique index, indexes that a file has twice.
std::vector<Kind> wholeKinds();
std::vector<Kind> clusterKinds();  // those with records
Kind wholeKind(const std::string &name);
// The same opened in another way.
Kind with(Kind kind, int mode);

// The description of index 1.., or of record-number order for 0; the index that it finds, the last of several alike.
KeyDesc orderKey(const Kind &kind, int index);
int foundIndex(const Kind &kind, int index);
// Files of keys alone have no record numbers to go by.
inline int lowestOrder(const Kind &kind) { return kind.records ? 0 : 1; }

// A file set as its bytes tell of it.
struct Held {
    testing_support::FileHeader header;
    std::vector<testing_support::IndexSpec> indexes;
    testing_support::CheckReport report;
    std::map<long, std::string> records;  // by number: fixed part, mask, tail

    // Record numbers in the order of an index, then those that it leaves out; for 0 in their own order.
    std::vector<long> order(int index) const;
    // The records themselves in that order.
    std::vector<std::string> sequence(int index) const;
    // Per index its keys, in files without records with their numbers.
    std::vector<std::vector<std::string>> entries() const;
};
// The set must be sound. Descriptors of this process on the files lose their locks.
Held heldBy(const std::string &name);

// What a set into which another one was copied, empty before, has in common with it: the records, one behind the other
// in the order of an index of the source, and the entries of all indexes.
void expectCopy(const Held &from, int index, const Held &to);

// The library's own checks find nothing, and reading through every index and by number gives what the bytes say.
void expectWhole(int fd, const std::string &name);

class WholeTest : public CheckTest {
  protected:
    // Builds an empty set of a kind and leaves it open.
    int makeEmpty(const Kind &kind, const std::string &name = "file");
    // Clusters by an index, or by record number for 0, and returns the new descriptor.
    static int cluster(int fd, const Kind &kind, int index);
    static int copy(int to, int from, const Kind &kind, int index);
    int openNamed(const std::string &name, int mode = ISINOUT) const { return isopen(path(name).c_str(), mode); }

    // The temporary name that a set beside the test's files gets, and whether one of its files is there.
    std::string temporary() const { return path(temporaryName()); }
    static std::string temporaryName();
    bool temporaryThere() const { return exists(temporary() + ".idx") || exists(temporary() + ".dat"); }
};

class WholeKindTest : public WholeTest, public ::testing::WithParamInterface<Kind> {
  protected:
    const Kind &kind() const { return GetParam(); }
};

// Files of a directory, sorted.
std::vector<std::string> namesIn(const std::string &directory);

}  // namespace api

#endif
