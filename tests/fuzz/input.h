// An input: which sound file set to start from, and what to do then, damage and calls in any order.
//
//   offset  size  meaning
//        0     1  kind of file set, modulo the number of kinds
//        1     1  options
//        2    12  each operation:
//                   0  1  code: from 0 damages, from 64 calls, each modulo their number
//                   1  1  a
//                   2  2  b
//                   4  4  c
//                   8  4  d
//
// Numbers stand least significant byte first. An incomplete operation at the end is left out, as is what goes beyond
// the longest input.
#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

struct Operation {
    std::uint8_t code = 0, a = 0;
    std::uint16_t b = 0;
    std::uint32_t c = 0, d = 0;
};

enum Option : std::uint8_t {
    kLookAtAll = 1,    // at the end the files are opened, checked and read through
    kMendAll = 2,      // and rebuilt
    kStartOpen = 4,    // m/a is open from the beginning
    kStartLogged = 8,  // and a log
};

struct Input {
    std::uint8_t kind = 0, options = 0;
    std::vector<Operation> operations;
};

constexpr std::size_t kInputHead = 2, kOperationSize = 12, kMaxOperations = 40;

Input decode(const std::uint8_t *data, std::size_t size);
// As much of it as fits; the number of bytes.
std::size_t encode(const Input &input, std::uint8_t *data, std::size_t room);

constexpr std::uint8_t kFirstCall = 64;

std::size_t kindOf(const Input &input);
bool isDamage(const Operation &operation);
int codeOf(const Operation &operation);  // of the damage or of the call, counted from 0

}  // namespace fuzz

#endif
