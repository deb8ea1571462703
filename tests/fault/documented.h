// The errors that isam.h documents.
#pragma once

#include "journal.h"

#include "shim/system_calls.h"

#include <string>

namespace fault_testing {

// May the call fail so? Codes of its own list, and 105, which any call may report.
bool isDocumented(const Event &event);

// Does iserrio tell of such a system call?
bool namesCall(const Event &event, shim::Call call);

// Checks answer with bits, and tell no error.
bool isCheck(const std::string &call);

}  // namespace fault_testing
