// The values of a key, in words.
#pragma once

#include "index/file_view.h"

#include <isam.h>
#include <string>

namespace tool {

// "4711, Smith": the parts one after the other, text without what fills it.
std::string keyInWords(const KeyDesc &key, const std::uint8_t *bytes);

}  // namespace tool
