#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    addGet(program);
    addScan(program);
    program.group("Move records in and out");
    addDump(program);
    addLoad(program);
    addLayout(program);
    addBuild(program);
}

}  // namespace tool
