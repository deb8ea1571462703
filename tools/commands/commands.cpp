#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    addTree(program);
    addMap(program);
    program.group("Check and mend");
    addCheck(program);
    addRepair(program);
}

}  // namespace tool
