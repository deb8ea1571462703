#include "flips/layout_map.h"

#include <algorithm>
#include <cstdio>

namespace flips {

Sight sightOf(Region region) {
    if (region < Region::TreeMark) return Sight::Never;
    return region < Region::HeaderShape ? Sight::Always : Sight::Depends;
}

const char *nameOf(Region region) {
    static const char *const names[kRegions] = {
        "unused",         "fixed bytes",     "counters",    "application's bytes", "free-node head",
        "free-node list", "audit settings",  "serial",      "share bit",           "branch key",
        "record bytes",   "deleted record",  "record mask", "tail bytes",          "tail mark",
        "unused way on",  "dead list",       "tree mark",   "description mark",    "free-list mark",
        "free number",    "status",          "leaf key",    "key in a record",     "bucket 0",
        "tail magic",     "header shape",    "description", "tree shape",          "entry shape",
        "entry pointer",  "free-list shape", "bucket head", "tail shape",          "tail pointer"};
    return names[static_cast<int>(region)];
}

LayoutMap::LayoutMap(const FileSet &set) : set_(set), sound_(judge(set)) {
    bytes_[0].resize(set.index.size());
    bytes_[1].resize(set.data.size());
    mapped_.resize(SetReader(set_).nodes() + 1);
    mapHeader();
    mapDescriptions();
    entered_.assign(indexes_.size(), std::vector<bool>(SetReader(set_).lastRecord() + 1));
    for (std::size_t i = 0; i < indexes_.size(); ++i)
        mapTree(static_cast<std::uint32_t>(i), indexes_[i].root);
    mapFreeNodes();
    mapFreeRecords();
    mapAudit();
    mapTails();
    mapRecords();
}

void LayoutMap::mark(std::size_t node, std::size_t offset, std::size_t length, Region region, std::uint32_t number) {
    const std::size_t start = (node - 1) * static_cast<std::size_t>(SetReader(set_).nodeSize()) + offset;
    for (std::size_t i = 0; i < length; ++i)
        index(start + i) = {region, number, 0};
}

void LayoutMap::mapHeader() {
    const auto size = static_cast<std::size_t>(SetReader(set_).nodeSize());
    mark(1, 0, at::kNodeSize, Region::HeaderFixed);
    mark(1, at::kNodeSize, 2, Region::HeaderShape);
    mark(1, at::kIndexCount, 2, Region::HeaderCounter);
    mark(1, at::kIndexCount + 2, 1, Region::HeaderFixed);
    mark(1, at::kSerialWidth, 1, Region::HeaderShape);
    mark(1, at::kRecordLength, 2, Region::HeaderShape);
    mark(1, at::kDescription, 4, Region::HeaderShape);
    mark(1, at::kDataFree, 4, SetReader(set_).precious() ? Region::DeadList : Region::HeaderShape);
    mark(1, at::kNodeFree, 4, Region::NodeFreeHead);
    mark(1, at::kLastRecord, 8, Region::HeaderShape);
    mark(1, at::kChanges, 8, Region::HeaderCounter);
    mark(1, at::kAudit, 4, Region::AuditSettings);
    mark(1, at::kAudit + 5, 1, Region::HeaderFixed);
    mark(1, at::kMaximum, 2, Region::HeaderShape);
    mark(1, at::kBuckets, 4, Region::BucketZero);
    mark(1, at::kBuckets + 4, 16, Region::BucketHead);
    mark(1, size - at::kUserBytes, 10, Region::HeaderUser);
    mark(1, size - at::kFlags, 2, Region::HeaderShape);
    index(size - at::kFlags).never = 0xff;
    index(size - at::kFlags + 1).never = 0xf8;
    mark(1, size - at::kTrailer, 4, Region::HeaderFixed);
    mapped_[1] = true;
}

void LayoutMap::mapDescriptions() {
    const SetReader in(set_);
    const auto size = static_cast<std::size_t>(in.nodeSize());
    for (std::uint32_t number = in.header(at::kDescription, 4); number != 0;) {
        const std::uint8_t *const node = in.node(number);
        const std::uint32_t used = SetReader::number(node, 2);
        mark(number, 0, used, Region::Description);
        mark(number, size - at::kMark, 2, Region::DescriptionMark);
        mapped_[number] = true;
        for (std::uint32_t offset = layout::kListStart; offset < used;) {
            const std::uint8_t *const entry = node + offset;
            IndexSpec spec;
            spec.root = SetReader::number(entry + 2, 4);
            spec.flags = entry[6] * 2U;
            const std::uint32_t length = SetReader::number(entry, 2), wide = spec.nullKeys() ? 6 : 5;
            for (std::uint32_t part = 7; part < length; part += wide) {
                const std::uint32_t partLength = SetReader::number(entry + part, 2);
                if (part == 7 && (partLength & 0x8000U) != 0) spec.flags |= ISDUPS;
                spec.parts.push_back({static_cast<int>(SetReader::number(entry + part + 2, 2)),
                                      static_cast<int>(partLength & 0x7fffU),
                                      SetReader::number(entry + part + 4, static_cast<int>(wide) - 4)});
                spec.keyLength += spec.parts.back().length;
            }
            if (!spec.parts.empty()) indexes_.push_back(spec);
            offset += length;
        }
        number = SetReader::number(node + 2, 4);
    }
}

void LayoutMap::mapTree(std::uint32_t indexNumber, std::uint32_t number) {
    const SetReader in(set_);
    const IndexSpec &spec = indexes_[indexNumber];
    const auto size = static_cast<std::size_t>(in.nodeSize());
    const std::uint8_t *const node = in.node(number);
    mapped_[number] = true;
    mark(number, 0, 2, Region::TreeShape, indexNumber);
    mark(number, size - at::kMark, 1, Region::TreeMark, indexNumber);
    mark(number, size - at::kLevel, 1, Region::TreeShape, indexNumber);
    mapEntries(indexNumber, number);
    const int width = spec.duplicates() ? in.serialWidth() : 0;
    for (const NodeEntry &entry : entriesOf(spec, width, node).entries) {
        if (node[size - at::kLevel] != 0)
            mapTree(indexNumber, entry.pointer);
        else if (entry.pointer <= in.lastRecord())
            entered_[indexNumber][entry.pointer] = true;
    }
}

void LayoutMap::mapEntries(std::uint32_t indexNumber, std::uint32_t number) {
    const SetReader in(set_);
    const IndexSpec &spec = indexes_[indexNumber];
    const std::uint8_t *const node = in.node(number);
    const bool leaf = node[static_cast<std::size_t>(in.nodeSize()) - at::kLevel] == 0;
    const int width = spec.duplicates() ? in.serialWidth() : 0;
    // The keys of a file without records can be anything that is in order.
    const Region flatKey = !leaf ? Region::BranchKey : in.recordLength() != 0 ? Region::LeafKey : Region::EntryShape;
    for (const NodeEntry &entry : entriesOf(spec, width, node).entries) {
        const auto start = static_cast<std::size_t>(entry.start), end = static_cast<std::size_t>(entry.end);
        const std::size_t pointer = end - 4, serial = pointer - static_cast<std::size_t>(width);
        mark(number, start, serial - start, spec.compressed() ? Region::EntryShape : flatKey, indexNumber);
        mark(number, serial, pointer - serial, Region::SerialNumber, indexNumber);
        mark(number, pointer, 4, Region::EntryPointer, indexNumber);
        if (!spec.compressed()) index((number - 1) * static_cast<std::size_t>(in.nodeSize()) + pointer).never = 0x80;
    }
}

void LayoutMap::mapFreeRecords() {
    const SetReader in(set_);
    const auto size = static_cast<std::size_t>(in.nodeSize());
    const bool dead = in.precious();
    for (std::uint32_t number = in.header(at::kDataFree, 4); number != 0;) {
        const std::uint8_t *const node = in.node(number);
        const std::uint32_t used = SetReader::number(node, 2);
        mark(number, 0, layout::kListStart, dead ? Region::DeadList : Region::ListShape);
        mark(number, layout::kListStart, used - layout::kListStart, dead ? Region::DeadList : Region::FreeRecord);
        mark(number, size - at::kMark, 2, dead ? Region::DeadList : Region::ListMark);
        mapped_[number] = true;
        number = SetReader::number(node + 2, 4);
    }
}

void LayoutMap::mapFreeNodes() {
    const SetReader in(set_);
    const auto size = static_cast<std::size_t>(in.nodeSize());
    for (std::uint32_t number = in.header(at::kNodeFree, 4); number != 0;) {
        const std::uint8_t *const node = in.node(number);
        mark(number, 0, size, Region::NodeFreeList);
        mapped_[number] = true;
        for (std::uint32_t at = layout::kListStart; at < SetReader::number(node, 2); at += 4)
            mapped_[SetReader::number(node + at, 4)] = true;
        number = SetReader::number(node + 2, 4);
    }
}

void LayoutMap::mapAudit() {
    const SetReader in(set_);
    const std::uint32_t number = in.header(at::kAudit, 4);
    if (number == 0) return;
    mark(number, 0, static_cast<std::size_t>(in.nodeSize()), Region::AuditSettings);
    mapped_[number] = true;
}

void LayoutMap::mapTailNode(std::uint32_t number) {
    const SetReader in(set_);
    const auto size = static_cast<std::size_t>(in.nodeSize());
    const std::uint8_t *const node = in.node(number);
    const std::size_t slots = node[at::kSlotCount];
    mark(number, at::kMagic, 2, Region::TailMagic);
    mark(number, at::kOlder, at::kPieces - at::kOlder, Region::TailShape);
    if (node[at::kGoesOn] != 1) mark(number, at::kNextSlot, 4, Region::NextUnused);
    mark(number, at::kPieces, SetReader::number(node + at::kDataEnd, 2) - at::kPieces, Region::TailBytes);
    mark(number, size - 3 - slots * layout::kPieceSlot, slots * layout::kPieceSlot, Region::TailShape);
    mark(number, size - 3, 3, Region::TailMark);
    mapped_[number] = true;
}

// What is left over are nodes with tails.
void LayoutMap::mapTails() {
    const SetReader in(set_);
    for (std::uint32_t number = 2; number < mapped_.size(); ++number)
        if (!mapped_[number] && SetReader::number(in.node(number) + at::kMagic, 2) == layout::kRemnantMagic)
            mapTailNode(number);
}

void LayoutMap::mapRecords() {
    const SetReader in(set_);
    const auto fixed = static_cast<std::size_t>(in.recordLength());
    const auto length = static_cast<std::size_t>(in.slotLength());
    for (std::uint32_t number = 1; number <= in.lastRecord(); ++number) {
        const auto slot = bytes_[1].begin() + static_cast<std::ptrdiff_t>((number - 1) * length);
        const auto bytes = [&](std::size_t from, std::size_t to, Region region) {
            std::fill(slot + static_cast<std::ptrdiff_t>(from), slot + static_cast<std::ptrdiff_t>(to),
                      Byte{region, number, 0});
        };
        const bool live = in.status(number) == layout::kPresent;
        bytes(0, length, live ? Region::RecordBytes : Region::DeadRecord);
        bytes(fixed, fixed + 1, Region::Status);
        if (!live) continue;
        for (std::size_t i = 0; i < indexes_.size(); ++i)
            for (const testing_support::PartSpec &part : indexes_[i].parts)
                if (entered_[i][number])
                    bytes(static_cast<std::size_t>(part.start), static_cast<std::size_t>(part.start + part.length),
                          Region::RecordKey);
        if (in.tails()) bytes(fixed + 1, fixed + 7, Region::TailPointer);
        if (in.masked()) bytes(length - 4, length, Region::RecordMask);
    }
}

Region LayoutMap::of(bool data, std::size_t offset, int bit) const {
    const Byte &byte = bytes_[data ? 1 : 0][offset];
    if ((byte.never >> bit & 1U) == 0) return byte.region;
    return byte.region == Region::EntryPointer ? Region::ShareBit : Region::HeaderFixed;
}

bool LayoutMap::countable(std::size_t index) const {
    const SetReader in(set_);
    return in.recordLength() != 0 && !in.precious() && !in.masked() && !indexes_[index].nullKeys();
}

// Of the checks but that of the tails, which the caller judges.
std::string LayoutMap::compare(const Verdict &verdict, Bits data, const std::vector<Bits> &indexes) const {
    if (verdict.openError != 0) return "the open is refused";
    if (!data.holds(verdict.data)) return "the data check says otherwise";
    for (std::size_t i = 0; i < indexes.size(); ++i)
        if (!indexes[i].holds(verdict.indexes.at(i)))
            return "the check of index " + std::to_string(i + 1) + " says otherwise";
    return "";
}

std::string LayoutMap::contradiction(bool data, std::size_t offset, int bit, const Verdict &verdict) const {
    const Region region = of(data, offset, bit);
    const Byte &byte = bytes_[data ? 1 : 0][offset];
    const SetReader in(set_);
    if (sightOf(region) == Sight::Never) return verdict == sound_ ? "" : "no check can see this";
    if (sightOf(region) == Sight::Always && verdict == sound_ && region != Region::RecordKey)
        return "a check must see this";

    std::vector<Bits> indexes(indexes_.size());
    const Bits none{sound_.data, 0};
    switch (region) {
    case Region::TreeMark: indexes[byte.number] = {ISCHK_INDEXREAD, 0}; return compare(verdict, none, indexes);
    case Region::LeafKey:
        // The record has the key that the entry had; the entry may now be out of order.
        indexes[byte.number] = {ISCHK_MISMATCH, ISCHK_KEYORDER};
        return compare(verdict, none, indexes);
    case Region::DescriptionMark: return verdict.openError == ISERR_CORRUPT ? "" : "the open must fail with 105";
    case Region::ListMark:
        for (std::size_t i = 0; i < indexes.size(); ++i)
            if (countable(i)) indexes[i] = {ISCHK_INDEXREAD, 0};
        return compare(verdict, {ISCHK_FREELIST, 0}, indexes);
    case Region::FreeRecord: return compare(verdict, {ISCHK_FREELIST, 0}, indexes);
    case Region::Status: {
        // A record is taken for none, and is not in the list; a deleted one is in the list as before.
        const bool live = in.status(byte.number) == layout::kPresent;
        return compare(verdict, {ISCHK_RECORD | (live && !in.precious() ? ISCHK_FREELIST : 0), 0}, indexes);
    }
    case Region::RecordKey: {
        FileSet flipped = set_;
        flipped.data[offset] = static_cast<std::uint8_t>(flipped.data[offset] ^ 1U << bit);
        // Behind a text's NUL nothing counts.
        for (std::size_t i = 0; i < indexes.size(); ++i)
            if (entered_[i][byte.number] &&
                testing_support::makeKey(indexes_[i], in.slot(byte.number)) !=
                    testing_support::makeKey(indexes_[i], SetReader(flipped).slot(byte.number)))
                indexes[i] = {ISCHK_MISMATCH, 0};
        return compare(verdict, none, indexes);
    }
    case Region::BucketZero:
        if (verdict.tails != ISCHK_BUCKET0) return "the tail check must find something in bucket 0";
        return compare(verdict, none, indexes);
    case Region::TailMagic:
        if (verdict.tails != ISCHK_MAGIC) return "the tail check must find the magic number wrong";
        return compare(verdict, none, indexes);
    case Region::TailShape:
    case Region::TailPointer:
    case Region::BucketHead: return compare(verdict, none, indexes);
    default: return "";
    }
}

}  // namespace flips
