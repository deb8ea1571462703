// Bytes as hexadecimal digits, and names from files as a terminal can take them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tool {

// "4d617273".
std::string hexText(std::span<const std::uint8_t> bytes);

// Lines of sixteen bytes, each behind `indent`: offset, digits, and what is printable.
std::string hexDump(std::span<const std::uint8_t> bytes, const std::string &indent);

// The text with every control character as "\x07": what a hostile file calls a name does nothing to a terminal.
std::string printable(const std::string &text);

}  // namespace tool
