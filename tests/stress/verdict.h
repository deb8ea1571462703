// What the files say, read without the library, against what the journal says.
#ifndef TESTS_STRESS_VERDICT_H
#define TESTS_STRESS_VERDICT_H

#include "journal.h"

#include <string>

namespace stress {

// Nothing when every record is there exactly once with exactly its last content, every index has every record in its
// order, and every node and every tail is in its place. leaks: a killed process may have taken room that nothing has.
std::string verdict(const Journal &journal, const std::string &base, bool leaks);

// Nothing when no process, or not the one given, has any lock on the files.
std::string locksLeft(const std::string &base, int pid = 0);

}  // namespace stress

#endif
