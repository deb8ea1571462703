// All subcommands. Each is declared and done in the file of its name.
#pragma once

#include "cli/program.h"

namespace tool {

// Adds every one of them to the program, group by group.
void addCommands(Program &program);

void addInfo(Program &program);
void addLog(Program &program);
void addRecover(Program &program);
void addAudit(Program &program);
void addLocks(Program &program);
void addLocktest(Program &program);

}  // namespace tool
