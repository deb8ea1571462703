#include "locks/process_name.h"

#include "base/user_text.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace tool {

namespace {

constexpr std::size_t kLongestCommand = 4096;

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return text.substr(0, kLongestCommand);
}

}  // namespace

ProcessName processName(long process) {
    const std::string directory = "/proc/" + std::to_string(process);
    struct stat status;
    if (process <= 0 || stat(directory.c_str(), &status) != 0) return {};
    ProcessName name;
    name.program = contents(directory + "/comm");
    if (name.program.ends_with('\n')) name.program.pop_back();
    name.command = contents(directory + "/cmdline");
    while (name.command.ends_with('\0'))
        name.command.pop_back();
    std::replace(name.command.begin(), name.command.end(), '\0', ' ');
    name.user = userName(status.st_uid);
    return name;
}

}  // namespace tool
