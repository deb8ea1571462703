// What the commands on whole files share.
#pragma once

#include "base/open_file.h"
#include "cli/program.h"

#include <string>

namespace tool {

// "--index": number from 1, 0 for record-number order, -1 where it is not given.
CLI::Option *addOrder(CLI::App *command, int &index);

// The description that iscopy and iscluster take for it: storage holds it, null stands for the current order. Throws
// Failure where the file has no such index.
KeyDesc *orderOf(const OpenFile &file, int index, KeyDesc &storage);

}  // namespace tool
