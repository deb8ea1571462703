#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
    addHash(program);
    program.group("Whole files");
    addIndex(program);
    addCluster(program);
    addClone(program);
    addCopy(program);
    addErase(program);
    addRename(program);
}

}  // namespace tool
