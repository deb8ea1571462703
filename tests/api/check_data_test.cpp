// The check of records and of the list of free record numbers, on files damaged on purpose.
#include "check_kinds.h"

namespace api {
namespace {

// Records 6, 12, .. are deleted; record 30 never had a tail.
constexpr int kDeleted = 30, kLive = 31;

class CheckData : public KindTest {
  protected:
    void SetUp() override {
        EXPECT_OK(isclose(make()));
        ASSERT_FALSE(damage().live(kDeleted));
        ASSERT_TRUE(damage().live(kLive));
    }
    // In a precious file no list says which records are free.
    int listed(int bits) const { return kind().precious ? 0 : bits; }
    int dataAfter(const std::function<void()> &damages) { return foundAfter(damages).data; }
    std::uint32_t recordsEver() { return damage().files().header().lastRecord; }
};

TEST_P(CheckData, FreeSlotWithAnUnknownStatus) {
    for (const std::uint32_t status : {0x01U, 0x0bU, 0x20U, 0xffU})
        EXPECT_EQ(foundAfter([&] { damage().status(kDeleted, status); }), withData(ISCHK_RECORD)) << status;
}

// A slot that is no record leaves one record too few beside the list.
TEST_P(CheckData, RecordWithAnUnknownStatus) {
    EXPECT_EQ(dataAfter([&] { damage().status(kLive, 0x0d); }), ISCHK_RECORD | listed(ISCHK_FREELIST));
}

TEST_P(CheckData, FreeRecordThatLooksPresent) {
    EXPECT_EQ(foundAfter([&] { damage().status(kDeleted, 0x0a); }), withData(listed(ISCHK_FREELIST)));
}

TEST_P(CheckData, RecordThatLooksDeleted) {
    EXPECT_EQ(dataAfter([&] { damage().status(kLive, 0); }), listed(ISCHK_FREELIST));
}

TEST_P(CheckData, DataFileThatEndsEarly) {
    const std::int64_t size = damage().dataSize(), slot = damage().files().slotLength();
    for (const std::int64_t left : {size - 1, size - slot, slot, slot - 1, std::int64_t{0}})
        EXPECT_EQ(dataAfter([&] { damage().cutData(left); }), ISCHK_DATAREAD) << left;
}

TEST_P(CheckData, HeaderCountsMoreRecordsThanThereAre) {
    for (const std::uint32_t last : {recordsEver() + 1, recordsEver() + 100000, 0x7fffffffU})
        EXPECT_EQ(dataAfter([&] { damage().header(field::kLastRecord, last); }), ISCHK_DATAREAD) << last;
}

TEST_P(CheckData, FileOpenedForWritingOnly) {
    withDamage(
        kind(), [] {}, [&](int fd) { EXPECT_EQ(ischeckdata(fd), ISCHK_DATAREAD); }, ISOUTPUT);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckData, testing::ValuesIn(recordKinds()), kindName);

// The list itself.
class CheckFreeList : public CheckData {
  protected:
    testing_support::FreeList list() { return damage().freeList(true); }
    // The head with other numbers in it.
    void storeHead(const std::vector<std::uint32_t> &numbers) { damage().storeFreeNode(list().nodes[0], 0, numbers); }
    // An index that is counted cannot be with such a list, or has another number of entries than it tells.
    Found expected(int data, int counted) const {
        Found all = sound();
        all.data = data;
        for (int i = 1; i <= kind().indexes(); ++i)
            if (kind().counted(i)) all.indexes[static_cast<std::size_t>(i - 1)] = counted;
        return all;
    }
};

TEST_P(CheckFreeList, Lost) {
    EXPECT_EQ(foundAfter([&] { damage().header(field::kDataFree, 0); }), expected(ISCHK_FREELIST, ISCHK_KEYCOUNT));
}

TEST_P(CheckFreeList, NumberMissing) {
    std::vector<std::uint32_t> numbers = list().numbers;
    numbers.pop_back();
    EXPECT_EQ(foundAfter([&] { storeHead(numbers); }), expected(ISCHK_FREELIST, ISCHK_KEYCOUNT));
}

TEST_P(CheckFreeList, RecordInUseAdded) {
    std::vector<std::uint32_t> numbers = list().numbers;
    numbers.push_back(kLive);
    EXPECT_EQ(foundAfter([&] { storeHead(numbers); }), expected(ISCHK_FREELIST, ISCHK_KEYCOUNT));
}

TEST_P(CheckFreeList, RecordInUseInPlaceOfAFreeOne) {
    std::vector<std::uint32_t> numbers = list().numbers;
    numbers[3] = kLive;
    EXPECT_EQ(foundAfter([&] { storeHead(numbers); }), expected(ISCHK_FREELIST, 0));
}

TEST_P(CheckFreeList, OneNumberTwice) {
    std::vector<std::uint32_t> numbers = list().numbers;
    numbers[3] = numbers[4];
    EXPECT_EQ(foundAfter([&] { storeHead(numbers); }), expected(ISCHK_FREELIST, 0));
}

TEST_P(CheckFreeList, NumberOfNoRecord) {
    for (const std::uint32_t number : {0U, recordsEver() + 1, 0x7fffffffU, 0xffffffffU}) {
        std::vector<std::uint32_t> numbers = list().numbers;
        numbers.front() = number;
        EXPECT_EQ(foundAfter([&] { storeHead(numbers); }).data, ISCHK_FREELIST) << number;
    }
}

TEST_P(CheckFreeList, NodeThatIsNoListNode) {
    const std::uint32_t head = list().nodes[0];
    const Found wrong = expected(ISCHK_FREELIST, ISCHK_INDEXREAD);
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kMark, 0, 1); }), wrong);
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kLevel, 126, 1); }), wrong);
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kUsed, 5, 2); }), wrong);
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kUsed, 1021, 2); }), wrong);
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kUsed, 17, 2); }), wrong);
}

TEST_P(CheckFreeList, HeadOrLinkThatLeadsElsewhere) {
    const std::uint32_t head = list().nodes[0];
    const Found wrong = expected(ISCHK_FREELIST, ISCHK_INDEXREAD);
    const std::uint32_t last = damage().files().header().lastNode;
    for (const std::uint32_t node : {1U, 2U, last + 1, last + 1000, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        EXPECT_EQ(foundAfter([&] { damage().header(field::kDataFree, node); }), wrong) << node;
        EXPECT_EQ(foundAfter([&] { damage().node(head, field::kLink, node, 4); }), wrong) << node;
    }
}

TEST_P(CheckFreeList, Circle) {
    const std::uint32_t head = list().nodes[0];
    EXPECT_EQ(foundAfter([&] { damage().node(head, field::kLink, head, 4); }),
              expected(ISCHK_FREELIST, ISCHK_INDEXREAD));
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckFreeList,
                         testing::ValuesIn(kindsWith([](const Kind &kind) { return kind.records && !kind.precious; })),
                         kindName);

class CheckPrecious : public CheckData {};

TEST_P(CheckPrecious, ListThatTheHeaderNamesIsNotLookedAt) {
    for (const std::uint32_t node : {1U, 2U, 0x7fffffffU, 0xffffffffU})
        EXPECT_EQ(foundAfter([&] { damage().header(field::kDataFree, node); }), sound()) << node;
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckPrecious,
                         testing::ValuesIn(kindsWith([](const Kind &kind) { return kind.precious; })), kindName);

class CheckDataOnly : public CheckTest {};

TEST_F(CheckDataOnly, FileWithoutRecordsHasNothingToRead) {
    Kind pure = kindsWith([](const Kind &kind) { return !kind.records; }).front();
    EXPECT_EQ(ischeckdata(make(pure, 0)), ISCHK_DATAREAD);
}

// Lists of more than one node: 254 numbers fill the first.
class CheckLongList : public CheckTest {
  protected:
    void SetUp() override {
        const int fd = build();
        for (long id = 1; id <= 600; ++id)
            ASSERT_OK(iswrite(fd, row(id)));
        for (long number = 1; number <= 560; ++number)
            ASSERT_OK(isdelrec(fd, number));
        EXPECT_EQ(ischeckdata(fd), 0);
        EXPECT_EQ(ischeckindex(fd, 1), 0);
        EXPECT_OK(isclose(fd));
        nodes_ = damage().freeList(true).nodes;
        ASSERT_EQ(nodes_.size(), 3U);
        dontCheck();
    }
    int foundBy(const std::function<void()> &damages) {
        int bits = -1;
        withDamage({"", 0, {idKey()}}, damages, [&](int fd) { bits = ischeckdata(fd); });
        return bits;
    }
    std::vector<std::uint32_t> nodes_;
};

TEST_F(CheckLongList, SecondNodeDamaged) {
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[1], field::kLevel, 0, 1); }), ISCHK_FREELIST);
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[1], 6, 599, 4); }), ISCHK_FREELIST);
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[1], 6, 400, 4); }), ISCHK_FREELIST);
}

TEST_F(CheckLongList, CutOffOrInACircle) {
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[1], field::kLink, 0, 4); }), ISCHK_FREELIST);
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[2], field::kLink, nodes_[0], 4); }), ISCHK_FREELIST);
    EXPECT_EQ(foundBy([&] { damage().node(nodes_[2], field::kLink, nodes_[1], 4); }), ISCHK_FREELIST);
    EXPECT_EQ(foundBy([&] { damage().header(field::kDataFree, nodes_[1]); }), ISCHK_FREELIST);
}

}  // namespace
}  // namespace api
