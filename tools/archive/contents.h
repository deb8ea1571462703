// Hashes of what a file holds, whatever the order in which it lies on the disk.
//
// The hash of a record is the SHA-256 of its length (4 bytes, most significant first), its mask (4, 0 in files without
// masks) and its bytes; that of a key of a file without records the SHA-256 of its record number (4), four NULs, and
// the bytes of the key as the index has it. They are added as 256-bit numbers, most significant byte first, whatever
// goes beyond 256 bits left out. `records` is the SHA-256 of
//
//     "isam records 1" and a NUL, how many there are (8 bytes), the sum (32 bytes)
//
// `file` takes in of what kind the file is and what indexes it has. It is the SHA-256 of
//
//     "isam file 1" and a NUL
//     1 byte: 1 for variable-length records, + 2 for compressed tails, + 4 for masks, + 8 built in record-number order
//     2 record length, of variable-length records the minimum; 2 maximum, the same for fixed-length records
//     1 number of indexes; for each 2 flags, 1 parts, for each of these 2 start, 2 length, 2 type as in keypart
//     32 `records`
#pragma once

#include "base/open_file.h"
#include "base/sha256.h"

#include <cstdint>

namespace tool {

struct Contents {
    std::uint64_t count = 0;  // records, or keys of a file without them
    Digest records = {};
    Digest file = {};
};

// Reads the whole file. Throws Failure, also where somebody changed it meanwhile.
Contents hashContents(const OpenFile &file);

}  // namespace tool
