#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    addGet(program);
    addScan(program);
    addTree(program);
    addMap(program);
    addHash(program);
    program.group("Check and mend");
    addCheck(program);
    addRepair(program);
    program.group("Move records in and out");
    addDump(program);
    addLoad(program);
    addLayout(program);
    addBuild(program);
    program.group("Whole files");
    addIndex(program);
    addCluster(program);
    addClone(program);
    addCopy(program);
    addErase(program);
    addRename(program);
    program.group("Logs, audit trails, locks");
    addLog(program);
    addRecover(program);
    addAudit(program);
    addLocks(program);
    addLocktest(program);
}

}  // namespace tool
