// The records and keys of the scenarios: keys as long as they may be, so that a few records fill a node.
#pragma once

#include "world.h"

#include "support/key_desc.h"

#include <string>

namespace fault_testing {

using testing_support::keyDesc;

// A record: ident (4), text (100, another one for each number, sorts by it), group (100, one of few), note (2).
inline constexpr int kTextAt = 4, kGroupAt = 104, kWide = 100, kNoteAt = 204, kRecord = 206;

inline KeyDesc identKey(int flags = ISNODUPS) { return keyDesc(flags, {{0, 4, LONGTYPE}}); }
inline KeyDesc textKey(int flags = ISNODUPS) { return keyDesc(flags, {{kTextAt, kWide}}); }
inline KeyDesc groupKey(int flags = ISDUPS) { return keyDesc(flags, {{kGroupAt, kWide}}); }
inline constexpr int kCompressed = ISLEADCOMP | ISTRAILCOMP;

std::string text(int number);
std::string group(int number);
// The record with this ident: text(number), group(number % 4), no note.
std::string record(int ident, int number);
inline std::string record(int ident) { return record(ident, ident); }
// With a tail of so many bytes behind the text, group left out.
std::string tailed(int ident, std::size_t tail, bool runs = false);
inline constexpr int kFixedPart = kTextAt + kWide, kLongest = 6000;

inline Shape fixedShape(const KeyDesc &key, int flags = 0) { return {kRecord, 0, ISINOUT | flags, key}; }
inline Shape tailedShape(const KeyDesc &key, int flags = 0) {
    return {kFixedPart, kLongest, ISINOUT | ISVARLEN | flags, key};
}

// Makes a file of this shape with further indexes, writes the records first, first + step .. below end, and closes it.
void makeFile(World &world, const std::string &file, const Shape &shape, const std::vector<KeyDesc> &indexes, int first,
              int end, int step = 1);

inline constexpr int kManual = ISINOUT | ISLOCKMANUAL;

// Two reads: the handle works.
void readSome(World &world, int fd);

// Opens the file, works on it, reads, closes it.
template <typename Work> void inFile(World &world, Work &&work, int mode = kManual, const std::string &file = "file") {
    const int fd = world.open(file, mode);
    work(fd);
    readSome(world, fd);
    world.close(fd);
}

}  // namespace fault_testing
