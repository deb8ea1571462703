// The examination: do locks, data and names of a file system do what the library counts on?
#pragma once

#include "base/failure.h"
#include "locktest/side.h"

#include <functional>
#include <string>
#include <vector>

namespace tool {

struct LockFinding {
    enum class Weight {
        kNeeded,  // without it files are damaged, or programs hang
        kLimit,   // without it some calls do not work; the files stay whole
        kFact,    // good to know
    };

    std::string what;  // "an exclusive lock keeps others out"
    Weight weight = Weight::kNeeded;
    bool passed = false;
    std::string detail;  // what was seen instead, or a limit's consequence
};

// The file system is full, which says nothing of its locks.
class NoRoom : public Failure {
  public:
    using Failure::Failure;
};

// Goes through all steps with both sides on one scratch file, each side in a process of its own. names: a word that
// names of files may begin with. stepDone is called behind each step. Throws Failure where a side does not answer,
// NoRoom where one cannot write for want of room.
std::vector<LockFinding> examine(Side &here, Side &there, const std::string &names,
                                 const std::function<void()> &stepDone);
std::size_t examinationSteps();

// Nothing that is needed is missing.
bool isFit(const std::vector<LockFinding> &findings);

}  // namespace tool
