// The structural check must see damage to tails and settings, or the model test would trust it for nothing.
#include "support/file_check.h"
#include "support/key_desc.h"
#include "support/remnant.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr int kMinimum = 8;
constexpr int kMaximum = 4000;
constexpr std::size_t kSlot = kMinimum + 1 + 6;
constexpr std::size_t kNodeSize = 1024;
const char *const kIndex = ".idx";
const char *const kData = ".dat";

// A file with tails of one piece and of several, some of them deleted, and with audit settings.
class TailCheckTest : public ::testing::Test {
  protected:
    void SetUp() override { build(0); }

    void build(int flags) {
        base_ = dir_.file(flags != 0 ? "compressed" : "plain");
        KeyDesc key = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}});
        int fd = isvbuild(base_.c_str(), kMinimum, kMaximum, &key, ISINOUT | ISLOCKEXCL | ISVARLEN | flags);
        ASSERT_GE(fd, 0) << iserrno;
        char trail[] = "a.trail";
        ASSERT_EQ(0, isaudit(fd, trail, ISAUDSETNAME));
        tails_.clear();
        const int lengths[] = {0, 30, 200, 500, 993, 994, 995, 2100, 60, 700, 3000, 150, 150, 400};
        for (int length : lengths) {
            auto n = static_cast<int>(tails_.size());
            Bytes tail(static_cast<std::size_t>(length), n % 2 == 0 ? ' ' : static_cast<std::uint8_t>('a' + n));
            Bytes record(kMinimum, 'f');
            record.insert(record.end(), tail.begin(), tail.end());
            stlong(n, record.data());
            isreclen = kMinimum + length;
            ASSERT_EQ(0, iswrite(fd, reinterpret_cast<char *>(record.data()))) << iserrno;
            tails_.push_back(tail);
        }
        for (long recnum : {3L, 10L, 12L}) {
            ASSERT_EQ(0, isdelrec(fd, recnum)) << iserrno;
            tails_[static_cast<std::size_t>(recnum - 1)].clear();
        }
        ASSERT_EQ(0, isclose(fd));
        index_ = slurp(kIndex);
        data_ = slurp(kData);
    }

    Bytes slurp(const char *suffix) const {
        std::ifstream in(base_ + suffix, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void spill(const char *suffix, const Bytes &bytes) const {
        std::ofstream out(base_ + suffix, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    // The check's findings after a change of the files' bytes, which is taken back.
    std::string after(const std::function<void(Bytes *index, Bytes *data)> &damage) {
        Bytes index = index_;
        Bytes data = data_;
        damage(&index, &data);
        spill(kIndex, index);
        spill(kData, data);
        CheckReport report = checkFiles(base_);
        spill(kIndex, index_);
        spill(kData, data_);
        return report.text();
    }
    // The same for one byte of a file, whose lowest bit is turned.
    std::string afterFlip(const char *suffix, std::size_t at) {
        std::fstream file(base_ + suffix, std::ios::binary | std::ios::in | std::ios::out);
        const Bytes &bytes = suffix == kIndex ? index_ : data_;
        auto put = [&](int byte) {
            file.seekp(static_cast<std::streamoff>(at));
            file.put(static_cast<char>(byte)).flush();
        };
        put(bytes[at] ^ 0x01);
        CheckReport report = checkFiles(base_);
        put(bytes[at]);
        return report.text();
    }
    void expectFound(const std::string &report, const std::string &text) {
        EXPECT_NE(std::string::npos, report.find(text)) << "no '" << text << "' in:\n" << report;
    }

    // Offset of a byte of the node that holds the first piece of a record's tail.
    std::size_t nodeOf(long recnum) const {
        const std::uint8_t *pointer = data_.data() + static_cast<std::size_t>(recnum - 1) * kSlot + kMinimum + 1;
        return (be24(pointer + 3) - 1) * kNodeSize;
    }
    static void put(Bytes *bytes, std::size_t at, std::uint32_t value, int width) {
        Bytes number;
        putBe(&number, value, width);
        std::copy(number.begin(), number.end(), bytes->begin() + static_cast<std::ptrdiff_t>(at));
    }

    TempDir dir_;
    std::string base_;
    Bytes index_;
    Bytes data_;
    std::vector<Bytes> tails_;
};

TEST_F(TailCheckTest, SoundFileGivesBackEveryTail) {
    CheckReport report = checkFiles(base_);
    EXPECT_TRUE(report.clean()) << report.text();
    EXPECT_EQ(tails_, report.tails);
    EXPECT_EQ(tails_, report.storedTails);
    EXPECT_EQ("a.trail", report.audit.name);
    EXPECT_FALSE(report.audit.on);
}

TEST_F(TailCheckTest, CompressedTailsAreExpanded) {
    build(ISCOMPRESS);
    CheckReport report = checkFiles(base_);
    EXPECT_TRUE(report.clean()) << report.text();
    EXPECT_EQ(tails_, report.tails);
    EXPECT_EQ((Bytes{0xbf, 0xbf, 0x98, 0x00}), report.storedTails[12]) << "150 blanks";
}

TEST_F(TailCheckTest, EveryFlippedByteOfRemnantNodesAndHeadsIsSeen) {
    CheckReport sound = checkFiles(base_);
    ASSERT_GT(sound.remnantNodes, 5);
    FileReader reader(base_);
    std::vector<std::string> problems;
    ASSERT_TRUE(reader.refresh(&problems));
    RemnantReader remnants(reader);
    std::vector<std::size_t> wanted;
    for (std::size_t at = 61; at < 81; ++at)
        wanted.push_back(at);
    for (std::uint32_t n = 2; n <= reader.header().lastNode; ++n) {
        const RemnantNode &node = remnants.node(n);
        if (!node.problem.empty() || node.bytes[kNodeSize - 3] != '|') continue;
        for (std::size_t at = 0; at < kNodeSize; ++at) {
            bool link = at >= 4 && at < 12;
            bool tail = at >= kRemnantStart && at < static_cast<std::size_t>(node.dataEnd);
            bool room = !tail && at >= kRemnantStart && at < kNodeSize - 200;  // all alike: a few are enough
            if (!(link && node.bucket == 0) && !tail && !(room && at % 41 != 0))
                wanted.push_back((n - 1) * kNodeSize + at);
        }
    }
    EXPECT_GT(wanted.size(), 200U);
    for (std::size_t at : wanted) {
        ASSERT_NE("", afterFlip(kIndex, at)) << "byte " << at % kNodeSize << " of node " << at / kNodeSize + 1;
    }
}

TEST_F(TailCheckTest, EveryFlippedByteOfATailPointerIsSeen) {
    for (long recnum : {1L, 2L, 8L})
        for (std::size_t i = 0; i < 6; ++i) {
            std::size_t at = static_cast<std::size_t>(recnum - 1) * kSlot + kMinimum + 1 + i;
            EXPECT_NE("", afterFlip(kData, at)) << recnum << ", byte " << i;
        }
}

TEST_F(TailCheckTest, PieceOfADeletedRecordIsSeen) {
    std::string found = after([](Bytes *, Bytes *data) { (*data)[kSlot + kMinimum] = 0; });
    expectFound(found, "used, but no record has it");
}

TEST_F(TailCheckTest, PieceOfTwoRecordsIsSeen) {
    std::string found = after([](Bytes *, Bytes *data) {
        std::size_t from = 12 * kSlot + kMinimum + 1;
        std::copy_n(data->begin() + static_cast<long>(from), 6, data->begin() + kSlot + kMinimum + 1);
    });
    expectFound(found, "belongs to record 2 and record 13");
}

TEST_F(TailCheckTest, ChainInACircleEnds) {
    std::size_t node = nodeOf(8);  // 2100 bytes: full node, full node, the rest
    std::string found = after([=](Bytes *index, Bytes *) {
        put(index, node + 16, 0, 1);
        put(index, node + 17, static_cast<std::uint32_t>(node / kNodeSize + 1), 3);
    });
    EXPECT_NE("", found);
}

TEST_F(TailCheckTest, PieceOutsideItsNodeIsSeen) {
    std::string found = after([this](Bytes *index, Bytes *) { put(index, nodeOf(8) + kNodeSize - 5, 1023, 2); });
    expectFound(found, "piece outside the node");
}

TEST_F(TailCheckTest, SlotThatIsNotThereIsSeen) {
    std::string found = after([](Bytes *, Bytes *data) { (*data)[kSlot + kMinimum + 3] = 200; });
    expectFound(found, "no such slot");
}

TEST_F(TailCheckTest, BucketInACircleEnds) {
    std::string found = after([](Bytes *index, Bytes *) {
        for (std::size_t bucket = 1; bucket < 5; ++bucket) {
            std::uint32_t head = be32(index->data() + 61 + 4 * bucket);
            if (head != 0) put(index, (head - 1) * kNodeSize + 4, head, 4);
        }
    });
    expectFound(found, "filed twice");
}

TEST_F(TailCheckTest, NodeMissingFromItsBucketIsSeen) {
    std::string found = after([](Bytes *index, Bytes *) { std::fill_n(index->begin() + 61, 20, std::uint8_t{0}); });
    expectFound(found, "filed in bucket 0");
}

TEST_F(TailCheckTest, HeadOfBucketZeroIsSeen) {
    std::string found = after([](Bytes *index, Bytes *) { (*index)[64] = 2; });
    expectFound(found, "bucket 0 has the head 2");
}

TEST_F(TailCheckTest, TailThatIsNotACodedOneIsSeen) {
    build(ISCOMPRESS);
    std::string found = after([this](Bytes *index, Bytes *) {
        auto from = index->begin() + static_cast<long>(nodeOf(2));
        std::replace(from + kRemnantStart, from + 900, std::uint8_t{0}, std::uint8_t{0x81});
    });
    expectFound(found, "tail is not a coded one");
}

TEST_F(TailCheckTest, LengthsOutOfRangeAreSeen) {
    expectFound(after([](Bytes *index, Bytes *) { put(index, 59, kMinimum, 2); }), "header: lengths 8 to 8");
    expectFound(after([](Bytes *index, Bytes *) { put(index, 59, 32512, 2); }), "header: lengths 8 to 32512");
}

TEST_F(TailCheckTest, DamagedAuditSettingsAreSeen) {
    std::size_t node = (be32(index_.data() + 49) - 1) * kNodeSize;
    for (std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{11}, std::size_t{12},
                           std::size_t{68}, std::size_t{500}, kNodeSize - 2, kNodeSize - 1}) {
        std::string found = after([=](Bytes *index, Bytes *) { (*index)[node + at] ^= 0x02; });
        expectFound(found, "audit settings node");
    }
}

}  // namespace
