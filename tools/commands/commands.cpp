#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    program.group("Watch");
    addLog(program);
    addRecover(program);
    addAudit(program);
    addLocks(program);
    addLocktest(program);
}

}  // namespace tool
