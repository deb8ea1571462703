#include "index/entries.h"

#include "storage/node_layout.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

constexpr unsigned kCompressed = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;
constexpr std::uint32_t kShareBit = 0x80000000U;
constexpr int kMostCount = 127;
constexpr int kPointerSize = 4;
constexpr int kMostLevel = 63;

}  // namespace

EntryReader::EntryReader(ConstBytes node, const KeyDesc &key, int serial_width)
    : node_(node), key_length_(key.keyLength), serial_width_(serial_width), flags_(key.flags) {
    const int size = static_cast<int>(node.size());
    used_ = node::used(node.data());
    level_ = node::level(node.data(), size);
    at_ = node::kTreeStart;
    if (node::mark(node.data(), size) != node::kTreeMark || level_ > kMostLevel) {
        fail("it is no tree node");
    } else if (used_ < node::kTreeStart || used_ > size - node::kTrailerSize) {
        fail("its used length is wrong");
    } else if (key_length_ < 0 || key_length_ > ISMAXKEYLEN) {
        fail("the index's key is too long");
    }
}

bool EntryReader::fail(const char *problem) {
    problem_ = problem;
    return false;
}

bool EntryReader::readKey() {
    int leading = 0, trailing = 0;
    if ((flags_ & kCompressed) != 0) {
        const int counts = ((flags_ & ISLEADCOMP) != 0 ? 1 : 0) + ((flags_ & ISTRAILCOMP) != 0 ? 1 : 0);
        if (at_ + counts > used_) return fail("an entry runs over its end");
        if ((flags_ & ISLEADCOMP) != 0) leading = node_[static_cast<std::size_t>(at_++)];
        if ((flags_ & ISTRAILCOMP) != 0) trailing = node_[static_cast<std::size_t>(at_++)];
        if (leading > kMostCount || trailing > kMostCount || leading + trailing > key_length_ ||
            (first_ && leading != 0))
            return fail("an entry leaves out more bytes than its key has");
    }
    const int stored = key_length_ - leading - trailing;
    if (at_ + stored > used_) return fail("an entry runs over its end");
    std::copy_n(node_.begin() + at_, stored, key_.begin() + leading);
    std::fill_n(key_.begin() + leading + stored, trailing, (flags_ & ISTRAILNUL) != 0 ? 0 : ' ');
    at_ += stored;
    return true;
}

bool EntryReader::next(KeyEntry &entry) {
    if (problem_ != nullptr || at_ >= used_) return false;
    if (!repeats_ && !readKey()) return false;
    if (at_ + serial_width_ + kPointerSize > used_) return fail("an entry runs over its end");
    const std::uint8_t *p = &node_[static_cast<std::size_t>(at_)];
    const std::uint32_t pointer = ld_long(p + serial_width_);
    repeats_ = (pointer & kShareBit) != 0;
    if (repeats_ && (flags_ & ISDUPCOMP) == 0) return fail("a pointer is too high");
    entry = {key_.data(), ldMint(p, serial_width_), pointer & ~kShareBit};
    at_ += serial_width_ + kPointerSize;
    first_ = false;
    return true;
}

}  // namespace tool
