#include "mend/old_records.h"

#include "base/failure.h"
#include "index/survey.h"
#include "log/stored_tail.h"
#include "mend/best_shape.h"

#include <algorithm>

namespace tool {

namespace {

bool isStatus(std::uint8_t status) { return status == kSlotPresent || status == kSlotDeleted; }

std::size_t storedTail(ConstBytes slot, const IndexHeader &header) {
    const auto at = static_cast<std::size_t>(header.recordLength) + 1;
    return static_cast<std::size_t>(slot[at] << 8U | slot[at + 1]);
}

}  // namespace

OldRecords::OldRecords(const FileView &view, const Shape &shape, bool longest_known)
    : view_(view), shape_(shape), data_(view, shape.header), slots_(data_.count()) {
    const auto record_length = static_cast<std::uint64_t>(shape.header.recordLength);
    // A slot that has been cut off behind the fixed part may still be a record.
    if (data_.bytesBehind() >= record_length) {
        cut_.resize(static_cast<std::size_t>(shape.header.slotLength()));
        const auto there = static_cast<std::size_t>(data_.bytesBehind());
        if (!view.readData(view.dataSize() - there, ByteSpan(cut_).first(there)))
            failSystem(view.name(), "cannot be read");
        ++slots_;
        // Without a status it is not known to be one.
        if (there == record_length) cut_[record_length] = 0xff;
    }
    if (shape.headerRead && shape.header.lastRecord > slots_ && shape.header.lastRecord <= 0x7fffffff)
        slots_missing_ = shape.header.lastRecord - slots_;
    if (shape.header.variable() && !longest_known) findTails();
    findUnclear();
}

ConstBytes OldRecords::slot(std::uint64_t number) { return number <= data_.count() ? data_.read(number) : cut_; }

void OldRecords::findUnclear() {
    for (std::uint64_t number = 1; number <= slots_; ++number) {
        const ConstBytes bytes = slot(number);
        if (bytes.empty()) failSystem(view_.name(), "record " + std::to_string(number) + " cannot be read");
        if (!isStatus(data_.status(bytes))) unclear_.push_back(number);
    }
    confirmed_ = confirmRecords(view_, shape_, unclear_);
}

// Without a header nothing tells of the longest record, and of the tails' form: the tails do.
void OldRecords::findTails() {
    std::size_t longest = 1, longest_expanded = 1;
    bool compressed = true;
    for (std::uint64_t number = 1; number <= slots_; ++number) {
        const ConstBytes bytes = slot(number);
        if (bytes.empty() || data_.status(bytes) != kSlotPresent) continue;
        const auto tail = readTail(view_, shape_, bytes);
        if (!tail || tail->empty()) continue;
        const auto expanded = expandTail(*tail, ISMAXVARLEN);
        compressed = compressed && expanded.has_value();
        longest = std::max(longest, tail->size());
        if (expanded) longest_expanded = std::max(longest_expanded, expanded->size());
    }
    if (longest == 1) compressed = false;
    shape_.header.flags = (shape_.header.flags & ~4U) | (compressed ? 4U : 0);
    const std::size_t most = compressed ? longest_expanded : longest;
    const int needed = std::min<int>(ISMAXVARLEN, shape_.header.recordLength + static_cast<int>(most));
    if (shape_.header.maximum < needed || shape_.header.maximum == ISMAXVARLEN) shape_.header.maximum = needed;
}

bool OldRecords::addTail(ConstBytes slot, std::vector<std::uint8_t> &bytes) const {
    // The pointer to the tail may have been cut off.
    if (number_ > data_.count() && data_.bytesBehind() < static_cast<std::uint64_t>(shape_.header.recordLength) + 7)
        return false;
    if (storedTail(slot, shape_.header) == 0) return true;
    const auto stored = readTail(view_, shape_, slot);
    if (!stored) return false;
    const auto most = static_cast<std::size_t>(shape_.header.maximum - shape_.header.recordLength);
    if (shape_.header.compressed()) {
        const auto tail = expandTail(*stored, most);
        if (!tail) return false;
        bytes.insert(bytes.end(), tail->begin(), tail->end());
        return true;
    }
    if (stored->size() > most) return false;
    bytes.insert(bytes.end(), stored->begin(), stored->end());
    return true;
}

bool OldRecords::next(OldRecord &record) {
    if (number_ >= slots_) return false;
    record.number = ++number_;
    const ConstBytes bytes = slot(number_);
    if (bytes.empty()) failSystem(view_.name(), "record " + std::to_string(number_) + " cannot be read");
    const auto fixed = bytes.first(static_cast<std::size_t>(shape_.header.recordLength));
    record.bytes.assign(fixed.begin(), fixed.end());
    record.mask = slotMask(bytes, shape_.header);
    const std::uint8_t status = data_.status(bytes);
    record.kind = status == kSlotDeleted ? OldRecord::kDeleted : OldRecord::kRecord;
    if (!isStatus(status)) {
        const auto at = std::lower_bound(unclear_.begin(), unclear_.end(), number_) - unclear_.begin();
        record.kind = confirmed_[static_cast<std::size_t>(at)] ? OldRecord::kRecord : OldRecord::kUnsure;
        if (record.kind == OldRecord::kRecord) ++status_mended_;
    }
    if (record.kind == OldRecord::kRecord && shape_.header.variable() && !addTail(bytes, record.bytes)) ++tails_lost_;
    return true;
}

void forOldKeys(const FileView &view, const Shape &shape,
                const std::function<void(const KeyDesc &, const KeyEntry &)> &visit) {
    const Survey survey = surveyNodes(view, shape, [](std::uint64_t) {});
    std::vector<std::uint8_t> node;
    const auto visitNode = [&](const Tree &tree) {
        EntryReader reader(node, tree.key, tree.serialWidth);
        KeyEntry entry;
        while (reader.next(entry))
            visit(tree.key, entry);
    };
    for (const Tree &tree : survey.trees) {
        if (tree.levels.empty()) continue;
        for (const TreeNode &leaf : tree.levels[0])
            if (shape.readNode(view, leaf.number, node)) visitNode(tree);
    }
    // A leaf that the tree leads to no more can be told from one that was given up only where there is one tree, and
    // the walk through it was stopped.
    if (survey.trees.size() != 1 || survey.trees[0].whole) return;
    const Tree &tree = survey.trees[0];
    for (std::uint64_t number = 2; number <= survey.nodes.size(); ++number) {
        const NodeKind kind = survey.nodes[static_cast<std::size_t>(number - 1)].kind;
        const bool may_be_leaf = kind == NodeKind::kLost || kind == NodeKind::kLeaf || kind == NodeKind::kRuined;
        if (!may_be_leaf || !shape.readNode(view, number, node)) continue;
        const bool reached = std::any_of(tree.levels.begin(), tree.levels.end(), [number](const auto &level) {
            return std::any_of(level.begin(), level.end(), [number](const TreeNode &n) { return n.number == number; });
        });
        EntryReader reader(node, tree.key, tree.serialWidth);
        if (!reached && reader.problem() == nullptr && reader.level() == 0) visitNode(tree);
    }
}

}  // namespace tool
