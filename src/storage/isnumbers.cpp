#include "storage/isnumbers.h"

#include "base/ismemory.h"

namespace {

constexpr std::uint32_t kBits = 8;

bool fits(const IsamFile *h, std::uint32_t number) {
    return h->numbers != nullptr && number > 0 && number <= h->numbersLast;
}

std::uint8_t bitOf(std::uint32_t number) { return static_cast<std::uint8_t>(1U << (number % kBits)); }

}  // namespace

void isNumbersMake(IsamFile *h, std::uint32_t last) {
    isNumbersFree(h);
    h->numbers = is_new<std::uint8_t>(last / kBits + 1);
    h->numbersLast = last;
}

bool isNumbersAdd(IsamFile *h, std::uint32_t number) {
    if (!fits(h, number) || isNumbersHas(h, number)) return false;
    h->numbers[number / kBits] |= bitOf(number);
    return true;
}

bool isNumbersTake(IsamFile *h, std::uint32_t number) {
    if (!isNumbersHas(h, number)) return false;
    h->numbers[number / kBits] ^= bitOf(number);
    return true;
}

bool isNumbersHas(const IsamFile *h, std::uint32_t number) {
    return fits(h, number) && (h->numbers[number / kBits] & bitOf(number)) != 0;
}

void isNumbersFree(IsamFile *h) { h->numbers = static_cast<std::uint8_t *>(is_free(h->numbers)); }
