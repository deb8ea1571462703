#include "base/ismif.h"

namespace {

const std::uint8_t *bytes(const void *p) { return static_cast<const std::uint8_t *>(p); }
std::uint8_t *bytes(void *p) { return static_cast<std::uint8_t *>(p); }

template <typename T> T loadNative(const void *p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

}  // namespace

int ldInt(const void *p) { return ld_int(bytes(p)); }
void stInt(int value, void *p) { st_int(static_cast<std::uint32_t>(value), bytes(p)); }
long ldLong(const void *p) { return static_cast<std::int32_t>(ld_long(bytes(p))); }
void stLong(long value, void *p) { st_long(static_cast<std::uint32_t>(value), bytes(p)); }

void ldChar(const char *src, int n, char *dst) {
    if (n > 0) std::memmove(dst, src, static_cast<std::size_t>(n));
    while (n > 0 && dst[n - 1] == ' ')
        --n;
    dst[n > 0 ? n : 0] = '\0';
}

void stChar(const char *src, char *dst, int n) {
    int i = 0;
    for (; i < n && src[i] != '\0'; ++i)
        dst[i] = src[i];
    for (; i < n; ++i)
        dst[i] = ' ';
}

float ldFloat(const void *p) { return loadNative<float>(p); }
void stFloat(float value, void *p) { std::memcpy(p, &value, sizeof value); }
double ldDbl(const void *p) { return loadNative<double>(p); }
void stDbl(double value, void *p) { std::memcpy(p, &value, sizeof value); }

float ldFltNull(const void *p, short *null) {
    const float value = ldFloat(p);
    *null = value == 0.0F;
    return value;
}

void stFltNull(float value, void *p, short null) { stFloat(null != 0 ? 0.0F : value, p); }

double ldDblNull(const void *p, short *null) {
    const double value = ldDbl(p);
    *null = value == 0.0;
    return value;
}

void stDblNull(double value, void *p, short null) { stDbl(null != 0 ? 0.0 : value, p); }
