#include "archive/order.h"

#include "base/failure.h"
#include "base/key_image.h"
#include "base/progress.h"
#include "base/scan.h"

#include <algorithm>
#include <bit>
#include <queue>
#include <set>
#include <utility>

namespace tool {

namespace {

constexpr std::uint32_t kNone = 0xffffffff;
constexpr std::size_t kMaskBits = 32;
constexpr unsigned kTypeBits = 0x3f;
constexpr int kDoubleSize = 8;
constexpr int kFloatSize = 4;

// The entries of an index, in its order.
struct Entries {
    std::vector<std::uint32_t> numbers;  // of the records
    std::vector<bool> repeats;           // has the entry the key of that before it?
    bool byNumber = true;                // do equal keys stand in the order of their records' numbers?
};

// A record, and the indexes that it is in, a bit each.
struct Membership {
    std::uint32_t number;
    std::uint16_t written;  // when it is written with its mask
    std::uint16_t added;    // when the index is added
    std::uint16_t found;
};

bool allowsDuplicates(const KeyDesc &key) { return (key.flags & ISDUPS) != 0; }

// Does every other value of the byte at this offset of the part make another key?
bool isFit(const KeyPart &part, int at) {
    const int least = std::endian::native == std::endian::little ? 0 : 1;
    switch (part.type & kTypeBits) {
    case STRINGTYPE: return at == 0;
    case DOUBLETYPE: return at % kDoubleSize == least * (kDoubleSize - 1);
    case FLOATTYPE: return at % kFloatSize == least * (kFloatSize - 1);
    default: return true;
    }
}

std::string index(std::size_t i) { return "index " + std::to_string(i + 1); }

Entries readEntries(const OpenFile &file, std::size_t i, const KeyDesc &key, Progress &progress) {
    Entries entries;
    const auto length = static_cast<std::size_t>(keyLength(key));
    std::string before;
    Scan scan(file, static_cast<int>(i) + 1);
    while (scan.next()) {
        const std::string_view found(static_cast<const char *>(isseekey(file.fd())), length);
        const bool repeats = !entries.numbers.empty() && found == before;
        if (repeats && scan.number() < entries.numbers.back()) entries.byNumber = false;
        if (!repeats) before = found;
        entries.numbers.push_back(scan.number());
        entries.repeats.push_back(repeats);
        progress.step();
    }
    return entries;
}

class Finder {
  public:
    Finder(const OpenFile &file, const std::vector<KeyDesc> &keys)
        : file_(file), keys_(keys), masks_(file.hasMasks()), first_(file.hasPrimaryKey() ? 1 : 0),
          entries_(keys.size()) {
        order_.fillings.assign(keys.size(), Filling::kWritten);
    }

    WritingOrder find() {
        readAll();
        const std::size_t added = masks_ ? firstAddedByMasks() : firstAdded();
        std::fill(order_.fillings.begin() + static_cast<std::ptrdiff_t>(added), order_.fillings.end(), Filling::kAdded);
        for (std::size_t i = 0; i < added; ++i)
            if (allowsDuplicates(keys_[i]) && !astray_.contains(i)) ordered_.push_back(i);
        order_.byNumber = std::all_of(ordered_.begin(), ordered_.end(), [&](auto i) { return entries_[i].byNumber; });
        if (!order_.byNumber) schedule();
        return std::move(order_);
    }

  private:
    void readAll() {
        std::vector<std::size_t> read;
        for (std::size_t i = 0; i < keys_.size(); ++i)
            if (masks_ || allowsDuplicates(keys_[i])) read.push_back(i);
        const auto records = static_cast<std::uint64_t>(file_.recordCount());
        Progress progress("reading the indexes of " + file_.name(), read.size() * records);
        for (const std::size_t i : read)
            entries_[i] = readEntries(file_, i, keys_[i], progress);
    }

    // The indexes from the result on come out right when they are added at the end.
    std::size_t firstAdded() const {
        std::size_t added = keys_.size();
        while (added > first_ && entries_[added - 1].byNumber)
            --added;
        return added;
    }

    // In files with masks an index that is added takes other bits than one that is there when the records are written.
    std::size_t firstAddedByMasks() {
        const std::vector<Membership> all = memberships();
        const auto differ = [&all](std::size_t i, std::uint16_t Membership::*expected) {
            return std::any_of(all.begin(), all.end(), [=](const Membership &record) {
                return ((record.found ^ record.*expected) >> i & 1) != 0;
            });
        };
        std::size_t added = 0;
        while (added < keys_.size() && !differ(added, &Membership::written))
            ++added;
        bool sound = added >= first_;
        for (std::size_t i = added; i < keys_.size(); ++i)
            sound = sound && entries_[i].byNumber && !differ(i, &Membership::added);
        if (sound) return added;
        for (std::size_t i = added; i < keys_.size(); ++i) {
            if (!differ(i, &Membership::written)) continue;
            astray_.insert(i);
            order_.notes.push_back(index(i) + " has other records than their masks say; loading makes it follow them");
        }
        return keys_.size();
    }

    std::vector<Membership> memberships() {
        std::vector<Membership> all;
        Scan scan(file_, 0);
        while (scan.next()) {
            Membership record = {scan.number(), 0, 0, 0};
            for (std::size_t i = 0; i < keys_.size(); ++i) {
                const unsigned bit = isNullKey(keys_[i], keyImage(keys_[i], scan.record())) ? 0U : 1U << i;
                if ((scan.mask() >> i & 1U) == 0) record.written |= static_cast<std::uint16_t>(bit);
                if ((scan.mask() >> ((i + kMaskBits - 1) % kMaskBits) & 1U) == 0)
                    record.added |= static_cast<std::uint16_t>(bit);
            }
            all.push_back(record);
        }
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            for (const std::uint32_t number : entries_[i].numbers) {
                const auto at = std::lower_bound(all.begin(), all.end(), number,
                                                 [](const Membership &record, auto n) { return record.number < n; });
                if (at == all.end() || at->number != number) leadsNowhere(i);
                at->found |= static_cast<std::uint16_t>(1U << i);
            }
        }
        return all;
    }

    [[noreturn]] void leadsNowhere(std::size_t i) const {
        throw Failure(file_.name() + ": " + index(i) + " leads to records that are not there");
    }

    // What is known of a record's entries. Entries among equals are settled from the last one on.
    struct Waiting {
        IndexSet unsettled = 0;  // no step found so far puts the entry where it is
        IndexSet blocked = 0;    // neither settled nor the last one unsettled among its equals
        IndexSet behind = 0;     // a higher number stands before the entry among its equals: it may have been moved
        bool written = false;
    };

    void schedule() {
        Scan scan(file_, 0);
        while (scan.next())
            numbers_.push_back(scan.number());
        records_.resize(numbers_.size());
        before_.resize(keys_.size());
        for (const std::size_t i : ordered_)
            startIndex(i);
        findSets();
        for (std::uint32_t place = 0; place < numbers_.size(); ++place)
            consider(place);
        while (written_ < numbers_.size()) {
            if (!writing_.empty())
                write();
            else if (!moving_.empty())
                move();
            else
                giveUp();
        }
        std::reverse(order_.steps.begin(), order_.steps.end());
    }

    void startIndex(std::size_t i) {
        const auto bit = static_cast<IndexSet>(1U << i);
        const Entries &entries = entries_[i];
        std::vector<std::uint32_t> &before = before_[i];
        before.assign(numbers_.size(), kNone);
        std::uint32_t last = kNone;
        std::uint32_t highest = 0;
        for (std::size_t at = 0; at < entries.numbers.size(); ++at) {
            const auto found = std::lower_bound(numbers_.begin(), numbers_.end(), entries.numbers[at]);
            if (found == numbers_.end() || *found != entries.numbers[at]) leadsNowhere(i);
            const auto place = static_cast<std::uint32_t>(found - numbers_.begin());
            if ((records_[place].unsettled & bit) != 0)
                throw Failure(file_.name() + ": " + index(i) + " has a record twice");
            records_[place].unsettled |= bit;
            if (entries.repeats[at]) {
                before[place] = last;
                records_[last].blocked |= bit;
                if (highest > place) records_[place].behind |= bit;
            }
            highest = entries.repeats[at] ? std::max(highest, place) : place;
            last = place;
        }
        entries_[i] = {};
    }

    void findSets() {
        if (masks_) {
            for (const std::size_t i : ordered_)
                sets_.push_back(static_cast<IndexSet>(1U << i));
            return;
        }
        for (const auto &[set, bytes] : movableSets(keys_, order_.fillings))
            sets_.push_back(set);
    }

    // Enters a record among those that a step may be found for.
    void consider(std::uint32_t place) {
        const Waiting &record = records_[place];
        if (record.written) return;
        if (record.blocked == 0)
            writing_.push(place);
        else if (const IndexSet set = movedSet(record); set != 0)
            moving_.emplace((set & record.unsettled & record.behind) != 0, place);
    }

    // A set of indexes in which the record's entries may be moved now and are to be, if there is a choice one in which
    // they are likely to have been; 0 for none.
    IndexSet movedSet(const Waiting &record) const {
        IndexSet found = 0;
        for (const IndexSet set : sets_) {
            if ((set & record.blocked) != 0 || (set & record.unsettled) == 0) continue;
            if ((set & record.unsettled & record.behind) != 0) return set;
            found = set;
        }
        return found;
    }

    void write() {
        const std::uint32_t place = writing_.top();
        writing_.pop();
        Waiting &record = records_[place];
        if (std::exchange(record.written, true)) return;
        ++written_;
        order_.steps.push_back({numbers_[place], 0});
        settle(place, record.unsettled);
    }

    void move() {
        const auto [likely, place] = moving_.top();
        moving_.pop();
        const Waiting &record = records_[place];
        const IndexSet set = record.written ? IndexSet{0} : movedSet(record);
        if (set == 0) return;
        order_.steps.push_back({numbers_[place], set});
        settle(place, static_cast<IndexSet>(set & record.unsettled));
        consider(place);
    }

    void settle(std::uint32_t place, IndexSet set) {
        records_[place].unsettled &= static_cast<IndexSet>(~set);
        for (const std::size_t i : ordered_) {
            const std::uint32_t before = (set >> i & 1) != 0 ? before_[i][place] : kNone;
            if (before == kNone) continue;
            records_[before].blocked &= static_cast<IndexSet>(~(1U << i));
            consider(before);
        }
    }

    // No order of steps does it: an index less.
    void giveUp() {
        const auto isOpen = [this](std::size_t i) {
            return std::any_of(records_.begin(), records_.end(),
                               [i](const Waiting &record) { return (record.blocked >> i & 1) != 0; });
        };
        const std::size_t lost = *std::find_if(ordered_.rbegin(), ordered_.rend(), isOpen);
        order_.notes.push_back(index(lost) + " does not keep its order among equal keys");
        const auto rest = static_cast<IndexSet>(~(1U << lost));
        for (std::uint32_t place = 0; place < records_.size(); ++place) {
            records_[place].unsettled &= rest;
            records_[place].blocked &= rest;
            consider(place);
        }
    }

    const OpenFile &file_;
    const std::vector<KeyDesc> &keys_;
    bool masks_;
    std::size_t first_;  // index that may be added: the primary key is there from the beginning
    std::vector<Entries> entries_;
    std::set<std::size_t> astray_;        // indexes that do not follow the masks
    std::vector<std::size_t> ordered_;    // indexes whose order the writing decides
    std::vector<std::uint32_t> numbers_;  // all records, ascending; the rest speaks of places in it
    std::vector<Waiting> records_;
    std::vector<std::vector<std::uint32_t>> before_;  // in each index: who stands before it among its equals
    std::vector<IndexSet> sets_;                      // in which entries can be moved
    std::priority_queue<std::uint32_t> writing_;      // records that may be written, the highest number first
    // That have an entry that may be moved; first those that are likely to have been.
    std::priority_queue<std::pair<bool, std::uint32_t>> moving_;
    std::size_t written_ = 0;
    WritingOrder order_;
};

}  // namespace

WritingOrder findWritingOrder(const OpenFile &file, const std::vector<KeyDesc> &keys) {
    return Finder(file, keys).find();
}

// Of a text only the first byte is sure to count, what stands behind a NUL does not. Of a floating-point number the
// least significant one makes no other number of it that could not be found again.
std::map<IndexSet, std::vector<int>> movableSets(const std::vector<KeyDesc> &keys,
                                                 const std::vector<Filling> &fillings) {
    struct Byte {
        IndexSet indexes = 0;
        bool unique = false;
        bool fit = true;
    };
    std::map<int, Byte> bytes;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (fillings[i] != Filling::kWritten) continue;
        for (int p = 0; p < keys[i].nparts; ++p) {
            const KeyPart &part = keys[i].parts[p];
            for (int at = 0; at < part.length; ++at) {
                Byte &byte = bytes[part.start + at];
                if (allowsDuplicates(keys[i]))
                    byte.indexes |= static_cast<IndexSet>(1U << i);
                else
                    byte.unique = true;
                if (!isFit(part, at)) byte.fit = false;
            }
        }
    }
    std::map<IndexSet, std::vector<int>> sets;
    for (const bool unique : {false, true})
        for (const auto &[offset, byte] : bytes)
            if (byte.fit && byte.unique == unique && byte.indexes != 0) sets[byte.indexes].push_back(offset);
    return sets;
}

}  // namespace tool
