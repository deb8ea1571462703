// All subcommands. Each is declared and done in the file of its name.
#pragma once

#include "cli/program.h"

namespace tool {

// Adds every one of them to the program, group by group.
void addCommands(Program &program);

void addInfo(Program &program);
void addTree(Program &program);
void addMap(Program &program);
void addCheck(Program &program);
void addRepair(Program &program);

}  // namespace tool
