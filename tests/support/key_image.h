// Keys as an index holds them: made from records, compared and put back, by the layout rules alone.
//
// Nothing here is shared with the library, so that tests can judge it.
#ifndef TESTS_SUPPORT_KEY_IMAGE_H
#define TESTS_SUPPORT_KEY_IMAGE_H

#include "isam.h"

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

struct PartSpec {
    int start = 0;
    int length = 0;
    unsigned type = 0;  // code, 0x80 for descending, null byte * 256

    int code() const { return static_cast<int>(type & 0x3fU); }
    bool descending() const { return (type & 0x80U) != 0; }
    unsigned char nullByte() const { return static_cast<unsigned char>(type >> 8); }
};

struct IndexSpec {
    unsigned flags = 0;
    std::vector<PartSpec> parts;
    int keyLength = 0;
    std::uint32_t root = 0;

    bool duplicates() const { return (flags & 0x01U) != 0; }
    bool shared() const { return (flags & 0x02U) != 0; }   // a repeated key is stored once
    bool leading() const { return (flags & 0x04U) != 0; }  // leading bytes are not repeated
    bool trailing() const { return (flags & 0x08U) != 0; }
    bool compressed() const { return (flags & 0x0eU) != 0; }
    bool nullKeys() const { return (flags & 0x20U) != 0; }
    unsigned char fill() const { return (flags & 0x10U) != 0 ? 0x00 : 0x20; }
};

// The bytes of a key, in part order.
using Key = std::string;

IndexSpec specOf(const KeyDesc &desc);

// Bytes of one value of a type code, 1 for text and for codes that no index has.
int unitOf(int code);

Key makeKey(const IndexSpec &spec, const unsigned char *record);

// Puts the parts of a key back to their places in a record.
void scatterKey(const IndexSpec &spec, const Key &key, unsigned char *record);

// Below, equal to or above 0 as a sorts before, with or after b; only the first length bytes count.
int compareKeys(const IndexSpec &spec, const Key &a, const Key &b, int length);
int compareKeys(const IndexSpec &spec, const Key &a, const Key &b);

// True for a key that the index leaves out because it consists of null bytes.
bool isNullKey(const IndexSpec &spec, const Key &key);

// An index in words: its parts as in "0+4 LONG desc, 8+2 INT", then its flags.
std::string describe(const IndexSpec &spec);
std::string hex(const std::string &bytes);

}  // namespace testing_support

#endif
