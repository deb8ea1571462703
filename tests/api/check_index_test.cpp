// The check of an index against itself and the records, on files damaged on purpose.
#include "check_kinds.h"

#include <algorithm>

namespace api {
namespace {

using Entries = std::vector<TreeEntry>;

class CheckIndex : public KindTest {
  protected:
    void SetUp() override { EXPECT_OK(isclose(make())); }

    // Runs the steps for each index.
    void forEach(const std::function<void(int index)> &steps) {
        for (int index = 1; index <= kind().indexes(); ++index) {
            SCOPED_TRACE("index " + std::to_string(index));
            steps(index);
        }
    }
    int counted(int index, int bits) const { return kind().counted(index) ? bits : 0; }
    int withRecords(int bits) const { return kind().records ? bits : 0; }
    std::uint32_t root(int index) { return damage().index(index).root; }
    std::uint32_t lastRecord() { return damage().files().header().lastRecord; }

    // Changes the entries of the first leaf where a change is possible and the result fits.
    void changeLeaf(int index, const std::function<bool(Entries &)> &change) {
        for (const std::uint32_t leaf : damage().leaves(index)) {
            Entries entries = damage().entries(index, leaf);
            if (!change(entries)) continue;
            // The last one's announces a key in the next entry, of which there is none.
            entries.back().share = false;
            if (!damage().fit(index, entries)) continue;
            damage().store(index, leaf, entries);
            return;
        }
        ADD_FAILURE() << "no leaf to change";
    }
    // Gives a deleted record an entry in its place.
    void addDeleted(int index) {
        const testing_support::IndexSpec spec = damage().index(index);
        testing_support::Bytes slot;
        for (std::uint32_t recnum = 6; recnum <= kMany; recnum += 6) {
            ASSERT_TRUE(damage().files().slot(static_cast<long>(recnum), &slot));
            TreeEntry more;
            more.key = makeKey(spec, slot.data());
            more.pointer = recnum;
            for (const std::uint32_t leaf : damage().leaves(index)) {
                Entries entries = damage().entries(index, leaf);
                const auto at = std::find_if(entries.begin(), entries.end(), [&](const TreeEntry &entry) {
                    return compareKeys(spec, entry.key, more.key) > 0;
                });
                if (at == entries.end()) continue;
                entries.insert(at, more);
                if (isNullKey(spec, more.key) || !damage().fit(index, entries)) break;
                damage().store(index, leaf, entries);
                return;
            }
        }
        ADD_FAILURE() << "no leaf has room";
    }
    // The first pair of neighbours with different keys.
    static std::size_t unequalPair(const Entries &entries) {
        for (std::size_t i = 0; i + 1 < entries.size(); ++i)
            if (entries[i].key != entries[i + 1].key) return i;
        return entries.size();
    }
};

TEST_P(CheckIndex, NeighboursInTheWrongOrder) {
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] {
                      changeLeaf(index, [](Entries &entries) {
                          const std::size_t i = unequalPair(entries);
                          if (i == entries.size()) return false;
                          std::swap(entries[i], entries[i + 1]);
                          return true;
                      });
                  }),
                  withIndex(index, ISCHK_KEYORDER));
    });
}

TEST_P(CheckIndex, SubtreesInTheWrongOrder) {
    forEach([&](int index) {
        Entries entries = damage().entries(index, root(index));
        if (damage().leaves(index).size() == 1 || entries.size() < 2) return;
        // A key that begins in one subtree and ends in the next is not out of order.
        if (entries[0].key == entries[1].key) return;
        std::swap(entries[0].pointer, entries[1].pointer);
        EXPECT_EQ(foundAfter([&] { damage().store(index, root(index), entries); }), withIndex(index, ISCHK_KEYORDER));
    });
}

TEST_P(CheckIndex, EntryMissing) {
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] {
                      changeLeaf(index, [](Entries &entries) {
                          entries.erase(entries.begin());
                          return !entries.empty();
                      });
                  }),
                  withIndex(index, counted(index, ISCHK_KEYCOUNT)));
    });
}

TEST_P(CheckIndex, EntryTwice) {
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] {
                      changeLeaf(index, [](Entries &entries) {
                          entries.insert(entries.begin(), entries.front());
                          return true;
                      });
                  }),
                  withIndex(index, counted(index, ISCHK_KEYCOUNT)));
    });
}

TEST_P(CheckIndex, EmptiedIndex) {
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] {
                      damage().blankNode(root(index));
                      damage().node(root(index), field::kUsed, 2, 2);
                  }),
                  withIndex(index, counted(index, ISCHK_KEYCOUNT)));
    });
}

// The slot of a deleted record still has its bytes, and the key made from them is the entry's.
TEST_P(CheckIndex, EntryOfADeletedRecord) {
    if (!kind().records) return;
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] { addDeleted(index); }), withIndex(index, counted(index, ISCHK_KEYCOUNT)));
    });
}

TEST_P(CheckIndex, TwoEntriesWithEachOthersRecords) {
    forEach([&](int index) {
        EXPECT_EQ(foundAfter([&] {
                      changeLeaf(index, [](Entries &entries) {
                          const std::size_t i = unequalPair(entries);
                          if (i == entries.size()) return false;
                          std::swap(entries[i].pointer, entries[i + 1].pointer);
                          return true;
                      });
                  }),
                  withIndex(index, withRecords(ISCHK_MISMATCH)));
    });
}

// Each index notices that has the byte in its key, and the record in its tree.
TEST_P(CheckIndex, RecordWithAnotherKey) {
    if (!kind().records) return;
    for (const int offset : {3, kNameAt, kGroupAt + 1, kNoteAt + 15}) {
        SCOPED_TRACE(offset);
        Found expected = sound();
        const std::uint32_t recnum = 61;  // in every index: neither masked nor null
        forEach([&](int index) {
            for (const testing_support::PartSpec &part : damage().index(index).parts)
                if (offset >= part.start && offset < part.start + part.length)
                    expected.indexes[static_cast<std::size_t>(index - 1)] = ISCHK_MISMATCH;
        });
        EXPECT_EQ(foundAfter([&] { damage().slot(recnum, offset, damage().slotValue(recnum, offset) ^ 0x40U); }),
                  expected);
    }
}

TEST_P(CheckIndex, EntryOfNoRecord) {
    forEach([&](int index) {
        for (const std::uint32_t number : {0U, lastRecord() + 1, 0x7fffffffU}) {
            SCOPED_TRACE(number);
            const std::uint32_t leaf = damage().leaves(index).back();
            EXPECT_EQ(foundAfter([&] { damage().pointTo(index, leaf, 0, number); }),
                      withIndex(index, withRecords(ISCHK_INDEXREAD)));
        }
    });
}

// Two kinds of damage: both are told when the first one lets the check go on to the second.
TEST_P(CheckIndex, WhatWasFoundBeforeAFailureIsKept) {
    forEach([&](int index) {
        const std::vector<std::uint32_t> leaves = damage().leaves(index);
        Entries entries = damage().entries(index, leaves.front());
        const std::size_t i = unequalPair(entries);
        if (leaves.size() < 2 || i == entries.size()) return;
        std::swap(entries[i], entries[i + 1]);
        entries.back().share = false;
        if (!damage().fit(index, entries)) return;
        EXPECT_EQ(foundAfter([&] {
                      damage().store(index, leaves.front(), entries);
                      damage().node(leaves.back(), field::kLevel, 9, 1);
                  }),
                  withIndex(index, ISCHK_KEYORDER | ISCHK_INDEXREAD));
    });
}

TEST_P(CheckIndex, NumbersOfNoIndex) {
    withDamage(
        kind(), [] {},
        [&](int fd) {
            for (const int number : {0, -1, kind().indexes() + 1, 10, 11, 1000000, -1000000, 0x7fffffff})
                EXPECT_EQ(ischeckindex(fd, number), ISCHK_INDEXREAD) << number;
        });
}

TEST_P(CheckIndex, FileOpenedForWritingOnly) {
    withDamage(
        kind(), [] {},
        [&](int fd) { forEach([&](int index) { EXPECT_EQ(ischeckindex(fd, index), ISCHK_INDEXREAD); }); }, ISOUTPUT);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckIndex, testing::ValuesIn(indexKinds()), kindName);

// Nodes that cannot be walked: the check stops there and says so, and nothing else.
class CheckNodes : public CheckIndex {
  protected:
    void expectUnreadable(int index, std::uint32_t node, int offset, std::uint32_t value, int width) {
        EXPECT_EQ(foundAfter([&] { damage().node(node, offset, value, width); }), withIndex(index, ISCHK_INDEXREAD))
            << "node " << node << " offset " << offset << " value " << value;
    }
    // First and last leaf, root, and a branch below it.
    std::vector<std::uint32_t> someNodes(int index) {
        const std::vector<std::uint32_t> leaves = damage().leaves(index), all = damage().tree(index);
        std::vector<std::uint32_t> some = {all.front(), leaves.front(), leaves.back()};
        if (all.size() > 1) some.push_back(all[1]);
        std::sort(some.begin(), some.end());
        some.erase(std::unique(some.begin(), some.end()), some.end());
        return some;
    }
};

TEST_P(CheckNodes, WrongMark) {
    forEach([&](int index) {
        for (const std::uint32_t node : someNodes(index))
            for (const std::uint32_t mark : {0x01U, 0xffU})
                expectUnreadable(index, node, field::kMark, mark, 1);
    });
}

TEST_P(CheckNodes, WrongLevel) {
    forEach([&](int index) {
        for (const std::uint32_t node : someNodes(index)) {
            const std::uint32_t level = damage().nodeValue(node, field::kLevel, 1);
            for (const std::uint32_t wrong : {level + 1, level + 2, 127U, 254U, 255U})
                expectUnreadable(index, node, field::kLevel, wrong, 1);
        }
    });
}

TEST_P(CheckNodes, WrongUsedLength) {
    forEach([&](int index) {
        for (const std::uint32_t node : someNodes(index))
            for (const std::uint32_t used : {0U, 1U, 3U, 1020U, 1024U, 0x7fffU, 0xffffU})
                expectUnreadable(index, node, field::kUsed, used, 2);
    });
}

TEST_P(CheckNodes, ChildrenThatAreNone) {
    forEach([&](int index) {
        const std::vector<std::uint32_t> all = damage().tree(index);
        if (all.size() == 1) return;
        const testing_support::FileReader &files = damage().files();
        std::vector<std::uint32_t> wrong = {0, 1, 2, files.header().lastNode + 1, 0x7fffffff, all.front()};
        if (files.header().dataFreeHead != 0) wrong.push_back(files.header().dataFreeHead);
        if (files.header().indexFreeHead != 0) wrong.push_back(files.header().indexFreeHead);
        for (const std::uint32_t node : damage().remnantNodes())
            if (wrong.size() < 20) wrong.push_back(node);
        const std::size_t last = damage().entries(index, all.front()).size() - 1;
        for (const std::uint32_t child : wrong)
            for (const std::size_t entry : {std::size_t{0}, last})
                EXPECT_EQ(foundAfter([&] { damage().pointTo(index, all.front(), entry, child); }),
                          withIndex(index, ISCHK_INDEXREAD))
                    << child << " entry " << entry;
    });
}

// Keys come twice, or not at all: no telling which of the bits it is.
TEST_P(CheckNodes, NodeWithTwoParents) {
    forEach([&](int index) {
        const std::vector<std::uint32_t> all = damage().tree(index);
        if (all.size() == 1) return;
        const Entries entries = damage().entries(index, all.front());
        const Found got = foundAfter([&] { damage().pointTo(index, all.front(), 1, entries[0].pointer); });
        const int bits = got.indexes[static_cast<std::size_t>(index - 1)];
        EXPECT_NE(bits, 0);
        EXPECT_EQ(bits & ~(ISCHK_INDEXREAD | ISCHK_KEYORDER | ISCHK_KEYCOUNT), 0);
    });
}

// Few nodes, but more ways through them than anybody can walk.
TEST_P(CheckNodes, EachNodeTheOnlyChildOfTheOneAbove) {
    constexpr std::uint32_t kLevels = 12;
    const int fd = openKind();
    writeKind(fd, kind(), 1000, 1400);
    EXPECT_OK(isclose(fd));
    forEach([&](int index) {
        if (damage().files().header().lastNode < kLevels + 8) return;
        // Whatever these nodes were, they are in one chain now.
        std::vector<std::uint32_t> chain = {root(index)};
        for (std::uint32_t n = damage().files().header().lastNode; chain.size() <= kLevels; --n)
            if (n != root(index)) chain.push_back(n);
        TreeEntry entry = damage().entries(index, damage().leaves(index).front()).front();
        for (const bool empty : {false, true}) {
            const Found got = foundAfter([&] {
                for (std::uint32_t i = 0; i <= kLevels; ++i) {
                    entry.pointer = i < kLevels ? chain[i + 1] : 1;
                    Entries entries(i == kLevels && empty ? 0 : 1, entry);
                    while (!entries.empty() && entries.size() < 60 && damage().fit(index, entries))
                        entries.push_back(entry);
                    if (entries.size() > 1) entries.pop_back();
                    damage().store(index, chain[i], entries);
                    damage().node(chain[i], field::kMark, 0, 1);
                    damage().node(chain[i], field::kLevel, kLevels - i, 1);
                }
            });
            EXPECT_NE(got.indexes[static_cast<std::size_t>(index - 1)], 0) << (empty ? "empty leaf" : "one entry");
        }
    });
}

// A leaf that is beyond the file's end, and not the one that opening goes to.
TEST_P(CheckNodes, IndexFileThatEndsEarly) {
    forEach([&](int index) {
        const std::vector<std::uint32_t> all = damage().tree(index);
        const std::uint32_t highest = *std::max_element(all.begin(), all.end());
        for (const std::int64_t size : {highest * 1024LL - 1, (highest - 1) * 1024LL}) {
            const Found got = foundAfter([&] { damage().cutIndex(size); });
            ASSERT_EQ(got.indexes.size(), sound().indexes.size());
            EXPECT_EQ(got.indexes[static_cast<std::size_t>(index - 1)], ISCHK_INDEXREAD) << size;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckNodes, testing::ValuesIn(indexKinds()), kindName);

// Counts in front of keys.
class CheckCounts : public CheckNodes {};

TEST_P(CheckCounts, MoreThanTheKeyHas) {
    forEach([&](int index) {
        const testing_support::IndexSpec spec = damage().index(index);
        const int counts = (spec.leading() ? 1 : 0) + (spec.trailing() ? 1 : 0);
        for (const std::uint32_t node : someNodes(index))
            for (int count = 0; count < counts; ++count)
                for (const std::uint32_t value : {static_cast<std::uint32_t>(spec.keyLength) + 1, 0x80U, 0xffU})
                    expectUnreadable(index, node, 2 + count, value, 1);
    });
}

// The last entry of a node announces one more with its key.
TEST_P(CheckCounts, RepeatedKeyBehindTheLastEntry) {
    forEach([&](int index) {
        for (const std::uint32_t leaf : {damage().leaves(index).front(), damage().leaves(index).back()}) {
            const auto used = static_cast<int>(damage().nodeValue(leaf, field::kUsed, 2));
            const std::uint32_t pointer = damage().nodeValue(leaf, used - 4, 4);
            const int bits = foundAfter([&] {
                                 damage().node(leaf, used - 4, pointer | 0x80000000U, 4);
                             }).indexes[static_cast<std::size_t>(index - 1)];
            // Nothing follows, so that the announcement may as well go unnoticed.
            EXPECT_TRUE(bits == 0 || bits == ISCHK_INDEXREAD) << bits;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckCounts, testing::ValuesIn(kindsWith([](const Kind &kind) {
                             return kind.indexes() > 0 && (kind.key(1).flags & (ISLEADCOMP | ISTRAILCOMP)) != 0;
                         })),
                         kindName);

}  // namespace
}  // namespace api
