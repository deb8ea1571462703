// What calls leave behind them in the process: locks, descriptors.
#pragma once

#include <string>

namespace fault_testing {

// Looks at the locks of the process as another one would see them, by locks that belong to an open file, with which the
// process's own ones conflict. Its descriptors stay open: closing one would drop the locks.
class LockProbe {
  public:
    // Phase locks of all index files in the working directory, and unless records may be locked those of all data
    // files. Nothing when there are none.
    std::string betweenCalls(bool records);
    // Any lock on any file.
    std::string anywhere();

  private:
    std::string look(const std::string &name, long long start, long long length);
};

// Both kinds of lock are seen, and an unlocked file is.
bool lockProbeWorks(const std::string &directory);

// Descriptors from 3 on, those of the probes left out.
int openDescriptors();

// Descriptors that belong to the library's open handles.
int openHandles();

}  // namespace fault_testing
