// Raising a failure, and the fatal stop.
//
// isFail only records the failure and jumps; what a failed change leaves
// behind is cleaned up where the jump lands (frame/isentry).
#pragma once

#include "base/isfile.h"

// Abandons the operation in progress: code becomes the handle's errcode and the
// system errno, io its errio, and control goes to the handle's recovery point.
// Without an operation in progress: fatal stop "isam crash [errcode/errio]".
[[noreturn]] void isFail(IsamFile *h, int code, int io = 0);

// Formats a message of at most 255 characters, shows it through the callback
// installed by isFatal or on the standard output, and ends the process with
// status 1.
[[noreturn]] void is_fatal(const char *format, ...) __attribute__((format(printf, 1, 2)));

// is_fatal with "fatal isam error MODULE(LINE)": a broken invariant.
[[noreturn]] void isBroken(const char *module, int line);

// Installs the fatal-stop callback; null restores the default.
void isFatal(void (*handler)(char *message));
