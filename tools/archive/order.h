// In which order the records of a file are to be written so that equal keys of every index stand in the order that they
// have now.
//
// Among equal keys of an index that allows duplicates, a new one comes last. Writing in record-number order restores
// the order where no number has been used twice and no key rewritten. Else
//
//   (1) the records are written in an order that puts each behind those that stand before it among their equals in any
//       such index. Without rewritten keys there is one: that in which they were written at first;
//   (2) rewriting keys can make a circle of that: before another one in one index, behind it in another. Indexes that
//       would close a circle are left out of (1), and get their order afterwards: the entries that are not where they
//       belong are moved behind their equals, one after the other;
//   (3) the last indexes of the file, as far as their order is that of the record numbers, are added when all that is
//       done: so they come out, and faster.
//
// An entry is moved by rewriting its record twice, in a file with masks so that its mask keeps it out of the index in
// between, else with another key. A byte of the key that no other index with duplicates covers has to be there for
// that.
#pragma once

#include "base/open_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// How an index gets its entries.
enum class Filling : std::uint8_t {
    kWritten = 0,  // with the records
    kAdded = 1,    // all at once behind them
};

struct Move {
    int index;  // from 0
    std::uint32_t number;
};

struct WritingOrder {
    std::vector<Filling> fillings;  // of each index; kAdded from some index on
    bool byNumber = true;           // else
    std::vector<std::uint32_t> numbers;
    std::vector<Move> moves;
    std::vector<std::string> notes;  // what is not going to be the same
};

// Of a file with records. Throws Failure where it cannot be read or its indexes do not have its records.
WritingOrder findWritingOrder(const OpenFile &file, const std::vector<KeyDesc> &keys);

// Offsets in the record of the bytes of a key of which none of the others has any: rewriting one of them moves an entry
// in that index alone. others: may have the key itself among them.
std::vector<int> ownBytes(const KeyDesc &key, const std::vector<KeyDesc> &others);

}  // namespace tool
