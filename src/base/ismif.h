// Machine-independent numbers: the byte order of every number in the files.
//
// Integers stand most significant byte first, at any address. The ld_/st_
// forms serve the library's own layouts and compile to a load and a byte
// swap; the ld/st forms stand behind the exported calls.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

inline std::uint16_t ld_int(const std::uint8_t *p) { return static_cast<std::uint16_t>((p[0] << 8) | p[1]); }

inline std::uint32_t ld_long(const std::uint8_t *p) {
    std::uint32_t raw;
    std::memcpy(&raw, p, sizeof raw);
    return std::endian::native == std::endian::little ? __builtin_bswap32(raw) : raw;
}

inline void st_int(std::uint32_t value, std::uint8_t *p) {
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

inline void st_long(std::uint32_t value, std::uint8_t *p) {
    const std::uint32_t raw = std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
    std::memcpy(p, &raw, sizeof raw);
}

// One byte, signed.
inline int ld_signed(const std::uint8_t *p) { return *p < 0x80 ? *p : *p - 0x100; }

// An n-byte unsigned value, n up to 8.
inline std::uint64_t ldMint(const std::uint8_t *p, int n) {
    if (n == 4) return ld_long(p);
    std::uint64_t value = 0;
    for (int i = 0; i < n; ++i)
        value = value << 8 | p[i];
    return value;
}

// The low n bytes of value.
inline void stMint(std::uint8_t *p, int n, std::uint64_t value) {
    for (int i = n - 1; i >= 0; --i, value >>= 8)
        p[i] = static_cast<std::uint8_t>(value);
}

int ldInt(const void *p);
void stInt(int value, void *p);
long ldLong(const void *p);
void stLong(long value, void *p);
void ldChar(const char *src, int n, char *dst);
void stChar(const char *src, char *dst, int n);
float ldFloat(const void *p);
void stFloat(float value, void *p);
double ldDbl(const void *p);
void stDbl(double value, void *p);

// Zero stands for null: stored for it, and reported as it.
float ldFltNull(const void *p, short *null);
void stFltNull(float value, void *p, short null);
double ldDblNull(const void *p, short *null);
void stDblNull(double value, void *p, short null);
