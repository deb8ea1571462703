// A file's audit trail: its settings in the index file, and writing entries.
//
// An entry is put together in the handle and goes into the trail with a single
// write, so that trails shared by several files stay whole. All calls but
// isAudInit do nothing while no trail is open.
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

// Begins an entry; one that was begun before is written.
void isAudHead(IsamFile *h, const char *type, long recnum);

// Adds the length of a variable-length record, and bytes of its image.
void isAudVLen(IsamFile *h, int length);
void isAudBody(IsamFile *h, const void *bytes, int length);

// Writes the entry begun, if there is one.
void isAudWrite(IsamFile *h);

// The same, and closes the trail.
void isAudDone(IsamFile *h);

// Settings, under the phase lock. isAudLoad takes them from the file, where the
// handle's copy is stale; false when the file has none. isAudStore writes the
// handle's copy, into a node taken for it when there is none yet, and leaves
// free list and header to be written. 105 for a damaged node.
bool isAudLoad(IsamFile *h);
void isAudStore(IsamFile *h);

// The handle's copy.
bool isAudIsOn(const IsamFile *h);
void isAudSwitch(IsamFile *h, bool on);
const char *isAudName(const IsamFile *h);
void isAudSetName(IsamFile *h, const char *name);  // at most ISAUDNAMELEN bytes
