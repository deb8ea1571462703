#include "archive/unchanged.h"

namespace tool {

QuickReader::QuickReader(const OpenFile &file) : file_(file) {
    const int fd = isopen(file.name().c_str(), ISINPUT | ISLOCKNONE | ISVARAUTO | ISMAPPED);
    if (fd >= 0) own_ = std::make_unique<OpenFile>(fd, file.name());
}

// The call waits for a change that is being made.
std::uint32_t settledCounter(const OpenFile &file) {
    static_cast<void>(file.recordCount());
    return changeCounter(file);
}

}  // namespace tool
