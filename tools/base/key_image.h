// A record's key as an index keeps it.
#pragma once

#include <isam.h>
#include <string>

namespace tool {

// Bytes of the whole key.
int keyLength(const KeyDesc &key);

// The parts' bytes one after the other; what follows the NUL of a text is NULs. Two records have equal keys when these
// are the same. record: as long as the parts reach.
std::string keyImage(const KeyDesc &key, const char *record);

// Is it a key that the index leaves out, being made of null bytes alone?
bool isNullKey(const KeyDesc &key, const std::string &image);

}  // namespace tool
