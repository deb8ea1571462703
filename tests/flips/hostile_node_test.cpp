// Nodes that no library writes: used lengths, descriptions, chains without end, numbers of nothing.
#include "flips/hostile.h"

namespace flips {
namespace {

constexpr std::uint32_t kUsedLengths[] = {0, 1, 3, 1019, 1020, 1021, 1024, 1025, 65535};
constexpr std::uint32_t kNoRecord[] = {0, 41, 100000, 0x7fffffff, 0xffffffff};

class HostileNode : public Hostile {
  protected:
    // A part of the first description: length, start, type.
    void part(std::size_t offset, std::uint32_t value, int width) { node(2, description() + 7 + offset, value, width); }
};

TEST_F(HostileNode, UsedLengthsOfIndexNodes) {
    for (const char *kind : {"levels", "compressed", "purekeyrepeated", "levelscompressed"}) {
        take(kind);
        for (const std::uint32_t used : kUsedLengths) {
            node(root(), 0, used, 2);
            expectOpens();
        }
    }
    take("levels");
    for (const std::uint32_t used : kUsedLengths) {
        node(firstChild(root()), 0, used, 2);
        expectOpens();
    }
}

TEST_F(HostileNode, UsedLengthsOfFreeLists) {
    take("freelists");
    for (const std::uint32_t number : {freeRecordNode(), freeNode()})
        for (const std::uint32_t used : kUsedLengths) {
            node(number, 0, used, 2);
            expectOpens();
        }
}

TEST_F(HostileNode, UsedLengthsOfDescriptionsEndTheOpenWith105) {
    take("indexes");
    for (const std::uint32_t used : kUsedLengths) {
        node(2, 0, used, 2);
        expectOpens(ISERR_CORRUPT);
    }
    // Zeros behind the last one are no description either.
    node(2, 0, reader().node(2)[1] + 1U, 2);
    expectOpens(ISERR_CORRUPT);
    // As long as no description at all is there, the file is one without any index.
    node(2, 0, layout::kListStart, 2);
    expectOpens();
}

TEST_F(HostileNode, DescriptionsOfImpossibleLengthEndTheOpenWith105) {
    take("indexes");
    for (const std::uint32_t length : {0U, 1U, 6U, 100U, 1000U, 65535U}) {
        node(2, description(), length, 2);
        expectOpens(ISERR_CORRUPT);
    }
}

TEST_F(HostileNode, DescriptionsOfTooManyPartsAre103) {
    take("fixed");
    for (const std::uint32_t parts : {11U, 12U, 100U}) {
        const std::uint32_t length = 7 + 5 * parts;
        node(2, 0, layout::kListStart + length, 2);
        node(2, description(), length, 2);
        expectOpens(ISERR_KEYDESC);
    }
}

TEST_F(HostileNode, DescriptionsOfTooManyIndexes) {
    // As many as the node can hold, of no part but the first: only the first may have none.
    take("fixed");
    const std::uint32_t length = 12;
    for (std::uint32_t i = 0; i < 11; ++i)
        for (std::uint32_t byte = 0; byte < length; ++byte)
            node(2, layout::kListStart + i * length + byte, reader().node(2)[layout::kListStart + byte], 1);
    node(2, 0, layout::kListStart + 10 * length, 2);
    expectOpens();
    for (std::uint32_t i = 0; i < 11; ++i)
        for (std::uint32_t byte = 0; byte < length; ++byte)
            node(2, layout::kListStart + i * length + byte, reader().node(2)[layout::kListStart + byte], 1);
    node(2, 0, layout::kListStart + 11 * length, 2);
    expectOpens(ISERR_KEYDESC);
}

TEST_F(HostileNode, KeysThatAreTooLongAre103) {
    take("purekey");
    for (const std::uint32_t length : {132U, 1000U, 32764U}) {
        part(0, length, 2);
        expectOpens(ISERR_KEYDESC);
    }
    // The two parts together.
    part(0, 124, 2);
    expectOpens(ISERR_KEYDESC);
}

TEST_F(HostileNode, PartsOutsideTheRecordOrOfNoKnownTypeAre103) {
    take("fixed");
    for (const std::uint32_t start : {27U, 30U, 0x7fffU, 0x8000U, 0xffffU}) {
        part(2, start, 2);
        expectOpens(ISERR_KEYDESC);
    }
    for (const std::uint32_t type : {8U, 9U, 31U, 63U}) {
        part(4, type, 1);
        expectOpens(ISERR_KEYDESC);
    }
    for (const std::uint32_t length : {1U, 2U, 31U, 0x7fffU}) {
        part(0, length, 2);
        expectOpens(ISERR_KEYDESC);
    }
    // Flags that no key has.
    node(2, description() + 6, 0xff, 1);
    expectOpens(ISERR_KEYDESC);
}

TEST_F(HostileNode, KeyOfNoBytes) {
    take("fixed");
    part(0, 0, 2);
    expectOpens();
}

TEST_F(HostileNode, RootsThatAreOtherNodes) {
    take("indexes");
    for (const std::uint32_t number : {0U, 1U, 200U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        node(2, description() + 2, number, 4);
        expectOpens(ISERR_CORRUPT);
    }
    for (const std::uint32_t number : {2U, root(1), freeRecordNode()}) {
        node(2, description() + 2, number, 4);
        expectOpens();
    }
}

// ---------------------------------------------------------------------------------------------- chains without end

TEST_F(HostileNode, DescriptionsInACircleEndTheOpen) {
    take("fixed");
    node(2, 2, 2, 4);
    expectOpens(ISERR_CORRUPT);
    // More indexes than a file can have.
    take("indexes");
    node(2, 2, 2, 4);
    expectOpens(ISERR_KEYDESC);
    // Without descriptions in it nothing but the number of nodes ends the walk.
    node(2, 0, layout::kListStart, 2);
    node(2, 2, 2, 4);
    expectOpens(ISERR_CORRUPT);
}

TEST_F(HostileNode, FreeListsInACircle) {
    take("freelists");
    for (const std::uint32_t number : {freeRecordNode(), freeNode()}) {
        node(number, 2, number, 4);
        expectOpens();
        node(number, 2, number == freeNode() ? freeRecordNode() : freeNode(), 4);
        node(number == freeNode() ? freeRecordNode() : freeNode(), 2, number, 4);
        expectOpens();
        for (const std::uint32_t link : {1U, 2U, 200U, 0xffffffffU}) {
            node(number, 2, link, 4);
            expectOpens();
        }
    }
}

TEST_F(HostileNode, TreesInACircle) {
    take("levels");
    const std::uint32_t child = firstChild(root());
    // A node that is its own child, its parent's parent, or its own neighbour.
    for (const std::uint32_t target : {root(), child, 0U, 1U, 2U, 200U, 0x7fffffffU, 0xffffffffU}) {
        node(root(), 2 + 126, target, 4);
        expectOpens();
        node(child, 2 + 126, target, 4);
        expectOpens();
    }
    node(root(), 2 + 130 + 126, child, 4);
    expectOpens();
}

TEST_F(HostileNode, LevelsThatAreNone) {
    take("levels");
    for (const std::uint32_t level : {0U, 1U, 40U, 126U, 127U, 254U, 255U}) {
        node(root(), 1024 - at::kLevel, level, 1);
        expectOpens();
        node(firstChild(root()), 1024 - at::kLevel, level, 1);
        expectOpens();
    }
}

TEST_F(HostileNode, BucketsInACircle) {
    take("tails");
    for (std::uint32_t bucket = 1; bucket <= layout::kLastBucket; ++bucket) {
        const std::uint32_t number = reader().bucketHead(static_cast<int>(bucket));
        if (number == 0) continue;
        node(number, at::kOlder, number, 4);
        expectOpens();
        node(number, at::kNewer, number, 4);
        expectOpens();
        node(number, at::kOlder, number, 4);
        node(number, at::kNewer, number, 4);
        expectOpens();
    }
}

TEST_F(HostileNode, TailsInACircle) {
    for (const char *kind : {"tails", "codedtails"}) {
        take(kind);
        // Record 4 has whole pieces: node after node.
        const std::uint32_t first = tailNode(4);
        const std::uint32_t second = SetReader::number(reader().node(first) + at::kNextNode, 3);
        for (const std::uint32_t target : {first, second}) {
            node(first, at::kGoesOn, 1, 1);
            node(first, at::kNextNode, target, 3);
            node(first, at::kNextSlot, 0, 1);
            expectOpens();
        }
        node(second, at::kGoesOn, 1, 1);
        node(second, at::kNextNode, first, 3);
        node(second, at::kNextSlot, 0, 1);
        expectOpens();
    }
}

// --------------------------------------------------------------------------------------------- numbers of nothing

TEST_F(HostileNode, EntriesOfNoRecord) {
    take("fixed");
    for (const std::uint32_t record : kNoRecord)
        for (std::size_t entry = 0; entry < 20; entry += 9) {
            node(root(), 2 + entry * 8 + 4, record, 4);
            expectOpens();
        }
}

TEST_F(HostileNode, FreeRecordsThatAreNone) {
    take("freelists");
    const std::uint32_t used = SetReader::number(reader().node(freeRecordNode()), 2);
    for (const std::uint32_t record : kNoRecord) {
        node(freeRecordNode(), used - 4, record, 4);
        expectOpens();
        node(freeRecordNode(), 6, record, 4);
        expectOpens();
    }
    // A record that is there: its slot must not be given out.
    node(freeRecordNode(), used - 4, 1, 4);
    expectOpens();
}

TEST_F(HostileNode, FreeNodesThatAreNone) {
    take("freelists");
    const std::uint32_t used = SetReader::number(reader().node(freeNode()), 2);
    ASSERT_GT(used, 6U);
    for (const std::uint32_t number : {0U, 1U, 200U, 0x7fffffffU, 0xffffffffU}) {
        node(freeNode(), used - 4, number, 4);
        expectOpens();
    }
    // In use, or the list's own node: nothing tells that.
    for (const std::uint32_t number : {2U, root(), freeRecordNode(), freeNode()}) {
        node(freeNode(), used - 4, number, 4);
        expectOpensToHarm();
    }
}

TEST_F(HostileNode, TailsThatAreNowhere) {
    take("tails");
    const auto fixed = static_cast<std::size_t>(reader().recordLength());
    for (const std::uint32_t record : {1U, 4U}) {
        for (const std::uint32_t number : {0U, 1U, 2U, 200U, 0xffffffU}) {
            slot(record, fixed + 4, number, 3);
            expectOpens();
        }
        for (const std::uint32_t length : {0U, 1U, 2971U, 32767U, 65535U}) {
            slot(record, fixed + 1, length, 2);
            expectOpens();
        }
        for (const std::uint32_t piece : {1U, 5U, 250U, 255U}) {
            slot(record, fixed + 3, piece, 1);
            expectOpens();
        }
    }
}

TEST_F(HostileNode, TailNodesWhoseNumbersGoBeyondThem) {
    take("tails");
    for (const std::uint32_t number : {tailNode(1), tailNode(4)}) {
        for (const std::uint32_t value : {0U, 22U, 999U, 1021U, 1025U, 65535U}) {
            node(number, at::kFree, value, 2);
            expectOpens();
            node(number, at::kDataEnd, value, 2);
            expectOpens();
            // Of the first piece: its length, its offset.
            node(number, 1017, value, 2);
            expectOpens();
            node(number, 1019, value, 2);
            expectOpens();
        }
        for (const std::uint32_t value : {0U, 250U, 255U}) {
            node(number, at::kSlotCount, value, 1);
            expectOpens();
            node(number, at::kBucket, value, 1);
            expectOpens();
        }
    }
}

}  // namespace
}  // namespace flips
