// A root that leads past a level: what it leads to is in memory already, as a sound leaf.

#include <fcntl.h>
#include <unistd.h>

#include "base/ismif.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kNodeSize = 1024, kKeyLength = 100;
constexpr std::uint32_t kRootNode = 3;

struct Node {
    std::uint8_t bytes[kNodeSize];
    int used() const { return ld_int(bytes); }
    int level() const { return bytes[kNodeSize - 2]; }
    std::uint32_t firstPointer() const { return ld_long(bytes + 2 + kKeyLength); }
};

Node nodeAt(int file, std::uint32_t number) {
    Node node;
    EXPECT_EQ(pread(file, node.bytes, kNodeSize, (number - 1) * kNodeSize), kNodeSize);
    return node;
}

// Reads all records in order up to the first error, which is the damage.
void expectDamage(const std::string &base, int records) {
    const int fd = isopen(base.c_str(), ISINOUT);
    char record[kKeyLength];
    int read = 0;
    while (read <= records && isread(fd, record, read == 0 ? ISFIRST : ISNEXT) == 0)
        ++read;
    EXPECT_EQ(iserrno, 105);
    EXPECT_LT(read, records);
    isclose(fd);
}

std::string fileOf(const testing_support::TempDir &directory, int records) {
    std::string base = directory.file("f");
    KeyDesc key = charKey(kKeyLength);
    const int built = isbuild(base.c_str(), kKeyLength, &key, ISINOUT);
    for (int i = 0; i < records; ++i) {
        std::string record = std::to_string(1000 + i);
        record.resize(kKeyLength, ' ');
        EXPECT_EQ(iswrite(built, record.data()), 0);
    }
    EXPECT_EQ(isclose(built), 0);
    return base;
}

// The root's last entry gets the node `down` levels below the root at the tree's left side.
void leadPast(const std::string &base, int rootLevel, int down) {
    const int file = open((base + ".idx").c_str(), O_RDWR);
    const Node root = nodeAt(file, kRootNode);
    ASSERT_EQ(root.level(), rootLevel);
    Node node = root;
    std::uint32_t number = 0;
    for (int i = 0; i < down; ++i) {
        number = node.firstPointer();
        node = nodeAt(file, number);
    }
    ASSERT_EQ(node.level(), rootLevel - down);
    std::uint8_t raw[4];
    st_long(number, raw);
    EXPECT_EQ(pwrite(file, raw, 4, (kRootNode - 1) * kNodeSize + root.used() - 4), 4);
    close(file);
}

TEST(WrongChild, LeafInMemoryInPlaceOfABranchIsSeenAsDamage) {
    testing_support::TempDir directory;
    const std::string base = fileOf(directory, 100);
    leadPast(base, 2, 2);
    expectDamage(base, 100);
}

TEST(WrongChild, BranchInMemoryOfAnotherLevelIsSeenAsDamage) {
    testing_support::TempDir directory;
    const std::string base = fileOf(directory, 600);
    leadPast(base, 3, 2);
    expectDamage(base, 600);
}

}  // namespace
