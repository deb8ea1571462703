#include "layout/layout.h"

#include "base/failure.h"

#include <algorithm>

namespace tool {

namespace {

constexpr unsigned kTypeBits = 0x3f;

bool isBytes(unsigned type) { return type == CHARTYPE || type == STRINGTYPE; }

// A part whose unit is a whole field; an array of integers sorts as one longer integer.
FieldType fieldTypeOfPart(const KeyPart &part) {
    const unsigned type = part.type & kTypeBits;
    switch (type) {
    case CHARTYPE: return FieldType::kChar;
    case STRINGTYPE: return FieldType::kString;
    case INTTYPE: return part.length == 2 ? FieldType::kInt : FieldType::kInteger;
    case LONGTYPE: return part.length == 4 ? FieldType::kLong : FieldType::kInteger;
    case DOUBLETYPE: return FieldType::kDouble;
    case FLOATTYPE: return FieldType::kFloat;
    case MINTTYPE: return FieldType::kMachineInt;
    case MLONGTYPE: return FieldType::kMachineLong;
    default: return FieldType::kHex;
    }
}

// Which bytes of a record are in a field already.
class Cover {
  public:
    explicit Cover(int length) : taken_(static_cast<std::size_t>(std::max(length, 0))) {}

    bool isFree(int start, int length) const {
        return std::none_of(at(start), at(start + length), [](bool taken) { return taken; });
    }
    void take(int start, int length) { std::fill(place(start), place(start + length), true); }
    // The first free run from `start` on, and where it ends; start is the end of the record where there is none.
    int runStart(int start) const { return static_cast<int>(std::find(at(start), taken_.end(), false) - at(0)); }
    int runEnd(int start) const { return static_cast<int>(std::find(at(start), taken_.end(), true) - at(0)); }
    int length() const { return static_cast<int>(taken_.size()); }

  private:
    std::ptrdiff_t clip(int n) const { return std::clamp<std::ptrdiff_t>(n, 0, length()); }
    std::vector<bool>::const_iterator at(int n) const { return taken_.begin() + clip(n); }
    std::vector<bool>::iterator place(int n) { return taken_.begin() + clip(n); }

    std::vector<bool> taken_;
};

std::vector<KeyPart> partsOf(const std::vector<KeyDesc> &indexes) {
    std::vector<KeyPart> parts;
    for (const KeyDesc &key : indexes)
        parts.insert(parts.end(), key.parts, key.parts + std::clamp<int>(key.nparts, 0, ISMAXPARTS));
    return parts;
}

// Parts of several indexes may share bytes: numbers stay whole, text is what is left of it.
std::vector<Field> fieldsOf(const std::vector<KeyDesc> &indexes, int length) {
    std::vector<KeyPart> parts = partsOf(indexes);
    std::stable_partition(parts.begin(), parts.end(),
                          [](const KeyPart &part) { return !isBytes(part.type & kTypeBits); });
    Cover cover(length);
    std::vector<Field> fields;
    for (const KeyPart &part : parts) {
        const int end = std::min(part.start + part.length, length);
        if (!isBytes(part.type & kTypeBits) && !cover.isFree(part.start, part.length)) continue;
        for (int start = cover.runStart(part.start); start < end; start = cover.runStart(start)) {
            KeyPart piece = part;
            piece.start = static_cast<short>(start);
            piece.length = static_cast<short>(std::min(cover.runEnd(start), end) - start);
            fields.push_back(fieldOfPart(piece));
            cover.take(piece.start, piece.length);
        }
    }
    std::sort(fields.begin(), fields.end(), [](const Field &a, const Field &b) { return a.start < b.start; });
    return fields;
}

int extentOf(const std::vector<KeyDesc> &indexes) {
    int extent = 0;
    for (const KeyPart &part : partsOf(indexes))
        extent = std::max(extent, part.start + part.length);
    return extent;
}

}  // namespace

Field fieldOfPart(const KeyPart &part) {
    Field field;
    field.name = "k" + std::to_string(part.start) + "_" + std::to_string(part.length);
    field.start = part.start;
    field.length = part.length;
    field.type = fieldTypeOfPart(part);
    if (!lengthFault(field).empty()) field.type = FieldType::kHex;
    return field;
}

int Layout::imageLength() const { return keysAlone() ? extentOf(indexes) : maximum; }

std::string layoutPath(const std::string &file) { return file + ".layout"; }

Layout layoutOf(const OpenFile &file) {
    Layout layout;
    layout.minimum = file.minimumLength();
    layout.maximum = file.maximumLength();
    layout.variable = file.variableLength();
    layout.compressed = file.compressesTails();
    layout.masks = file.hasMasks();
    layout.primary = file.hasPrimaryKey();
    layout.indexes = file.indexes();
    layout.fields = fieldsOf(layout.indexes, layout.keysAlone() ? layout.imageLength() : layout.minimum);
    return layout;
}

std::vector<Field> gapsOf(const Layout &layout) {
    std::vector<Field> gaps;
    const auto add = [&gaps](int start, int length) {
        Field gap;
        gap.name = "_" + std::to_string(start);
        gap.start = start;
        gap.length = length;
        gaps.push_back(gap);
    };
    Cover cover(layout.minimum);
    bool rest = layout.variable;
    for (const Field &field : layout.fields) {
        rest = rest && !field.takesRest();
        if (!field.takesRest()) cover.take(field.start, field.length);
    }
    for (int start = cover.runStart(0); start < cover.length(); start = cover.runStart(start)) {
        const int length = cover.runEnd(start) - start;
        add(start, length);
        cover.take(start, length);
    }
    if (rest) add(layout.minimum, kRest);
    return gaps;
}

}  // namespace tool
