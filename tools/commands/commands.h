// All subcommands. Each is declared and done in the file of its name.
#pragma once

#include "cli/program.h"

namespace tool {

// Adds every one of them to the program, group by group.
void addCommands(Program &program);

void addInfo(Program &program);
void addGet(Program &program);
void addScan(Program &program);
void addTree(Program &program);
void addMap(Program &program);
void addHash(Program &program);
void addCheck(Program &program);
void addRepair(Program &program);
void addDump(Program &program);
void addLoad(Program &program);
void addLayout(Program &program);
void addBuild(Program &program);
void addIndex(Program &program);
void addCluster(Program &program);
void addClone(Program &program);
void addCopy(Program &program);
void addErase(Program &program);
void addRename(Program &program);
void addLog(Program &program);
void addRecover(Program &program);
void addAudit(Program &program);
void addLocks(Program &program);
void addLocktest(Program &program);

}  // namespace tool
