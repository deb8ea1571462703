#include "layout/field.h"

#include <array>
#include <isam.h>

namespace tool {

namespace {

constexpr int kLongestInteger = 8;
constexpr int kLongestPacked = 16;
constexpr int kLongestZoned = 32;

struct TypeEntry {
    const char *name;
    FieldType type;
    int shortest;
    int longest;  // 0: no bound
    unsigned short key;
};

constexpr std::array<TypeEntry, 15> kTypes = {{
    {"char", FieldType::kChar, 1, 0, CHARTYPE},
    {"string", FieldType::kString, 1, 0, STRINGTYPE},
    {"int", FieldType::kInt, 2, 2, INTTYPE},
    {"long", FieldType::kLong, 4, 4, LONGTYPE},
    {"integer", FieldType::kInteger, 1, kLongestInteger, INTTYPE},
    {"unsigned", FieldType::kUnsigned, 1, kLongestInteger, CHARTYPE},
    {"mint", FieldType::kMachineInt, 2, 2, MINTTYPE},
    {"mlong", FieldType::kMachineLong, 4, 4, MLONGTYPE},
    {"quad", FieldType::kQuad, 8, 8, CHARTYPE},
    {"double", FieldType::kDouble, 8, 8, DOUBLETYPE},
    {"float", FieldType::kFloat, 4, 4, FLOATTYPE},
    {"packed", FieldType::kPacked, 1, kLongestPacked, CHARTYPE},
    {"zoned", FieldType::kZoned, 1, kLongestZoned, CHARTYPE},
    {"date", FieldType::kDate, 1, 0, CHARTYPE},
    {"hex", FieldType::kHex, 1, 0, CHARTYPE},
}};

const TypeEntry &entryOf(FieldType type) {
    for (const TypeEntry &entry : kTypes) {
        if (entry.type == type) return entry;
    }
    return kTypes.back();
}

std::string bytes(int count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

}  // namespace

const char *fieldTypeName(FieldType type) { return entryOf(type).name; }

bool fieldTypeOf(const std::string &name, FieldType &type) {
    for (const TypeEntry &entry : kTypes) {
        if (name != entry.name) continue;
        type = entry.type;
        return true;
    }
    return false;
}

const char *signName(Sign sign) {
    switch (sign) {
    case Sign::kUnsigned: return "none";
    case Sign::kLetters: return "letters";
    case Sign::kSeparate: return "separate";
    default: return "usual";
    }
}

int decimalDigits(const Field &field) {
    if (field.type == FieldType::kPacked) return 2 * field.length - 1;
    return field.sign == Sign::kSeparate ? field.length - 1 : field.length;
}

std::string lengthFault(const Field &field) {
    const TypeEntry &entry = entryOf(field.type);
    if (field.takesRest()) {
        if (field.type == FieldType::kChar || field.type == FieldType::kHex) return {};
        return std::string("the rest of a record is char or hex, not ") + entry.name;
    }
    if (field.length < entry.shortest || (entry.longest != 0 && field.length > entry.longest)) {
        std::string lengths = bytes(entry.shortest);
        if (entry.longest == 0) lengths = "1 byte or more";
        if (entry.longest > entry.shortest) lengths = std::to_string(entry.shortest) + " to " + bytes(entry.longest);
        return std::string(entry.name) + " has " + lengths + ", not " + std::to_string(field.length);
    }
    if (field.type == FieldType::kDate && field.length != static_cast<int>(field.date.size()))
        return "date " + field.date + " has " + bytes(static_cast<int>(field.date.size())) + ", not " +
               std::to_string(field.length);
    if (field.isDecimal() && decimalDigits(field) < 1) return "there is no room for a digit";
    if (field.isDecimal() && field.scale > decimalDigits(field))
        return "scale " + std::to_string(field.scale) + " is more than the field's digits, " +
               std::to_string(decimalDigits(field));
    return {};
}

unsigned short keyTypeOf(const Field &field) {
    // Bytes behind the first compare unsigned in an int of any length; only an odd length is refused.
    if (field.type == FieldType::kInteger && field.length % 2 != 0) return CHARTYPE;
    return entryOf(field.type).key;
}

}  // namespace tool
