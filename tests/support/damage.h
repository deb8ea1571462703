// Damages a file set on purpose: writes single fields into its files, open or closed, by the layouts alone.
//
// It opens the files for itself and keeps them open until it goes: closing a descriptor of a file drops every
// lock the process has on it, so it should outlive the handles of its own process, or be used when no lock matters.
#ifndef TESTS_SUPPORT_DAMAGE_H
#define TESTS_SUPPORT_DAMAGE_H

#include "file_reader.h"
#include "remnant.h"

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

// Offsets of fields, for the calls below.
namespace field {
constexpr int kRecordLength = 13, kDescription = 15, kDataFree = 25, kIndexFree = 29, kLastRecord = 33, kLastNode = 37,
              kChangeCounter = 41, kBuckets = 61;  // of the header
constexpr int kUsed = 0, kLink = 2, kNumbers = 6;  // of lists of free numbers
constexpr int kMark = 1021, kLevel = 1022;         // of every node but remnant nodes
constexpr int kMagic = 2, kOlder = 4, kNewer = 8, kFreeBytes = 12, kDataEnd = 14, kNextSlot = 16, kNextNode = 17,
              kGoesOn = 20, kSlots = 21, kBucket = 22;  // of remnant nodes
constexpr int kFirstPieceLength = 1017, kFirstPieceOffset = 1019;
}  // namespace field

// A list of free numbers: its nodes from the head on, and the numbers in them, node by node.
struct FreeList {
    std::vector<std::uint32_t> nodes;
    std::vector<std::uint32_t> numbers;
};

class Damage {
  public:
    explicit Damage(const std::string &base);
    ~Damage();
    Damage(const Damage &) = delete;
    Damage &operator=(const Damage &) = delete;

    // The files as they are now. Damaged beforehand, they may not give all.
    FileReader &files();
    const IndexSpec &index(int number) { return files().indexes().at(static_cast<std::size_t>(number - 1)); }

    // Numbers of a width in bytes, most significant byte first.
    void header(int offset, std::uint32_t value, int width = 4) { node(1, offset, value, width); }
    void node(std::uint32_t number, int offset, std::uint32_t value, int width);
    void slot(std::uint32_t recnum, int offset, std::uint32_t value, int width = 1);
    std::uint32_t nodeValue(std::uint32_t number, int offset, int width);
    std::uint32_t slotValue(std::uint32_t recnum, int offset, int width = 1);
    void blankNode(std::uint32_t number);
    // The byte behind the record, and the fields of the tail's pointer behind that.
    void status(std::uint32_t recnum, std::uint32_t value) { slot(recnum, recordLength(), value); }
    void tailLength(std::uint32_t recnum, std::uint32_t value) { slot(recnum, recordLength() + 1, value, 2); }
    void tailSlot(std::uint32_t recnum, std::uint32_t value) { slot(recnum, recordLength() + 3, value, 1); }
    void tailNode(std::uint32_t recnum, std::uint32_t value) { slot(recnum, recordLength() + 4, value, 3); }
    TailPointer tail(std::uint32_t recnum);
    bool live(std::uint32_t recnum) { return slotValue(recnum, recordLength()) == 0x0a; }

    // Of an index, counted from 1: its nodes, parents before children, left before right; those of level 0 alone.
    std::vector<std::uint32_t> tree(int number);
    std::vector<std::uint32_t> leaves(int number);
    std::vector<TreeEntry> entries(int number, std::uint32_t node);
    // Stores these entries in a node, as it would hold them; first whether they fit.
    bool fit(int number, const std::vector<TreeEntry> &entries);
    void store(int number, std::uint32_t node, const std::vector<TreeEntry> &entries);
    // Gives entry i of a node another pointer; nothing else in the node changes.
    void pointTo(int number, std::uint32_t node, std::size_t i, std::uint32_t pointer);
    // The leaf that holds a record's entry.
    std::uint32_t leafOf(int number, std::uint32_t recnum);

    FreeList freeList(bool ofRecords);
    void storeFreeNode(std::uint32_t node, std::uint32_t link, const std::vector<std::uint32_t> &numbers);

    // The nodes that hold records' tails.
    std::vector<std::uint32_t> remnantNodes();

    void cutIndex(std::int64_t size);
    void cutData(std::int64_t size);
    std::int64_t indexSize() { return files().indexFileSize(); }
    std::int64_t dataSize() { return files().dataFileSize(); }

    // The bytes of both files, and back.
    struct Contents {
        Bytes index, data;
        bool operator==(const Contents &other) const { return index == other.index && data == other.data; }
    };
    Contents contents() const;
    void restore(const Contents &contents);
    // A byte of the index file, counted from its beginning, or of the data file.
    void indexByte(std::int64_t offset, std::uint8_t value);
    void dataByte(std::int64_t offset, std::uint8_t value);

  private:
    int recordLength() { return files().header().recordLength; }
    void collect(const IndexSpec &spec, std::uint32_t number, int depth, bool leavesOnly,
                 std::vector<std::uint32_t> *out);

    FileReader reader_;
    int indexFd_ = -1;
    int dataFd_ = -1;
};

}  // namespace testing_support

#endif
