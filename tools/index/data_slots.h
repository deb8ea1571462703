// The slots of a data file, one after the other.
#pragma once

#include "index/shape.h"

#include <optional>
#include <vector>

namespace tool {

constexpr std::uint8_t kSlotPresent = 0x0a;
constexpr std::uint8_t kSlotDeleted = 0x00;

class DataSlots {
  public:
    DataSlots(const FileView &view, const IndexHeader &header);

    // Whole slots in the file.
    std::uint64_t count() const { return count_; }
    // ByteSpan behind the last of them.
    std::uint64_t bytesBehind() const { return bytes_behind_; }
    // The bytes of slot number 1.., good until the next call; empty where the file has none.
    ConstBytes read(std::uint64_t number);

    std::uint8_t status(ConstBytes slot) const { return slot[static_cast<std::size_t>(record_length_)]; }

  private:
    const FileView &view_;
    int record_length_;
    std::size_t length_;
    std::uint64_t count_ = 0;
    std::uint64_t bytes_behind_ = 0;
    std::vector<std::uint8_t> chunk_;
    std::uint64_t first_ = 0;  // number of the first slot in the chunk
    std::uint64_t held_ = 0;   // slots in it
};

// The mask that a slot carries, 0 in files without masks.
std::uint32_t slotMask(ConstBytes slot, const IndexHeader &header);

// A record's tail as it is stored, followed from piece to piece; empty where that does not make the length that the
// slot gives. A slot without tail gives an empty tail.
std::optional<std::vector<std::uint8_t>> readTail(const FileView &view, const Shape &shape, ConstBytes slot);

// The key that a record gives in an index.
std::vector<std::uint8_t> keyOfRecord(const KeyDesc &key, ConstBytes record);

}  // namespace tool
