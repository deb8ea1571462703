// Which entries of an audit trail the user wants to see.
#pragma once

#include "log/audit_trail.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tool {

struct AuditFilter {
    std::set<AuditEntry::Kind> kinds;  // all where it is empty
    std::optional<std::int64_t> number;
    std::optional<unsigned> process;
    std::optional<unsigned> user;
    std::optional<std::int64_t> since;
    std::optional<std::int64_t> until;

    // The words of the user: added, deleted, rewritten, before, after; a user's name or number. Throw Failure.
    void onlyKinds(const std::vector<std::string> &words);
    void onlyUser(const std::string &name);
    // The trail has the low half of the number alone.
    void onlyProcess(unsigned id) { process = id & 0xffffU; }

    bool takes(const AuditEntry &entry) const;
};

}  // namespace tool
