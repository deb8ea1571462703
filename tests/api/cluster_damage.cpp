#include "cluster_damage.h"

#include <cstddef>
#include <ostream>

namespace api {

namespace {

constexpr std::size_t kNode = 1024, kIdRoot = 2 * kNode, kEntries = 2, kEntry = 8, kPointer = 4;
constexpr std::size_t kSlot = kRowLen + 1, kTailPointer = 6;
constexpr std::size_t kTail = 994;  // the most that a node takes

std::size_t pointerAt(std::size_t entry) { return kIdRoot + kEntries + entry * kEntry + kPointer; }

void lead(const std::string &base, std::size_t entry, unsigned long number) {
    patchFile(base + ".idx", pointerAt(entry), long4(number));
}

// Number of the record with an id.
std::size_t numberOf(std::size_t id) { return kDamagedCount + 1 - id; }

std::size_t varSlotAt(std::size_t number) { return (number - 1) * (kSlot + kTailPointer); }

unsigned long tailNode(const std::string &base, std::size_t id) {
    return tailPointer(base, static_cast<long>(numberOf(id))).node;
}

void removeEntry(const std::string &base, std::size_t entry) {
    const std::string node = nodeOf(imageOf(base), 3);
    const std::size_t at = kEntries + entry * kEntry, used = numberAt(node, 0, 2);
    patchFile(base + ".idx", kIdRoot + at, node.substr(at + kEntry, used - at - kEntry) + std::string(kEntry, '\0'));
    patchFile(base + ".idx", kIdRoot, int2(used - kEntry));
}

std::vector<FileDamage> allOfThem() {
    std::vector<FileDamage> all;
    all.push_back({"SecondEntryOfARecord", false, 20, -1, kDamagedCount, [](const std::string &base) {
                       lead(base, 20, numberOf(11));
                   }});
    all.push_back({"MissingEntry", false, kDamagedCount - 1, -1, kDamagedCount, [](const std::string &base) {
                       removeEntry(base, 30);
                   }});
    all.push_back({"MissingEntries", false, kDamagedCount - 2, -1, kDamagedCount, [](const std::string &base) {
                       removeEntry(base, 59);
                       removeEntry(base, 0);
                   }});
    all.push_back({"EntryOfADeletedRecord", false, 15, -1, kDamagedCount - 1, [](const std::string &base) {
                       patchFile(base + ".dat", (numberOf(16) - 1) * kSlot + kRowLen, std::string(1, '\0'));
                   }});
    all.push_back({"EntryBeyondTheLastRecord", false, 25, -1, kDamagedCount, [](const std::string &base) {
                       lead(base, 25, kDamagedCount + 1);
                   }});
    all.push_back({"EntryFarBeyond", false, 25, -1, kDamagedCount, [](const std::string &base) {
                       lead(base, 25, 0xffffffffUL);
                   }});
    all.push_back({"EntryOfNothing", false, 25, -1, kDamagedCount, [](const std::string &base) {
                       lead(base, 25, 0);
                   }});
    all.push_back({"RootThatIsNone", false, 0, -1, kDamagedCount, [](const std::string &base) {
                       patchFile(base + ".idx", kIdRoot + kNode - 3, "\xff");
                   }});
    all.push_back({"EntriesThatDoNotFitTheirNode", false, 0, -1, kDamagedCount, [](const std::string &base) {
                       patchFile(base + ".idx", kIdRoot, int2(3));
                   }});
    all.push_back({"TailInANodeThatIsNone", true, 12, 47, 0, [](const std::string &base) {
                       patchFile(base + ".dat", varSlotAt(numberOf(13)) + kSlot + 3, std::string("\0\0\x02", 3));
                   }});
    all.push_back({"TailInANodeThatIsNotThere", true, 12, 47, 0, [](const std::string &base) {
                       patchFile(base + ".dat", varSlotAt(numberOf(13)) + kSlot + 3, "\x7f\xff\xff");
                   }});
    all.push_back({"TailLongerThanItsPieces", true, 12, 47, 0, [](const std::string &base) {
                       patchFile(base + ".dat", varSlotAt(numberOf(13)) + kSlot, int2(kTail + 1));
                   }});
    all.push_back({"TailLongerThanAnyCanBe", true, 12, 47, 0, [](const std::string &base) {
                       patchFile(base + ".dat", varSlotAt(numberOf(13)) + kSlot, int2(65535));
                   }});
    all.push_back({"TailNodeWithAWrongMark", true, 12, 47, 0, [](const std::string &base) {
                       patchFile(base + ".idx", (tailNode(base, 13) - 1) * kNode + 2, "\1");
                   }});
    return all;
}

}  // namespace

const std::vector<FileDamage> &fileDamages() {
    static const std::vector<FileDamage> all = allOfThem();
    return all;
}

void PrintTo(const FileDamage &damage, std::ostream *out) { *out << damage.name; }

std::string fileDamageName(const testing::TestParamInfo<FileDamage> &info) { return info.param.name; }

int DamageTest::makeTarget(const std::string &name) {
    const int fd = GetParam().variable ? buildVarNamed(path(name)) : buildNamed(path(name));
    add(fd, nameKey());
    return fd;
}

int DamageTest::makeDamaged(int locking) {
    const int fd = makeTarget("file");
    for (long each = kDamagedCount; each > 0; --each) {
        const Row fixed = row(each, "name" + std::to_string(100 + each));
        EXPECT_OK(send(iswrite, fd, rec(fixed, GetParam().variable ? kTail : 0)));
    }
    EXPECT_OK(isclose(fd));
    dontCheck();
    GetParam().inflict(base());
    return open(ISINOUT | locking | (GetParam().variable ? ISVARLEN : 0));
}

Ids DamageTest::intact(const std::string &name) const {
    Ids ids;
    for (const auto &record : heldBy(name).records) {
        const long each = ldlong(record.second.data());
        const Row fixed = row(each, "name" + std::to_string(100 + each));
        EXPECT_TRUE(record.second == rec(fixed, GetParam().variable ? kTail : 0)) << each;
        ids.push_back(each);
    }
    return ids;
}

}  // namespace api
