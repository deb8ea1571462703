#include "storage/issquash.h"

#include <array>
#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/ismif.h"

namespace {

constexpr int kSpareRoom = 10;
constexpr int kCountBits = 6;
constexpr int kCountMask = 0x3f;
constexpr int kMaxCount = 63;
constexpr std::uint8_t kFills[] = {0, 0x00, 0x20, 0x30};  // by fill code; code 0 is no fill

constexpr std::array<std::uint8_t, 256> makeCodes() {
    std::array<std::uint8_t, 256> codes{};
    std::uint8_t code = 0;
    for (std::uint8_t fill : kFills) {
        codes[fill] = code;
        ++code;
    }
    return codes;
}
constexpr std::array<std::uint8_t, 256> kCodes = makeCodes();

// Writes the header of control bytes. Returns its length, terminator included,
// or 0 when coding does not save more than the header costs.
int rleHead(std::uint8_t *out, const std::uint8_t *in, int n) {
    std::uint8_t byte = in[0];
    int run = 1, literals = 0, saved = 0, length = 0;
    const auto emit = [&](int code, int count) {
        out[length++] = static_cast<std::uint8_t>((code << kCountBits) + count);
    };
    for (int i = 1; i < n; ++i) {
        if (kCodes[byte] != 0 && in[i] == byte && run != kMaxCount && literals != kMaxCount) {
            ++run;
            continue;
        }
        if ((run >= 2 && literals > 0) || literals == kMaxCount) {
            emit(0, literals);
            literals = 0;
        }
        if (run >= 2) {
            emit(kCodes[byte], run);
            saved += run - 1;
            run = 1;
        } else {
            ++literals;
        }
        byte = in[i];
    }
    if (run == 1) ++literals;
    if (literals > 0) emit(0, literals);  // 64 of them make 0x40, see the header file
    if (run > 1) {
        emit(kCodes[byte], run);
        saved += run - 1;
    }
    out[length++] = 0;
    return saved > length ? length : 0;
}

// Appends the literals that the header names. Returns the body's length.
int rleBody(std::uint8_t *out, const std::uint8_t *head, const std::uint8_t *in) {
    int length = 0;
    for (; *head != 0; ++head) {
        const int count = *head & kCountMask;
        if (*head >> kCountBits == 0) {
            std::memcpy(out + length, in, static_cast<std::size_t>(count));
            length += count;
        }
        in += count;
    }
    return length;
}

int expandRaw(IsamFile *h, std::uint8_t *out, const std::uint8_t *in, int length, int room) {
    if (length < kSquashHead) isFail(h, ISERR_CORRUPT);
    const int n = ld_int(in + 1);
    if (n > length - kSquashHead || n > room) isFail(h, ISERR_CORRUPT);
    std::memcpy(out, in + kSquashHead, static_cast<std::size_t>(n));
    return n;
}

}  // namespace

std::uint8_t *isDbuffer(IsamFile *h, int n) {
    const std::size_t size = static_cast<std::size_t>(n) + kSpareRoom;
    if (h->tailRoom < size) {
        h->tailBuffer = static_cast<std::uint8_t *>(is_realloc(h->tailBuffer, h->tailRoom, size));
        h->tailRoom = size;
    }
    return h->tailBuffer;
}

int isDsquash(IsamFile *h, const void *source, int n) {
    const auto *in = static_cast<const std::uint8_t *>(source);
    std::uint8_t *out = isDbuffer(h, n);
    const int head = rleHead(out, in, n);
    if (head != 0) return head + rleBody(out + head, out, in);
    out[0] = 0;
    st_int(static_cast<std::uint32_t>(n), out + 1);
    std::memcpy(out + kSquashHead, in, static_cast<std::size_t>(n));
    return kSquashHead + n;
}

int isDexpand(IsamFile *h, void *destination, int length, int room) {
    const std::uint8_t *head = h->tailBuffer;
    auto *out = static_cast<std::uint8_t *>(destination);
    if (length < 1) isFail(h, ISERR_CORRUPT);
    if (*head == 0) return expandRaw(h, out, head, length, room);

    const std::uint8_t *end = head + length;
    const void *terminator = std::memchr(head, 0, static_cast<std::size_t>(length));
    if (terminator == nullptr) isFail(h, ISERR_CORRUPT);
    const std::uint8_t *body = static_cast<const std::uint8_t *>(terminator) + 1;
    int total = 0;
    for (; *head != 0; ++head) {
        const int code = *head >> kCountBits, count = *head & kCountMask;
        if (count > room - total) isFail(h, ISERR_CORRUPT);
        const auto size = static_cast<std::size_t>(count);
        if (code != 0) {
            std::memset(out + total, kFills[code], size);
        } else {
            if (count > end - body) isFail(h, ISERR_CORRUPT);
            std::memcpy(out + total, body, size);
            body += count;
        }
        total += count;
    }
    return total;
}
