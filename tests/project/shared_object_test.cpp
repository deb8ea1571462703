// The shared object as the dynamic linker sees it.
#include "project/program_output.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

std::set<std::string> linesOf(std::istream &in) {
    std::set<std::string> lines;
    std::string line;
    while (std::getline(in, line))
        if (!line.empty()) lines.insert(line);
    return lines;
}

// The bracketed names of the dynamic section's entries of a kind: NEEDED, SONAME, RPATH ..
std::set<std::string> dynamicEntries(const std::string &kind) {
    const ProgramOutput output = runProgram("readelf -d -W '" ISAM_SHARED_LIBRARY "'");
    EXPECT_EQ(output.status, 0) << output.text;
    std::set<std::string> names;
    std::istringstream in(output.text);
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t open = line.find('[');
        if (line.find("(" + kind + ")") != std::string::npos && open != std::string::npos)
            names.insert(line.substr(open + 1, line.find(']') - open - 1));
    }
    return names;
}

std::set<std::string> exportedSymbols() {
    // Columns: value, kind, name. The sanitizers add symbols of their own, with reserved names.
    const ProgramOutput output = runProgram("nm -D --defined-only '" ISAM_SHARED_LIBRARY "'");
    EXPECT_EQ(output.status, 0) << output.text;
    std::set<std::string> names;
    std::istringstream in(output.text);
    std::string value, kind, name;
    while (in >> value >> kind >> name)
        if (name.rfind("__", 0) != 0) names.insert(name);
    return names;
}

std::set<std::string> listedSymbols() {
    std::ifstream in(ISAM_SOURCE_DIR "/tests/project/exported_symbols.txt");
    EXPECT_TRUE(in.is_open());
    return linesOf(in);
}

void expectSame(const std::set<std::string> &expected, const std::set<std::string> &actual) {
    for (const std::string &name : expected)
        EXPECT_EQ(actual.count(name), 1U) << name << " is missing";
    for (const std::string &name : actual)
        EXPECT_EQ(expected.count(name), 1U) << name << " is too much";
}

}  // namespace

TEST(SharedObject, ExportsTheListedSymbolsAlone) { expectSame(listedSymbols(), exportedSymbols()); }

TEST(SharedObject, SymbolListIsWhatTheHeaderDeclares) {
    // Every declaration starts with ISAM_API or extern ISAM_API at the beginning of a line; the name stands before
    // the first "(", "[" or ";" that follows a word.
    std::ifstream in(ISAM_SOURCE_DIR "/include/isam.h");
    std::set<std::string> declared;
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("ISAM_API ", 0) != 0 && line.rfind("extern ISAM_API ", 0) != 0) continue;
        const std::size_t end = line.find_first_of("([;");
        ASSERT_NE(end, std::string::npos) << line;
        const std::size_t start = line.find_last_of(" *", end - 1) + 1;
        declared.insert(line.substr(start, end - start));
    }
    EXPECT_GT(declared.size(), 50U);
    expectSame(declared, listedSymbols());
}

TEST(SharedObject, SymbolListIsSorted) {
    std::ifstream in(ISAM_SOURCE_DIR "/tests/project/exported_symbols.txt");
    std::string before, line;
    while (std::getline(in, line)) {
        EXPECT_LT(before, line);
        before = line;
    }
}

TEST(SharedObject, IsVersionOne) { EXPECT_EQ(dynamicEntries("SONAME"), std::set<std::string>{"libisam.so.1"}); }

TEST(SharedObject, NeedsTheCLibraryAlone) {
    std::set<std::string> needed = dynamicEntries("NEEDED");
    // The sanitizers' run-time library brings in more, but not the C++ library.
    if (std::string(ISAM_C_COMPILE).find("-fsanitize") != std::string::npos)
        for (const char *extra : {"libm.so.6", "libgcc_s.so.1", "libresolv.so.2", "libpthread.so.0", "libdl.so.2"})
            needed.erase(extra);
    EXPECT_EQ(needed, std::set<std::string>{"libc.so.6"});
}

TEST(SharedObject, NamesNoSearchPath) {
    EXPECT_TRUE(dynamicEntries("RPATH").empty());
    EXPECT_TRUE(dynamicEntries("RUNPATH").empty());
}
