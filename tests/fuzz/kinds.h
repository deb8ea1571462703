// The sound file sets that an input starts from, made by the library itself once in a process.
#ifndef TESTS_FUZZ_KINDS_H
#define TESTS_FUZZ_KINDS_H

#include "isam.h"
#include "memory/files.h"

#include <vector>

namespace fuzz {

constexpr int kRowLength = 48;  // of the records of all kinds but those without records
constexpr int kMaxLength = 32511;

struct Kind {
    const char *name;
    int mode;                   // for building and opening, beyond the access
    std::vector<KeyDesc> keys;  // the first one at build, the others added
    int records = 60;
    int deletedEvery = 6;
    int extra = 0;  // of Extra

    bool pure() const;
    bool tails() const { return (mode & ISVARLEN) != 0; }
};

// What a kind has besides.
enum Extra { kPure = 1, kPrecious = 2, kAudited = 4, kLogged = 8, kLinked = 16, kLongTails = 32 };

const std::vector<Kind> &kinds();

// "m/a" and the smaller "m/b", each a file set of the kind; for kLogged also "m/log", with the files as they were when
// it was begun. The first call makes those of all kinds, which takes the disk for itself.
const memory_files::FileSet &filesOf(std::size_t kind);

// Writes record n of a kind into a buffer of size bytes, and returns its length.
int fillRecord(const Kind &kind, unsigned n, char *buffer, int size);

}  // namespace fuzz

#endif
