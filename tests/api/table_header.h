// The headers' own words on each call: its access mark and the errors that it lists.
#ifndef TESTS_API_TABLE_HEADER_H
#define TESTS_API_TABLE_HEADER_H

#include <set>
#include <string>
#include <vector>

namespace api {

struct Declared {
    std::string name;
    std::string access;        // in brackets there: "read", "write", "any", "read, write", or nothing
    std::set<int> errors;      // codes listed there, the system's ones too
    std::set<std::string> as;  // calls whose errors are its own, too
};

// Every function of a public header, in the order of the header.
std::vector<Declared> declaredIn(const std::string &header);

}  // namespace api

#endif
