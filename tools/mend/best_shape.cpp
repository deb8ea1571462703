#include "mend/best_shape.h"

#include "base/failure.h"
#include "index/data_slots.h"
#include "index/survey.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::uint64_t kSampleSlots = 20000;
constexpr std::size_t kSampleKeys = 2000;
constexpr int kLongestRecord = 65535;
constexpr unsigned kFlags = 7;

struct Sample {
    std::size_t index;
    std::uint32_t record;
    std::vector<std::uint8_t> key;
};

void ignoreSteps(std::uint64_t) {}

// Calls visit(index, entry) for the entries of all leaves that can be read.
void forLeafEntries(const FileView &view, const Shape &shape,
                    const std::function<bool(std::size_t, const KeyEntry &)> &visit) {
    const Survey survey = surveyNodes(view, shape, ignoreSteps);
    std::vector<std::uint8_t> node;
    for (std::size_t i = 0; i < survey.trees.size(); ++i) {
        const Tree &tree = survey.trees[i];
        if (tree.levels.empty()) continue;
        for (const TreeNode &leaf : tree.levels[0]) {
            if (!shape.readNode(view, leaf.number, node)) continue;
            EntryReader reader(node, tree.key, tree.serialWidth);
            KeyEntry entry;
            while (reader.next(entry))
                if (!visit(i, entry)) return;
        }
    }
}

class ShapeFinder {
  public:
    ShapeFinder(const FileView &view, const Shape &read, const std::optional<Layout> &layout)
        : view_(view), read_(read), layout_(layout) {}

    BestShape run() {
        BestShape best;
        best.shape = read_;
        best.settings = read_.headerRead || read_.header.genuine;
        if (layout_ && layout_->keysAlone() && !view_.hasData()) {
            best.shape.header.recordLength = best.shape.header.maximum = 0;
            best.shape.header.flags = 0;
        }
        findIndexes(best);
        sampleKeys(best.shape);
        findLengths(best);
        for (const KeyDesc &key : best.shape.indexes)
            if (!isPossibleKey(key, best.shape.header.recordLength))
                throw Failure(view_.name() + ": its indexes do not fit records of " +
                              std::to_string(best.shape.header.recordLength) + " bytes: describe them in " +
                              layoutPath(view_.name()));
        return best;
    }

  private:
    void takeIndexes(Shape &shape) const {
        shape.indexes = layout_->indexes;
        for (KeyDesc &key : shape.indexes) {
            key.keyLength = 0;
            key.rootNode = 0;
            for (int i = 0; i < key.nparts; ++i)
                key.keyLength = static_cast<short>(key.keyLength + key.parts[i].length);
        }
        shape.noPrimaryKey = !layout_->primary;
        shape.descriptionNodes.clear();
    }

    static bool sameParts(const KeyDesc &a, const KeyDesc &b) {
        if (a.nparts != b.nparts) return false;
        for (int i = 0; i < a.nparts; ++i) {
            const KeyPart &x = a.parts[i], &y = b.parts[i];
            if (x.start != y.start || x.length != y.length || x.type != y.type) return false;
        }
        return true;
    }

    void findIndexes(BestShape &best) {
        Shape &shape = best.shape;
        shape.header.flags &= kFlags;
        if (read_.indexesRead) return;
        Shape searched = read_;
        if (view_.hasIndex()) searchDescriptions(view_, searched);
        const bool found = !searched.indexes.empty() || searched.noPrimaryKey;
        if (layout_) {
            takeIndexes(shape);
            // Their trees, where they are there, tell which slots are records.
            for (KeyDesc &key : shape.indexes)
                for (const KeyDesc &other : searched.indexes)
                    if (sameParts(key, other)) key.rootNode = other.rootNode;
            best.said.push_back("indexes taken from " + layoutPath(view_.name()));
        } else if (found) {
            shape.indexes = searched.indexes;
            shape.noPrimaryKey = searched.noPrimaryKey;
            shape.descriptionNodes = searched.descriptionNodes;
            best.said.push_back(counted(shape.indexes.size()) +
                                " found in the index file without its list; one that is missing must be added again");
        } else {
            throw Failure(view_.name() + ": its indexes cannot be told any more: describe the records in " +
                          layoutPath(view_.name()) + " and repair it again");
        }
    }

    static std::string counted(std::size_t indexes) {
        return std::to_string(indexes) + (indexes == 1 ? " index" : " indexes");
    }

    void sampleKeys(const Shape &shape) {
        if (!view_.hasIndex() || shape.header.nodeSize == 0) return;
        Shape probe = shape;
        // Numbers that a wrong header forbids must not hide the leaves.
        probe.header.lastRecord = 0x7fffffff;
        std::size_t seen = 0;
        forLeafEntries(view_, probe, [&](std::size_t index, const KeyEntry &entry) {
            // Spread over the whole of the index.
            if (entry.pointer != 0 && seen++ % 7 == 0) {
                const auto length = static_cast<std::size_t>(shape.indexes[index].keyLength);
                samples_.push_back({index, entry.pointer, {entry.key, entry.key + length}});
            }
            return samples_.size() < kSampleKeys;
        });
    }

    // 1: everything speaks for the shape; below: parts of what was looked at do.
    double score(const Shape &shape, bool believed) const {
        DataSlots slots(view_, shape.header);
        if (slots.count() == 0) return view_.dataSize() == 0 ? 1 : 0;
        const std::uint64_t step = std::max<std::uint64_t>(1, slots.count() / kSampleSlots);
        std::uint64_t seen = 0, sound = 0, present = 0;
        for (std::uint64_t number = 1; number <= slots.count(); number += step, ++seen) {
            const std::uint8_t status = slots.status(slots.read(number));
            if (status == kSlotPresent) ++present;
            if (status == kSlotPresent || status == kSlotDeleted) ++sound;
        }
        double result = static_cast<double>(sound) / static_cast<double>(seen);
        // A length that is wrong hits a status byte once in a while, not always; damaged indexes speak against none.
        if (believed && present != 0 && seen >= kEnoughSlots && result >= kNearlyAll) return 1;
        // ByteSpan that are always zero look like deleted records.
        if (present == 0) result *= kLeastScore;
        std::uint64_t asked = 0, agreed = 0;
        for (const Sample &sample : samples_) {
            const ConstBytes slot = slots.read(sample.record);
            // A data file that was cut lacks slots; a length that is wrong makes them fewer.
            if (!slot.empty() || !believed) ++asked;
            if (slot.empty()) continue;
            const ConstBytes record = slot.first(static_cast<std::size_t>(shape.header.recordLength));
            if (slots.status(slot) != kSlotDeleted && keyOfRecord(shape.indexes[sample.index], record) == sample.key)
                ++agreed;
        }
        if (asked != 0) result *= static_cast<double>(agreed) / static_cast<double>(asked);
        return result;
    }

    struct Candidate {
        IndexHeader header;
        std::string said;
        bool longestKnown = true;
    };

    std::vector<Candidate> candidates(const Shape &shape) const {
        std::vector<Candidate> all;
        const IndexHeader &header = shape.header;
        if (read_.headerRead || header.genuine) all.push_back({header, "", true});
        if (layout_) {
            IndexHeader stated = header;
            stated.recordLength = layout_->minimum;
            stated.maximum = layout_->variable ? layout_->maximum : 0;
            stated.flags = (header.flags & 2U) | (layout_->masks ? 1U : 0) | (layout_->compressed ? 4U : 0);
            all.push_back({stated, "lengths taken from " + layoutPath(view_.name()), true});
        }
        for (const bool variable : {header.variable(), !header.variable()})
            for (const bool masks : {header.masks(), !header.masks()})
                addLengths(shape, variable, masks, all);
        return all;
    }

    // All lengths at which the slots' status bytes are what they must be.
    void addLengths(const Shape &shape, bool variable, bool masks, std::vector<Candidate> &all) const {
        int least = 1;
        for (const KeyDesc &key : shape.indexes)
            for (int i = 0; i < key.nparts; ++i)
                least = std::max(least, key.parts[i].start + key.parts[i].length);
        IndexHeader header = shape.header;
        header.flags = (header.flags & 6U) | (masks ? 1U : 0);
        if (!variable) header.flags &= 3U;
        // What is not known of the longest record is found out when the tails have been read.
        header.maximum = !variable ? 0 : shape.header.variable() ? shape.header.maximum : ISMAXVARLEN;
        for (int length = least; length <= (variable ? ISMAXVARLEN - 1 : kLongestRecord); ++length) {
            header.recordLength = length;
            if (view_.dataSize() % static_cast<std::uint64_t>(header.slotLength()) != 0) continue;
            if (view_.dataSize() == 0) return;
            all.push_back({header,
                           "records are " + std::to_string(length) + " bytes long" +
                               (variable ? " without their tails" : "") + ", as the data file shows",
                           !variable || (read_.headerRead && read_.header.variable())});
        }
    }

    void findLengths(BestShape &best) const {
        // Keys without records say nothing of slots.
        if (!view_.hasData()) return;
        double highest = 0;
        const Candidate *chosen = nullptr;
        const std::vector<Candidate> all = candidates(best.shape);
        for (const Candidate &candidate : all) {
            Shape shape = best.shape;
            shape.header = candidate.header;
            if (shape.header.recordLength == 0) continue;
            const bool believed = &candidate == all.data() && read_.headerRead;
            const double here = score(shape, believed);
            if (here <= highest) continue;
            highest = here;
            chosen = &candidate;
            if (highest == 1) break;
            // The index file is believed unless something else is clearly better.
            if (believed) highest = std::min(1.0, highest + kTrust);
        }
        if (chosen == nullptr || highest < kLeastScore)
            throw Failure(view_.name() + ": the lengths of its records cannot be told any more: describe them in " +
                          layoutPath(view_.name()) + " and repair it again");
        best.shape.header = chosen->header;
        best.longestKnown = chosen->longestKnown;
        IndexHeader &header = best.shape.header;
        // The flags stand at the header's end. Where that has been hit, nothing there says how tails are stored.
        if (chosen == all.data() && header.variable() && !header.genuine) {
            best.longestKnown = layout_.has_value();
            if (layout_) header.flags = (header.flags & ~4U) | (layout_->compressed ? 4U : 0);
        }
        if (!chosen->said.empty()) best.said.push_back(chosen->said);
    }

    static constexpr std::uint64_t kEnoughSlots = 8;
    static constexpr double kNearlyAll = 0.98;
    static constexpr double kTrust = 0.2;
    static constexpr double kLeastScore = 0.5;

    const FileView &view_;
    const Shape &read_;
    const std::optional<Layout> &layout_;
    std::vector<Sample> samples_;
};

}  // namespace

BestShape findShape(const FileView &view, const Shape &read, const std::optional<Layout> &layout) {
    return ShapeFinder(view, read, layout).run();
}

std::vector<bool> confirmRecords(const FileView &view, const Shape &shape, const std::vector<std::uint64_t> &numbers) {
    std::vector<bool> confirmed(numbers.size());
    if (numbers.empty() || !view.hasIndex()) return confirmed;
    DataSlots slots(view, shape.header);
    Shape probe = shape;
    probe.header.lastRecord = 0x7fffffff;
    forLeafEntries(view, probe, [&](std::size_t index, const KeyEntry &entry) {
        const auto at = std::lower_bound(numbers.begin(), numbers.end(), entry.pointer);
        if (at == numbers.end() || *at != entry.pointer) return true;
        const ConstBytes slot = slots.read(entry.pointer);
        if (slot.empty()) return true;
        const KeyDesc &key = shape.indexes[index];
        const ConstBytes record = slot.first(static_cast<std::size_t>(shape.header.recordLength));
        const std::vector<std::uint8_t> own = keyOfRecord(key, record);
        if (std::equal(own.begin(), own.end(), entry.key))
            confirmed[static_cast<std::size_t>(at - numbers.begin())] = true;
        return true;
    });
    return confirmed;
}

}  // namespace tool
