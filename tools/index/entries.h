// The entries of a tree node, one after the other, whatever the node holds.
#pragma once

#include "index/shape.h"

#include <array>

namespace tool {

struct KeyEntry {
    const std::uint8_t *key = nullptr;  // keyLength bytes, good until the next entry
    std::uint64_t serial = 0;
    std::uint32_t pointer = 0;
};

class EntryReader {
  public:
    // Looks at the node as one of that index, where it is a tree node at all: see problem().
    EntryReader(ConstBytes node, const KeyDesc &key, int serial_width);

    int level() const { return level_; }
    int used() const { return used_; }
    // False behind the last entry, and where one cannot be read.
    bool next(KeyEntry &entry);
    // What is wrong with the node, null as long as nothing is.
    const char *problem() const { return problem_; }

  private:
    bool readKey();
    bool fail(const char *problem);

    ConstBytes node_;
    int key_length_;
    int serial_width_;
    unsigned flags_;
    int level_ = 0;
    int used_ = 0;
    int at_ = 0;
    bool first_ = true;
    bool repeats_ = false;  // the next entry has the key of the one before
    const char *problem_ = nullptr;
    std::array<std::uint8_t, ISMAXKEYLEN> key_{};
};

// ByteSpan that an entry takes where nothing is left out.
inline int wholeEntry(const KeyDesc &key, int serial_width) { return key.keyLength + serial_width + 4; }

// ByteSpan of a node that entries may take.
inline int entryRoom(int node_size) { return node_size - 5 - 2; }

}  // namespace tool
