#include "flips/set_reader.h"

#include <algorithm>

namespace flips {

std::uint32_t SetReader::number(const std::uint8_t *from, int width) {
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value = value << 8 | from[i];
    return value;
}

std::uint32_t SetReader::number(const Bytes &bytes, std::size_t offset, int width) {
    return number(&bytes.at(offset + static_cast<std::size_t>(width) - 1) - (width - 1), width);
}

std::uint32_t SetReader::nodes() const {
    const auto inFile = static_cast<std::uint32_t>(set_.index.size()) / static_cast<std::uint32_t>(nodeSize());
    return std::min(inFile, lastNode());
}

const std::uint8_t *SetReader::node(std::uint32_t number) const {
    const auto size = static_cast<std::uint64_t>(nodeSize());
    if (number == 0 || number * size > set_.index.size()) return nullptr;
    return set_.index.data() + (number - 1) * size;
}

const std::uint8_t *SetReader::slot(std::uint32_t number) const {
    const auto length = static_cast<std::uint64_t>(slotLength());
    if (number == 0 || number * length > set_.data.size()) return nullptr;
    return set_.data.data() + (number - 1) * length;
}

bool SetReader::hasStatus(std::uint32_t number) const {
    const auto length = static_cast<std::uint64_t>(slotLength());
    return (number - 1) * length + static_cast<std::uint64_t>(recordLength()) < set_.data.size();
}

std::uint8_t SetReader::status(std::uint32_t number) const {
    const auto length = static_cast<std::uint64_t>(slotLength());
    return set_.data[(number - 1) * length + static_cast<std::uint64_t>(recordLength())];
}

namespace {

struct Decoder {
    const IndexSpec &spec;
    const int serialWidth;
    const std::uint8_t *const node;
    const int used;
    testing_support::Key key;

    // The entry at the offset; its end is 0 where its counts cannot be.
    NodeEntry at(int offset, bool keyless) {
        NodeEntry entry;
        entry.start = offset;
        entry.keyless = keyless;
        if (!keyless && !takeKey(offset, entry)) return entry;
        const int pointer = offset + entry.counts + entry.stored + serialWidth;
        entry.end = pointer + 4;
        if (entry.end <= used) {
            entry.pointer = SetReader::number(node + pointer, 4);
            entry.key = key;
        }
        return entry;
    }

    bool takeKey(int offset, NodeEntry &entry) {
        int trailing = 0;
        if (spec.leading()) entry.leading = static_cast<std::int8_t>(node[offset + entry.counts++]);
        if (spec.trailing()) trailing = static_cast<std::int8_t>(node[offset + entry.counts++]);
        entry.stored = spec.keyLength - entry.leading - trailing;
        if (entry.leading < 0 || trailing < 0 || entry.stored < 0) return false;
        const int from = offset + entry.counts;
        if (from + entry.stored > used) return true;
        std::copy_n(node + from, entry.stored, key.begin() + entry.leading);
        std::fill_n(key.end() - trailing, trailing, static_cast<char>(spec.fill()));
        return true;
    }
};

}  // namespace

NodeEntries entriesOf(const IndexSpec &spec, int serialWidth, const std::uint8_t *node) {
    NodeEntries out;
    const int used = static_cast<int>(SetReader::number(node, 2));
    Decoder decoder{spec, serialWidth, node, used,
                    testing_support::Key(static_cast<std::size_t>(spec.keyLength), '\0')};
    bool shared = false;
    for (int offset = layout::kTreeStart; offset < used;) {
        NodeEntry entry = decoder.at(offset, shared);
        if (entry.end == 0 || entry.end > used) return out;
        // In nodes without compression a share bit means nothing.
        shared = spec.compressed() && (entry.pointer & 0x80000000U) != 0;
        entry.pointer &= layout::kHighest;
        offset = entry.end;
        out.entries.push_back(std::move(entry));
    }
    out.sound = true;
    return out;
}

}  // namespace flips
