// Writing entries into a file's audit trail. Knows nothing of record
// operations. All but isAudInit do nothing while no trail is open.
#pragma once

#include "base/isfile.h"

namespace audit {
inline constexpr char kAdded[] = "aa";
inline constexpr char kDeleted[] = "dd";
inline constexpr char kBefore[] = "rr";
inline constexpr char kAfter[] = "ww";
}  // namespace audit

// Opens the audit trail if the file has one and it is switched on.
void isAudInit(IsamFile *h);

// Appends an entry's head, and raw bytes of its record image.
void isAudHead(IsamFile *h, const char *type, long recnum);
void isAudBody(IsamFile *h, const void *bytes, int length);

// Closes the audit trail.
void isAudDone(IsamFile *h);
