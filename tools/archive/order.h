// In which order the records of a file are to be written so that equal keys of every index stand in the order that they
// have now.
//
// Among equal keys of an index that allows duplicates, a new one comes last. Writing in record-number order restores
// the order where no number has been used twice and no key rewritten. Else
//
//   (1) the records are written in an order that puts each behind those that stand before it among their equals in any
//       such index;
//   (2) rewritten keys can make a circle of that: before another one in one index, behind it in another. Then some
//       entries are moved behind their equals, by rewriting their record twice: in a file with masks the mask keeps the
//       record out of the index in between, else it has another byte in its key. A byte moves the entries in all the
//       indexes that it is a part of;
//   (3) the last indexes of the file, as far as their order is that of the record numbers, are added when all that is
//       done: so they come out, and faster.
//
// The steps are found from the last to the first. A step may be the last of those not found yet if every entry that it
// puts at an end is the last there, or is put elsewhere by a later step. Taking such a step never stands in the way of
// another one: so all orders are found that can come of writing and rewriting.
#pragma once

#include "base/open_file.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tool {

// How an index gets its entries.
enum class Filling : std::uint8_t {
    kWritten = 0,  // with the records
    kAdded = 1,    // all at once behind them
};

// A set of indexes: bit i for index i, counted from 0.
using IndexSet = std::uint16_t;

struct Step {
    std::uint32_t number;
    IndexSet moved;  // the indexes in which the record's entry is moved; 0: the record is written
};

struct WritingOrder {
    std::vector<Filling> fillings;  // of each index; kAdded from some index on
    bool byNumber = true;           // else
    std::vector<Step> steps;
    std::vector<std::string> notes;  // what is not going to be the same
};

// Of a file with records. Throws Failure where it cannot be read or its indexes lead to records that are not there.
WritingOrder findWritingOrder(const OpenFile &file, const std::vector<KeyDesc> &keys);

// In a file without masks: the sets of indexes with duplicates in which entries can be moved, and the offsets in the
// record of the bytes that do it, those that are in no unique index first.
std::map<IndexSet, std::vector<int>> movableSets(const std::vector<KeyDesc> &keys,
                                                 const std::vector<Filling> &fillings);

}  // namespace tool
