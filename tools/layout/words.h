// The words of a layout.
#pragma once

#include <array>
#include <isam.h>

namespace tool {

// The parts of a key part's type.
inline constexpr unsigned kKeyTypeBits = 0x3f;
inline constexpr unsigned kNullByteShift = 8;

namespace word {

inline constexpr const char *kRecord = "record";
inline constexpr const char *kNone = "none";
inline constexpr const char *kRange = "..";
inline constexpr const char *kCompressed = "compressed";
inline constexpr const char *kMasks = "masks";

inline constexpr const char *kField = "field";
inline constexpr const char *kStar = "*";
inline constexpr const char *kScale = "scale";
inline constexpr const char *kSign = "sign";
inline constexpr const char *kCharset = "charset";

inline constexpr const char *kIndex = "index";
inline constexpr const char *kRecordNumber = "record-number";
inline constexpr const char *kUnique = "unique";
inline constexpr const char *kDuplicates = "duplicates";
inline constexpr const char *kDescending = "desc";
inline constexpr const char *kNullByte = "null=";
inline constexpr const char *kCompress = "compress";
inline constexpr const char *kNullKeys = "nullkeys";

struct Compression {
    const char *word;
    unsigned short flags;
    unsigned short care;  // the flags that must be these
};
inline constexpr std::array<Compression, 4> kCompressions = {{
    {"repeats", ISDUPCOMP, ISDUPCOMP},
    {"leading", ISLEADCOMP, ISLEADCOMP},
    {"blanks", ISTRAILCOMP, ISTRAILCOMP | ISTRAILNUL},
    {"nuls", ISTRAILCOMP | ISTRAILNUL, ISTRAILCOMP | ISTRAILNUL},
}};

struct KeyType {
    const char *word;
    unsigned short type;
    int unit;  // its length is a multiple of this
};
inline constexpr std::array<KeyType, 8> kKeyTypes = {{
    {"char", CHARTYPE, 1},
    {"int", INTTYPE, 2},
    {"long", LONGTYPE, 4},
    {"double", DOUBLETYPE, 8},
    {"float", FLOATTYPE, 4},
    {"mint", MINTTYPE, 2},
    {"mlong", MLONGTYPE, 4},
    {"string", STRINGTYPE, 1},
}};

constexpr const char *keyTypeWord(unsigned type) {
    for (const KeyType &entry : kKeyTypes) {
        if (entry.type == type) return entry.word;
    }
    return "char";
}

}  // namespace word
}  // namespace tool
