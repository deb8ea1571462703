// Short ways to write key descriptions in tests.
#ifndef TESTS_SUPPORT_KEY_DESC_H
#define TESTS_SUPPORT_KEY_DESC_H

#include "isam.h"

#include <initializer_list>

namespace testing_support {

// One part. type may carry ISDESC; null_byte counts only with ISNULLKEY.
struct Part {
    int start;
    int length;
    int type = CHARTYPE;
    int null_byte = 0;
};

// A description with the given flags and parts (more than ten are cut off).
inline KeyDesc keyDesc(int flags, std::initializer_list<Part> parts) {
    KeyDesc key{};
    key.flags = static_cast<unsigned short>(flags);
    for (const Part &part : parts) {
        if (key.nparts == ISMAXPARTS) break;
        KeyPart &to = key.parts[key.nparts];
        to.start = static_cast<short>(part.start);
        to.length = static_cast<short>(part.length);
        to.type = static_cast<unsigned short>((part.type & 0xff) | (part.null_byte & 0xff) << 8);
        ++key.nparts;
    }
    return key;
}

// The description without parts: record-number order.
inline KeyDesc noKey() { return KeyDesc{}; }

// True when both describe the same parts under the same flags.
inline bool sameKeyDesc(const KeyDesc &a, const KeyDesc &b) {
    if (a.flags != b.flags || a.nparts != b.nparts) return false;
    for (int i = 0; i < a.nparts; ++i)
        if (a.parts[i].start != b.parts[i].start || a.parts[i].length != b.parts[i].length ||
            a.parts[i].type != b.parts[i].type)
            return false;
    return true;
}

}  // namespace testing_support

#endif
