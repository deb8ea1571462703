// A file set of its own for tests that look inside the library: built through
// the interface, worked on through its handle.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/isfile.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "isam.h"
#include "keys/ispathdef.h"
#include "storage/isfree.h"
#include "support/temp_dir.h"
#include "tree/ispath.h"

namespace unit {

inline KeyDesc charKey(short length, unsigned short flags = 0, short start = 0) {
    KeyDesc key = {};
    key.flags = flags;
    key.nparts = 1;
    key.parts[0] = {start, length, CHARTYPE};
    return key;
}

class ScratchFile {
  public:
    ScratchFile(int recordLength, KeyDesc key, int mode = ISINOUT)
        : base_(dir_.file("file")), length_(recordLength), fd_(isbuild(base_.c_str(), recordLength, &key, mode)),
          handle_(isAdmItoD(fd_)) {}
    ~ScratchFile() {
        if (isAdmItoD(fd_) == nullptr) return;
        // A test may leave unwritten changes, which would stop the close.
        isPathClear(handle_, ISCLASS_READ);
        isFreeClear(handle_, ISCLASS_READ);
        isclose(fd_);
    }
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;

    int fd() const { return fd_; }
    IsamFile *handle() const { return handle_; }
    IndexPath *path(int i = 0) const { return handle_->indexes[i]; }
    const std::string &base() const { return base_; }

    // Writes text, filled with blanks, as a record; its number, or -1.
    long write(const std::string &text) {
        std::string record = text;
        record.resize(static_cast<std::size_t>(length_), ' ');
        return iswrite(fd_, record.data()) == 0 ? isrecnum : -1;
    }

    // Runs body as a changing operation; its error code, 0 for success.
    template <typename Body> int change(Body body) {
        return isOperation(handle_, ISCLASS_WRITE,
                           [&body] {
                               body();
                               return 1;
                           })
                   ? 0
                   : handle_->errcode;
    }

  private:
    testing_support::TempDir dir_;
    std::string base_;
    int length_;
    int fd_;
    IsamFile *handle_;
};

}  // namespace unit
