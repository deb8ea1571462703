// A compressed node whose entries reach its trailer: the library never fills one that far, and refuses it.

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kNodeSize = 1024, kRootNode = 3;

// Entries of a key of 8 bytes that share all but the last one or two with the key before.
std::string nodeOf(int used) {
    std::string bytes(2, '\0');
    const auto add = [&bytes](int leading) {
        bytes += static_cast<char>(leading);
        bytes.append(static_cast<std::size_t>(8 - leading), 'a');
        bytes.append({0, 0, 0, 1});
    };
    add(0);
    while ((used - static_cast<int>(bytes.size())) % 6 != 0)
        add(6);
    while (static_cast<int>(bytes.size()) < used)
        add(7);
    bytes[0] = static_cast<char>(used / 256);
    bytes[1] = static_cast<char>(used % 256);
    bytes.resize(kNodeSize);
    return bytes;
}

int firstRead(int used) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(8, ISLEADCOMP);
    const int built = isbuild(base.c_str(), 20, &key, ISINOUT);
    char record[21] = "aaaaaaaa            ";
    EXPECT_EQ(iswrite(built, record), 0);
    EXPECT_EQ(isclose(built), 0);
    const std::string bytes = nodeOf(used);
    const int file = open((base + ".idx").c_str(), O_WRONLY);
    EXPECT_EQ(pwrite(file, bytes.data(), kNodeSize, (kRootNode - 1) * kNodeSize), kNodeSize);
    close(file);
    const int fd = isopen(base.c_str(), ISINOUT);
    const int code = isread(fd, record, ISFIRST) == 0 ? 0 : iserrno;
    isclose(fd);
    return code;
}

TEST(FullNode, UpToItsTrailerIsDamage) {
    EXPECT_EQ(firstRead(kNodeSize - 4 - 1), 0);
    EXPECT_EQ(firstRead(kNodeSize - 4), 105);
}

}  // namespace
