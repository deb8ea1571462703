#include "project/dialects.h"

#include "project/program_output.h"
#include "support/temp_dir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <ostream>

namespace {

constexpr const char *kHeaders = " -I'" ISAM_SOURCE_DIR "/include'";

// The C driver takes nothing of the C++ run-time library.
std::string compilerOf(const Dialect &dialect) {
    return std::string(dialect.cpp ? ISAM_CXX_COMPILE : ISAM_C_COMPILE) + " -std=" + dialect.standard +
           " -Wall -Wextra -Wundef -pedantic -Werror";
}

const char *sourceName(const Dialect &dialect) { return dialect.cpp ? "program.cpp" : "program.c"; }

}  // namespace

void PrintTo(const Dialect &dialect, std::ostream *out) { *out << dialect.standard; }

int buildAndRun(const std::string &compile, const std::string &source_name, const std::string &source,
                const std::string &library) {
    testing_support::TempDir dir;
    std::ofstream(dir.file(source_name)) << source;
    ProgramOutput output =
        runProgram(compile + kHeaders + " -o '" + dir.file("program") + "' '" + dir.file(source_name) + "' " + library);
    EXPECT_EQ(output.status, 0) << output.text;
    if (output.status != 0) return -1;
    output = runProgram("'" + dir.file("program") + "' '" + dir.file("file") + "'");
    EXPECT_EQ(output.status, 0) << output.text;
    return output.status;
}

int buildAndRunIn(const Dialect &dialect, const std::string &source) {
    return buildAndRun(compilerOf(dialect), sourceName(dialect), source, "'" ISAM_STATIC_LIBRARY "'");
}

std::string complaintsIn(const Dialect &dialect, const std::string &source) {
    testing_support::TempDir dir;
    const std::string file = dir.file(sourceName(dialect));
    std::ofstream(file) << source;
    const ProgramOutput output = runProgram(compilerOf(dialect) + kHeaders + " -fsyntax-only '" + file + "'");
    return output.status == 0 && output.text.empty() ? "" : output.text + "status " + std::to_string(output.status);
}
