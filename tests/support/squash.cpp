#include "squash.h"

#include <cstddef>

namespace testing_support {

namespace {

constexpr int kLongest = 63;

int fillCode(std::uint8_t byte) {
    switch (byte) {
    case 0x00: return 1;
    case 0x20: return 2;
    case 0x30: return 3;
    default: return 0;
    }
}

// The control bytes of a tail, the end mark not among them, and what they save.
struct Plan {
    Bytes controls;
    int saved = 0;
};

class Planner {
  public:
    Plan plan(const Bytes &tail) {
        current_ = tail[0];
        for (std::size_t i = 1; i < tail.size(); ++i)
            next(tail[i]);
        finish();
        return plan_;
    }

  private:
    bool inRun() const { return run_ > 1; }

    void emitLiterals() {
        plan_.controls.push_back(static_cast<std::uint8_t>(literals_));
        literals_ = 0;
    }

    void emitRun() {
        plan_.controls.push_back(static_cast<std::uint8_t>(fillCode(current_) * 64 + run_));
        plan_.saved += run_ - 1;
        run_ = 1;
    }

    void next(std::uint8_t byte) {
        bool extends = byte == current_ && fillCode(current_) != 0;
        if (extends && run_ < kLongest && literals_ < kLongest) {
            ++run_;
            return;
        }
        if (literals_ == kLongest || (inRun() && literals_ > 0)) emitLiterals();
        if (inRun())
            emitRun();
        else
            ++literals_;
        current_ = byte;
    }

    // With 63 literals pending the last byte makes them 64, which reads as an empty run.
    void finish() {
        if (!inRun()) ++literals_;
        if (literals_ > 0) emitLiterals();
        if (inRun()) emitRun();
    }

    Plan plan_;
    std::uint8_t current_ = 0;
    int run_ = 1;
    int literals_ = 0;
};

}  // namespace

Bytes squash(const Bytes &tail) {
    if (tail.empty()) return {};
    Plan plan = Planner().plan(tail);
    Bytes out;
    if (plan.saved <= static_cast<int>(plan.controls.size()) + 1) {
        out.push_back(0);
        putBe(&out, static_cast<std::uint32_t>(tail.size()), 2);
        out.insert(out.end(), tail.begin(), tail.end());
        return out;
    }
    out = plan.controls;
    out.push_back(0);
    auto at = tail.begin();
    for (std::uint8_t control : plan.controls) {
        int count = control & 0x3f;
        if (control < 64) out.insert(out.end(), at, at + count);
        at += count;
    }
    return out;
}

bool expand(const Bytes &stored, Bytes *out) {
    if (stored.empty()) return false;
    if (stored[0] == 0) {
        if (stored.size() < 3 || be16(stored.data() + 1) != stored.size() - 3) return false;
        out->insert(out->end(), stored.begin() + 3, stored.end());
        return true;
    }
    std::size_t end = 0;
    while (end < stored.size() && stored[end] != 0)
        ++end;
    if (end == stored.size()) return false;
    std::size_t body = end + 1;
    static const std::uint8_t fills[] = {0, 0x00, 0x20, 0x30};
    for (std::size_t i = 0; i < end; ++i) {
        auto count = static_cast<std::size_t>(stored[i] & 0x3f);
        int code = stored[i] >> 6;
        if (code != 0) {
            out->insert(out->end(), count, fills[code]);
            continue;
        }
        if (body + count > stored.size()) return false;
        auto from = stored.begin() + static_cast<std::ptrdiff_t>(body);
        out->insert(out->end(), from, from + static_cast<std::ptrdiff_t>(count));
        body += count;
    }
    return body == stored.size();
}

Bytes throughCompression(const Bytes &tail) {
    Bytes out;
    if (!tail.empty()) expand(squash(tail), &out);
    return out;
}

}  // namespace testing_support
