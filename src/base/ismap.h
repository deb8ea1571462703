// Work on index and data file through shared mappings, for handles opened with
// ISMAPPED: what lies within the file as it is becomes a copy in memory, without
// a system call. Everything else goes the way that it goes without mapping: what
// makes the file longer, and whatever a mapping cannot serve. Nothing here fails.
//
// A file is mapped in windows; each overlaps the next by more than the longest
// transfer. With 64-bit addresses one window is longer than most files ever get.
#pragma once

#include <cstdint>

#include "base/isfile.h"

inline constexpr int kMapWindows = 8;
inline constexpr std::int64_t kMapOverlap = 128 * 1024;
inline constexpr std::int64_t kMapSmallReach = 4 * 1024 * 1024;
inline constexpr std::int64_t kMapReach = sizeof(void *) > 4 ? std::int64_t{64} << 30 : kMapSmallReach;

// Bytes that are written come in ascending order: one by itself, then eight at a
// time. A process killed in between leaves new bytes up to such a border and old
// ones behind it.
inline constexpr int kMapStore = 8;
inline constexpr int kMapFirstStore = 1;

struct MapWindow {
    std::uint8_t *base;  // null: not in use
    std::int64_t start;  // offset in the file
    std::uint32_t used;  // FileMap::turn when it was last turned to
};

struct FileMap {
    std::int64_t size;   // bytes that the file is known to have
    std::int64_t reach;  // bytes of a window, 0: this file is not mapped
    MapWindow windows[kMapWindows];
    int last;  // the window used last
    std::uint32_t turn;
    bool writable;
};

// Maps the files of a handle that is to be mapped and can be: not under ISSYNCWR,
// and only on file systems of this machine that write in place.
void isMapStart(IsamFile *h);

// Gives the mappings back; before the descriptors go.
void isMapEnd(IsamFile *h);

// The files may have got another length.
void isMapForget(IsamFile *h);

// They are not known to be longer than that: one that was may have been cut off.
void isMapBound(IsamFile *h, int kind, std::int64_t size);

// Its length has been looked at.
void isMapSized(IsamFile *h, int kind, std::int64_t size);

bool isMapCopyOut(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset);
bool isMapCopyIn(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset);

// A transfer of exactly length bytes; false: nothing of it counts, and it is to be
// made the ordinary way.
inline bool isMapRead(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    return h != nullptr && h->maps != nullptr && kind <= ISKIND_DATA && isMapCopyOut(h, kind, buffer, length, offset);
}
inline bool isMapWrite(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset) {
    return h != nullptr && h->maps != nullptr && kind <= ISKIND_DATA && isMapCopyIn(h, kind, buffer, length, offset);
}
