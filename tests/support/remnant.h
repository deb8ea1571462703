// Tails of variable-length records: the nodes that hold them, and how they are put together again.
#ifndef TESTS_SUPPORT_REMNANT_H
#define TESTS_SUPPORT_REMNANT_H

#include "bytes.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

class FileReader;

constexpr int kRemnantStart = 23;    // first data byte of a node
constexpr int kRemnantRoom = 998;    // bytes for pieces and their slots
constexpr int kRemnantSlotSize = 4;  // of these, what a slot takes
constexpr int kLargestPiece = kRemnantRoom - kRemnantSlotSize;

struct PieceSlot {
    int length = 0;
    int offset = 0;  // 0: a free slot

    bool used() const { return offset != 0; }
};

struct RemnantNode {
    Bytes bytes;
    std::uint32_t older = 0;  // neighbours in the bucket
    std::uint32_t newer = 0;
    int freeBytes = 0;
    int dataEnd = 0;
    int nextSlot = 0;  // where the piece goes on, when it does
    std::uint32_t nextNode = 0;
    int goesOn = 0;
    int bucket = 0;
    std::vector<PieceSlot> slots;
    std::string problem;  // why the rest was not read, empty when all is well

    int usedSlots() const;
};

// What a slot of the data file says about its record's tail.
struct TailPointer {
    int length = 0;
    int slot = 0;
    std::uint32_t node = 0;

    bool none() const { return length == 0 && slot == 0 && node == 0; }
};

// Reads nodes, each of them once.
class RemnantReader {
  public:
    explicit RemnantReader(const FileReader &reader) : in_(reader) {}

    TailPointer pointer(const Bytes &slot) const;
    const RemnantNode &node(std::uint32_t number);
    const std::map<std::uint32_t, RemnantNode> &nodes() const { return nodes_; }

    struct Place {
        std::uint32_t node;
        std::size_t slot;
    };
    // Appends the pieces of a tail and the places they were found in. Returns what is wrong, nothing when all is well.
    std::string collect(const TailPointer &pointer, Bytes *tail, std::vector<Place> *places);

  private:
    RemnantNode read(std::uint32_t number) const;

    const FileReader &in_;
    std::map<std::uint32_t, RemnantNode> nodes_;
};

}  // namespace testing_support

#endif
