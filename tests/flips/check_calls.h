// What the library says of a file set.
#pragma once

#include "flips/check_oracle.h"
#include "flips/session.h"

namespace flips {

// Opens the memory files' file set, runs every check on it and closes it.
Verdict askLibrary(Session &session);

}  // namespace flips
