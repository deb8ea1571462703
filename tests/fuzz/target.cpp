// The target for libFuzzer and AFL++.
#include "execution.h"

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int LLVMFuzzerInitialize(int *, char ***) {
    std::atexit(fuzz::printTotals);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::execute(fuzz::decode(data, size));
    return 0;
}
