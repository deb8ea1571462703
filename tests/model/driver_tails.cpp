// What only files with variable-length records or an audit trail have.
#include "driver.h"

#include "tail_text.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace model {

int Driver::giveTail(Buffer *record, long rec) {
    if (!shape_.variable()) return kUnusedLength;
    if (rec == 0) rec = liveRecnum();
    if (model_.live(rec) && random_.percent(20)) {
        const Buffer &old = model_.records()[static_cast<std::size_t>(rec - 1)].bytes;
        std::copy(old.begin() + shape_.recordLength, old.end(), record->begin() + shape_.recordLength);
        return static_cast<int>(old.size());
    }
    return makeTail(&random_, shape_, record->data());
}

int Driver::openFlags() {
    const int mapped = ++opens_ % 2 == 0 ? ISMAPPED : 0;
    if (!shape_.variable() || (shape_.compressed && random_.percent(30))) return mapped;
    if (random_.percent(50)) return mapped | ISVARAUTO;
    return mapped | ISVARLEN | (shape_.compressed && random_.percent(50) ? ISCOMPRESS : 0);
}

long Driver::liveRecnum() {
    for (int i = 0; i < 20 && model_.last() > 0; ++i) {
        long rec = 1 + random_.below(static_cast<int>(model_.last()));
        if (model_.live(rec)) return rec;
    }
    return 0;
}

long Driver::someRecnum() {
    if (random_.percent(40)) return isrecnum;
    if (random_.percent(60)) return liveRecnum();
    return random_.between(-1, static_cast<int>(model_.last()) + 2);
}

std::uint32_t Driver::someMask() {
    std::uint32_t mask = 0;
    bool bit = false;
    for (int i = 0; i < 32; ++i) {  // beyond the first indexes all bits are alike
        if (i < shape_.maskBits) bit = random_.percent(25);
        mask |= bit ? 1U << i : 0;
    }
    return mask;
}

// A number of leading key bytes that does not cut a native number in two.
int Driver::partialLength(const IndexSpec &spec) {
    int length = random_.between(1, spec.keyLength);
    int at = 0;
    for (const testing_support::PartSpec &part : spec.parts) {
        bool native = part.code() >= DOUBLETYPE && part.code() <= MLONGTYPE;
        if (length > at && length < at + part.length && native)
            length = at + (length - at) / testing_support::unitOf(part.code()) * testing_support::unitOf(part.code());
        at += part.length;
    }
    return length;
}

KeyDesc Driver::descOf(std::size_t index) const { return index < descs_.size() ? descs_[index] : KeyDesc{}; }

// Per bucket its head and the slot that it would give to a piece, node 0 for none.
Driver::Rooms Driver::foreseeRooms() {
    Rooms rooms{};
    if (!shape_.variable()) return rooms;
    std::vector<std::string> ignored;
    reader_->refresh(&ignored);
    testing_support::RemnantReader nodes(*reader_);
    for (std::size_t bucket = 1; bucket < rooms.size(); ++bucket) {
        std::uint32_t head = reader_->header().bucketHeads[bucket];
        if (head == 0) continue;
        const std::vector<testing_support::PieceSlot> &slots = nodes.node(head).slots;
        auto free = std::find_if(slots.rbegin(), slots.rend(), [](const auto &slot) { return !slot.used(); });
        rooms[bucket] = {head, free == slots.rend() ? slots.size() : static_cast<std::size_t>(slots.rend() - free) - 1};
    }
    return rooms;
}

void Driver::checkRoom(const Rooms &rooms, long rec) {
    constexpr std::size_t piece = testing_support::kLargestPiece;
    std::size_t rest = model_.records()[static_cast<std::size_t>(rec - 1)].stored.size() % piece;
    if (rest == 0) return;
    std::size_t bucket = (rest + testing_support::kRemnantSlotSize - 1) / 200 + 1;
    while (bucket < rooms.size() && rooms[bucket].node == 0)
        ++bucket;
    Buffer slot;
    Buffer tail;
    std::vector<std::string> ignored;
    std::vector<testing_support::RemnantReader::Place> places;
    reader_->refresh(&ignored);
    testing_support::RemnantReader nodes(*reader_);
    if (!reader_->slot(rec, &slot)) return fail(pending_ + ": the slot cannot be read");
    std::string wrong = nodes.collect(nodes.pointer(slot), &tail, &places);
    if (!wrong.empty()) return fail(pending_ + ": " + wrong);
    const testing_support::RemnantReader::Place &last = places.back();
    bool fresh = bucket >= rooms.size();
    bool right = fresh ? last.slot == 0 && nodes.node(last.node).slots.size() == 1
                       : last.node == rooms[bucket].node && last.slot == rooms[bucket].slot;
    if (!right)
        fail(pending_ + ": " + std::to_string(rest) + " bytes went into node " + std::to_string(last.node) + " slot " +
             std::to_string(last.slot) + ", should be " +
             (fresh ? "a fresh one"
                    : std::to_string(rooms[bucket].node) + " slot " + std::to_string(rooms[bucket].slot)));
}

// ------------------------------------------------------------- audit trail

void Driver::randomAudit() {
    std::size_t handle = someHandle();
    int fd = fds_[handle];
    static const int modes[] = {ISAUDSETNAME, ISAUDGETNAME, ISAUDSTART, ISAUDSTART, ISAUDSTOP, ISAUDINFO};
    int mode = modes[random_.below(6)];
    std::string name = dir_.file(random_.percent(50) ? "trail" : "another");
    if (name.size() > ISAUDNAMELEN || (mode == ISAUDSETNAME && random_.percent(10)))
        name.assign(static_cast<std::size_t>(random_.between(65, 70)), 'n');
    std::uint32_t counter = changeCounter();
    Outcome in = prepare({}, someRecnum());
    pending_ = "isaudit " + std::to_string(fd) + " mode " + std::to_string(mode);
    char buffer[80] = {};
    std::copy(name.begin(), name.end(), buffer);
    std::string answer = name;
    Outcome expected = model_.audit(in, mode, &answer);
    settle(pending_, expected, collect(isaudit(fd, buffer, mode), {}));
    if (expected.ok() && mode == ISAUDINFO ? buffer[0] != answer[0] : buffer != answer)
        fail(pending_ + ": gives " + buffer + ", should be " + answer);
    bool changes = expected.ok() && mode != ISAUDGETNAME && mode != ISAUDINFO;
    if (changeCounter() != counter + (changes ? 1U : 0U)) fail(pending_ + ": change counter");
    checkHandle(handle, pending_);
}

std::uint32_t Driver::changeCounter() {
    std::vector<std::string> ignored;
    reader_->refresh(&ignored);
    return reader_->header().changeCounter;
}

// What the audit trails have got since they were last compared.
std::string Driver::compareTrails() {
    for (Audited &audited : model_.takeAudited())
        trails_[audited.trail].entries.push_back(std::move(audited.entry));
    for (auto &[name, trail] : trails_) {
        std::ifstream in(name, std::ios::binary);
        in.seekg(static_cast<std::streamoff>(trail.compared));
        Buffer bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        std::string wrong = testing_support::compareTrail(bytes, trail.entries, since_);
        if (!wrong.empty()) return wrong;
        statistics_->auditEntries += static_cast<long>(trail.entries.size());
        trail.compared += bytes.size();
        trail.entries.clear();
    }
    return "";
}

}  // namespace model
