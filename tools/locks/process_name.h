// Processes by program and user.
#pragma once

#include <string>

namespace tool {

struct ProcessName {
    std::string program;  // "orderd"; empty where the process is not of this machine, or gone
    std::string command;  // its command line
    std::string user;
};

ProcessName processName(long process);

}  // namespace tool
