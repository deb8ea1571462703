#include "file_check.h"

#include "squash.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace testing_support {

namespace {

constexpr int kLevelFreeList = 127;
constexpr int kLevelDescription = 254;
constexpr int kVariableLimit = 32512;

class Checker {
  public:
    Checker(FileReader &reader, const CheckOptions &options)
        : in_(reader), options_(options),
          tails_(
              reader, [this](std::uint32_t number, const std::string &owner) { return claim(number, owner); },
              [this](const std::string &text) { problem(text); }) {}

    CheckReport run() {
        if (!in_.refresh(&report_.problems)) return std::move(report_);
        // No more than the file can hold: the header's numbers may be damaged.
        nodes_ = std::min(std::int64_t{in_.header().lastNode}, in_.indexFileSize() / in_.header().nodeSize);
        owner_.assign(static_cast<std::size_t>(nodes_) + 1, "");
        checkHeader();
        checkDescriptions();
        checkAudit();
        report_.leaves.resize(in_.indexes().size());
        for (std::size_t i = 0; i < in_.indexes().size(); ++i)
            if (sound_[i]) checkTree(i);
        std::vector<std::uint32_t> freeNodes = checkFreeList(in_.header().indexFreeHead, true);
        std::vector<std::uint32_t> freeRecords = checkFreeList(in_.header().dataFreeHead, false);
        for (std::uint32_t number : freeNodes)
            claim(number, "free number");
        checkSlots(freeRecords);
        report_.freeRecords = std::move(freeRecords);
        tails_.finish();
        report_.tailCounts = tails_.counts();
        for (std::size_t n = 1; n < owner_.size(); ++n)
            if (owner_[n].empty()) problem("node " + std::to_string(n) + " belongs to nothing");
        report_.remnantNodes = std::count(owner_.begin(), owner_.end(), "remnant node");
        return std::move(report_);
    }

  private:
    void problem(const std::string &text) { report_.problems.push_back(text); }

    // Every node has one owner.
    bool claim(std::uint32_t number, const std::string &owner) {
        if (number == 0 || number >= owner_.size()) {
            problem(owner + ": node " + std::to_string(number) + " out of range");
            return false;
        }
        if (!owner_[number].empty()) {
            problem("node " + std::to_string(number) + " is both " + owner_[number] + " and " + owner);
            return false;
        }
        owner_[number] = owner;
        return true;
    }

    void checkHeader() {
        const FileHeader &h = in_.header();
        Bytes b;
        in_.node(1, &b);
        claim(1, "header");
        static const std::uint8_t start[] = {0xfe, 0x53, 0x02, 0x02, 0x04, 0x04};
        if (std::memcmp(b.data(), start, sizeof start) != 0) problem("header: first bytes");
        auto size = static_cast<std::size_t>(h.nodeSize);
        if (std::memcmp(b.data() + size - 4, "kjsk", 4) != 0) problem("header: trailer");
        if (h.nodeSize != 1024) problem("header: node size " + std::to_string(h.nodeSize));
        if (b[10] != 7 || b[11] != 4 || b[54] != 8) problem("header: fixed bytes");
        bool reserved = b[12] == 0 && b[53] == 0;
        for (std::size_t i = 19; i < 25; ++i)
            reserved = reserved && b[i] == 0;
        for (std::size_t i = 55; i < 59; ++i)
            reserved = reserved && b[i] == 0;
        for (std::size_t i = h.variable() ? 81 : 61; i < size - 16; ++i)
            reserved = reserved && b[i] == 0;
        if (!reserved) problem("header: reserved bytes are not zero");
        if (h.variable() &&
            (h.recordLength == 0 || h.variableMaximum <= h.recordLength || h.variableMaximum >= kVariableLimit))
            problem("header: lengths " + std::to_string(h.recordLength) + " to " + std::to_string(h.variableMaximum));
        if ((h.flags & ~7U) != 0 || (h.compressed() && !h.variable()))
            problem("header: flags " + std::to_string(h.flags));
        int found = static_cast<int>(in_.indexes().size()) + (in_.noPrimaryKey() ? 1 : 0);
        if (h.indexCount != found)
            problem("header: " + std::to_string(h.indexCount) + " indexes, descriptions of " + std::to_string(found));
        if (in_.indexFileSize() != std::int64_t{h.lastNode} * h.nodeSize)
            problem("index file: " + std::to_string(in_.indexFileSize()) + " bytes for " + std::to_string(h.lastNode) +
                    " nodes");
        if (h.uniqueId > 0x7fffffffU) problem("header: unique id out of range");
    }

    void checkDescriptions() {
        for (std::uint32_t number : in_.descriptionNodes()) {
            std::string name = "description node " + std::to_string(number);
            claim(number, "description node");
            Bytes b;
            in_.node(number, &b);
            checkFrame(name, b, static_cast<int>(be16(b.data())), 0xff, kLevelDescription);
        }
        for (const IndexSpec &spec : in_.indexes()) {
            std::string name = "description (" + describe(spec) + ")";
            std::size_t before = report_.problems.size();
            if (spec.parts.size() > 10 || spec.keyLength < 1 || spec.keyLength > 128 || (spec.flags & 0xffc0U) != 0)
                problem(name + ": limits");
            for (const PartSpec &part : spec.parts) {
                if (part.code() > 7 || part.length % unitOf(part.code()) != 0) problem(name + ": part type or length");
                if (in_.header().recordLength != 0 && part.start + part.length > in_.header().recordLength)
                    problem(name + ": part outside the record");
            }
            sound_.push_back(report_.problems.size() == before);
        }
    }

    void checkAudit() {
        std::uint32_t number = in_.header().auditNode;
        if (number == 0) return;
        std::string name = "audit settings node " + std::to_string(number);
        Bytes b;
        if (!claim(number, "audit settings node")) return;
        std::string wrong = in_.node(number, &b) ? readAuditSettings(b, &report_.audit) : "cannot be read";
        if (!wrong.empty()) problem(name + ": " + wrong);
    }

    // Zero bytes behind used, and the two mark bytes.
    void checkFrame(const std::string &name, const Bytes &b, int used, int mark, int level) {
        std::size_t end = b.size();
        for (auto i = static_cast<std::size_t>(used); i < end - 3; ++i)
            if (b[i] != 0) {
                problem(name + ": byte " + std::to_string(i) + " behind used " + std::to_string(used) + " is not zero");
                break;
            }
        if (b[end - 3] != mark || b[end - 1] != 0) problem(name + ": mark bytes");
        if (level >= 0 && b[end - 2] != level) problem(name + ": level byte " + std::to_string(b[end - 2]));
    }

    void checkTree(std::size_t index) {
        const IndexSpec &spec = in_.indexes()[index];
        std::vector<TreeEntry> &leaves = report_.leaves[index];
        int top = walk(index, spec.root, -1, nullptr, nullptr);
        report_.levels = std::max(report_.levels, top + 1);
        for (std::size_t i = 1; i < leaves.size(); ++i) {
            const TreeEntry &a = leaves[i - 1];
            const TreeEntry &b = leaves[i];
            int order = compareKeys(spec, a.key, b.key);
            std::string where = "index " + std::to_string(index) + ": records " + std::to_string(a.pointer) + " and " +
                                std::to_string(b.pointer);
            if (order > 0)
                problem(where + " out of order");
            else if (order == 0 && !spec.duplicates())
                problem(where + " have one key");
            else if (order == 0 && options_.serials && a.serial >= b.serial)
                problem(where + ": serials " + std::to_string(a.serial) + ", " + std::to_string(b.serial));
        }
    }

    // Checks a node and what hangs below it; returns its level. Its keys lie between low and high, where
    // given; high counts with its serial.
    int walk(std::size_t index, std::uint32_t number, int wanted, const TreeEntry *low, const TreeEntry *high) {
        const IndexSpec &spec = in_.indexes()[index];
        std::string name = "index " + std::to_string(index) + " node " + std::to_string(number);
        if (!claim(number, "tree node of index " + std::to_string(index))) return 0;
        ++report_.nodes;
        TreeNode node = in_.tree(spec, number);
        if (!node.problem.empty()) {
            problem(name + ": " + node.problem);
            return 0;
        }
        Bytes bytes;
        in_.node(number, &bytes);
        checkFrame(name, bytes, node.used, 0, wanted);
        Bytes should = in_.encode(spec, node.entries);
        if (static_cast<int>(should.size()) != node.used - 2 ||
            !std::equal(should.begin(), should.end(), bytes.begin() + 2))
            problem(name + ": entries are not stored in their shortest form");
        if (wanted >= 0 && node.entries.empty()) problem(name + ": empty, but not the root");
        if (wanted < 0 && node.entries.empty() && node.level != 0)
            problem(name + ": empty root of level " + std::to_string(node.level));
        if (node.level > 40) {
            problem(name + ": level " + std::to_string(node.level));
            return 0;
        }
        for (std::size_t i = 0; i < node.entries.size(); ++i) {
            const TreeEntry &entry = node.entries[i];
            bool last = i + 1 == node.entries.size();
            checkEntry(spec, name, node, i, low, high);
            if (node.level == 0) {
                report_.leaves[index].push_back(entry);
                continue;
            }
            const TreeEntry *below = i > 0 ? &node.entries[i - 1] : low;
            walk(index, entry.pointer, node.level - 1, below, last ? high : &entry);
        }
        return node.level;
    }

    // Serials bind the entries of leaves only: a separator made by appending carries the serial of the entry
    // before it, which belongs to another key and may lie above that of an equal separator behind it.
    void checkEntry(const IndexSpec &spec, const std::string &name, const TreeNode &node, std::size_t i,
                    const TreeEntry *low, const TreeEntry *high) {
        const TreeEntry &entry = node.entries[i];
        bool lowerBoundOnly = node.level > 0 && i + 1 == node.entries.size();
        std::string where = name + " entry " + std::to_string(i);
        if (entry.pointer == 0 && in_.header().recordLength != 0) problem(where + ": points to 0");
        if (i > 0 && node.level > 0) {
            int order = compareKeys(spec, node.entries[i - 1].key, entry.key);
            if (order > 0 && !lowerBoundOnly) problem(where + ": out of order");
            if (order > 0 && lowerBoundOnly) problem(where + ": last key below the one before");
        }
        if (low != nullptr && !lowerBoundOnly && compareKeys(spec, low->key, entry.key) > 0)
            problem(where + ": below the subtree's range");
        if (high != nullptr && !lowerBoundOnly) {
            int order = compareKeys(spec, entry.key, high->key);
            if (order > 0 || (order == 0 && node.level == 0 && options_.serials && entry.serial > high->serial))
                problem(where + ": above the subtree's range");
        }
    }

    // The numbers stored in a list's nodes, in the order in which they will be used; the nodes themselves are claimed.
    std::vector<std::uint32_t> checkFreeList(std::uint32_t head, bool ofNodes) {
        std::vector<std::uint32_t> numbers;
        std::string list = ofNodes ? "index free list" : "data free list";
        for (std::uint32_t number = head; number != 0;) {
            std::string name = list + " node " + std::to_string(number);
            if (!claim(number, list + " node")) break;
            Bytes b;
            if (!in_.node(number, &b)) {
                problem(name + ": cannot be read");
                break;
            }
            int used = static_cast<int>(be16(b.data()));
            int capacity = in_.header().nodeSize - 4;
            if (used < (ofNodes ? 6 : 10) || used > capacity || (used - 6) % 4 != 0) {
                problem(name + ": used " + std::to_string(used));
                break;
            }
            checkFrame(name, b, used, 0xff, kLevelFreeList);
            if (number != head && used + 4 <= capacity) problem(name + ": not the head, yet not full");
            for (int at = used - 4; at >= 6; at -= 4)
                numbers.push_back(be32(b.data() + at));
            number = be32(b.data() + 2);
        }
        return numbers;
    }

    void checkSlots(const std::vector<std::uint32_t> &freeRecords) {
        const FileHeader &h = in_.header();
        if (h.recordLength == 0) {
            if (in_.dataFileSize() >= 0) problem("data file beside a file without records");
            if (!freeRecords.empty() || h.lastRecord != 0) problem("record numbers in a file without records");
            return;
        }
        if (in_.dataFileSize() != std::int64_t{h.lastRecord} * in_.slotLength())
            problem("data file: " + std::to_string(in_.dataFileSize()) + " bytes for " + std::to_string(h.lastRecord) +
                    " slots of " + std::to_string(in_.slotLength()));
        auto slots = static_cast<std::uint32_t>(
            std::min(std::int64_t{h.lastRecord}, std::max<std::int64_t>(0, in_.dataFileSize() / in_.slotLength())));
        std::vector<int> freed(std::size_t{slots} + 1, 0);
        for (std::uint32_t number : freeRecords) {
            if (number == 0 || number > slots)
                problem("data free list: number " + std::to_string(number) + " out of range");
            else if (++freed[number] > 1)
                problem("data free list: number " + std::to_string(number) + " twice");
        }
        if (h.precious() && !freeRecords.empty()) problem("data free list in a precious file");
        std::vector<std::map<std::uint32_t, Key>> wanted(in_.indexes().size());
        Bytes slot;
        for (std::uint32_t n = 1; n <= slots; ++n) {
            std::string name = "slot " + std::to_string(n);
            if (!in_.slot(static_cast<long>(n), &slot)) {
                problem(name + ": cannot be read");
                return;
            }
            std::uint8_t status = slot[static_cast<std::size_t>(h.recordLength)];
            if (status != 0x0a && status != 0x00) problem(name + ": status " + std::to_string(status));
            if (status == 0x0a && freed[n] != 0) problem(name + ": present and free");
            if (status == 0x00 && freed[n] == 0 && !h.precious()) problem(name + ": deleted, but not free");
            if (h.variable()) takeTail(n, status == 0x0a, slot);
            if (status == 0x0a) collectKeys(n, slot, &wanted);
        }
        if (options_.membership)
            for (std::size_t i = 0; i < wanted.size(); ++i)
                compareMembership(i, wanted[i]);
    }

    void takeTail(std::uint32_t recnum, bool live, const Bytes &slot) {
        Bytes stored;
        Bytes tail;
        if (live) stored = tails_.tail(recnum, slot);
        if (!in_.header().compressed())
            tail = stored;
        else if (!stored.empty() && !expand(stored, &tail))
            problem("record " + std::to_string(recnum) + ": tail is not a coded one");
        auto room = static_cast<std::size_t>(in_.header().variableMaximum - in_.header().recordLength);
        if (tail.size() > room)
            problem("record " + std::to_string(recnum) + ": tail of " + std::to_string(tail.size()) + " bytes");
        report_.storedTails.push_back(std::move(stored));
        report_.tails.push_back(std::move(tail));
    }

    void collectKeys(std::uint32_t recnum, const Bytes &slot, std::vector<std::map<std::uint32_t, Key>> *wanted) {
        std::uint32_t mask = in_.header().masked() ? be32(slot.data() + slot.size() - 4) : 0;
        for (std::size_t i = 0; i < in_.indexes().size(); ++i) {
            if (!sound_[i] || (mask >> i & 1U) != 0) continue;
            Key key = makeKey(in_.indexes()[i], slot.data());
            if (!isNullKey(in_.indexes()[i], key)) (*wanted)[i].emplace(recnum, key);
        }
    }

    void compareMembership(std::size_t index, std::map<std::uint32_t, Key> wanted) {
        std::string name = "index " + std::to_string(index) + ": record ";
        for (const TreeEntry &entry : report_.leaves[index]) {
            auto found = wanted.find(entry.pointer);
            if (found == wanted.end()) {
                problem(name + std::to_string(entry.pointer) + " should have no (further) entry");
                continue;
            }
            if (found->second != entry.key)
                problem(name + std::to_string(entry.pointer) + " has entry " + hex(entry.key) + ", key " +
                        hex(found->second));
            wanted.erase(found);
        }
        for (const auto &rest : wanted)
            problem(name + std::to_string(rest.first) + " has no entry");
    }

    FileReader &in_;
    std::vector<bool> sound_;  // per index: its description makes sense, so that its keys can be read
    std::int64_t nodes_ = 0;   // nodes that the file has
    CheckOptions options_;
    CheckReport report_;
    std::vector<std::string> owner_;  // per node number
    TailCheck tails_;
};

}  // namespace

std::string CheckReport::text() const {
    std::string out;
    std::size_t shown = std::min<std::size_t>(problems.size(), 20);
    for (std::size_t i = 0; i < shown; ++i)
        out += problems[i] + "\n";
    if (shown < problems.size()) out += "... and " + std::to_string(problems.size() - shown) + " more\n";
    return out;
}

CheckReport checkFiles(FileReader &reader, const CheckOptions &options) { return Checker(reader, options).run(); }

CheckReport checkFiles(const std::string &base, const CheckOptions &options) {
    FileReader reader(base);
    return checkFiles(reader, options);
}

}  // namespace testing_support
