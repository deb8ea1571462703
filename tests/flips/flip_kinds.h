// Small file sets of every kind, made by the library in memory.
#pragma once

#include "isam.h"
#include "support/bytes.h"

#include <string>
#include <vector>

namespace flips {

using testing_support::Bytes;

inline constexpr const char *kBase = "/set/file";
inline constexpr const char *kIndexPath = "/set/file.idx";
inline constexpr const char *kDataPath = "/set/file.dat";

// What a file set is made of.
struct FlipKind {
    const char *name;
    int length;                 // of a record, or of its fixed part; 0: keys alone
    int maximum;                // of a record with a tail, else 0
    int mode;                   // ISVARLEN, ISCOMPRESS, ISMASK
    std::vector<KeyDesc> keys;  // the first one at build, the others added
    int records;                // written, 1 to that number
    bool deletes = false;       // some of them deleted again
    bool precious = false;
    bool freeNodes = false;  // an index has been dropped
    bool extras = false;     // audit settings, unique id, bytes of the application

    bool tails() const { return (mode & ISVARLEN) != 0; }
    bool masked() const { return (mode & ISMASK) != 0; }
    int indexes() const;
};

const std::vector<FlipKind> &flipKinds();
const FlipKind *kindNamed(const std::string &name);

// The bytes of a file set.
struct FileSet {
    Bytes index, data;
    bool hasData = false;
};

// Record number n of a kind, its tail included, good until the next one is made; length receives its length. There is
// room behind it for any record that a damaged header may promise.
char *recordOf(const FlipKind &kind, int n, int *length);
// Its mask.
long maskOf(const FlipKind &kind, int n);

// Builds the file set. Ends the process where a call fails.
FileSet makeSet(const FlipKind &kind);
// Puts it into the memory files, and nothing else.
void install(const FileSet &set);

}  // namespace flips
