#include "tail_check.h"

#include "file_reader.h"

#include <algorithm>
#include <utility>

namespace testing_support {

namespace {

constexpr int kBucketWidth = 200;

int bucketOf(int freeBytes) { return freeBytes == 0 ? 0 : (freeBytes - 1) / kBucketWidth; }

std::string nodeName(std::uint32_t number) { return "remnant node " + std::to_string(number); }

}  // namespace

TailCheck::TailCheck(const FileReader &reader, Claim claim, Problem problem)
    : in_(reader), nodes_(reader), claim_(std::move(claim)), problem_(std::move(problem)) {}

void TailCheck::take(std::uint32_t number) {
    if (owners_.count(number) != 0) return;
    claim_(number, "remnant node");
    owners_[number].resize(nodes_.node(number).slots.size());
}

Bytes TailCheck::tail(std::uint32_t recnum, const Bytes &slot) {
    std::string name = "record " + std::to_string(recnum);
    TailPointer pointer = nodes_.pointer(slot);
    Bytes out;
    if (pointer.none()) return out;
    std::vector<RemnantReader::Place> places;
    std::string wrong = nodes_.collect(pointer, &out, &places);
    if (!wrong.empty()) problem_(name + ": tail: " + wrong);
    checkPieces(name, places);
    return out;
}

void TailCheck::checkPieces(const std::string &name, const std::vector<RemnantReader::Place> &places) {
    for (std::size_t i = 0; i < places.size(); ++i) {
        const RemnantReader::Place &place = places[i];
        take(place.node);
        std::string &owner = owners_[place.node][place.slot];
        if (!owner.empty())
            problem_(nodeName(place.node) + " slot " + std::to_string(place.slot) + " belongs to " + owner + " and " +
                     name);
        owner = name;
        int length = nodes_.node(place.node).slots[place.slot].length;
        bool last = i + 1 == places.size();
        if (length == 0 || length > kLargestPiece || (!last && length != kLargestPiece))
            problem_(name + ": piece " + std::to_string(i) + " of " + std::to_string(length) + " bytes");
    }
}

void TailCheck::walkBuckets() {
    const FileHeader &h = in_.header();
    if (h.bucketHeads[0] != 0) problem_("bucket 0 has the head " + std::to_string(h.bucketHeads[0]));
    for (int bucket = 1; bucket < static_cast<int>(h.bucketHeads.size()); ++bucket) {
        std::uint32_t before = 0;
        for (std::uint32_t number = h.bucketHeads[static_cast<std::size_t>(bucket)]; number != 0;) {
            std::string name = "bucket " + std::to_string(bucket) + " node " + std::to_string(number);
            const RemnantNode &node = nodes_.node(number);
            if (!node.problem.empty()) {
                problem_(name + ": " + node.problem);
                break;
            }
            if (!filed_.emplace(number, bucket).second) {
                problem_(name + ": filed twice");
                break;
            }
            take(number);
            if (node.newer != before) problem_(name + ": link " + std::to_string(node.newer) + " towards the head");
            before = number;
            number = node.older;
        }
    }
}

// Slots and data of a node with no gap and no overlap between them.
void TailCheck::checkSlots(const std::string &name, std::uint32_t number, const RemnantNode &node) {
    std::vector<PieceSlot> pieces;
    int bytes = 0;
    for (std::size_t i = 0; i < node.slots.size(); ++i) {
        const PieceSlot &slot = node.slots[i];
        std::string where = name + " slot " + std::to_string(i);
        if (!slot.used()) {
            if (slot.length != 0) problem_(where + ": free, with a length of " + std::to_string(slot.length));
            continue;
        }
        if (owners_[number][i].empty()) problem_(where + ": used, but no record has it");
        pieces.push_back(slot);
        bytes += slot.length;
    }
    std::sort(pieces.begin(), pieces.end(), [](const PieceSlot &a, const PieceSlot &b) { return a.offset < b.offset; });
    int at = kRemnantStart;
    for (const PieceSlot &piece : pieces) {
        if (piece.offset != at)
            problem_(name + ": piece at " + std::to_string(piece.offset) + ", should be at " + std::to_string(at));
        at = piece.offset + piece.length;
    }
    if (pieces.empty()) problem_(name + ": no piece");
    if (node.dataEnd != kRemnantStart + bytes)
        problem_(name + ": data end " + std::to_string(node.dataEnd) + " after " + std::to_string(bytes) + " bytes");
    int room = kRemnantRoom - bytes - kRemnantSlotSize * static_cast<int>(node.slots.size());
    if (room < 0 || node.freeBytes != room)
        problem_(name + ": " + std::to_string(node.freeBytes) + " free bytes, should be " + std::to_string(room));
}

void TailCheck::checkNode(std::uint32_t number, const RemnantNode &node) {
    std::string name = nodeName(number);
    if (!node.problem.empty()) {
        problem_(name + ": " + node.problem);
        return;
    }
    checkSlots(name, number, node);
    std::size_t size = node.bytes.size();
    if (node.bytes[size - 3] != '|' || !allZero(node.bytes, size - 2, size) || !allZero(node.bytes, 0, 2))
        problem_(name + ": first or last bytes");
    auto table = size - 3 - kRemnantSlotSize * node.slots.size();
    auto end = static_cast<std::size_t>(node.dataEnd);
    if (end < table && !allZero(node.bytes, end, table)) problem_(name + ": free bytes that are not zero");
    if (node.goesOn > 1) problem_(name + ": continuation flag " + std::to_string(node.goesOn));
    if (node.goesOn == 0 && (node.nextNode != 0 || node.nextSlot != 0)) problem_(name + ": continuation without flag");
    if (node.goesOn != 0 && (node.slots.size() != 1 || node.freeBytes != 0))
        problem_(name + ": goes on, but is not full of one piece");
    auto filed = filed_.find(number);
    int holder = filed == filed_.end() ? 0 : filed->second;
    if (holder != bucketOf(node.freeBytes) || holder != node.bucket)
        problem_(name + ": " + std::to_string(node.freeBytes) + " free bytes, filed in bucket " +
                 std::to_string(holder) + ", says " + std::to_string(node.bucket));
}

void TailCheck::finish() {
    walkBuckets();
    for (const auto &owner : owners_)
        checkNode(owner.first, nodes_.node(owner.first));
}

TailCounts TailCheck::counts() {
    TailCounts out;
    for (const auto &[number, pieces] : owners_) {
        long freeBytes = nodes_.node(number).freeBytes;
        auto add = [freeBytes](TailCounts::Sum *sum) {
            ++sum->nodes;
            sum->freeBytes += freeBytes;
        };
        bool reached =
            std::any_of(pieces.begin(), pieces.end(), [](const std::string &owner) { return !owner.empty(); });
        if (reached) add(&out.reached);
        add(filed_.count(number) != 0 ? &out.filed : &out.unfiled);
    }
    return out;
}

}  // namespace testing_support
