// Changes that end before, or right behind, their header: no node gets two owners, and no number means another thing.

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "shim/system_calls.h"
#include "support/file_check.h"
#include "unit/raw_file.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using shim::Call;
using unit::be;
using unit::charKey;
using unit::patch;
using unit::Refusal;
using unit::ScratchFile;

constexpr int kRecord = 200, kLong = 100, kShort = 80;
constexpr int kLeaf = 9;  // entries that a leaf of the first index has room for
constexpr long kNode = 1024, kDataFree = 25, kIndexFree = 29, kLastNode = 37, kChanges = 41;

std::string recordOf(int i) { return std::to_string(10000 + i) + std::string(kRecord - 5, ' '); }

class BeforeHeader : public testing::Test {
  protected:
    void SetUp() override {
        KeyDesc second = charKey(kShort, ISDUPS, kLong);
        ASSERT_EQ(isaddindex(file_.fd(), &second), 0);
    }
    int write(int i) { return iswrite(file_.fd(), recordOf(i).data()); }
    bool isThere(int i) {
        std::string record = recordOf(i);
        return isread(file_.fd(), record.data(), ISEQUAL) == 0;
    }
    long nodes() const { return static_cast<long>(unit::sizeOf(index_)) / kNode; }
    long numberAt(long offset) const {
        return ldlong(unit::bytesOf(index_).substr(static_cast<std::size_t>(offset), 4).data());
    }
    std::string startOf(long node, std::size_t length) const {
        return unit::bytesOf(index_).substr(static_cast<std::size_t>((node - 1) * kNode), length);
    }
    // Of the first index; none while its root is a leaf.
    std::vector<long> childrenOfRoot() const {
        constexpr long kRoot = 3, kEntry = kLong + 4;
        std::vector<long> children;
        const std::string root = startOf(kRoot, kNode);
        if (root[kNode - 2] == 0) return children;
        for (long end = 2 + kEntry; end <= ldint(root.data()); end += kEntry)
            children.push_back(ldlong(root.data() + end - 4));
        return children;
    }
    std::string sharedNodes() const {
        std::string out;
        for (const std::string &text : testing_support::checkFiles(file_.base(), {.membership = false}).problems)
            if (text.find(" is both ") != std::string::npos) out += text + "\n";
        return out;
    }

    ScratchFile file_{kRecord, charKey(kLong), ISINOUT | ISLOCKEXCL};
    const std::string index_ = file_.base() + ".idx";
    const int fd_ = isqv_idxfd(file_.fd());
};

TEST_F(BeforeHeader, NewNodesCountBeforeATreeLeadsThere) {
    for (int i = 0; i < kLeaf; ++i)
        ASSERT_EQ(write(i), 0);
    const long before = nodes(), changes = numberAt(kChanges);
    {
        Refusal header(EIO, unit::header(Call::PositionedWrite, fd_));
        EXPECT_EQ(write(kLeaf), -1);
        EXPECT_EQ(iserrno, EIO);
    }
    const long grown = nodes();
    ASSERT_GT(grown, before);
    EXPECT_EQ(numberAt(kLastNode), grown);
    EXPECT_EQ(numberAt(kChanges), changes);
    // The second index has to split as well.
    constexpr int kMore = 20;
    for (int i = kLeaf + 1; i < kMore; ++i)
        EXPECT_EQ(write(i), 0) << i;
    EXPECT_GT(numberAt(kLastNode), grown);
    for (int i = 0; i < kMore; ++i)
        EXPECT_TRUE(i == kLeaf || isThere(i)) << i;
    EXPECT_EQ(sharedNodes(), "");
}

// A rebuild that needs more nodes than the index had, stopped at each of its writes for good.
TEST_F(BeforeHeader, NewNodesOfARebuildCountBeforeItsTreeLeadsThere) {
    constexpr int kRecords = 40;
    // Keys that rise leave full leaves behind, keys that fall half-full ones.
    for (int i = 0; i < kRecords; ++i)
        ASSERT_EQ(write(i), 0);
    const long before = nodes();
    ASSERT_EQ(isclose(file_.fd()), 0);
    for (int i = 0; i < kRecords; ++i)
        patch(file_.base() + ".dat", static_cast<long>(i) * (kRecord + 1), recordOf(kRecords - i));
    const std::string whole = unit::bytesOf(index_);
    long most = 0;
    for (int number = 0, refused = 1; refused != 0; ++number) {
        SCOPED_TRACE(number);
        std::filesystem::resize_file(index_, whole.size());
        patch(index_, 0, whole);
        const int fd = isopen(file_.base().c_str(), ISINOUT | ISLOCKEXCL);
        ASSERT_GE(fd, 0);
        {
            Refusal rest(EIO, [number, met = 0](const shim::Arguments &arguments) mutable {
                return arguments.call == Call::PositionedWrite && met++ >= number;
            });
            const bool done = isRebuildIdx(isAdmItoD(fd), 1) == 1;
            refused = rest.count();
            EXPECT_EQ(done, refused == 0);
        }
        isclose(fd);
        const long last = numberAt(kLastNode);
        for (const long child : childrenOfRoot())
            EXPECT_LE(child, last);
        most = std::max(most, last);
    }
    EXPECT_GT(most, before);
    EXPECT_EQ(childrenOfRoot().size(), 8U);
}

// Nodes A and B list free nodes; both are empty, and A leads to B. A delete makes A the list of records.
class ListOfNodes : public BeforeHeader {
  protected:
    void SetUp() override {
        BeforeHeader::SetUp();
        for (int i = 0; i < kLeaf + 1; ++i)
            ASSERT_EQ(write(i), 0);
        a_ = nodes() + 1;
        b_ = a_ + 1;
        const std::string tail = std::string(1, '\0') + '\xff' + '\x7f' + std::string(1, '\0');
        const auto list = [&](const std::string &start) {
            return start + std::string(static_cast<std::size_t>(kNode) - start.size() - tail.size(), '\0') + tail;
        };
        ASSERT_EQ(isclose(file_.fd()), 0);
        patch(index_, (a_ - 1) * kNode, list(be(6, 2) + be(static_cast<std::uint32_t>(b_), 4)));
        patch(index_, (b_ - 1) * kNode, list(be(6, 2) + be(0, 4)));
        patch(index_, kIndexFree, be(static_cast<std::uint32_t>(a_), 4));
        patch(index_, kLastNode, be(static_cast<std::uint32_t>(b_), 4));
        opened_ = isopen(file_.base().c_str(), ISINOUT | ISLOCKEXCL);
        ASSERT_GE(opened_, 0);
    }
    void TearDown() override { isclose(opened_); }
    int remove(int i) { return isdelete(opened_, recordOf(i).data()); }

    long a_ = 0, b_ = 0;
    int opened_ = -1;
};

TEST_F(ListOfNodes, ListsNoRecordsBeforeTheHeaderSaysSo) {
    {
        Refusal header(EIO, unit::header(Call::PositionedWrite, isqv_idxfd(opened_)));
        EXPECT_EQ(remove(0), -1);
        EXPECT_EQ(iserrno, EIO);
    }
    EXPECT_EQ(numberAt(kIndexFree), a_);
    EXPECT_EQ(startOf(a_, 10), be(6, 2) + std::string(8, '\0'));
}

TEST_F(ListOfNodes, IsNoListOfRecordsBehindTheHeader) {
    {
        Refusal node(EIO, [this](const shim::Arguments &arguments) {
            return arguments.call == Call::PositionedWrite && arguments.offset == (a_ - 1) * kNode &&
                   arguments.length == static_cast<std::size_t>(kNode);
        });
        EXPECT_EQ(remove(0), -1);
        EXPECT_EQ(iserrno, EIO);
        EXPECT_EQ(node.count(), 1);
    }
    EXPECT_EQ(numberAt(kDataFree), a_);
    EXPECT_EQ(numberAt(kIndexFree), b_);
    EXPECT_EQ(startOf(a_, 10), be(6, 2) + std::string(8, '\0'));
    EXPECT_EQ(ischeckdata(opened_), ISCHK_FREELIST);
    EXPECT_EQ(isRebuildFree(isAdmItoD(opened_), ISKIND_DATA), 1);
    EXPECT_EQ(ischeckdata(opened_), 0);
    EXPECT_EQ(sharedNodes(), "");
}

TEST_F(ListOfNodes, BecomesOneOfRecords) {
    EXPECT_EQ(remove(0), 0);
    EXPECT_EQ(testing_support::checkFiles(file_.base()).text(), "");
    EXPECT_EQ(startOf(a_, 10), be(10, 2) + be(0, 4) + be(1, 4));
}

}  // namespace
