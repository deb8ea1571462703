// A field's value as people and other programs see it.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

struct Value {
    enum Kind {
        kText,    // UTF-8
        kNumber,  // a number as JSON writes it
        kBytes    // the field's bytes themselves, where its type has no way to show them
    };
    Kind kind = kText;
    std::string text;

    bool operator==(const Value &) const = default;
};

// Why a value cannot be stored in a field: "has 25 bytes, 5 more than the field".
class ValueFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// "1 byte", "2 bytes".
std::string countOfBytes(std::size_t count);

// Bytes as hexadecimal digits, and back; false where they are none, or half a byte is left.
std::string toHex(std::string_view bytes);
bool fromHex(std::string_view digits, std::string &bytes);

}  // namespace tool
