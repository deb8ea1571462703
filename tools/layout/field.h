// A field of a record: where it lies, and how its bytes are read.
#pragma once

#include <string>

namespace tool {

enum class FieldType {
    kChar,         // text filled with blanks
    kString,       // text up to a NUL, filled with NULs
    kInt,          // 2 bytes, signed, most significant byte first
    kLong,         // 4 bytes, likewise
    kInteger,      // 1 to 8 bytes, likewise
    kUnsigned,     // 1 to 8 bytes, not signed, most significant byte first
    kMachineInt,   // 2 bytes, signed, in the machine's order
    kMachineLong,  // 4 bytes, likewise
    kQuad,         // 8 bytes, likewise
    kDouble,       // the machine's double
    kFloat,        // the machine's float
    kPacked,       // two decimal digits a byte, the sign in the last half
    kZoned,        // a decimal digit a byte
    kDate,         // a date as digits
    kHex           // bytes
};

// How a decimal number shows its sign.
enum class Sign {
    kUsual,     // packed: half bytes C and D; zoned: the last digit of a negative number is one of p..y
    kUnsigned,  // no negative numbers; packed: half byte F
    kLetters,   // zoned: the last digit is one of {A..I or }J..R
    kSeparate   // zoned: a byte of its own behind the digits, + or -
};

// The length of a field that takes the rest of a variable-length record.
inline constexpr int kRest = -1;

struct Field {
    std::string name;
    int start = 0;
    int length = 0;  // bytes, or kRest
    FieldType type = FieldType::kHex;
    int scale = 0;             // packed and zoned: digits behind the decimal point
    Sign sign = Sign::kUsual;  // packed and zoned
    std::string charset;       // text: what iconv calls it; UTF-8 where empty
    std::string date;          // date: YYYY or YY, MM and DD in their order, with what stands between

    bool isText() const { return type == FieldType::kChar || type == FieldType::kString; }
    bool isDecimal() const { return type == FieldType::kPacked || type == FieldType::kZoned; }
    bool takesRest() const { return length == kRest; }
};

// The name of a type in layouts: "char", "packed".
const char *fieldTypeName(FieldType type);
// The type of that name; false where there is none.
bool fieldTypeOf(const std::string &name, FieldType &type);

const char *signName(Sign sign);

// Why a field's length does not suit its type and its other properties; empty where it does.
std::string lengthFault(const Field &field);

// The digits of a decimal field.
int decimalDigits(const Field &field);

// The type of a key part that sorts the field as its values go: INTTYPE, ..; CHARTYPE where bytes do or nothing does.
unsigned short keyTypeOf(const Field &field);

}  // namespace tool
