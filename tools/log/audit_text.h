// Audit entries as the user reads them, and as programs do.
#pragma once

#include "base/json.h"
#include "log/audit_trail.h"

#include <string>

namespace tool {

// The columns' names; one entry a line under them, with the beginning of its record, and behind it, where asked for,
// all of the record's bytes.
std::string auditHeading();
std::string auditLine(const AuditEntry &entry);
std::string auditContents(const AuditEntry &entry);

Json auditJson(const AuditEntry &entry);

}  // namespace tool
