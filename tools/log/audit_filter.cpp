#include "log/audit_filter.h"

#include "base/failure.h"

#include <charconv>
#include <pwd.h>

namespace tool {

namespace {

constexpr unsigned kStoredBits = 0xffff;

}  // namespace

void AuditFilter::onlyKinds(const std::vector<std::string> &words) {
    using Kind = AuditEntry::Kind;
    for (const std::string &word : words) {
        bool known = false;
        for (const Kind kind : {Kind::kAdded, Kind::kDeleted, Kind::kBefore, Kind::kAfter}) {
            const bool rewritten = kind == Kind::kBefore || kind == Kind::kAfter;
            if (word != auditWord(kind) && !(word == "rewritten" && rewritten)) continue;
            kinds.insert(kind);
            known = true;
        }
        if (!known) throw Failure(word + ": is no type of entry; added, deleted, rewritten, before and after are");
    }
}

void AuditFilter::onlyUser(const std::string &name) {
    unsigned id = 0;
    const char *end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data(), end, id);
    if (error != std::errc() || rest != end) {
        const passwd *entry = getpwnam(name.c_str());
        if (entry == nullptr) throw Failure(name + ": is no user");
        id = entry->pw_uid;
    }
    user = id & kStoredBits;
}

bool AuditFilter::takes(const AuditEntry &entry) const {
    if (!kinds.empty() && !kinds.contains(entry.kind)) return false;
    if (number && entry.number != *number) return false;
    if (process && entry.process != *process) return false;
    if (user && entry.user != *user) return false;
    if (since && entry.time < *since) return false;
    return !until || entry.time <= *until;
}

}  // namespace tool
