#include "remnant.h"

#include "file_reader.h"

#include <algorithm>

namespace testing_support {

namespace {

constexpr std::uint32_t kMagic = 32294;

}  // namespace

int RemnantNode::usedSlots() const {
    return static_cast<int>(std::count_if(slots.begin(), slots.end(), [](const PieceSlot &s) { return s.used(); }));
}

TailPointer RemnantReader::pointer(const Bytes &slot) const {
    const std::uint8_t *at = slot.data() + in_.header().recordLength + 1;
    return {static_cast<int>(be16(at)), at[2], be24(at + 3)};
}

const RemnantNode &RemnantReader::node(std::uint32_t number) {
    auto found = nodes_.find(number);
    return found != nodes_.end() ? found->second : nodes_.emplace(number, read(number)).first->second;
}

RemnantNode RemnantReader::read(std::uint32_t number) const {
    RemnantNode out;
    if (number < 2 || number > in_.header().lastNode || !in_.node(number, &out.bytes)) {
        out.problem = "cannot be read";
        return out;
    }
    const std::uint8_t *p = out.bytes.data();
    std::size_t size = out.bytes.size();
    if (be16(p + 2) != kMagic) {
        out.problem = "magic number " + std::to_string(be16(p + 2));
        return out;
    }
    out.older = be32(p + 4);
    out.newer = be32(p + 8);
    out.freeBytes = static_cast<int>(be16(p + 12));
    out.dataEnd = static_cast<int>(be16(p + 14));
    out.nextSlot = p[16];
    out.nextNode = be24(p + 17);
    out.goesOn = p[20];
    int count = p[21];
    out.bucket = p[22];
    if (size < 64 || kRemnantStart + count * kRemnantSlotSize > static_cast<int>(size) - 3) {
        out.problem = std::to_string(count) + " slots";
        return out;
    }
    const std::uint8_t *top = p + size - 3;
    for (int i = 0; i < count; ++i) {
        const std::uint8_t *at = top - (i + 1) * kRemnantSlotSize;
        out.slots.push_back({static_cast<int>(be16(at)), static_cast<int>(be16(at + 2))});
    }
    return out;
}

std::string RemnantReader::collect(const TailPointer &pointer, Bytes *tail, std::vector<Place> *places) {
    auto wanted = tail->size() + static_cast<std::size_t>(pointer.length);
    std::uint32_t number = pointer.node;
    int slot = pointer.slot;
    // Every piece has at least one byte, so a chain cannot be longer than its tail.
    for (int pieces = 0; pieces < pointer.length; ++pieces) {
        const RemnantNode &at = node(number);
        std::string where = "node " + std::to_string(number) + " slot " + std::to_string(slot);
        if (!at.problem.empty()) return where + ": " + at.problem;
        if (slot >= static_cast<int>(at.slots.size())) return where + ": no such slot";
        const PieceSlot &piece = at.slots[static_cast<std::size_t>(slot)];
        if (!piece.used()) return where + ": free slot";
        if (piece.offset < kRemnantStart || piece.offset + piece.length > static_cast<int>(at.bytes.size()))
            return where + ": piece outside the node";
        auto from = at.bytes.begin() + piece.offset;
        tail->insert(tail->end(), from, from + piece.length);
        places->push_back({number, static_cast<std::size_t>(slot)});
        if (at.goesOn == 0) {
            if (tail->size() != wanted)
                return where + ": the pieces make " + std::to_string(tail->size()) + " bytes of " +
                       std::to_string(wanted);
            return "";
        }
        number = at.nextNode;
        slot = at.nextSlot;
    }
    return "the chain of " + std::to_string(pointer.length) + " bytes has no end";
}

}  // namespace testing_support
