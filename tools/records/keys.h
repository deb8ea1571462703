// Keys as indexes have them: made from records, and compared the way an index sorts.
#pragma once

#include <isam.h>
#include <string>
#include <string_view>

namespace tool {

int keyLength(const KeyDesc &key);

// The key of a record: its parts behind one another, text that ends at a NUL filled with NULs. What lies behind the
// record's end counts as NULs.
std::string keyOf(const KeyDesc &key, std::string_view record);

// Below, equal to or above 0 as the first `length` bytes of key a sort before, with or after those of key b.
int compareKeys(const KeyDesc &key, const std::string &a, const std::string &b, int length);

}  // namespace tool
