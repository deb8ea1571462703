// Key descriptions in words.
#pragma once

#include <isam.h>
#include <string>

namespace tool {

// "string", "2-byte integer", ..; the number where there is no such type.
std::string typeName(unsigned short type);

// "bytes 0-15 text, descending": one part.
std::string partInWords(const KeyPart &part);

// "unique", "duplicates", and the compressions: "duplicates, leading, trailing blanks".
std::string flagsInWords(const KeyDesc &key);

}  // namespace tool
