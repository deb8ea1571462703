// A file's audit settings, and the entries of an audit trail.
#ifndef TESTS_SUPPORT_AUDIT_READER_H
#define TESTS_SUPPORT_AUDIT_READER_H

#include "bytes.h"

#include <string>
#include <vector>

namespace testing_support {

struct AuditSettings {
    bool on = false;
    std::string name;
};

// Reads the node that holds a file's settings. Returns what is wrong with it, nothing when all is well.
std::string readAuditSettings(const Bytes &node, AuditSettings *out);

// An entry that a trail should have.
struct AuditEntry {
    std::string type;  // two characters
    std::uint32_t recnum = 0;
    Bytes image;  // all that follows the head
};

// Compares a trail with what this process should have written into it since the time given. Returns what is wrong,
// nothing when all is well. An entry cannot be told from an image without knowing what was written.
std::string compareTrail(const Bytes &trail, const std::vector<AuditEntry> &expected, std::uint32_t since);

}  // namespace testing_support

#endif
