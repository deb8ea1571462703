#include "input.h"

#include "calls.h"
#include "damage.h"
#include "kinds.h"

#include <algorithm>

namespace fuzz {

namespace {

std::uint32_t load(const std::uint8_t *p, int width) {
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value |= static_cast<std::uint32_t>(p[i]) << 8 * i;
    return value;
}

void store(std::uint32_t value, std::uint8_t *p, int width) {
    for (int i = 0; i < width; ++i)
        p[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

}  // namespace

Input decode(const std::uint8_t *data, std::size_t size) {
    Input input;
    if (size < kInputHead) return input;
    input.kind = data[0];
    input.options = data[1];
    for (std::size_t at = kInputHead; at + kOperationSize <= size && input.operations.size() < kMaxOperations;
         at += kOperationSize) {
        const std::uint8_t *p = data + at;
        input.operations.push_back(
            {p[0], p[1], static_cast<std::uint16_t>(load(p + 2, 2)), load(p + 4, 4), load(p + 8, 4)});
    }
    return input;
}

std::size_t encode(const Input &input, std::uint8_t *data, std::size_t room) {
    if (room < kInputHead) return 0;
    data[0] = input.kind;
    data[1] = input.options;
    std::size_t at = kInputHead;
    for (const Operation &operation : input.operations) {
        if (at + kOperationSize > room) break;
        std::uint8_t *p = data + at;
        p[0] = operation.code;
        p[1] = operation.a;
        store(operation.b, p + 2, 2);
        store(operation.c, p + 4, 4);
        store(operation.d, p + 8, 4);
        at += kOperationSize;
    }
    return at;
}

std::size_t kindOf(const Input &input) { return input.kind % kinds().size(); }

bool isDamage(const Operation &operation) { return operation.code < kFirstCall; }

int codeOf(const Operation &operation) {
    const std::size_t code = operation.code;
    return static_cast<int>(code < kFirstCall ? code % kDamages : (code - kFirstCall) % callCount());
}

}  // namespace fuzz
