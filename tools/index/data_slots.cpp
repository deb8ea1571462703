#include "index/data_slots.h"

#include "storage/remnant_layout.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t kChunk = std::size_t{256} * 1024;

// Offset and length of the piece in a slot of a tails' node.
std::optional<ConstBytes> piece(const std::vector<std::uint8_t> &node, int slot) {
    const int size = static_cast<int>(node.size());
    if (size < remnant::kMinNodeSize || node[node.size() - remnant::kMarkBack] != remnant::kMark ||
        ld_int(&node[remnant::kMagicOffset]) != remnant::kMagic || slot >= remnant::slots(node.data()))
        return std::nullopt;
    if (remnant::slots(node.data()) * remnant::kSlotSize > size - remnant::kMarkBack - remnant::kDataStart)
        return std::nullopt;
    const std::uint8_t *at = remnant::slotAt(node.data(), size, slot);
    const int offset = remnant::pieceOffset(at), length = remnant::pieceLength(at);
    if (length == 0 || offset < remnant::kDataStart || offset + length > remnant::dataEnd(node.data()) ||
        remnant::dataEnd(node.data()) > size)
        return std::nullopt;
    return ConstBytes(node).subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
}

}  // namespace

DataSlots::DataSlots(const FileView &view, const IndexHeader &header)
    : view_(view), record_length_(header.recordLength), length_(static_cast<std::size_t>(header.slotLength())),
      count_(view.dataSize() / length_), bytes_behind_(view.dataSize() % length_) {}

ConstBytes DataSlots::read(std::uint64_t number) {
    if (number == 0 || number > count_) return {};
    if (number < first_ || number >= first_ + held_) {
        held_ = std::min<std::uint64_t>(std::max<std::uint64_t>(1, kChunk / length_), count_ - number + 1);
        chunk_.resize(static_cast<std::size_t>(held_) * length_);
        first_ = number;
        if (!view_.readData((number - 1) * length_, chunk_)) {
            held_ = 0;
            return {};
        }
    }
    return ConstBytes(chunk_).subspan(static_cast<std::size_t>(number - first_) * length_, length_);
}

std::uint32_t slotMask(ConstBytes slot, const IndexHeader &header) {
    return header.masks() ? ld_long(slot.last(4).data()) : 0;
}

std::optional<std::vector<std::uint8_t>> readTail(const FileView &view, const Shape &shape, ConstBytes slot) {
    const std::uint8_t *pointer = &slot[static_cast<std::size_t>(shape.header.recordLength) + 1];
    const std::size_t length = ld_int(pointer);
    std::vector<std::uint8_t> tail, node;
    remnant::Place at = remnant::place(pointer + 2);
    for (int pieces = 0; tail.size() < length; ++pieces) {
        if (pieces > remnant::kMaxPieces || at.node <= 1 || !shape.readNode(view, at.node, node)) return std::nullopt;
        const auto bytes = piece(node, at.slot);
        if (!bytes) return std::nullopt;
        tail.insert(tail.end(), bytes->begin(), bytes->end());
        if (!remnant::goesOn(node.data())) break;
        at = remnant::onward(node.data());
    }
    if (tail.size() != length) return std::nullopt;
    return tail;
}

std::vector<std::uint8_t> keyOfRecord(const KeyDesc &key, ConstBytes record) {
    std::vector<std::uint8_t> out;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const auto start = static_cast<std::size_t>(part.start), length = static_cast<std::size_t>(part.length);
        if (start + length > record.size()) return {};
        const auto bytes = record.subspan(start, length);
        auto end = bytes.end();
        if ((part.type & 0x3fU) == STRINGTYPE) end = std::find(bytes.begin(), bytes.end(), 0);
        out.insert(out.end(), bytes.begin(), end);
        out.insert(out.end(), static_cast<std::size_t>(bytes.end() - end), 0);
    }
    return out;
}

}  // namespace tool
