// The binary form of a file set, for dump and load: everything that the calls tell of a file, and nothing of how its
// bytes lie on the disk.
//
//   size  meaning
//      8  89 69 73 61 6d 0d 0a 1a
//      2  version of the form, 1
//      2  kind: 1 variable-length records, 2 compressed tails, 4 masks, 8 built in record-number order, 16 precious,
//         32 an audit trail is named, 64 auditing is on
//      2  record length, of variable-length records the minimum; 0 for keys without records
//      2  maximum record length, the same for fixed-length records
//      4  highest record number
//      4  highest number of a record
//      4  how many records or keys follow, about
//      4  next unique id
//     10  the application's bytes
//    1,*  length and bytes of the audit trail's name
//      1  number of indexes, then for each
//             2  flags
//             1  parts, then for each 2 start, 2 length, 2 type as in keypart
//             1  0 it takes the records as they are written, 1 it is added when they are all there
//      *  entries, each with a letter before it
//         'R' a record: 4 number, 2 length, 4 mask where the file has masks, then the record
//         'K' a key of a file without records: 4 number, then the key's parts as they lie in a record
//         'M' a move: 2 the indexes, bit 0 the first, 4 record number
//         'E' the end: 8 number of the entries before it
//     32  SHA-256 of all bytes before
//
// Numbers stand most significant byte first. Records stand in the order in which they are to be written, keys in that
// of the index; moves follow the records and put an entry behind its equals in the index. See order.h for both.
//
// What comes back: records with their numbers, lengths and masks; the indexes with their flags, and the order among
// equal keys; the numbers that are free; settings. What does not: the order in which free numbers will be taken, which
// begins with the lowest; whatever a check finds in the file.
#pragma once

#include "base/open_file.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace tool {

// Writes an archive of the file. Throws Failure, also where somebody changed the file meanwhile.
// Returns what will not come back, in words: an index of a file without masks that was added later, on bytes that
// are those of another index, and whose order among equal keys no writing and rewriting gives; an index that has other
// records than their masks say.
std::vector<std::string> writeArchive(const OpenFile &file, std::ostream &out);

// Makes the file set `name` of an archive. Throws Failure, and leaves nothing behind, where a file has the name or the
// archive is damaged. Returns what has not come back, as above.
std::vector<std::string> readArchive(std::istream &in, const std::string &name);

}  // namespace tool
