// Slots of the data file.
//
//   bytes                    meaning
//   record length            the fixed part of the record
//   1                        status: 0x0a present, 0x00 deleted or free
//   6, ISVARLEN              descriptor of the variable part
//   4, ISMASK                the record's index mask, most significant first
//
// Record n (from 1) lies at byte (n - 1) * slot length; there is no file
// header. Deleting touches the status byte alone.
#pragma once

#include "base/isfile.h"
#include "base/ismif.h"

namespace slot {

inline constexpr int kStatusSize = 1;
inline constexpr int kTailSize = 6;
inline constexpr int kMaskSize = 4;
inline constexpr std::uint8_t kPresent = 0x0a;
inline constexpr std::uint8_t kDeleted = 0x00;

// Bytes of a slot for this record length and open mode.
inline int length(int recordLength, int mode) {
    return recordLength + kStatusSize + ((mode & ISVARLEN) != 0 ? kTailSize : 0) +
           ((mode & ISMASK) != 0 ? kMaskSize : 0);
}

// The fields of the slot in the handle's buffer.
inline std::uint8_t status(const IsamFile *h) { return h->recordBuffer[h->recordLength]; }
inline std::uint8_t *tailPointer(IsamFile *h) { return h->recordBuffer + h->recordLength + kStatusSize; }
inline std::uint32_t mask(const IsamFile *h) { return ld_long(h->recordBuffer + h->bufferLength - kMaskSize); }

}  // namespace slot

// May recnum be that of a slot: is it 1..highest, in a file with records? Whatever
// the header of another file says is its highest.
inline bool isSlotNumber(const IsamFile *h, long recnum) {
    return hasData(h) && recnum > 0 && static_cast<unsigned long>(recnum) <= h->dataFree.last;
}

// Slots that the data file has, at most the highest.
std::uint32_t isSlotCount(IsamFile *h);

// Reads slot recnum into the slot buffer. 112 outside 1..highest. The status is
// not looked at.
void isGetData(IsamFile *h, long recnum);

// Puts the record into the slot buffer, sets status and mask there, and writes
// the slot.
void isPutData(IsamFile *h, const char *record, long recnum);

// What that stores, without a tail, to out; and slots made so, one behind the other,
// from number first on. Nothing is kept of those.
void isMakeSlot(const IsamFile *h, const char *record, std::uint8_t *out);
void isPutSlots(IsamFile *h, const std::uint8_t *slots, int count, long first);

// Is the slot deleted? Reads its status byte.
bool isDelCheck(IsamFile *h, long recnum);

// Marks the slot deleted, and present again.
void isDelData(IsamFile *h, long recnum);
void isUndelData(IsamFile *h, long recnum);
