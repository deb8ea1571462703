// Runs an input, and judges every call: what it may fail with, what it may take, what it must give back.
#ifndef TESTS_FUZZ_EXECUTION_H
#define TESTS_FUZZ_EXECUTION_H

#include "input.h"

namespace fuzz {

void execute(const Input &input);

// Prints what all executions so far came to.
void printTotals();

}  // namespace fuzz

#endif
