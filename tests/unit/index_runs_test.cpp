// A new index is written in runs of nodes.

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kRecords = 20000;

class IndexRuns : public testing::Test {
  protected:
    // The second key's order has nothing to do with that of the records.
    IndexRuns() {
        for (int n = 0; n < kRecords; ++n)
            file_.write(std::to_string(100000 + n) + std::to_string(100000 + n * 7919 % kRecords));
    }
    IsamFile *h() { return file_.handle(); }
    bool isRun(const shim::Arguments &a) const {
        return a.call == shim::Call::PositionedWrite && a.length > static_cast<std::size_t>(file_.handle()->nodeSize);
    }
    // Reads all records through the second index.
    void expectWhole() {
        EXPECT_EQ(ischeckindex(file_.fd(), 1), 0);
        EXPECT_EQ(ischeckindex(file_.fd(), 2), 0);
        EXPECT_EQ(isstart(file_.fd(), &second_, 0, nullptr, ISFIRST), 0);
        char record[20];
        int mode = ISFIRST;
        for (int n = 0; n < kRecords; ++n, mode = ISNEXT) {
            ASSERT_EQ(isread(file_.fd(), record, mode), 0);
            EXPECT_EQ(std::string(record + 6, 6), std::to_string(100000 + n));
        }
        EXPECT_EQ(isread(file_.fd(), record, ISNEXT), -1);
    }
    ScratchFile file_{20, charKey(6)};
    KeyDesc second_ = charKey(6, 0, 6);
};

struct Counted : shim::Observer {
    explicit Counted(std::size_t nodeSize) : nodeSize_(nodeSize), others_(shim::observe(this)) {}
    ~Counted() override { shim::observe(others_); }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;
    void after(const shim::Arguments &a, long, int) override {
        if (a.call != shim::Call::PositionedWrite) return;
        (a.length > nodeSize_ ? runs : single) += 1;
        nodes += a.length / nodeSize_;
    }
    int runs = 0, single = 0;
    std::size_t nodes = 0;

  private:
    const std::size_t nodeSize_;
    shim::Observer *const others_;
};

TEST_F(IndexRuns, TakeFewWrites) {
    const std::uint32_t before = h()->indexFree.last;
    {
        const Counted counted(static_cast<std::size_t>(h()->nodeSize));
        ASSERT_EQ(isaddindex(file_.fd(), &second_), 0);
        EXPECT_GT(counted.runs, 1);
        EXPECT_LT(counted.single, 8);
        EXPECT_GE(counted.nodes, h()->indexFree.last - before);
    }
    expectWhole();
}

TEST_F(IndexRuns, LeaveTheFileAsItWasWhenOneCannotBeWritten) {
    const std::uint32_t before = h()->indexFree.last;
    int runs = 0;
    {
        const unit::Refusal full(ENOSPC, [&](const shim::Arguments &a) { return isRun(a) && ++runs == 2; });
        EXPECT_EQ(isaddindex(file_.fd(), &second_), -1);
        EXPECT_EQ(iserrno, ENOSPC);
        EXPECT_EQ(full.count(), 1);
    }
    EXPECT_EQ(ischeckindex(file_.fd(), 1), 0);
    EXPECT_EQ(h()->keyCount, 1);
    ASSERT_EQ(isaddindex(file_.fd(), &second_), 0);
    expectWhole();
    // What the first attempt took was used again.
    const std::uint32_t nodes = h()->indexFree.last - before;
    ASSERT_EQ(isdelindex(file_.fd(), &second_), 0);
    ASSERT_EQ(isaddindex(file_.fd(), &second_), 0);
    EXPECT_EQ(h()->indexFree.last - before, nodes);
    expectWhole();
}

}  // namespace
