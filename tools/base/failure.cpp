#include "base/failure.h"

#include <cerrno>
#include <cstring>
#include <isam.h>

namespace tool {

namespace {

constexpr int kFileBits = 0x0f;
constexpr int kCallBits = 0xf0;
constexpr int kReading = 0x40;

const char *callInWords(int io) {
    switch (io & kCallBits) {
    case 0x10: return "opening";
    case 0x20: return "making";
    case 0x30: return "seeking in";
    case kReading: return "reading";
    case 0x50: return "writing";
    case 0x60: return "locking";
    default: return nullptr;
    }
}

const char *fileInWords(int io) {
    switch (io & kFileBits) {
    case 1: return "the index file";
    case 2: return "the data file";
    case 3: return "the audit trail";
    default: return nullptr;
    }
}

}  // namespace

std::string lastError() {
    const int code = iserrno;
    if (code >= ISERR_FIRST && code <= ISERR_LAST) {
        return std::string(is_errlist[code - ISERR_FIRST]) + " (" + std::to_string(code) + ")";
    }
    std::string words;
    const char *call = callInWords(iserrio);
    const char *file = fileInWords(iserrio);
    if (call != nullptr && file != nullptr) words = std::string(call) + " " + file + ": ";
    // The library calls it so where a file ends before what is to be read.
    const bool may_be_short = code == EIO && (iserrio & kCallBits) == kReading;
    return words + std::strerror(code) + (may_be_short ? ", or the file is cut off" : "");
}

void failCall(const std::string &subject, const std::string &what) {
    const bool held = iserrno == ISERR_FILEINUSE || iserrno == ISERR_LOCKED;
    throw Failure(subject + ": " + what + ": " + lastError() +
                  (held ? "; 'isam locks " + subject + "' tells by whom" : ""));
}

void failSystem(const std::string &subject, const std::string &what) {
    const int code = errno;
    throw Failure(subject + ": " + what + ": " + std::strerror(code));
}

}  // namespace tool
