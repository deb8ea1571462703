// Manual pages and completion, from what a program's subcommands declare.
#pragma once

#include "cli/program.h"

#include <string>
#include <vector>

namespace tool {

struct Page {
    std::string file;  // "isam-info.1"
    std::string text;  // for troff, macros man
};

// isam.1, and a page for every subcommand.
std::vector<Page> manualPages(Program &program);

// A script for bash: subcommands, options, and file sets by their base path.
std::string bashCompletion(Program &program);

}  // namespace tool
