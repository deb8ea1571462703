// Runs the command isam as a user does, in a directory of the test's own.
#ifndef TESTS_TOOLS_TOOL_RUN_H
#define TESTS_TOOLS_TOOL_RUN_H

#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace tool_tests {

struct Ran {
    int status;       // exit status, or -1 where a signal ended it
    std::string out;  // what stood on standard output
    std::string err;  // and on standard error
};

class ToolTest : public testing::Test {
  protected:
    ToolTest();
    ~ToolTest() override;

    // Runs "isam ARGUMENTS" by the shell, in the directory.
    Ran isam(const std::string &arguments) const;
    // Runs any command there, with isam on the path.
    Ran shell(const std::string &command) const;

    // A file of the directory: its path, and its bytes.
    std::string path(const std::string &name) const { return directory_.file(name); }
    void put(const std::string &name, const std::string &bytes) const;
    std::string get(const std::string &name) const;

  private:
    testing_support::TempDir directory_;
    std::filesystem::path before_;
};

}  // namespace tool_tests

#endif
