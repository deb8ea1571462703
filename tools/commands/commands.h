// All subcommands. Each is declared and done in the file of its name.
#pragma once

#include "cli/program.h"

namespace tool {

// Adds every one of them to the program, group by group.
void addCommands(Program &program);

void addInfo(Program &program);
void addGet(Program &program);
void addScan(Program &program);
void addDump(Program &program);
void addLoad(Program &program);
void addLayout(Program &program);
void addBuild(Program &program);

}  // namespace tool
