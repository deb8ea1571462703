// The dialects of C and C++ that the public headers serve, and programs compiled in them.
#ifndef TESTS_PROJECT_DIALECTS_H
#define TESTS_PROJECT_DIALECTS_H

#include <iosfwd>
#include <string>

struct Dialect {
    const char *name;
    bool cpp;
    const char *standard;
};

void PrintTo(const Dialect &dialect, std::ostream *out);

constexpr Dialect kDialects[] = {
    {"C89", false, "c89"},     {"C99", false, "c99"},         {"C11", false, "c11"},    {"C17", false, "c17"},
    {"C2x", false, "c2x"},     {"Cpp98", true, "c++98"},      {"Cpp11", true, "c++11"}, {"Cpp14", true, "c++14"},
    {"Cpp17", true, "c++17"},  {"Cpp20", true, "c++20"},      {"Cpp23", true, "c++2b"}, {"Gnu89", false, "gnu89"},
    {"Gnu17", false, "gnu17"}, {"GnuCpp20", true, "gnu++20"},
};

// Compiles a source and links it with the library; the program's exit status is the result. It is given the base
// path of a file set that is not there.
int buildAndRun(const std::string &compile, const std::string &source_name, const std::string &source,
                const std::string &library);

// The same in a dialect, all warnings being errors, with the static library.
int buildAndRunIn(const Dialect &dialect, const std::string &source);

// What the compiler says of a source in that dialect; nothing where it finds no fault.
std::string complaintsIn(const Dialect &dialect, const std::string &source);

#endif
