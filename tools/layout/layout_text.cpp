// A layout written as text. What stands here has its counterpart in read_layout.cpp.
#include "layout/layout.h"

#include "layout/words.h"

#include <array>
#include <cstdio>

namespace tool {

namespace {

std::string typeWords(const Field &field) {
    std::string words = fieldTypeName(field.type);
    if (field.type == FieldType::kDate) words += " " + field.date;
    if (field.scale != 0) words += std::string(" ") + word::kScale + " " + std::to_string(field.scale);
    if (field.sign != Sign::kUsual) words += std::string(" ") + word::kSign + " " + signName(field.sign);
    if (!field.charset.empty()) words += std::string(" ") + word::kCharset + " " + field.charset;
    return words;
}

const Field *fieldOf(const Layout &layout, const KeyPart &part) {
    for (const Field &field : layout.fields) {
        if (field.start == part.start && field.length == part.length) return &field;
    }
    return nullptr;
}

std::string partWord(const Layout &layout, const KeyPart &part, bool null_keys) {
    const Field *field = fieldOf(layout, part);
    const unsigned type = part.type & kKeyTypeBits;
    std::string text = field != nullptr ? field->name : std::to_string(part.start) + "+" + std::to_string(part.length);
    if (field == nullptr || keyTypeOf(*field) != type) text += std::string("/") + word::keyTypeWord(type);
    if ((part.type & ISDESC) != 0) text += std::string("/") + word::kDescending;
    const unsigned null_byte = part.type >> kNullByteShift;
    if (null_keys && null_byte != 0) {
        std::array<char, 8> hex;
        std::snprintf(hex.data(), hex.size(), "%02x", null_byte);
        text += std::string("/") + word::kNullByte + hex.data();
    }
    return text;
}

}  // namespace

std::string recordLine(const Layout &layout) {
    std::string line = std::string(word::kRecord) + " ";
    if (layout.keysAlone()) return line + word::kNone;
    line += std::to_string(layout.minimum);
    if (layout.variable) line += word::kRange + std::to_string(layout.maximum);
    if (layout.compressed) line += std::string(" ") + word::kCompressed;
    if (layout.masks) line += std::string(" ") + word::kMasks;
    return line;
}

std::string fieldLine(const Field &field) {
    const std::string length = field.takesRest() ? word::kStar : std::to_string(field.length);
    return std::string(word::kField) + " " + field.name + " " + std::to_string(field.start) + " " + length + " " +
           typeWords(field);
}

std::string indexLine(const Layout &layout, const KeyDesc &key) {
    std::string line = std::string(word::kIndex) + " ";
    line += (key.flags & ISDUPS) != 0 ? word::kDuplicates : word::kUnique;
    const bool null_keys = (key.flags & ISNULLKEY) != 0;
    for (int i = 0; i < key.nparts && i < ISMAXPARTS; ++i)
        line += " " + partWord(layout, key.parts[i], null_keys);
    std::string ways;
    for (const word::Compression &compression : word::kCompressions) {
        if ((key.flags & compression.care) == compression.flags) ways += std::string(" ") + compression.word;
    }
    if (!ways.empty()) line += std::string(" ") + word::kCompress + ways;
    if (null_keys) line += std::string(" ") + word::kNullKeys;
    return line;
}

std::string toText(const Layout &layout) {
    std::string text = recordLine(layout) + "\n";
    for (const Field &field : layout.fields)
        text += fieldLine(field) + "\n";
    if (!layout.primary) text += std::string(kNoPrimaryLine) + "\n";
    for (const KeyDesc &key : layout.indexes)
        text += indexLine(layout, key) + "\n";
    return text;
}

}  // namespace tool
