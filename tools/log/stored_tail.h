// A compressed tail as it was before it was stored.
//
// Its first byte 0: length (2) and the bytes. Otherwise control bytes up to a 0, then the bytes that they do not tell:
// two high bits 0: so many bytes follow as they are; 1, 2, 3: so many NULs, blanks, digits 0. The low six bits are the
// count.
#pragma once

#include "log/log_record.h"

#include <optional>
#include <span>

namespace tool {

// Nothing where the bytes are no such tail, or make more than `most` bytes.
std::optional<ByteString> expandTail(std::span<const std::uint8_t> stored, std::size_t most);

}  // namespace tool
