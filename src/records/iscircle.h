// Telling whether a scan that one call makes goes round in a circle, as damage
// in a tree can bend it.
//
// The steps depend on the position and the file alone: the same position again,
// with the file unchanged, means that the steps from there come again as well.
// The position is compared with one of the positions before, which is renewed
// after 1, 3, 7, .. steps; so a circle is noticed within three rounds at most.
#pragma once

#include "base/isfile.h"

struct ScanPosition {
    int index;
    std::uint32_t record;  // 0 = none
    std::uint64_t serial;
    std::uint8_t key[ISMAXKEYLEN];
};

// Starts as zeros.
struct ScanWatch {
    ScanPosition here, mark;
    std::uint32_t stamp;           // change counter of the header since the first step that counts
    std::uint64_t steps, renewal;  // since the mark was set, and until the next; renewal 0: there is no mark
};

// A step has been made.
void isScanStep(const IsamFile *h, ScanWatch *watch);

// The next step is going to be made; true: it has been made before. False where
// the position is not the step's, since somebody has moved it on purpose.
bool isScanCircle(const IsamFile *h, ScanWatch *watch);
