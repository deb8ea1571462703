#include "base/key_text.h"

#include <array>

namespace tool {

namespace {

constexpr unsigned kTypeBits = 0x3f;
constexpr unsigned kNullShift = 8;

}  // namespace

std::string typeName(unsigned short type) {
    switch (type & kTypeBits) {
    case CHARTYPE: return "char";
    case INTTYPE: return "int";
    case LONGTYPE: return "long";
    case DOUBLETYPE: return "double";
    case FLOATTYPE: return "float";
    case MINTTYPE: return "machine int";
    case MLONGTYPE: return "machine long";
    case STRINGTYPE: return "string";
    case QUADTYPE: return "quad";
    case BYTETYPE: return "byte";
    case RFATYPE: return "rfa";
    case COLLATETYPE: return "collate";
    default: return "type " + std::to_string(type & kTypeBits);
    }
}

std::string partInWords(const KeyPart &part) {
    std::string words = "bytes " + std::to_string(part.start) + "-" + std::to_string(part.start + part.length - 1) +
                        " " + typeName(part.type);
    if ((part.type & ISDESC) != 0) words += ", descending";
    if (part.type >> kNullShift != 0) words += ", null byte " + std::to_string(part.type >> kNullShift);
    return words;
}

std::string flagsInWords(const KeyDesc &key) {
    struct Word {
        unsigned flag;
        const char *word;
    };
    static constexpr std::array<Word, 3> kCompressions = {
        {{ISDUPCOMP, "repeated keys once"}, {ISLEADCOMP, "leading bytes"}, {ISTRAILCOMP, "trailing "}}};
    std::string words = (key.flags & ISDUPS) != 0 ? "duplicates" : "unique";
    for (const Word &entry : kCompressions) {
        if ((key.flags & entry.flag) == 0) continue;
        words += std::string(", ") + entry.word;
        if (entry.flag == ISTRAILCOMP) words += (key.flags & ISTRAILNUL) != 0 ? "NULs" : "blanks";
    }
    if ((key.flags & ISNULLKEY) != 0) words += ", null keys left out";
    return words;
}

}  // namespace tool
