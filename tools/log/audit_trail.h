// Reads an audit trail entry after entry, whatever its bytes are.
#pragma once

#include "log/byte_window.h"
#include "log/log_record.h"

#include <cstdint>
#include <string>

namespace tool {

// What the entries of a trail look like is told by the file that it belongs to.
struct AuditShape {
    bool variable = false;    // records of variable length
    bool compressed = false;  // their tails are stored compressed
    int minimum = 0;          // record lengths
    int maximum = 0;
};

struct AuditEntry {
    enum class Kind { kAdded, kDeleted, kBefore, kAfter };

    std::int64_t offset = 0;
    Kind kind = Kind::kAdded;
    std::int64_t time = 0;  // seconds since the epoch
    unsigned process = 0;   // low 16 bits
    unsigned user = 0;      // low 16 bits
    std::int64_t number = 0;
    bool bare = false;  // a variable-length record without tail: the trail has no bytes of it
    ByteString record;  // its tail, where that was stored compressed, as it was before
    bool sound = true;  // a compressed tail is one
};

// "added", "deleted", "before", "after".
const char *auditWord(AuditEntry::Kind kind);

class AuditTrail {
  public:
    enum class Found { kEntry, kEnd, kCutOff, kDamaged };

    AuditTrail(const std::string &path, const AuditShape &shape) : window_(path, false), shape_(shape) {}

    // The next entry. After kEnd and kCutOff the trail may grow and can be asked again.
    Found next(AuditEntry &entry);
    const std::string &problem() const { return problem_; }

    std::int64_t offset() const { return offset_; }
    std::int64_t size() const { return window_.size(); }
    // Another file has its name by now.
    bool replaced() const { return window_.replaced(); }

  private:
    Found stop(Found how, const std::string &what);
    bool beginsHead(std::int64_t offset);
    bool isTimely(std::int64_t offset, std::int64_t since);
    int storedLength(std::int64_t offset, std::int64_t time, bool &cut_off);
    void expand(AuditEntry &entry) const;

    ByteWindow window_;
    AuditShape shape_;
    std::int64_t offset_ = 0;
    std::string problem_;
};

}  // namespace tool
