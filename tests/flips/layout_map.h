// What each byte of a sound file set is, and what the checks can make of a bit of it that has turned.
//
// The checks look at the leaves of the indexes, at the records, at the list of free record numbers and at the nodes of
// tails. They do not look at the list of free nodes, the audit settings, the bytes that are the application's, the
// fixed bytes of the header, and what is not in use; nor has a record a checksum: bytes outside all keys can be
// anything.
#pragma once

#include "flips/check_oracle.h"
#include "flips/set_reader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace flips {

enum class Region : std::uint8_t {
    // Never seen.
    Unused,         // behind used lengths, reserved, of free nodes
    HeaderFixed,    // fixed bytes, trailer and unknown flags: written and never judged
    HeaderCounter,  // count of indexes, change counter, unique id
    HeaderUser,     // bytes of the application
    NodeFreeHead,   // of the list of free nodes
    NodeFreeList,   // its nodes
    AuditSettings,  // their node, and its number
    SerialNumber,   // of an entry among equal keys
    ShareBit,       // of a flat node's entry
    BranchKey,      // of a flat node above the leaves
    RecordBytes,    // outside of all keys
    DeadRecord,     // all of a deleted record but its status
    RecordMask,
    TailBytes,   // of pieces
    TailMark,    // a tail node's last bytes
    NextUnused,  // the way on of a piece that goes no further
    DeadList,    // the list of free records that a precious file does not keep
    // Always seen.
    TreeMark,
    DescriptionMark,
    ListMark,  // and level, of the list of free records
    FreeRecord,
    Status,
    LeafKey,    // of a flat leaf
    RecordKey,  // of a record, in some key
    BucketZero,
    TailMagic,
    // Seen or not: it depends on what the damaged number means.
    HeaderShape,   // node size, serial width, record lengths, list heads, highest numbers, flags
    Description,   // of an index
    TreeShape,     // used length and level
    EntryShape,    // counts, and everything in a compressed node's entries but serials
    EntryPointer,  // record or child
    ListShape,     // used length and link of the list of free records
    BucketHead,
    TailShape,    // of a node with tails: its links, room, slots and places
    TailPointer,  // of a record
};
inline constexpr int kRegions = static_cast<int>(Region::TailPointer) + 1;

enum class Sight : std::uint8_t { Never, Always, Depends };
Sight sightOf(Region region);
const char *nameOf(Region region);

class LayoutMap {
  public:
    explicit LayoutMap(const FileSet &set);

    Region of(bool data, std::size_t offset, int bit) const;
    // What is wrong with the verdict on the file set with that bit turned, by what the bit belongs to; empty when
    // nothing is.
    std::string contradiction(bool data, std::size_t offset, int bit, const Verdict &verdict) const;

    const Verdict &sound() const { return sound_; }
    const std::vector<IndexSpec> &indexes() const { return indexes_; }
    // Has the record an entry in the index, counted from 0?
    bool entered(std::size_t index, std::uint32_t record) const { return entered_[index][record]; }
    // The record whose slot has the byte, 0 for a byte of the index file.
    std::uint32_t recordAt(bool data, std::size_t offset) const { return data ? bytes_[1][offset].number : 0; }

  private:
    struct Byte {
        Region region = Region::Unused;
        std::uint32_t number = 0;  // the index, or the record
        std::uint8_t never = 0;    // bits of it that are never seen, whatever the region
    };
    // Bits that a check must give, and such as it may give besides.
    struct Bits {
        int must = 0, may = 0;
        bool holds(int bits) const { return (bits & must) == must && (bits & ~(must | may)) == 0; }
    };
    std::string compare(const Verdict &verdict, Bits data, const std::vector<Bits> &indexes) const;
    Byte &index(std::size_t offset) { return bytes_[0][offset]; }
    void mark(std::size_t node, std::size_t offset, std::size_t length, Region region, std::uint32_t number = 0);
    void mapHeader();
    void mapDescriptions();
    void mapTree(std::uint32_t indexNumber, std::uint32_t node);
    void mapEntries(std::uint32_t indexNumber, std::uint32_t number);
    void mapFreeRecords();
    void mapFreeNodes();
    void mapAudit();
    void mapTailNode(std::uint32_t node);
    void mapTails();
    void mapRecords();
    bool countable(std::size_t index) const;

    FileSet set_;
    Verdict sound_;
    std::vector<IndexSpec> indexes_;
    std::vector<Byte> bytes_[2];              // of the index file, of the data file
    std::vector<std::vector<bool>> entered_;  // per index and record: has it an entry?
    std::vector<bool> mapped_;                // per node
};

}  // namespace flips
