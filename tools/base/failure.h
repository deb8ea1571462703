// What ends a command before its work is done: a text for the user. Commands throw it; main prints it and exits with 2.
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Why the last call of the library failed, in words: "no such record", "opening the index file: No such file or
// directory".
std::string lastError();

// Throws "SUBJECT: WHAT: " and the last call's reason; where somebody else holds the subject, a file, also how to find
// out who.
[[noreturn]] void failCall(const std::string &subject, const std::string &what);

// Throws "SUBJECT: WHAT: " and the system's reason in errno.
[[noreturn]] void failSystem(const std::string &subject, const std::string &what);

}  // namespace tool
