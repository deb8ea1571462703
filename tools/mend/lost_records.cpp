#include "mend/lost_records.h"

#include "index/data_slots.h"
#include "index/survey.h"
#include "storage/node_layout.h"

#include <algorithm>
#include <vector>

namespace tool {

namespace {

// An entry that leads to a deleted slot.
struct Lead {
    std::uint32_t record;
    std::vector<std::uint8_t> key;
};

class Finder {
  public:
    Finder(const FileView &view, const Shape &shape) : view_(view), shape_(shape) {
        // A number that a wrong header forbids must not hide a leaf.
        shape_.header.lastRecord = 0x7fffffff;
    }

    LostRecords run() {
        const Survey survey = surveyNodes(view_, shape_, [](std::uint64_t) {});
        findDeleted();
        leaveOutFree(survey);
        for (const Tree &tree : survey.trees)
            follow(tree);
        LostRecords lost;
        for (const State state : slots_) {
            if (state == State::kGone) ++lost.gone;
            if (state == State::kMarked) ++lost.deleted;
        }
        return lost;
    }

  private:
    enum class State : std::uint8_t { kOther, kDeleted, kMarked, kGone };

    void findDeleted() {
        DataSlots data(view_, shape_.header);
        slots_.assign(data.count() + 1, State::kOther);
        for (std::uint64_t number = 1; number <= data.count(); ++number) {
            const ConstBytes slot = data.read(number);
            if (!slot.empty() && data.status(slot) == kSlotDeleted) slots_[number] = State::kDeleted;
        }
    }

    void leaveOutFree(const Survey &survey) {
        std::vector<std::uint8_t> node;
        for (std::size_t i = 0; i < survey.nodes.size(); ++i) {
            if (survey.nodes[i].kind != NodeKind::kRecordList || !shape_.readNode(view_, i + 1, node)) continue;
            const int end = std::min(node::used(node.data()), static_cast<int>(node.size()));
            for (int at = node::kListStart; at + 4 <= end; at += 4) {
                const std::uint32_t number = ld_long(&node[static_cast<std::size_t>(at)]);
                if (number < slots_.size()) slots_[number] = State::kOther;
            }
        }
    }

    std::vector<Lead> leadsOf(const Tree &tree) const {
        std::vector<Lead> leads;
        if (tree.levels.empty()) return leads;
        const auto length = static_cast<std::size_t>(tree.key.keyLength);
        std::vector<std::uint8_t> node;
        for (const TreeNode &leaf : tree.levels[0]) {
            if (!shape_.readNode(view_, leaf.number, node)) continue;
            EntryReader reader(node, tree.key, tree.serialWidth);
            KeyEntry entry;
            while (reader.next(entry))
                if (entry.pointer < slots_.size() && slots_[entry.pointer] != State::kOther)
                    leads.push_back({entry.pointer, {entry.key, entry.key + length}});
        }
        // As they lie in the data file, which is read faster so.
        std::sort(leads.begin(), leads.end(), [](const Lead &a, const Lead &b) { return a.record < b.record; });
        return leads;
    }

    void follow(const Tree &tree) {
        DataSlots data(view_, shape_.header);
        for (const Lead &lead : leadsOf(tree)) {
            const ConstBytes slot = data.read(lead.record);
            if (slot.empty()) continue;
            State &state = slots_[lead.record];
            // One index that finds its key is enough.
            if (keyOfRecord(tree.key, slot.first(static_cast<std::size_t>(shape_.header.recordLength))) == lead.key)
                state = State::kMarked;
            else if (state == State::kDeleted)
                state = State::kGone;
        }
    }

    const FileView &view_;
    Shape shape_;
    std::vector<State> slots_;  // by record numbers
};

}  // namespace

LostRecords findLostRecords(const FileView &view, const Shape &shape) {
    if (!view.hasIndex() || !view.hasData() || shape.header.recordLength == 0 || shape.header.nodeSize == 0) return {};
    return Finder(view, shape).run();
}

}  // namespace tool
