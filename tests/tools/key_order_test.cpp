// The order of keys as the commands tell it: that of the files.
#include "records/key_order.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

std::string machine(std::int32_t x, std::int32_t y) {
    std::string bytes(8, '\0');
    std::memcpy(bytes.data(), &x, 4);
    std::memcpy(bytes.data() + 4, &y, 4);
    return bytes;
}

KeyDesc eightBytes(unsigned short type) {
    KeyDesc key{};
    key.nparts = 1;
    key.parts[0] = {0, 8, type};
    return key;
}

TEST(KeyOrderOfCommands, OfSeveralMachineNumbersTheOneThatDiffersFirstDecides) {
    const KeyDesc key = eightBytes(MLONGTYPE);
    EXPECT_LT(tool::compareKeys(key, machine(5, -1), machine(5, 1), 8), 0);
    EXPECT_GT(tool::compareKeys(key, machine(5, 1), machine(5, -1), 8), 0);
    EXPECT_GT(tool::compareKeys(key, machine(256, 0), machine(1, 9), 8), 0);
}

TEST(KeyOrderOfCommands, SignOfALongerIntegerIsInItsFirstByteAlone) {
    using namespace std::string_literals;
    const KeyDesc key = eightBytes(INTTYPE);
    EXPECT_GT(tool::compareKeys(key, "\0\1\xff\xff\0\0\0\0"s, "\0\1\0\1\0\0\0\0"s, 8), 0);
    EXPECT_LT(tool::compareKeys(key, "\xff\1\0\0\0\0\0\0"s, "\0\1\0\0\0\0\0\0"s, 8), 0);
}

}  // namespace
