// Runs a command of the shell and keeps what it printed.
#ifndef TESTS_PROJECT_PROGRAM_OUTPUT_H
#define TESTS_PROJECT_PROGRAM_OUTPUT_H

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

struct ProgramOutput {
    int status = -1;   // exit status, -1 when it did not exit by itself
    std::string text;  // standard output and standard error
};

inline ProgramOutput runProgram(const std::string &command) {
    ProgramOutput result;
    std::FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 4096> part{};
    std::size_t count;
    while ((count = std::fread(part.data(), 1, part.size(), pipe)) > 0)
        result.text.append(part.data(), count);
    int status = pclose(pipe);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    return result;
}

#endif
