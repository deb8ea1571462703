// The structural check must see damage, or the model test would trust it for nothing.
#include "support/file_check.h"
#include "support/key_desc.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr int kRecordLength = 20;
constexpr int kNodeSize = 1024;

// A file of 40 records with a flat and a compressed unique index, some records deleted.
class FileCheck : public ::testing::Test {
  protected:
    void SetUp() override { build(ISLEADCOMP | ISTRAILCOMP, 40); }

    void build(int secondFlags, int records) {
        ++builds_;
        base_ = dir_.file("file" + std::to_string(builds_));
        KeyDesc first = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}});
        KeyDesc second = keyDesc(secondFlags, {{4, 12, CHARTYPE}});
        int fd = isbuild(base_.c_str(), kRecordLength, &first, ISINOUT | ISLOCKEXCL);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(0, isaddindex(fd, &second));
        char record[kRecordLength];
        for (int i = 0; i < records; ++i) {
            stlong(i, record);
            std::snprintf(record + 4, sizeof record - 4, "name%03d", (secondFlags & ISDUPS) != 0 ? i % 3 : i);
            stchar(record + 4, record + 4, kRecordLength - 4);
            ASSERT_EQ(0, iswrite(fd, record)) << iserrno;
        }
        for (int i = 3; i < records; i += 5)
            ASSERT_EQ(0, isdelrec(fd, i)) << iserrno;
        ASSERT_EQ(0, isclose(fd));
        load();
    }

    void load() {
        index_ = slurp(base_ + ".idx");
        data_ = slurp(base_ + ".dat");
    }
    static Bytes slurp(const std::string &path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    static void spill(const std::string &path, const Bytes &bytes) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    // The check's findings after a change of the index file's bytes, which is taken back.
    CheckReport afterIndexDamage(const std::function<void(Bytes *)> &damage) {
        Bytes bytes = index_;
        damage(&bytes);
        spill(base_ + ".idx", bytes);
        CheckReport report = checkFiles(base_);
        spill(base_ + ".idx", index_);
        return report;
    }
    CheckReport afterDataDamage(const std::function<void(Bytes *)> &damage) {
        Bytes bytes = data_;
        damage(&bytes);
        spill(base_ + ".dat", bytes);
        CheckReport report = checkFiles(base_);
        spill(base_ + ".dat", data_);
        return report;
    }
    // The check's findings with one byte changed.
    static CheckReport withByte(const std::string &path, std::size_t at, std::uint8_t value, std::uint8_t old,
                                const std::string &base) {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        auto put = [&](std::uint8_t byte) {
            file.seekp(static_cast<std::streamoff>(at));
            file.put(static_cast<char>(byte)).flush();
        };
        put(value);
        CheckReport report = checkFiles(base);
        put(old);
        return report;
    }
    static bool mentions(const CheckReport &report, const std::string &text) {
        return report.text().find(text) != std::string::npos;
    }
    std::size_t nodeStart(std::uint32_t number) const { return (number - 1) * std::size_t{kNodeSize}; }
    FileHeader header() {
        FileReader reader(base_);
        std::vector<std::string> problems;
        reader.refresh(&problems);
        return reader.header();
    }
    std::vector<IndexSpec> specs() {
        FileReader reader(base_);
        std::vector<std::string> problems;
        reader.refresh(&problems);
        return reader.indexes();
    }

    TempDir dir_;
    int builds_ = 0;
    std::string base_;
    Bytes index_;
    Bytes data_;
};

TEST_F(FileCheck, SoundFileHasNoProblem) {
    CheckReport report = checkFiles(base_);
    EXPECT_TRUE(report.clean()) << report.text();
    ASSERT_EQ(2U, report.leaves.size());
    EXPECT_EQ(32U, report.leaves[0].size());
    EXPECT_EQ(32U, report.leaves[1].size());
}

TEST_F(FileCheck, MissingFileIsAProblem) { EXPECT_FALSE(checkFiles(dir_.file("nothing")).clean()); }

// Every byte that means something, one after the other.
TEST_F(FileCheck, EveryFlippedByteOfTheIndexFileIsSeen) {
    std::uint32_t descriptions = header().descriptionNode;
    auto mayChange = [&](std::size_t at) {
        std::size_t offset = at % kNodeSize;
        if (at < kNodeSize)  // change counter and unique id, the application's bytes
            return (offset >= 41 && offset < 49) || (offset >= kNodeSize - 16 && offset < kNodeSize - 6);
        // Flags and part type of the two descriptions: another kind of index may be stored in the same bytes.
        return at / kNodeSize + 1 == descriptions && (offset == 12 || offset == 17 || offset == 24 || offset == 29);
    };
    for (std::size_t i = 0; i < index_.size(); ++i) {
        if (mayChange(i)) continue;
        for (int bit : {0x01, 0x80}) {
            auto value = static_cast<std::uint8_t>(index_[i] ^ bit);
            CheckReport report = withByte(base_ + ".idx", i, value, index_[i], base_);
            ASSERT_FALSE(report.clean()) << "byte " << i << " of node " << i / kNodeSize + 1 << ", bit " << bit;
        }
    }
}

TEST_F(FileCheck, EveryFlippedKeyAndStatusByteOfTheDataFileIsSeen) {
    for (std::size_t i = 0; i < data_.size(); ++i) {
        std::size_t slot = i / (kRecordLength + 1) * (kRecordLength + 1);
        bool live = data_[slot + kRecordLength] == 0x0a;
        std::size_t at = i - slot;
        if (at != kRecordLength && (at >= 16 || !live)) continue;
        auto value = static_cast<std::uint8_t>(data_[i] ^ 0x04);
        CheckReport report = withByte(base_ + ".dat", i, value, data_[i], base_);
        ASSERT_FALSE(report.clean()) << "byte " << i;
    }
}

TEST_F(FileCheck, CutFilesAreProblems) {
    EXPECT_FALSE(afterIndexDamage([](Bytes *b) { b->resize(b->size() - 1); }).clean());
    EXPECT_FALSE(afterIndexDamage([](Bytes *b) { b->resize(kNodeSize); }).clean());
    EXPECT_FALSE(afterIndexDamage([](Bytes *b) { b->resize(10); }).clean());
    EXPECT_FALSE(afterDataDamage([](Bytes *b) { b->resize(b->size() - 1); }).clean());
    EXPECT_FALSE(afterDataDamage([](Bytes *b) { b->push_back(0); }).clean());
}

TEST_F(FileCheck, UnusedNodeAtTheEndBelongsToNothing) {
    CheckReport report = afterIndexDamage([&](Bytes *b) {
        b->resize(b->size() + kNodeSize);
        ++(*b)[40];  // last node number
    });
    EXPECT_TRUE(mentions(report, "belongs to nothing")) << report.text();
}

TEST_F(FileCheck, FreeNumberGivenTwiceIsSeen) {
    std::size_t list = nodeStart(header().dataFreeHead);
    CheckReport report = afterIndexDamage([&](Bytes *b) {
        std::copy_n(b->begin() + static_cast<long>(list) + 6, 4, b->begin() + static_cast<long>(list) + 10);
    });
    EXPECT_TRUE(mentions(report, "twice")) << report.text();
    EXPECT_TRUE(mentions(report, "deleted, but not free")) << report.text();
}

TEST_F(FileCheck, FreeListInACircleEnds) {
    std::uint32_t head = header().dataFreeHead;
    CheckReport report =
        afterIndexDamage([&](Bytes *b) { (*b)[nodeStart(head) + 5] = static_cast<std::uint8_t>(head); });
    EXPECT_FALSE(report.clean());
}

TEST_F(FileCheck, NodeUsedByTwoTreesIsSeen) {
    std::vector<IndexSpec> indexes = specs();
    CheckReport report = afterIndexDamage([&](Bytes *b) {
        std::copy_n(b->begin() + static_cast<long>(nodeStart(indexes[0].root)), kNodeSize,
                    b->begin() + static_cast<long>(nodeStart(indexes[1].root)));
    });
    EXPECT_FALSE(report.clean());
}

TEST_F(FileCheck, EntriesOutOfOrderAreSeen) {
    std::size_t root = nodeStart(specs()[0].root);
    CheckReport report = afterIndexDamage([&](Bytes *b) {
        auto first = b->begin() + static_cast<long>(root) + 2;
        std::swap_ranges(first, first + 8, first + 8);
    });
    EXPECT_TRUE(mentions(report, "out of order")) << report.text();
}

TEST_F(FileCheck, EntryOfADeletedRecordIsSeen) {
    CheckReport report = afterDataDamage([&](Bytes *b) { (*b)[kRecordLength] = 0; });
    EXPECT_TRUE(mentions(report, "record 1 should have no")) << report.text();
    EXPECT_TRUE(mentions(report, "slot 1: deleted, but not free")) << report.text();
}

TEST_F(FileCheck, SerialsThatDoNotRiseAreSeen) {
    build(ISDUPS, 30);
    ASSERT_TRUE(checkFiles(base_).clean()) << checkFiles(base_).text();
    std::size_t root = nodeStart(specs()[1].root);
    CheckReport report = afterIndexDamage([&](Bytes *b) { (*b)[root + 2 + 12 + 3] = 9; });
    EXPECT_TRUE(mentions(report, "serials 9")) << report.text();
}

TEST_F(FileCheck, DumpShowsTheTree) {
    FileReader reader(base_);
    std::vector<std::string> problems;
    ASSERT_TRUE(reader.refresh(&problems));
    std::string dump = reader.dump(0);
    EXPECT_NE(std::string::npos, dump.find("00000000 serial 0 -> 1\n")) << dump;
    EXPECT_NE(std::string::npos, dump.find("00000027 serial 0 -> 40\n")) << dump;
}

// Trees of several levels: branch keys, levels and children.
class TallFileCheck : public FileCheck {
  protected:
    void SetUp() override {
        base_ = dir_.file("tall");
        KeyDesc key = keyDesc(ISNODUPS, {{0, 120, CHARTYPE}});
        int fd = isbuild(base_.c_str(), 120, &key, ISINOUT | ISLOCKEXCL);
        ASSERT_GE(fd, 0);
        std::string record(120, 'k');
        for (int i = 0; i < 120; ++i) {
            std::string number = std::to_string(1000 + i * 7 % 120);
            std::copy(number.begin(), number.end(), record.begin() + 60);
            ASSERT_EQ(0, iswrite(fd, record.data())) << iserrno;
        }
        ASSERT_EQ(0, isclose(fd));
        load();
    }
};

TEST_F(TallFileCheck, SoundTreeHasNoProblem) {
    CheckReport report = checkFiles(base_);
    EXPECT_TRUE(report.clean()) << report.text();
    EXPECT_EQ(3, report.levels);
}

TEST_F(TallFileCheck, WrongLevelIsSeen) {
    std::uint32_t root = specs()[0].root;
    EXPECT_FALSE(afterIndexDamage([&](Bytes *b) { ++(*b)[nodeStart(root) + kNodeSize - 2]; }).clean());
}

TEST_F(TallFileCheck, BranchKeyBelowItsChildIsSeen) {
    std::uint32_t root = specs()[0].root;
    CheckReport report = afterIndexDamage([&](Bytes *b) { (*b)[nodeStart(root) + 2] = 'a'; });
    EXPECT_TRUE(mentions(report, "above the subtree's range")) << report.text();
}

TEST_F(TallFileCheck, ChildOfTwoParentsIsSeen) {
    std::size_t root = nodeStart(specs()[0].root);
    CheckReport report = afterIndexDamage([&](Bytes *b) {
        auto pointer = b->begin() + static_cast<long>(root) + 2 + 120;
        std::copy_n(pointer, 4, pointer + 124);
    });
    EXPECT_FALSE(report.clean());
}

}  // namespace
