#include "base/out_file.h"

#include "base/failure.h"

#include <utility>

namespace tool {

OutFile::OutFile(const std::string &path) : path_(path == "-" ? std::string() : path), file_(stdout) {
    if (path_.empty()) return;
    file_ = std::fopen(path_.c_str(), "wb");
    if (file_ == nullptr) failSystem(path_, "cannot be made");
}

OutFile::~OutFile() {
    if (!path_.empty() && file_ != nullptr) std::fclose(file_);
}

void OutFile::close() {
    if (path_.empty()) return;
    const bool failed = std::ferror(file_) != 0;
    if (std::fclose(std::exchange(file_, nullptr)) != 0 || failed) failSystem(path_, "cannot be written");
}

}  // namespace tool
