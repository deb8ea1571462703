// The records of a damaged set, slot by slot.
#pragma once

#include "index/data_slots.h"
#include "index/entries.h"

#include <functional>
#include <vector>

namespace tool {

struct OldRecord {
    enum Kind { kRecord, kDeleted, kUnsure };
    std::uint64_t number = 0;
    Kind kind = kDeleted;
    std::vector<std::uint8_t> bytes;  // fixed part and tail, as a program reads them
    std::uint32_t mask = 0;
};

class OldRecords {
  public:
    // longest_known: the header's longest record and the tails' compression are true; else the tails tell.
    OldRecords(const FileView &view, const Shape &shape, bool longest_known);

    // Slots, one that is cut off included.
    std::uint64_t slots() const { return slots_; }
    // The shape's header, the longest record's length and compression found out where they were not known.
    const IndexHeader &header() const { return shape_.header; }
    bool next(OldRecord &record);

    std::uint64_t tailsLost() const { return tails_lost_; }
    std::uint64_t statusMended() const { return status_mended_; }
    std::uint64_t slotsMissing() const { return slots_missing_; }

  private:
    void findUnclear();
    void findTails();
    ConstBytes slot(std::uint64_t number);
    bool addTail(ConstBytes slot, std::vector<std::uint8_t> &bytes) const;

    const FileView &view_;
    Shape shape_;
    DataSlots data_;
    std::uint64_t slots_;
    std::uint64_t number_ = 0;
    std::vector<std::uint8_t> cut_;       // the slot that the file's end has cut off, filled up
    std::vector<std::uint64_t> unclear_;  // slots whose status is none
    std::vector<bool> confirmed_;         // of these: an index leads to it by its key
    std::uint64_t tails_lost_ = 0;
    std::uint64_t status_mended_ = 0;
    std::uint64_t slots_missing_ = 0;
};

// Calls visit for the entries of all leaves of a file without records: those of the trees and those of nodes that
// nobody has, where they can only be leaves.
void forOldKeys(const FileView &view, const Shape &shape,
                const std::function<void(const KeyDesc &, const KeyEntry &)> &visit);

}  // namespace tool
