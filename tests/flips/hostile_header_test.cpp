// Values of the header that no library writes.
#include "flips/hostile.h"

#include <cerrno>

namespace flips {
namespace {

constexpr std::uint32_t kNowhere[] = {0, 1, 200, 0x7fffffff, 0x80000000, 0xffffffff};

class HostileHeader : public Hostile {};

TEST_F(HostileHeader, NodeSizesThatHoldNoHeaderEndTheOpenWith105) {
    for (const char *kind : {"indexes", "codedtails", "purekey"})
        for (const std::uint32_t size : {0U, 1U, 63U, 126U}) {
            take(kind);
            header(at::kNodeSize, size, 2);
            expectOpens(ISERR_CORRUPT);
        }
}

TEST_F(HostileHeader, LargestNodeSizeIsReadOrIsBeyondTheFile) {
    take("indexes");
    header(at::kNodeSize, 65535, 2);
    expectOpens(EIO, 0x41);
    // In a file that has as much the description node is to begin where there is nothing.
    header(at::kNodeSize, 65535, 2);
    damaged().index.resize(2 * 65536);
    expectOpens(ISERR_CORRUPT);
}

TEST_F(HostileHeader, NodeSizesThatAreNotTheFilesAreNoFile) {
    take("tails");
    for (const std::uint32_t size : {127U, 511U, 1022U, 1024U, 2047U}) {
        header(at::kNodeSize, size, 2);
        expectOpens(ISERR_CORRUPT);
    }
}

TEST_F(HostileHeader, RecordLengthOfNothingBesideADataFile) {
    // Its indexes are read as those of keys alone.
    for (const char *kind : {"fixed", "indexes", "recordorder", "precious"}) {
        take(kind);
        header(at::kRecordLength, 0, 2);
        expectOpens();
    }
    take("tails");
    header(at::kRecordLength, 0, 2);
    expectOpens(ISERR_CORRUPT);
}

TEST_F(HostileHeader, LongestRecordLengthWithoutADataFile) {
    take("purekey");
    header(at::kRecordLength, 65535, 2);
    expectOpens(ENOENT, 0x12);
    // With an empty one there is a file of records, and none of them.
    header(at::kRecordLength, 65535, 2);
    damaged().hasData = true;
    expectOpens();
}

TEST_F(HostileHeader, RecordLengthsThatCutTheKeysAre103) {
    take("indexes");
    for (const std::uint32_t length : {1U, 3U, 15U}) {
        header(at::kRecordLength, length, 2);
        expectOpens(ISERR_KEYDESC);
    }
    header(at::kRecordLength, 65535, 2);
    expectOpens();
}

TEST_F(HostileHeader, CountOfIndexesIsNotBelieved) {
    for (const char *kind : {"indexes", "recordorder", "noindex"}) {
        take(kind);
        for (const std::uint32_t count : {0U, 1U, 2U, 10U, 11U, 255U, 65535U}) {
            header(at::kIndexCount, count, 2);
            expectOpens();
        }
    }
}

TEST_F(HostileHeader, SerialWidthsThatNoNumberHasEndTheOpenWith105) {
    take("indexes");
    for (const std::uint32_t width : {9U, 16U, 127U, 128U, 255U}) {
        header(at::kSerialWidth, width, 1);
        expectOpens(ISERR_CORRUPT);
    }
    for (const std::uint32_t width : {0U, 1U, 3U, 8U}) {
        header(at::kSerialWidth, width, 1);
        expectOpens();
    }
    // Without equal keys there are no serials.
    take("fixed");
    header(at::kSerialWidth, 255, 1);
    expectOpens();
}

TEST_F(HostileHeader, ListHeadsThatLeadNowhere) {
    for (const char *kind : {"freelists", "tails"})
        for (const std::size_t offset : {at::kDataFree, at::kNodeFree}) {
            take(kind);
            for (const std::uint32_t number : kNowhere) {
                header(offset, number);
                expectOpens();
            }
        }
}

TEST_F(HostileHeader, FreeListsThatAreEachOthers) {
    take("freelists");
    header(at::kDataFree, freeNode());
    expectOpens();
    header(at::kNodeFree, freeRecordNode());
    expectOpens();
}

TEST_F(HostileHeader, BucketsThatLeadNowhereOrToOtherNodes) {
    for (const char *kind : {"tails", "codedtails", "fixed"}) {
        take(kind);
        for (std::size_t bucket = 0; bucket <= layout::kLastBucket; ++bucket)
            for (const std::uint32_t number : {1U, 2U, root(), 200U, 0x7fffffffU, 0xffffffffU}) {
                header(at::kBuckets + 4 * bucket, number);
                expectOpens();
            }
    }
}

TEST_F(HostileHeader, HighestNumbersBeyondTheFiles) {
    for (const char *kind : {"indexes", "tails", "recordorder"}) {
        take(kind);
        for (const std::uint32_t number : {1000U, 100000000U, 0x7fffffffU}) {
            header(at::kLastRecord, number);
            expectOpens();
            header(at::kLastNode, number);
            expectOpens();
        }
    }
}

TEST_F(HostileHeader, HighestNumbersBelowWhatTheFilesHave) {
    take("levels");
    header(at::kLastRecord, 0);
    expectOpens();
    header(at::kLastRecord, 3);
    expectOpens();
    // The description is outside, or the index.
    header(at::kLastNode, 1);
    expectOpens(ISERR_CORRUPT);
    header(at::kLastNode, 2);
    expectOpens(ISERR_CORRUPT);
    header(at::kLastNode, root());
    expectOpens();
}

TEST_F(HostileHeader, AuditSettingsThatAreAnotherNode) {
    take("extras");
    for (const std::uint32_t number : {1U, 2U, root(), freeRecordNode(), 200U, 0x7fffffffU, 0xffffffffU}) {
        header(at::kAudit, number);
        expectOpens();
    }
}

TEST_F(HostileHeader, AuditSettingsDamaged) {
    take("extras");
    const std::uint32_t settings = reader().header(at::kAudit, 4);
    for (const std::uint32_t length : {0U, 1U, 3U, 69U, 65535U}) {
        node(settings, 0, length, 2);
        node(settings, 2, 1, 2);
        expectOpens();
    }
    for (const std::uint32_t state : {1U, 2U, 256U, 65535U}) {
        node(settings, 2, state, 2);
        expectOpens();
    }
    // A name without its end.
    node(settings, 2, 1, 2);
    for (std::size_t i = 0; i < ISAUDNAMELEN + 1; ++i)
        node(settings, 4 + i, 'n', 1);
    expectOpens();
}

TEST_F(HostileHeader, FlagsThatDoNotFitTheFile) {
    const std::size_t flags = 1024 - at::kFlags;
    take("fixed");
    header(flags, 4, 2);
    expectOpens(ISERR_ARGUMENT);
    header(flags, 1, 2);
    expectOpens();
    take("purekey");
    header(flags, 1, 2);
    expectOpens();
    header(flags, 2, 2);
    expectOpens();
    take("tails");
    header(flags, 4, 2);
    expectOpens();
    header(flags, 0xffff, 2);
    expectOpens();
}

}  // namespace
}  // namespace flips
