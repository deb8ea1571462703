// The tree engine seen through its node buffers: splits, serials, the node
// cache, emptied nodes.

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <string_view>

#include "base/isglobal.h"
#include "keys/isnode.h"
#include "keys/isnodepool.h"
#include "storage/ishead.h"
#include "storage/node_layout.h"
#include "tree/isgrow.h"
#include "tree/isprune.h"
#include "tree/istree.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// Keys of 120 bytes: 8 entries of 124 bytes fill a node (2 + 8 * 124 = 994).
constexpr short kLongKey = 120;
constexpr int kPerNode = 8;

class Tree {
  public:
    explicit Tree(unsigned short flags = 0, short keyLength = kLongKey)
        : keyLength_(keyLength), file_(200, charKey(keyLength, flags)) {}

    IsamFile *h() { return file_.handle(); }
    IndexPath *path() { return file_.path(); }
    ScratchFile &file() { return file_; }

    // No destructor may be alive when an insertion fails, hence an array.
    std::array<std::uint8_t, ISMAXKEYLEN> key(std::string_view text) const {
        std::array<std::uint8_t, ISMAXKEYLEN> bytes;
        bytes.fill('.');
        std::copy_n(text.begin(), std::min<std::size_t>(text.size(), static_cast<std::size_t>(keyLength_)),
                    bytes.begin());
        return bytes;
    }
    static std::string number(int n) {
        const std::string digits = std::to_string(n);
        return std::string(6 - digits.size(), '0') + digits;
    }
    void insert(std::string_view text, std::uint32_t record) { isTreeInsert(h(), path(), key(text).data(), record); }
    void erase(std::string_view text, std::uint32_t record) { isTreeDelete(h(), path(), key(text).data(), record); }

    int height() {
        isTreeFirst(h(), path());
        int levels = 1;
        for (NodeBuf *n = path()->top; n->parent != nullptr; n = n->parent)
            ++levels;
        return levels;
    }
    // Entries of the current leaf.
    int entries() { return (path()->top->used - 2) / path()->entrySize; }

  private:
    short keyLength_;
    ScratchFile file_;
};

TEST(Insertion, IntoAnEmptyRootWritesTheEntryAtItsStart) {
    Tree t;
    EXPECT_EQ(t.file().change([&] {
        t.insert("k", 5);
        const NodeBuf *root = isPathRoot(t.h(), t.path());
        EXPECT_EQ(root->used, 2 + 124);
        EXPECT_EQ(std::memcmp(root->buffer + 2, t.key("k").data(), kLongKey), 0);
        EXPECT_EQ(root->buffer[2 + kLongKey + 3], 5);
    }),
              0);
}

TEST(Insertion, AscendingKeysLeaveFullLeftNodesAndTheNewKeyAlone) {
    Tree t;
    t.file().change([&] {
        for (int i = 0; i <= kPerNode; ++i)
            t.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
        EXPECT_EQ(t.height(), 2);
        EXPECT_EQ(t.entries(), kPerNode);
        isTreeLast(t.h(), t.path());
        EXPECT_EQ(t.entries(), 1);
    });
}

TEST(Insertion, SplitInTheMiddlePutsTheLowerHalfLeftBeforeTheNewKeyIsAdded) {
    Tree t;
    t.file().change([&] {
        // In memory alone: nodes of a size that five entries fill.
        isPathRoot(t.h(), t.path());
        t.h()->nodeSize = 2 + 5 * 124 + 5;
        for (int i : {1, 2, 3, 4, 5})
            t.insert(Tree::number(i * 10), static_cast<std::uint32_t>(i));
        EXPECT_EQ(isPathRoot(t.h(), t.path())->used, 2 + 5 * 124);
        t.insert(Tree::number(35), 9);
        isTreeFirst(t.h(), t.path());
        EXPECT_EQ(t.entries(), 2);
        isTreeLast(t.h(), t.path());
        EXPECT_EQ(t.entries(), 4);
        isPathClear(t.h(), ISCLASS_READ);
        t.h()->nodeSize = 1024;
    });
}

TEST(Insertion, FirstRootSplitKeepsTheRootsNumberAndMovesItsContents) {
    Tree t;
    t.file().change([&] {
        const std::uint32_t root = t.path()->keyDesc.rootNode;
        EXPECT_EQ(root, 3U);
        for (int i = 0; i <= kPerNode; ++i)
            t.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
        const NodeBuf *top = isPathRoot(t.h(), t.path());
        EXPECT_EQ(top->number, root);
        EXPECT_EQ(top->level, 1);
        isTreeFirst(t.h(), t.path());
        EXPECT_EQ(t.path()->top->number, 4U) << "the left half takes the first new number";
        isTreeLast(t.h(), t.path());
        EXPECT_EQ(t.path()->top->number, 5U) << "the old root takes the second";
    });
}

TEST(Insertion, EqualKeysGetRisingSerialsAndANewKeyStartsAtZero) {
    for (unsigned short flags : {ISDUPS, ISDUPS | ISDUPCOMP, ISDUPS | ISLEADCOMP | ISTRAILCOMP}) {
        Tree t(flags, 8);
        t.file().change([&] {
            for (std::uint32_t i = 0; i < 3; ++i)
                t.insert("same", 10 + i);
            t.insert("zz", 20);
            isTreeFirst(t.h(), t.path());
            for (std::uint32_t i = 0; i < 3; ++i) {
                EXPECT_EQ(t.path()->top->serial, i);
                EXPECT_EQ(t.path()->top->pointer, 10 + i);
                EXPECT_TRUE(isTreeNext(t.h(), t.path()));
            }
            EXPECT_EQ(t.path()->top->serial, 0U);
            EXPECT_EQ(t.path()->top->pointer, 20U);
        });
    }
}

TEST(Insertion, SecondEqualKeyOfAUniqueIndexIs100AndLeavesTheTreeUnchanged) {
    Tree t;
    t.file().change([&] {
        t.insert("one", 1);
        isPathWrite(t.h(), 0);
        isHeadWrite(t.h());
    });
    EXPECT_EQ(t.file().change([&] { t.insert("one", 2); }), 100);
    t.file().change([&] {
        isTreeFirst(t.h(), t.path());
        EXPECT_EQ(t.entries(), 1);
        EXPECT_EQ(t.path()->top->pointer, 1U);
    });
}

TEST(Insertion, AppendSplitLeavesNoHalfKnownPositionBehind) {
    for (unsigned short flags : {0, ISTRAILCOMP, ISLEADCOMP | ISDUPS}) {
        Tree t(flags);
        t.file().change([&] {
            // Looking at the root alone: visiting a leaf would mend its position.
            std::uint32_t newest = 0;
            while (isPathRoot(t.h(), t.path())->level == 0) {
                ++newest;
                t.insert(Tree::number(static_cast<int>(newest)) +
                             std::string(110, static_cast<char>('a' + newest % 26)),
                         newest);
            }
            ASSERT_TRUE(isTreeMatch(t.h(), t.path(), t.key(Tree::number(static_cast<int>(newest))).data()));
            ASSERT_TRUE(isTreePrev(t.h(), t.path()));
            EXPECT_EQ(t.path()->top->pointer, newest - 1);
        });
    }
}

TEST(Insertion, KeysOf128BytesSurviveTheSplitOfACompressedRoot) {
    for (unsigned short flags : {ISLEADCOMP, ISLEADCOMP | ISTRAILCOMP, ISLEADCOMP | ISDUPS}) {
        Tree t(flags, 128);
        t.file().change([&] {
            std::uint32_t count = 0;
            for (; t.height() < 3; ++count)
                t.insert(Tree::number(static_cast<int>(count * 7919 % 100000)) +
                             std::string(122, static_cast<char>('a' + count % 26)),
                         count + 1);
            std::uint32_t found = 1;
            for (isTreeFirst(t.h(), t.path()); isTreeNext(t.h(), t.path());)
                ++found;
            EXPECT_EQ(found, count);
        });
    }
}

TEST(Deletion, OfTheOnlyKeyOfAThreeLevelTreeLeavesAnEmptyLeaf) {
    for (unsigned short flags : {0, ISLEADCOMP, ISTRAILCOMP | ISLEADCOMP | ISDUPS | ISDUPCOMP}) {
        Tree t(flags);
        t.file().change([&] {
            int count = 0;
            for (; t.height() < 3; ++count)
                t.insert(Tree::number(count * 7919 % 100000) + std::string(100, 'a' + count % 26),
                         static_cast<std::uint32_t>(count + 1));
            for (int i = 0; i < count; ++i)
                t.erase(Tree::number(i * 7919 % 100000) + std::string(100, 'a' + i % 26),
                        static_cast<std::uint32_t>(i + 1));
            const NodeBuf *root = isPathRoot(t.h(), t.path());
            EXPECT_EQ(root->number, 3U);
            EXPECT_EQ(root->used, 2);
            EXPECT_EQ(root->level, 0);
            EXPECT_EQ(node::level(root->buffer, 1024), 0);
            isPathWrite(t.h(), 0);
            isFreeWrite(t.h());
            // All nodes but the root came back: header, description and root
            // are what is left of the file.
            EXPECT_EQ(isFreeCount(t.h(), ISKIND_INDEX, nullptr, nullptr) + 1 + 3, t.h()->indexFree.last);
        });
    }
}

TEST(Deletion, EmptiedLeafIsCutOutOfItsParent) {
    Tree t;
    t.file().change([&] {
        for (int i = 0; i <= kPerNode; ++i)
            t.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
        t.erase(Tree::number(kPerNode), kPerNode + 1);
        const NodeBuf *root = isPathRoot(t.h(), t.path());
        EXPECT_EQ(root->level, 1);
        EXPECT_EQ(root->used, 2 + 124) << "one entry is left";
        EXPECT_EQ(t.h()->indexFree.head, 5U) << "the leaf is free";
    });
}

TEST(Deletion, EmptiedLeafIsReleasedWhenThePathLeavesItNotBefore) {
    Tree t;
    t.file().change([&] {
        for (int i = 0; i <= kPerNode; ++i)
            t.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
        isTreeLast(t.h(), t.path());
        flatsquash(t.path(), t.path()->top);
        EXPECT_EQ(t.path()->top->used, 2);
        EXPECT_EQ(t.h()->indexFree.head, 0U);
        EXPECT_TRUE(isPathDown(t.h(), t.path()));
        EXPECT_EQ(t.h()->indexFree.head, 5U);
    });
}

TEST(Deletion, OfTheFirstOfThreeEqualKeysKeepsTheKeyBytesForTheSecond) {
    Tree t(ISDUPS | ISDUPCOMP, 8);
    t.file().change([&] {
        for (std::uint32_t i = 1; i <= 3; ++i)
            t.insert("dup", i);
        const int before = isPathRoot(t.h(), t.path())->used;
        EXPECT_EQ(before, 2 + 8 + 3 * 8);
        t.erase("dup", 1);
        const NodeBuf *root = isPathRoot(t.h(), t.path());
        EXPECT_EQ(root->used, before - 8);
        EXPECT_EQ(std::memcmp(root->buffer + 2, t.key("dup").data(), 8), 0);
        isTreeFirst(t.h(), t.path());
        EXPECT_EQ(t.path()->top->pointer, 2U);
        EXPECT_TRUE(isTreeNext(t.h(), t.path()));
        EXPECT_EQ(t.path()->top->pointer, 3U);
    });
}

TEST(Deletion, OfAnUnknownRecordIs111AndInAnEmptyIndexNothing) {
    Tree t;
    EXPECT_EQ(t.file().change([&] { EXPECT_FALSE(isTreeDelete(t.h(), t.path(), t.key("a").data(), 1)); }), 0);
    EXPECT_EQ(t.file().change([&] {
        t.insert("a", 1);
        t.erase("a", 2);
    }),
              111);
}

// The trailing blanks of the deleted key cost nothing, yet served the key
// behind it as leading bytes: without it that key needs more room than there is.
TEST(Deletion, EntryThatOutgrowsItsNodeIsPutBackThroughASplit) {
    Tree t(ISLEADCOMP | ISTRAILCOMP);
    auto blanks = [](const std::string &front, const std::string &end) {
        return front + std::string(static_cast<std::size_t>(kLongKey) - front.size() - end.size(), ' ') + end;
    };
    t.file().change([&] {
        std::set<std::string> keys;
        auto put = [&](const std::string &key, std::uint32_t record) {
            keys.insert(key);
            t.insert(key, record);
        };
        put(blanks("B", ""), 1);
        std::uint32_t record = 2;
        for (char c = 'a'; c <= 'p'; ++c)
            put(blanks("B", std::string(1, c)), record++);
        // The rest of the node is filled with keys that share nothing.
        while (1024 - 5 - isPathRoot(t.h(), t.path())->used >= 20) {
            const int room = 1024 - 5 - t.path()->top->used;
            const int length = std::min(room - 6, 110);
            std::string key(static_cast<std::size_t>(length), static_cast<char>('C' + record % 20));
            put(blanks(Tree::number(static_cast<int>(record)) +
                           key.substr(0, static_cast<std::size_t>(std::max(0, length - 6))),
                       ""),
                record);
            ++record;
        }
        ASSERT_EQ(isPathRoot(t.h(), t.path())->level, 0) << "one full leaf so far";
        t.erase(blanks("B", ""), 1);
        keys.erase(blanks("B", ""));
        EXPECT_EQ(t.height(), 2);

        isTreeFirst(t.h(), t.path());
        for (const std::string &key : keys) {
            EXPECT_EQ(std::memcmp(t.path()->top->key, key.data(), kLongKey), 0) << key;
            EXPECT_LT(t.path()->top->used, 1024 - 4);
            if (key != *keys.rbegin()) {
                EXPECT_TRUE(isTreeNext(t.h(), t.path()));
            }
        }
        EXPECT_FALSE(isTreeNext(t.h(), t.path()));
    });
}

TEST(Path, PoppingTheRootIsRefusedAndChangesNothing) {
    Tree t;
    t.file().change([&] {
        const NodeBuf *root = isPathRoot(t.h(), t.path());
        EXPECT_FALSE(isPathDown(t.h(), t.path()));
        EXPECT_EQ(t.path()->top, root);
        EXPECT_EQ(t.h()->indexFree.head, 0U) << "the root is never released, even empty";
    });
}

TEST(Path, PushingNodeZeroIsAFatalStop) {
    Tree t;
    EXPECT_EXIT(t.file().change([&] {
        isPathRoot(t.h(), t.path());
        isPathAdd(t.h(), t.path(), 0);
    }),
                testing::ExitedWithCode(1), "");
}

// A tree of more leaves than the cache holds.
class NodeCache : public testing::Test {
  protected:
    void SetUp() override {
        t_.file().change([&] {
            for (int i = 0; i < 30 * kPerNode; ++i) {
                t_.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
                isPathWrite(t_.h(), 0);
            }
            isHeadWrite(t_.h());
            isPathClear(t_.h(), ISCLASS_READ);
        });
    }
    void TearDown() override { isProcess.cacheLimit = kCacheLimit; }

    template <typename Visit> static void eachCached(const IndexPath *p, Visit &&visit) {
        for (std::uint32_t i = 0; i < p->leaves.bucketCount; ++i)
            for (const NodeBuf *n = p->leaves.buckets[i]; n != nullptr; n = n->chain)
                visit(n);
    }
    const NodeBuf *cached(std::uint32_t number) {
        const NodeBuf *found = nullptr;
        eachCached(t_.path(), [&](const NodeBuf *n) {
            if (n->number == number) found = n;
        });
        return found;
    }
    // Goes through the leaves and returns their numbers.
    std::vector<std::uint32_t> passLeaves(int most) {
        std::vector<std::uint32_t> leaves;
        IndexPath *p = t_.path();
        isTreeFirst(t_.h(), p);
        do {
            leaves.push_back(p->top->number);
            while (isNodeWalk(p, kWalkNext)) {
            }
        } while (static_cast<int>(leaves.size()) < most && isTreeNext(t_.h(), p));
        return leaves;
    }
    Tree t_;
};

TEST_F(NodeCache, KeepsWhatTheBoundHasRoomFor) {
    t_.file().change([&] {
        const std::vector<std::uint32_t> leaves = passLeaves(28);
        isPathRoot(t_.h(), t_.path());
        ASSERT_GT(leaves.size(), 20U);
        for (const std::uint32_t leaf : leaves)
            EXPECT_NE(cached(leaf), nullptr) << leaf;
        EXPECT_GE(t_.path()->cachedCount, leaves.size());
    });
}

TEST_F(NodeCache, BeyondTheBoundGoesWhatNobodyHasAskedForLongest) {
    t_.file().change([&] {
        IndexPath *p = t_.path();
        isPathRoot(t_.h(), p);
        isCacheFree(p);
        isProcess.cacheLimit = isProcess.frameBytes + 10 * std::size_t{p->top->size};
        const std::vector<std::uint32_t> leaves = passLeaves(24);
        isPathRoot(t_.h(), p);
        EXPECT_LE(isProcess.frameBytes, isProcess.cacheLimit);
        EXPECT_EQ(p->cachedCount, 10U);
        EXPECT_EQ(cached(leaves.front()), nullptr);
        EXPECT_NE(cached(leaves.back()), nullptr);
    });
}

TEST_F(NodeCache, NodeAskedForAgainOutlivesTheOthers) {
    t_.file().change([&] {
        IndexPath *p = t_.path();
        isPathRoot(t_.h(), p);
        isCacheFree(p);
        isProcess.cacheLimit = isProcess.frameBytes + 10 * std::size_t{p->top->size};
        const auto visit = [&](int leaf) {
            isTreeMatch(t_.h(), p, t_.key(Tree::number(leaf * kPerNode)).data());
            return p->top->number;
        };
        const std::uint32_t first = visit(0);
        for (int leaf = 1; leaf < 28; ++leaf) {
            visit(leaf);
            isPathRoot(t_.h(), p);
            EXPECT_NE(cached(first), nullptr) << leaf;
            visit(0);
        }
    });
}

TEST_F(NodeCache, IdleHandleMakesRoomForTheOneAtWork) {
    Tree other;
    t_.file().change([&] {
        passLeaves(20);
        isPathRoot(t_.h(), t_.path());
        EXPECT_GT(t_.path()->cachedCount, 15U);
    });
    isProcess.cacheLimit = isProcess.frameBytes;
    other.file().change([&] {
        for (int i = 0; i < 30 * kPerNode; ++i) {
            other.insert(Tree::number(i), static_cast<std::uint32_t>(i + 1));
            isPathWrite(other.h(), 0);
        }
        isHeadWrite(other.h());
    });
    EXPECT_LT(t_.path()->cachedCount, 5U);
    EXPECT_LE(isProcess.frameBytes, isProcess.cacheLimit);
}

TEST_F(NodeCache, DirtyNodesAreNeverEvicted) {
    isProcess.cacheLimit = 0;
    t_.file().change([&] {
        IndexPath *p = t_.path();
        std::set<std::uint32_t> dirty;
        isTreeFirst(t_.h(), p);
        do {
            p->top->state = ISBUF_DIRTY;
            dirty.insert(p->top->number);
            while (isNodeWalk(p, kWalkNext)) {
            }
        } while (isTreeNext(t_.h(), p));
        isPathRoot(t_.h(), p);
        ASSERT_GT(dirty.size(), 20U);
        for (std::uint32_t number : dirty)
            EXPECT_NE(cached(number), nullptr) << number;
        isPoolTrim();
        EXPECT_GE(p->cachedCount, dirty.size());
        isPathWrite(t_.h(), 0);
        isPoolTrim();
        EXPECT_EQ(p->cachedCount, 0U) << "once they are written they may go";
    });
}

TEST_F(NodeCache, ClearingForReadingForgetsCleanNodesAndTheRoot) {
    t_.file().change([&] {
        IndexPath *p = t_.path();
        isTreeFirst(t_.h(), p);
        const std::uint32_t leaf = p->top->number;
        isPathClear(t_.h(), ISCLASS_READ);
        EXPECT_EQ(p->top->state, ISBUF_EMPTY);
        ASSERT_NE(cached(leaf), nullptr);
        EXPECT_EQ(isCacheTake(p, leaf, 0)->state, ISBUF_EMPTY);
    });
}

TEST_F(NodeCache, ClearingAfterAFailedChangeForgetsDirtyNodesAlone) {
    t_.file().change([&] {
        IndexPath *p = t_.path();
        passLeaves(2);
        const std::uint32_t leaf = p->top->number;
        p->top->state = ISBUF_DIRTY;
        isPathClear(t_.h(), ISCLASS_WRITE);
        EXPECT_EQ(p->top->state, ISBUF_CLEAN) << "the root had no change";
        eachCached(p, [=](const NodeBuf *n) { EXPECT_EQ(n->state, n->number == leaf ? ISBUF_EMPTY : ISBUF_CLEAN); });
        EXPECT_EQ(isCacheDirty(p), nullptr);
    });
}

TEST_F(NodeCache, FreeingADirtyNodeIsAFatalStop) {
    EXPECT_EXIT(t_.file().change([&] {
        isPathRoot(t_.h(), t_.path())->state = ISBUF_DIRTY;
        isPathFree(t_.h(), t_.path());
    }),
                testing::ExitedWithCode(1), "");
}

}  // namespace
