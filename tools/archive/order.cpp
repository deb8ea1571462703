#include "archive/order.h"

#include "base/failure.h"
#include "base/key_image.h"
#include "base/progress.h"
#include "base/scan.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <set>

namespace tool {

namespace {

constexpr std::uint32_t kNone = 0xffffffff;
constexpr std::size_t kMaskBits = 32;
constexpr unsigned kTypeBits = 0x3f;

// The entries of an index, in its order.
struct Entries {
    std::vector<std::uint32_t> numbers;  // of the records; places in the list of all of them, once there is one
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
        if (!order_.byNumber) arrange();
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

    void arrange() {
        Scan scan(file_, 0);
        while (scan.next())
            numbers_.push_back(scan.number());
        for (const std::size_t i : ordered_)
            makePlaces(i);
        // Those that cannot be put right afterwards come first.
        std::vector<std::size_t> kept;
        std::vector<std::size_t> moved;
        std::stable_partition(ordered_.begin(), ordered_.end(), [this](auto i) { return !isMovable(i); });
        for (const std::size_t i : ordered_) {
            kept.push_back(i);
            if (sort(kept)) continue;
            kept.pop_back();
            moved.push_back(i);
        }
        sort(kept);
        for (const std::size_t i : moved) {
            if (isMovable(i))
                move(i);
            else
                order_.notes.push_back(index(i) + " does not keep its order among equal keys");
        }
        for (const std::uint32_t place : sorted_)
            order_.numbers.push_back(numbers_[place]);
    }

    void makePlaces(std::size_t i) {
        for (std::uint32_t &number : entries_[i].numbers) {
            const auto at = std::lower_bound(numbers_.begin(), numbers_.end(), number);
            if (at == numbers_.end() || *at != number) leadsNowhere(i);
            number = static_cast<std::uint32_t>(at - numbers_.begin());
        }
    }

    bool isMovable(std::size_t i) const {
        if (masks_) return true;
        std::vector<KeyDesc> others;
        for (const std::size_t other : ordered_)
            if (other != i) others.push_back(keys_[other]);
        return !ownBytes(keys_[i], others).empty();
    }

    // Sorts all records so that each stands behind its equals before it in these indexes, lower numbers first where
    // there is a choice. False where there is a circle.
    bool sort(const std::vector<std::size_t> &indexes) {
        const std::size_t count = numbers_.size();
        std::vector<std::uint32_t> before(count);  // how many have to come before
        std::vector<std::vector<std::uint32_t>> next;
        for (const std::size_t i : indexes) {
            const Entries &entries = entries_[i];
            std::vector<std::uint32_t> &follower = next.emplace_back(count, kNone);
            for (std::size_t at = 1; at < entries.numbers.size(); ++at) {
                if (!entries.repeats[at]) continue;
                follower[entries.numbers[at - 1]] = entries.numbers[at];
                ++before[entries.numbers[at]];
            }
        }
        std::priority_queue<std::uint32_t, std::vector<std::uint32_t>, std::greater<>> ready;
        for (std::uint32_t place = 0; place < count; ++place)
            if (before[place] == 0) ready.push(place);
        sorted_.clear();
        while (!ready.empty()) {
            const std::uint32_t place = ready.top();
            ready.pop();
            sorted_.push_back(place);
            for (const auto &follower : next)
                if (follower[place] != kNone && --before[follower[place]] == 0) ready.push(follower[place]);
        }
        return sorted_.size() == count;
    }

    // Those that stand at the beginning of their equals and are written in that order stay there.
    void move(std::size_t i) {
        std::vector<std::uint32_t> turn(numbers_.size());
        for (std::uint32_t at = 0; at < sorted_.size(); ++at)
            turn[sorted_[at]] = at;
        const Entries &entries = entries_[i];
        bool stays = true;
        for (std::size_t at = 0; at < entries.numbers.size(); ++at) {
            const std::uint32_t place = entries.numbers[at];
            stays = !entries.repeats[at] || (stays && turn[entries.numbers[at - 1]] < turn[place]);
            if (!stays) order_.moves.push_back({static_cast<int>(i), numbers_[place]});
        }
    }

    const OpenFile &file_;
    const std::vector<KeyDesc> &keys_;
    bool masks_;
    std::size_t first_;  // index that may be added: the primary key is there from the beginning
    std::vector<Entries> entries_;
    std::set<std::size_t> astray_;        // indexes that do not follow the masks
    std::vector<std::size_t> ordered_;    // indexes whose order the writing decides
    std::vector<std::uint32_t> numbers_;  // all records, ascending: places in it are what is sorted
    std::vector<std::uint32_t> sorted_;
    WritingOrder order_;
};

}  // namespace

WritingOrder findWritingOrder(const OpenFile &file, const std::vector<KeyDesc> &keys) {
    return Finder(file, keys).find();
}

// Of a text the first byte only: what stands behind a NUL does not count.
std::vector<int> ownBytes(const KeyDesc &key, const std::vector<KeyDesc> &others) {
    std::set<int> own;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const int length = (part.type & kTypeBits) == STRINGTYPE ? std::min<int>(part.length, 1) : part.length;
        for (int at = 0; at < length; ++at)
            own.insert(part.start + at);
    }
    for (const KeyDesc &other : others)
        for (int i = 0; i < other.nparts; ++i)
            for (int at = 0; at < other.parts[i].length; ++at)
                own.erase(other.parts[i].start + at);
    return {own.begin(), own.end()};
}

}  // namespace tool
