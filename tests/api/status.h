// isstat1 and isstat2, as the interface's table has them.
#ifndef TESTS_API_STATUS_H
#define TESTS_API_STATUS_H

#include "isam.h"

#include <map>
#include <string>

namespace api {

// The two characters as they are now.
inline std::string status() { return {isstat1, isstat2}; }

// The table in isam.h: what stands for a code.
const std::map<int, std::string> &statusTable();

// What stands for any value of iserrno, but for equal keys.
std::string statusOf(int error);

}  // namespace api

#endif
