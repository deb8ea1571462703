// The command isam.
#include "commands/commands.h"

int main(int argc, char **argv) {
    tool::Program program;
    tool::addCommands(program);
    return program.main(argc, argv);
}
