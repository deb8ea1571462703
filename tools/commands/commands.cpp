#include "commands/commands.h"

namespace tool {

void addCommands(Program &program) {
    program.group("Look");
    addInfo(program);
}

}  // namespace tool
