#include "project/symbols.h"

#include "project/program_output.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

std::vector<ExportedSymbol> exportedList() {
    // Columns: value, kind, name@@version; a version itself is of the kind A.
    const ProgramOutput output = runProgram("nm -D --defined-only --with-symbol-versions '" ISAM_SHARED_LIBRARY "'");
    EXPECT_EQ(output.status, 0) << output.text;
    std::vector<ExportedSymbol> symbols;
    std::istringstream in(output.text);
    std::string value, kind, name;
    while (in >> value >> kind >> name) {
        const std::size_t end = name.find('@');
        if (kind != "A")
            symbols.push_back({name.substr(0, end), kind.front(), end == std::string::npos ? "" : name.substr(end)});
    }
    return symbols;
}

std::map<std::string, char> exportedKinds() {
    std::map<std::string, char> kinds;
    for (const ExportedSymbol &symbol : exportedList())
        kinds[symbol.name] = symbol.kind;
    return kinds;
}

std::set<std::string> exportedSymbols() {
    std::set<std::string> names;
    for (const auto &[name, kind] : exportedKinds())
        names.insert(name);
    return names;
}

std::set<std::string> listedSymbols() {
    std::ifstream in(ISAM_SOURCE_DIR "/tests/project/exported_symbols.txt");
    EXPECT_TRUE(in.is_open());
    std::set<std::string> names;
    std::string line;
    while (std::getline(in, line))
        if (!line.empty()) names.insert(line);
    return names;
}

std::set<std::string> declaredSymbols(const std::string &header) {
    // Every declaration starts with ISAM_API or extern ISAM_API at the beginning of a line; the name stands before
    // the first "(", "[" or ";" that follows a word.
    std::ifstream in(ISAM_SOURCE_DIR "/include/" + header);
    EXPECT_TRUE(in.is_open()) << header;
    std::set<std::string> names;
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("ISAM_API ", 0) != 0 && line.rfind("extern ISAM_API ", 0) != 0) continue;
        const std::size_t end = line.find_first_of("([;");
        if (end == std::string::npos) {
            ADD_FAILURE() << line;
            continue;
        }
        const std::size_t start = line.find_last_of(" *", end - 1) + 1;
        names.insert(line.substr(start, end - start));
    }
    return names;
}

void expectSame(const std::set<std::string> &expected, const std::set<std::string> &actual) {
    for (const std::string &name : expected)
        EXPECT_EQ(actual.count(name), 1U) << name << " is missing";
    for (const std::string &name : actual)
        EXPECT_EQ(expected.count(name), 1U) << name << " is too much";
}
