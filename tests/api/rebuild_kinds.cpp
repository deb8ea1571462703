#include "rebuild_kinds.h"

#include "../support/file_check.h"
#include "../support/key_image.h"

#include <algorithm>

namespace api {

namespace {

using testing_support::IndexSpec;
using testing_support::Key;

::testing::AssertionResult outcome(int fd, int result) {
    IsamFile *file = isAdmItoD(fd);
    if (result == 1 && isErrno(file) == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "result " << result << ", error " << isErrno(file) << ", io "
                                         << isErrio(file);
}

// The records that an index must lead to: their numbers and keys.
struct Member {
    std::uint32_t recnum;
    Key key;
};
std::vector<Member> membersOf(Damage &damage, int index) {
    const IndexSpec spec = damage.index(index);
    std::vector<Member> members;
    testing_support::Bytes slot;
    const testing_support::FileReader &files = damage.files();
    for (std::uint32_t n = 1; n <= files.header().lastRecord; ++n) {
        EXPECT_TRUE(files.slot(static_cast<long>(n), &slot));
        if (slot[static_cast<std::size_t>(files.header().recordLength)] != 0x0a) continue;
        const std::uint32_t mask = files.header().masked() ? testing_support::be32(&slot[slot.size() - 4]) : 0;
        const Key key = makeKey(spec, slot.data());
        if ((mask >> (index - 1) & 1U) == 0 && !isNullKey(spec, key)) members.push_back({n, key});
    }
    return members;
}

std::vector<std::uint32_t> numbersBy(int fd, int edge) {
    std::vector<std::uint32_t> numbers;
    std::vector<char> buffer(kVarMax);
    int mode = edge;
    while (isread(fd, buffer.data(), mode) == 0) {
        numbers.push_back(static_cast<std::uint32_t>(isrecnum));
        mode = edge == ISFIRST ? ISNEXT : ISPREV;
    }
    EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
    return numbers;
}

void swapPair(Damage &damage, int index) {
    for (const std::uint32_t leaf : damage.leaves(index)) {
        std::vector<TreeEntry> entries = damage.entries(index, leaf);
        for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
            if (entries[i].key == entries[i + 1].key) continue;
            std::swap(entries[i], entries[i + 1]);
            entries.back().share = false;
            if (!damage.fit(index, entries)) break;
            damage.store(index, leaf, entries);
            return;
        }
    }
    ADD_FAILURE() << "no pair to swap";
}

std::uint32_t root(Damage &damage, int index) { return damage.index(index).root; }

// Takes an entry out of the fullest leaf, or puts it in once more: of both, the file must still be readable.
void countWrong(Damage &damage, int index, bool more) {
    for (const std::uint32_t leaf : damage.leaves(index)) {
        std::vector<TreeEntry> entries = damage.entries(index, leaf);
        if (entries.size() < 2) continue;
        if (more)
            entries.insert(entries.begin(), entries.front());
        else
            entries.erase(entries.begin());
        if (!damage.fit(index, entries)) continue;
        damage.store(index, leaf, entries);
        return;
    }
    ADD_FAILURE() << "no leaf to change";
}

}  // namespace

::testing::AssertionResult rebuilds(int fd, int index) { return outcome(fd, isRebuildIdx(isAdmItoD(fd), index)); }

::testing::AssertionResult rebuildsFree(int fd) { return outcome(fd, isRebuildFree(isAdmItoD(fd), ISFREE_DATA)); }

const std::vector<IndexDamage> &indexDamages() {
    static const std::vector<IndexDamage> all = {
        {"root zeroed", false, false,
         [](Damage &d, int index) {
             d.blankNode(root(d, index));
         }},
        {"all nodes zeroed", false, false,
         [](Damage &d, int index) {
             for (const std::uint32_t node : d.tree(index))
                 d.blankNode(node);
         }},
        {"root emptied", true, false,
         [](Damage &d, int index) {
             d.blankNode(root(d, index));
             d.node(root(d, index), field::kUsed, 2, 2);
         }},
        {"pair swapped", false, false, swapPair},
        {"entry missing", true, false,
         [](Damage &d, int index) {
             countWrong(d, index, false);
         }},
        {"entry twice", true, false,
         [](Damage &d, int index) {
             countWrong(d, index, true);
         }},
        {"entry of no record", false, false,
         [](Damage &d, int index) {
             d.pointTo(index, d.leaves(index).back(), 0, 0x7fffffff);
         }},
        {"root of another level", false, false,
         [](Damage &d, int index) {
             d.node(root(d, index), field::kLevel, 30, 1);
         }},
        {"leaf of another level", false, true,
         [](Damage &d, int index) {
             d.node(d.leaves(index).front(), field::kLevel, 1, 1);
         }},
        {"leaf with a wrong mark", false, false,
         [](Damage &d, int index) {
             d.node(d.leaves(index).back(), field::kMark, 0xff, 1);
         }},
        {"used length too long", false, false,
         [](Damage &d, int index) {
             d.node(d.leaves(index).back(), field::kUsed, 1020, 2);
         }},
        {"used length too short", false, false,
         [](Damage &d, int index) {
             d.node(root(d, index), field::kUsed, 1, 2);
         }},
        {"used length within an entry", false, false,
         [](Damage &d, int index) {
             d.node(d.leaves(index).front(), field::kUsed, 3, 2);
         }},
        {"first child 0", false, true,
         [](Damage &d, int index) {
             d.pointTo(index, root(d, index), 0, 0);
         }},
        {"first child outside", false, true,
         [](Damage &d, int index) {
             d.pointTo(index, root(d, index), 0, d.files().header().lastNode + 1);
         }},
        {"child its own parent", false, true,
         [](Damage &d, int index) {
             d.pointTo(index, root(d, index), 1, root(d, index));
         }},
        {"node with two parents", false, true,
         [](Damage &d, int index) {
             d.pointTo(index, root(d, index), 1, d.entries(index, root(d, index))[0].pointer);
         }},
    };
    return all;
}

void RebuildTest::expectReachable(int fd, int index) {
    const IndexSpec spec = damage().index(index);
    std::vector<Member> members = membersOf(damage(), index);
    EXPECT_FALSE(members.empty());
    KeyDesc key = kind().key(index);
    std::vector<char> buffer(kVarMax);
    ASSERT_OK(isstart(fd, &key, 0, nullptr, ISFIRST));

    const std::vector<std::uint32_t> forwards = numbersBy(fd, ISFIRST);
    std::vector<std::uint32_t> backwards = numbersBy(fd, ISLAST), wanted;
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(forwards, backwards);
    for (const Member &member : members)
        wanted.push_back(member.recnum);
    std::vector<std::uint32_t> sorted = forwards;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, wanted);

    std::stable_sort(members.begin(), members.end(),
                     [&](const Member &a, const Member &b) { return compareKeys(spec, a.key, b.key) < 0; });
    for (std::size_t i = 0; i < forwards.size() && i < members.size(); ++i) {
        const auto found =
            std::find_if(members.begin(), members.end(), [&](const Member &m) { return m.recnum == forwards[i]; });
        if (found == members.end()) continue;
        EXPECT_EQ(found->key, members[i].key) << "record " << forwards[i] << " out of order";
    }

    for (const Member &member : members) {
        std::fill(buffer.begin(), buffer.end(), '\0');
        scatterKey(spec, member.key, reinterpret_cast<unsigned char *>(buffer.data()));
        ASSERT_OK(isread(fd, buffer.data(), ISEQUAL)) << "record " << member.recnum;
        // Of several with the key, one of them.
        EXPECT_EQ(makeKey(spec, reinterpret_cast<unsigned char *>(buffer.data())), member.key);
        if (!spec.duplicates()) EXPECT_EQ(isrecnum, static_cast<long>(member.recnum));
        EXPECT_OK(isdata(fd, buffer.data(), static_cast<long>(member.recnum)));
    }
}

void RebuildTest::expectMended(int fd) {
    EXPECT_EQ(found(fd), sound());
    const testing_support::CheckReport report = checkFiles(damage().files());
    EXPECT_TRUE(report.clean()) << report.text();
    for (int index = 1; index <= kind().indexes(); ++index) {
        SCOPED_TRACE("through index " + std::to_string(index));
        expectReachable(fd, index);
    }
}

void RebuildTest::expectUsable(int fd) {
    expectMended(fd);
    for (int i = 0; i < 9; ++i, ++next_) {
        writeKind(fd, kind(), next_, next_);
        const auto recnum = static_cast<int>(isrecnum);
        if (i % 3 == 1) rewriteKind(fd, kind(), recnum, next_ + 5000);
        if (i % 3 == 2) EXPECT_OK(isdelrec(fd, recnum));
    }
    EXPECT_EQ(found(fd), sound());
}

}  // namespace api
