// How libFuzzer varies and joins inputs: whole operations, and numbers that mean something.
#include "calls.h"
#include "damage.h"
#include "input.h"
#include "kinds.h"

#include <algorithm>
#include <cstring>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t room);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size, std::size_t room, unsigned seed);
extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t *one, std::size_t oneSize,
                                                 const std::uint8_t *other, std::size_t otherSize, std::uint8_t *out,
                                                 std::size_t room, unsigned seed);

namespace fuzz {

namespace {

class Mutator {
  public:
    explicit Mutator(unsigned seed) : random_(seed) {}

    void vary(Input *input) {
        for (int i = 1 + static_cast<int>(below(3)); i > 0; --i)
            step(input);
    }

    // Operations of one, then of the other, from anywhere.
    Input join(const Input &one, const Input &other) {
        Input joined = below(2) == 0 ? one : other;
        joined.operations.clear();
        take(one, &joined);
        take(other, &joined);
        return joined;
    }

  private:
    std::uint32_t below(std::size_t n) { return static_cast<std::uint32_t>(random_() % std::max<std::size_t>(n, 1)); }
    std::uint32_t number() { return static_cast<std::uint32_t>(random_()); }
    std::uint16_t mode() { return static_cast<std::uint16_t>(number()); }

    void step(Input *input) {
        std::vector<Operation> &all = input->operations;
        switch (below(12)) {
        case 0: input->kind = static_cast<std::uint8_t>(below(kinds().size())); break;
        case 1: input->options ^= static_cast<std::uint8_t>(1U << below(4)); break;
        case 2:
        case 3:
        case 4: insert(input, freshDamage()); break;
        case 5:
        case 6: insert(input, freshCall()); break;
        case 7:
            if (!all.empty()) all.erase(all.begin() + below(all.size()));
            break;
        case 8:
            if (!all.empty()) insert(input, all[below(all.size())]);
            break;
        case 9:
            if (!all.empty()) std::swap(all[below(all.size())], all[below(all.size())]);
            break;
        default:
            if (all.empty())
                insert(input, freshDamage());
            else
                change(&all[below(all.size())]);
            break;
        }
    }

    void insert(Input *input, const Operation &operation) {
        std::vector<Operation> &all = input->operations;
        if (all.size() >= kMaxOperations) all.pop_back();
        all.insert(all.begin() + below(all.size() + 1), operation);
    }

    Operation fresh() {
        return {0, static_cast<std::uint8_t>(below(8) == 0 ? number() : below(4)), mode(),
                below(2) == 0 ? below(64) : number(), below(2) == 0 ? below(64) : number()};
    }
    Operation freshDamage() {
        Operation made = fresh();
        made.code = static_cast<std::uint8_t>(below(kDamages));
        if (below(2) == 0) made.a = static_cast<std::uint8_t>(number());
        return made;
    }
    Operation freshCall() {
        Operation made = fresh();
        made.code = static_cast<std::uint8_t>(kFirstCall + below(callCount()));
        return made;
    }

    void change(Operation *operation) {
        switch (below(7)) {
        case 0: operation->a = static_cast<std::uint8_t>(below(3) == 0 ? number() : below(8)); break;
        case 1: operation->b = mode(); break;
        case 2: operation->b ^= static_cast<std::uint16_t>(1U << below(16)); break;
        case 3: operation->c = below(2) == 0 ? below(64) : number(); break;
        case 4: operation->d = below(2) == 0 ? below(64) : number(); break;
        case 5:
            operation->c += below(5) - 2;
            operation->d += below(5) - 2;
            break;
        default:
            operation->code =
                static_cast<std::uint8_t>(isDamage(*operation) ? below(kDamages) : kFirstCall + below(callCount()));
            break;
        }
    }

    void take(const Input &from, Input *to) {
        const std::size_t count = from.operations.size(), start = below(count + 1);
        const std::size_t end = start + below(count - start + 1);
        for (std::size_t i = start; i < end && to->operations.size() < kMaxOperations; ++i)
            to->operations.push_back(from.operations[i]);
    }

    std::minstd_rand random_;
};

}  // namespace

}  // namespace fuzz

using namespace fuzz;

std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size, std::size_t room, unsigned seed) {
    // Values that comparisons in the library have been seen with come from libFuzzer itself.
    if (seed % 8 == 0 && size > kInputHead)
        return kInputHead + LLVMFuzzerMutate(data + kInputHead, size - kInputHead, room - kInputHead);
    Input input = decode(data, size);
    Mutator(seed).vary(&input);
    return encode(input, data, room);
}

std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t *one, std::size_t oneSize, const std::uint8_t *other,
                                      std::size_t otherSize, std::uint8_t *out, std::size_t room, unsigned seed) {
    return encode(Mutator(seed).join(decode(one, oneSize), decode(other, otherSize)), out, room);
}
