#include "records.h"

#include <algorithm>
#include <cstring>

namespace bench {
namespace {

constexpr std::uint64_t kPerValue = 10;  // records that share a value of the second field

std::uint64_t stampOf(std::uint64_t number, int version) {
    return (mixed(number ^ 0x5bd1e995U) & ~std::uint64_t{0xff}) | static_cast<std::uint64_t>(version);
}

void digits(std::uint64_t number, char *text, int length) {
    for (int i = length; i-- > 0; number /= 10)
        text[i] = static_cast<char>('0' + number % 10);
}

std::uint64_t load(const char *from) {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

}  // namespace

std::uint64_t mixed(std::uint64_t number) {
    number += 0x9e3779b97f4a7c15U;
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9U;
    number = (number ^ (number >> 27)) * 0x94d049bb133111ebU;
    return number ^ (number >> 31);
}

Permutation::Permutation(std::uint64_t size) : size_(size) {
    while ((std::uint64_t{1} << (2 * half_)) < size)
        ++half_;
}

// A network of four rounds over the next power of four; what falls outside goes through it again.
std::uint64_t Permutation::operator()(std::uint64_t index) const {
    const std::uint64_t mask = (std::uint64_t{1} << half_) - 1;
    do {
        std::uint64_t left = index >> half_, right = index & mask;
        for (std::uint64_t round = 0; round < 4; ++round) {
            const std::uint64_t next = left ^ (mixed(right + (round << 40)) & mask);
            left = right;
            right = next;
        }
        index = (left << half_) | right;
    } while (index >= size_);
    return index;
}

Step stepOf(std::uint64_t number, std::uint64_t population, int version) {
    Step step;
    step.number = number;
    step.version = version;
    digits(number, step.key, kKey);
    const std::uint64_t values = std::max<std::uint64_t>(1, population / kPerValue);
    digits(mixed(number + (static_cast<std::uint64_t>(version) << 50)) % values, step.second, kSecond);
    return step;
}

Draft::Draft(int length) : length_(length), bytes_(static_cast<std::size_t>(length)) {
    // Text that does not repeat soon.
    for (std::size_t i = 0; i < bytes_.size(); ++i)
        bytes_[i] = static_cast<char>('a' + mixed(i) % 26);
}

char *Draft::with(const Step &step) {
    static const char kHex[] = "0123456789abcdef";
    char *record = bytes_.data();
    const std::uint64_t stamp = stampOf(step.number, step.version);
    std::memcpy(record, step.key, kKey);
    std::memcpy(record + kSecondOffset, step.second, kSecond);
    std::memcpy(record + kStampOffset, &stamp, sizeof stamp);
    std::uint64_t other = mixed(step.number);
    for (int i = 0; i < kOther; ++i, other >>= 4)
        record[kOtherOffset + i] = kHex[other & 15];
    std::memcpy(record + length_ - 8, &stamp, sizeof stamp);
    return record;
}

bool holds(const char *record, int length, const Step &step) {
    return std::memcmp(record, step.key, kKey) == 0 &&
           (load(record + kStampOffset) ^ stampOf(step.number, 0)) < 0x100 && whole(record, length);
}

bool whole(const char *record, int length) { return load(record + kStampOffset) == load(record + length - 8); }

bool genuine(const char *record, int length) {
    return (load(record + kStampOffset) ^ stampOf(numberOf(record), 0)) < 0x100 && whole(record, length);
}

std::uint64_t numberOf(const char *key) {
    std::uint64_t number = 0;
    for (int i = 0; i < kKey; ++i)
        number = number * 10 + static_cast<std::uint64_t>(key[i] - '0');
    return number;
}

}  // namespace bench
