// A tree whose root leads to one child again and again has more nodes on its ways than the file: no index like that is
// given up node by node.

#include "base/ismif.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::bytesOf;
using unit::charKey;

constexpr int kNodeSize = 1024, kKeyLength = 100, kEntry = kKeyLength + 4;

TEST(SharedChild, KeepsAnIndexFromBeingDropped) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4), second = charKey(kKeyLength, 0, 4);
    const int built = isbuild(base.c_str(), 4 + kKeyLength, &key, ISINOUT | ISLOCKEXCL);
    ASSERT_EQ(isaddindex(built, &second), 0);
    const std::uint32_t root = isAdmItoD(built)->indexes[1]->keyDesc.rootNode;
    // Three levels: nodes of nine entries, appended.
    for (int i = 0; i < 100; ++i) {
        std::string record = std::to_string(1000 + i);
        record += record + std::string(kKeyLength - 4, ' ');
        ASSERT_EQ(iswrite(built, record.data()), 0);
    }
    ASSERT_EQ(isclose(built), 0);

    const std::string before = bytesOf(base + ".idx");
    const auto at = std::size_t{root - 1} * kNodeSize;
    const auto *node = reinterpret_cast<const std::uint8_t *>(before.data()) + at;
    ASSERT_EQ(node[kNodeSize - 2], 2) << "level of the root";
    const int used = ld_int(node);
    // Its last child has the most leaves.
    const std::string last = before.substr(at + static_cast<std::size_t>(used) - 4, 4);
    for (int end = 2 + kEntry; end < used; end += kEntry)
        unit::patch(base + ".idx", static_cast<long>(at) + end - 4, last);

    const std::string damaged = bytesOf(base + ".idx");
    const int fd = isopen(base.c_str(), ISINOUT | ISLOCKEXCL);
    EXPECT_EQ(isdelindex(fd, &second), -1);
    EXPECT_EQ(iserrno, 105);
    EXPECT_TRUE(bytesOf(base + ".idx") == damaged);
    isclose(fd);
}

}  // namespace
