// What opening a file set and checking it must say, by the layouts alone.
//
// It shares nothing with the library: bytes in, results of the calls out, damaged or not. Where a check meets a thing
// that the layouts do not allow it stops there, with the bit for unreadable files and what it has found before.
#pragma once

#include "flips/flip_kinds.h"
#include "support/key_image.h"

#include <cstdint>
#include <string>
#include <vector>

namespace flips {

struct Verdict {
    int openError = 0;  // 0: the file set is opened
    int openIo = 0;     // which system call, where a file ends too early or is missing
    int data = 0;
    std::vector<int> indexes;
    int tails = 0;       // with statistics
    int tailsAlone = 0;  // without

    bool operator==(const Verdict &other) const = default;
    // Has anything been found?
    bool named() const;
};

// The results in one line.
std::string textOf(const Verdict &verdict);

// Of a file set opened with ISINOUT + ISVARAUTO.
Verdict judge(const FileSet &set);

}  // namespace flips
