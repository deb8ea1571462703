// A root that leads past a level: what it leads to is in memory already, as a sound leaf.

#include <fcntl.h>
#include <unistd.h>

#include "base/ismif.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kNodeSize = 1024, kKeyLength = 100, kRecords = 100;
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

TEST(WrongChild, ThatIsInMemoryIsSeenAsDamage) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(kKeyLength);
    const int built = isbuild(base.c_str(), kKeyLength, &key, ISINOUT);
    for (int i = 0; i < kRecords; ++i) {
        std::string record = std::to_string(1000 + i);
        record.resize(kKeyLength, ' ');
        ASSERT_EQ(iswrite(built, record.data()), 0);
    }
    ASSERT_EQ(isclose(built), 0);

    // The root's last entry gets the first leaf in place of its branch.
    const int file = open((base + ".idx").c_str(), O_RDWR);
    const Node root = nodeAt(file, kRootNode);
    ASSERT_EQ(root.level(), 2);
    const std::uint32_t leaf = nodeAt(file, root.firstPointer()).firstPointer();
    std::uint8_t raw[4];
    st_long(leaf, raw);
    EXPECT_EQ(pwrite(file, raw, 4, (kRootNode - 1) * kNodeSize + root.used() - 4), 4);
    close(file);

    const int fd = isopen(base.c_str(), ISINOUT);
    char record[kKeyLength];
    int read = 0;
    while (isread(fd, record, read == 0 ? ISFIRST : ISNEXT) == 0 && read <= kRecords)
        ++read;
    EXPECT_EQ(iserrno, 105);
    EXPECT_LT(read, kRecords);
    isclose(fd);
}

}  // namespace
