// Parts of keys and ways of indexes as words of the command line.
#pragma once

#include <isam.h>
#include <string>
#include <vector>

namespace tool {

// Describes a key: each word is START:LENGTH:TYPE, with ":desc" behind it where the part sorts descending, or
// FIELD[:desc], a field of FILE.layout. Throws Failure for the first word that is none.
KeyDesc parseKey(const std::vector<std::string> &words, const std::string &file);

// The flags of "leading", "trailing", "repeated" and "all". Throws Failure for any other word.
unsigned short parseCompressions(const std::vector<std::string> &words);

// "0:4:long:desc".
std::string partWord(const KeyPart &part);

}  // namespace tool
