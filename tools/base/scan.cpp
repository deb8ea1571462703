#include "base/scan.h"

#include "base/failure.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t kMostStart = 32767;

}  // namespace

std::size_t recordRoom(const OpenFile &file) {
    return file.hasRecords() ? static_cast<std::size_t>(file.maximumLength()) : kMostStart + ISMAXKEYLEN;
}

Scan::Scan(const OpenFile &file, int index) : file_(file), buffer_(recordRoom(file)) {
    if (isindex(file.fd(), index, 0) != 0) failCall(file.name(), "cannot be read");
}

bool Scan::next() {
    if (isread(file_.fd(), buffer_.data(), mode_) != 0) {
        if (iserrno == ISERR_ENDOFFILE) return false;
        failCall(file_.name(), "cannot be read");
    }
    mode_ = ISNEXT;
    number_ = static_cast<std::uint32_t>(isrecnum);
    length_ = file_.variableLength() ? isreclen : file_.maximumLength();
    return true;
}

}  // namespace tool
