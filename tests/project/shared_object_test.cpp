// The shared object as the dynamic linker sees it.
#include "project/program_output.h"
#include "project/symbols.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

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

}  // namespace

TEST(SharedObject, ExportsTheListedSymbolsAlone) { expectSame(listedSymbols(), exportedSymbols()); }

TEST(SharedObject, EverySymbolHasTheVersionThatItCameWith) {
    EXPECT_GT(exportedList().size(), 100U);
    for (const ExportedSymbol &symbol : exportedList())
        EXPECT_EQ(symbol.version, "@@ISAM_1.0") << symbol.name;
}

TEST(SharedObject, SymbolListIsWhatTheHeadersDeclare) {
    std::set<std::string> declared = declaredSymbols("isam.h");
    EXPECT_GT(declared.size(), 80U);
    for (const std::string &name : declaredSymbols("isam_maint.h"))
        EXPECT_TRUE(declared.insert(name).second) << name << " is declared by both headers";
    expectSame(declared, listedSymbols());
}

TEST(SharedObject, MaintenanceToolsFindTheirCallsInTheirHeader) {
    expectSame({"isAdmItoD", "isErrno", "isErrio", "isRecnum", "isReclen", "isRebuildFree", "isRebuildIdx"},
               declaredSymbols("isam_maint.h"));
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
