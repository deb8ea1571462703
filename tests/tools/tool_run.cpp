#include "tools/tool_run.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

namespace tool_tests {

namespace {

const char *const kOut = ".stdout";
const char *const kErr = ".stderr";

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

// The library, called by the test itself, works there too.
ToolTest::ToolTest() : before_(std::filesystem::current_path()) { std::filesystem::current_path(directory_.path()); }

ToolTest::~ToolTest() { std::filesystem::current_path(before_); }

Ran ToolTest::isam(const std::string &arguments) const { return shell("isam " + arguments); }

Ran ToolTest::shell(const std::string &command) const {
    const std::filesystem::path tools = std::filesystem::path(ISAM_TOOL).parent_path();
    const std::string line = "cd '" + directory_.path() + "' && PATH='" + tools.string() + "':$PATH && { " + command +
                             "\n} >" + kOut + " 2>" + kErr + " </dev/null";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(path(kOut)), contents(path(kErr))};
}

void ToolTest::put(const std::string &name, const std::string &bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
}

std::string ToolTest::get(const std::string &name) const { return contents(path(name)); }

}  // namespace tool_tests
