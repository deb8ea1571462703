#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    addTree(program);
    addMap(program);
    addHash(program);
    program.group("Check and mend");
    addCheck(program);
    addRepair(program);
    program.group("Whole files");
    addIndex(program);
    addCluster(program);
    addClone(program);
    addCopy(program);
    addErase(program);
    addRename(program);
    program.group("Watch");
    addLog(program);
    addRecover(program);
    addAudit(program);
    addLocks(program);
    addLocktest(program);
}

}  // namespace tool
