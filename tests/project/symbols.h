// The names that the library gives to its users, from each place that has them.
#ifndef TESTS_PROJECT_SYMBOLS_H
#define TESTS_PROJECT_SYMBOLS_H

#include <map>
#include <set>
#include <string>
#include <vector>

// What the shared object exports: the letter that nm gives to it is T for a function, the version begins with "@@".
struct ExportedSymbol {
    std::string name;
    char kind;
    std::string version;
};

std::vector<ExportedSymbol> exportedList();
std::map<std::string, char> exportedKinds();
std::set<std::string> exportedSymbols();

// The names in exported_symbols.txt, one a line.
std::set<std::string> listedSymbols();

// What a public header declares.
std::set<std::string> declaredSymbols(const std::string &header);

// Every name of one set must be in the other.
void expectSame(const std::set<std::string> &expected, const std::set<std::string> &actual);

#endif
