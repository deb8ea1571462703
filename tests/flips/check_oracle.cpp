#include "flips/check_oracle.h"

#include "flips/set_reader.h"
#include "isam.h"

#include <cerrno>
#include <cstdio>
#include <set>

namespace flips {
namespace {

using testing_support::Key;
using testing_support::PartSpec;

constexpr unsigned kKnownFlags = 0x3f;
constexpr int kMostSerialBytes = 8;
constexpr int kMostIndexes = 10;

// Ends a check, or the open: with the error that the open reports.
struct Stop {
    int error = ISERR_CORRUPT;
    int io = 0;
};
[[noreturn]] void damaged() { throw Stop{}; }
void demand(bool holds) {
    if (!holds) damaged();
}
void demand(bool holds, int error) {
    if (!holds) throw Stop{error, 0};
}

class Judge {
  public:
    explicit Judge(const FileSet &set) : set_(set), in_(set) {}

    Verdict run() {
        Verdict verdict;
        try {
            open();
        } catch (const Stop &stop) {
            verdict.openError = stop.error;
            verdict.openIo = stop.io;
            return verdict;
        }
        verdict.data = check(ISCHK_DATAREAD, [this] { checkData(); });
        for (const IndexSpec &index : indexes_)
            verdict.indexes.push_back(check(ISCHK_INDEXREAD, [this, &index] { checkIndex(index); }));
        verdict.tails = check(ISCHK_INDEXREAD, [this] { checkTails(true); });
        verdict.tailsAlone = check(ISCHK_INDEXREAD, [this] { checkTails(false); });
        return verdict;
    }

  private:
    template <typename Body> int check(int unreadable, Body body) {
        found_ = 0;
        try {
            body();
        } catch (const Stop &) {
            found_ |= unreadable;
        }
        return found_;
    }
    void found(int bit) { found_ |= bit; }
    bool hasData() const { return in_.recordLength() != 0; }

    // ------------------------------------------------------------------------------------------------- the open

    void open() {
        if (hasData() && !set_.hasData) throw Stop{ENOENT, 0x12};
        demand(in_.nodeSize() >= layout::kSmallestNode && in_.nodeSize() <= layout::kLargestNode);
        if (static_cast<std::size_t>(in_.nodeSize()) > set_.index.size()) throw Stop{EIO, 0x41};
        demand(in_.lastRecord() <= layout::kHighest && in_.lastNode() >= 1 && in_.lastNode() <= layout::kHighest);
        openIndexes();
        // The modes of the file and the header's maximum go together.
        demand(!in_.compressed() || in_.tails(), ISERR_ARGUMENT);
        if (in_.tails())
            demand(in_.maximum() <= layout::kLongestVariable && in_.maximum() > in_.recordLength() && hasData() &&
                   in_.nodeSize() >= layout::kTailNode);
        // Without any index the first record is looked for among the slots.
        if (indexes_.empty() && !noPrimary_) findFirstSlot();
    }

    void openIndexes() {
        std::uint32_t left = in_.nodes();
        int entries = 0;
        for (std::uint32_t number = in_.header(at::kDescription, 4); number != 0;) {
            demand(left-- != 0 && in_.isNode(number));
            const std::uint8_t *const node = in_.node(number);
            if (node == nullptr) throw Stop{EIO, 0x41};
            const int used = static_cast<int>(SetReader::number(node, 2));
            demand(markOf(node) == layout::kListMark && levelOf(node) == layout::kDescLevel &&
                   used >= layout::kListStart && used <= in_.nodeSize() - layout::kNodeTrailer);
            for (int offset = layout::kListStart; offset < used; ++entries)
                offset += openIndex(node, offset, used - offset, entries);
            number = SetReader::number(node + 2, 4);
        }
    }

    // Returns the length of the description.
    int openIndex(const std::uint8_t *node, int offset, int room, int entries) {
        const std::uint8_t *const entry = node + offset;
        const int length = room >= 7 ? static_cast<int>(SetReader::number(entry, 2)) : 0;
        demand(length >= 7 && length <= room);
        IndexSpec spec;
        spec.root = SetReader::number(entry + 2, 4);
        spec.flags = entry[6] * 2U;
        // The count of parts is taken for parts of five bytes, also where they have six.
        const int parts = (length - 7) / 5, size = spec.nullKeys() ? 6 : 5;
        demand(parts <= ISMAXPARTS, ISERR_KEYDESC);
        demand(offset + 7 + parts * size <= in_.nodeSize());
        for (int i = 0; i < parts; ++i)
            takePart(spec, entry + 7 + i * size);
        demand(parts == 0 || possible(spec), ISERR_KEYDESC);
        if (parts == 0) {
            demand(entries == 0);
            noPrimary_ = true;
            return length;
        }
        demand(in_.isNode(spec.root));
        demand(indexes_.size() < kMostIndexes, ISERR_KEYDESC);
        demand(fitsNodes(spec));
        indexes_.push_back(spec);
        return length;
    }

    static void takePart(IndexSpec &spec, const std::uint8_t *stored) {
        PartSpec part;
        std::uint32_t length = SetReader::number(stored, 2);
        if (spec.parts.empty() && (length & 0x8000U) != 0) {
            length &= 0x7fffU;
            spec.flags |= ISDUPS;
        }
        part.length = static_cast<std::int16_t>(length);
        part.start = static_cast<std::int16_t>(SetReader::number(stored + 2, 2));
        part.type = spec.nullKeys() ? SetReader::number(stored + 4, 2) : stored[4];
        spec.keyLength += part.length;
        spec.parts.push_back(part);
    }

    bool possible(const IndexSpec &spec) const {
        if ((spec.flags & ~kKnownFlags) != 0) return false;
        for (const PartSpec &part : spec.parts) {
            if (part.start < 0 || part.length < 0 || part.code() > STRINGTYPE) return false;
            if (hasData() && part.start + part.length > in_.recordLength()) return false;
            if (part.length % testing_support::unitOf(part.code()) != 0) return false;
        }
        return spec.keyLength <= ISMAXKEYLEN;
    }

    int serialWidth(const IndexSpec &spec) const { return spec.duplicates() ? in_.serialWidth() : 0; }

    // A node that could not be split into two would never take a third entry.
    bool fitsNodes(const IndexSpec &spec) const {
        const int width = serialWidth(spec);
        const int entry = spec.keyLength + width + 4 + (spec.leading() ? 1 : 0) + (spec.trailing() ? 1 : 0);
        return width >= 0 && width <= kMostSerialBytes &&
               layout::kTreeStart + 2 * entry < in_.nodeSize() - layout::kNodeTrailer;
    }

    void findFirstSlot() {
        std::uint32_t number = 1;
        if (in_.lastRecord() < 1) return;
        if (in_.slot(number) == nullptr) throw Stop{hasData() ? EIO : EBADF, 0x42};
        if (in_.status(number) != layout::kDeleted) return;
        do {
            if (++number > in_.lastRecord()) return;
            if (!in_.hasStatus(number)) throw Stop{EIO, 0x42};
        } while (in_.status(number) == layout::kDeleted);
        if (in_.slot(number) == nullptr) throw Stop{EIO, 0x42};
    }

    // ------------------------------------------------------------------------------------------------ the checks

    std::uint8_t markOf(const std::uint8_t *node) const { return node[in_.nodeSize() - 3]; }
    std::uint8_t levelOf(const std::uint8_t *node) const { return node[in_.nodeSize() - 2]; }

    void checkData() {
        demand(hasData());
        const std::uint32_t last = in_.lastRecord();
        // From the highest: where that is there, all are.
        demand(last == 0 || in_.slot(last) != nullptr);
        std::set<std::uint32_t> free;
        std::uint32_t live = 0;
        for (std::uint32_t number = last; number > 0; --number) {
            const std::uint8_t status = in_.status(number);
            if (status == layout::kPresent) {
                ++live;
                continue;
            }
            if (status != layout::kDeleted) found(ISCHK_RECORD);
            free.insert(number);
        }
        if (in_.precious()) return;
        // Each number is there once, and is that of a slot without a record.
        const bool whole = walkFreeList([this, &free](std::uint32_t number) {
            if (free.erase(number) == 0) found(ISCHK_FREELIST);
        });
        if (!whole || freeNumbers_ != last - live) found(ISCHK_FREELIST);
    }

    // Counts the free list's numbers; false where its nodes are damaged.
    template <typename Visit> bool walkFreeList(Visit visit) {
        freeNumbers_ = 0;
        std::uint32_t left = in_.nodes();
        for (std::uint32_t number = in_.header(at::kDataFree, 4); number != 0;) {
            if (left-- == 0 || !in_.isNode(number)) return false;
            const std::uint8_t *const node = in_.node(number);
            if (node == nullptr || !isListNode(node)) return false;
            const int used = static_cast<int>(SetReader::number(node, 2));
            for (int offset = layout::kListStart; offset < used; offset += 4, ++freeNumbers_)
                visit(SetReader::number(node + offset, 4));
            number = SetReader::number(node + 2, 4);
        }
        return true;
    }

    bool isListNode(const std::uint8_t *node) const {
        const int used = static_cast<int>(SetReader::number(node, 2));
        return markOf(node) == layout::kListMark && levelOf(node) == layout::kFreeLevel && used >= layout::kListStart &&
               used <= in_.nodeSize() - layout::kNodeTrailer && (used - layout::kListStart) % 4 == 0;
    }

    void checkIndex(const IndexSpec &spec) {
        keys_ = 0;
        // Leaves that one walk may enter behind the first.
        leaves_ = static_cast<std::int64_t>(in_.nodes()) + 1;
        before_.clear();
        walkNode(spec, spec.root, -1);
        const bool countable = hasData() && !in_.precious() && !in_.masked() && !spec.nullKeys();
        if (!countable) return;
        demand(walkFreeList([](std::uint32_t) {}));
        if (freeNumbers_ + keys_ != in_.lastRecord()) found(ISCHK_KEYCOUNT);
    }

    // level: what the node must have, -1 for the root.
    void walkNode(const IndexSpec &spec, std::uint32_t number, int wanted) {
        const std::uint8_t *const node = in_.node(number);
        demand(node != nullptr);
        const int used = static_cast<int>(SetReader::number(node, 2)), level = levelOf(node);
        const bool root = wanted < 0;
        demand(markOf(node) == layout::kTreeMark);
        demand(root ? level < layout::kFreeLevel : level == wanted);
        const bool mayBeEmpty = root && level == 0;
        demand(used >= layout::kTreeStart + (mayBeEmpty ? 0 : 1) && used < in_.nodeSize() - layout::kNodeTrailer);
        const NodeEntries decoded = entriesOf(spec, serialWidth(spec), node);
        demand(decoded.sound);
        if (level == 0 && !decoded.entries.empty()) demand(leaves_-- > 0);
        for (const NodeEntry &entry : decoded.entries) {
            if (level == 0) {
                takeKey(spec, entry);
                continue;
            }
            demand(in_.isNode(entry.pointer));
            walkNode(spec, entry.pointer, level - 1);
        }
    }

    void takeKey(const IndexSpec &spec, const NodeEntry &entry) {
        if (keys_++ != 0 && testing_support::compareKeys(spec, before_, entry.key) > 0) found(ISCHK_KEYORDER);
        before_ = entry.key;
        if (!hasData()) return;
        demand(entry.pointer >= 1 && entry.pointer <= in_.lastRecord());
        const std::uint8_t *const slot = in_.slot(entry.pointer);
        demand(slot != nullptr);
        if (testing_support::makeKey(spec, slot) != entry.key) found(ISCHK_MISMATCH);
    }

    // ------------------------------------------------------------------------------------------------- the tails

    static int field(const std::uint8_t *node, std::size_t offset, int width) {
        return static_cast<int>(SetReader::number(node + offset, width));
    }

    const std::uint8_t *tailNode(std::uint32_t number) {
        demand(in_.isNode(number));
        const std::uint8_t *const node = in_.node(number);
        demand(node != nullptr);
        if (field(node, at::kMagic, 2) != layout::kRemnantMagic) found(ISCHK_MAGIC);
        return node;
    }

    void checkTails(bool withStatistics) {
        filed_ = unfiled_ = reached_ = 0;
        if (in_.bucketHead(0) != 0) found(ISCHK_BUCKET0);
        for (int bucket = 1; bucket <= layout::kLastBucket; ++bucket)
            checkBucket(bucket);
        if (in_.tails())
            for (std::uint32_t number = in_.lastRecord(); number > 0; --number) {
                demand(in_.slot(number) != nullptr);
                if (in_.status(number) == layout::kPresent) checkTail(in_.slot(number));
            }
        if (withStatistics && reached_ != filed_ + unfiled_) found(ISCHK_LOST);
    }

    void checkBucket(int bucket) {
        std::set<std::uint32_t> seen;
        std::uint32_t visited = 0;
        for (std::uint32_t number = in_.bucketHead(bucket); number != 0;) {
            const std::uint8_t *const node = tailNode(number);
            if (!seen.insert(number).second) {
                found(ISCHK_LINK);
                return;
            }
            const int free = field(node, at::kFree, 2), least = bucket * layout::kBucketWidth;
            if (free < least || free > least + layout::kBucketWidth) found(ISCHK_MISFILED);
            if (SetReader::number(node + at::kNewer, 4) != visited) found(ISCHK_LINK);
            ++filed_;
            visited = number;
            number = SetReader::number(node + at::kOlder, 4);
        }
    }

    // Offset and length of a piece; no length where the node cannot have such a one.
    struct Piece {
        int offset = 0, length = 0;
    };
    Piece pieceOf(const std::uint8_t *node, int slot) const {
        const int slots = node[at::kSlotCount], end = field(node, at::kDataEnd, 2);
        const bool roomJudged = node[at::kBucket] != 0;  // with its bucket
        if (slot >= slots || end > in_.nodeSize() - 3 - layout::kPieceSlot * slots ||
            node[at::kBucket] > layout::kLastBucket ||
            (!roomJudged && field(node, at::kFree, 2) > layout::kRemnantRoom))
            return {};
        const std::uint8_t *const stored = node + in_.nodeSize() - (layout::kPieceSlot * slot + 7);
        const Piece piece = {field(stored, 2, 2), field(stored, 0, 2)};
        const bool inside = piece.offset >= static_cast<int>(at::kPieces) && piece.offset + piece.length <= end;
        return inside ? piece : Piece{};
    }

    void checkTail(const std::uint8_t *slot) {
        const std::uint8_t *const pointer = slot + in_.recordLength() + 1;
        const int wanted = field(pointer, 0, 2);
        if (wanted == 0) return;
        int piece = pointer[2], sum = 0;
        std::uint32_t number = SetReader::number(pointer + 3, 3);
        for (int pieces = 1;; ++pieces) {
            const std::uint8_t *const node = tailNode(number);
            const Piece part = pieceOf(node, piece);
            if (part.length == 0 || pieces > layout::kMostPieces) {
                found(ISCHK_LENGTH);
                return;
            }
            // One piece of each node lies there, so that each is counted once.
            if (part.offset == static_cast<int>(at::kPieces)) {
                ++reached_;
                if (node[at::kBucket] == 0) ++unfiled_;
            }
            sum += part.length;
            if (node[at::kGoesOn] != 1) break;
            piece = node[at::kNextSlot];
            number = SetReader::number(node + at::kNextNode, 3);
        }
        if (sum != wanted) found(ISCHK_LENGTH);
    }

    const FileSet &set_;
    const SetReader in_;
    std::vector<IndexSpec> indexes_;
    bool noPrimary_ = false;
    int found_ = 0;
    std::uint64_t freeNumbers_ = 0, keys_ = 0;
    std::int64_t leaves_ = 0;
    Key before_;
    long filed_ = 0, unfiled_ = 0, reached_ = 0;
};

}  // namespace

bool Verdict::named() const {
    return openError != 0 || *this != Verdict{0, 0, 0, std::vector<int>(indexes.size()), 0, 0};
}

std::string textOf(const Verdict &verdict) {
    char text[80];
    if (verdict.openError != 0) {
        std::snprintf(text, sizeof text, "open refused: %d, iserrio 0x%x", verdict.openError,
                      static_cast<unsigned>(verdict.openIo));
        return text;
    }
    std::snprintf(text, sizeof text, "data 0x%x, indexes", static_cast<unsigned>(verdict.data));
    std::string out = text;
    for (const int bits : verdict.indexes) {
        std::snprintf(text, sizeof text, " 0x%x", static_cast<unsigned>(bits));
        out += text;
    }
    std::snprintf(text, sizeof text, ", tails 0x%x (0x%x)", static_cast<unsigned>(verdict.tails),
                  static_cast<unsigned>(verdict.tailsAlone));
    return out + text;
}

Verdict judge(const FileSet &set) { return Judge(set).run(); }

}  // namespace flips
