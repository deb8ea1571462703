#include "base/out_file.h"

#include "base/failure.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tool {

namespace {

namespace fs = std::filesystem;

}  // namespace

NewOutput::NewOutput(const std::string &path) : path_(path), target_(path), work_(path) {
    struct stat status;
    const bool there = stat(path.c_str(), &status) == 0;
    if (there && !S_ISREG(status.st_mode)) return;
    std::error_code error;
    if (there) target_ = fs::canonical(path, error).string();
    // Who may not write it may not put another in its place either.
    if (there && access(path.c_str(), W_OK) != 0) failSystem(path_, "cannot be made");
    const std::string beside = target_ + ".being-written";
    const int fd = error ? -1 : open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd >= 0) {
        if (there) static_cast<void>(fchmod(fd, status.st_mode & 07777));
        ::close(fd);
        work_ = beside;
        return;
    }
    if (!there) failSystem(path_, "cannot be made");
    // The directory takes no new file: it is written over where it is.
    work_ = target_ = path_;
}

NewOutput::~NewOutput() {
    if (!kept_ && work_ != target_) std::remove(work_.c_str());
}

void NewOutput::keep() {
    if (work_ != target_ && std::rename(work_.c_str(), target_.c_str()) != 0) failSystem(path_, "cannot be made");
    kept_ = true;
}

OutFile::OutFile(const std::string &path) : path_(path == "-" ? std::string() : path), file_(stdout) {
    if (path_.empty()) return;
    made_.emplace(path_);
    file_ = std::fopen(made_->work().c_str(), "wb");
    if (file_ == nullptr) failSystem(path_, "cannot be made");
}

OutFile::~OutFile() {
    if (!path_.empty() && file_ != nullptr) std::fclose(file_);
}

void OutFile::close() {
    if (path_.empty()) return;
    const bool failed = std::ferror(file_) != 0;
    if (std::fclose(std::exchange(file_, nullptr)) != 0 || failed) failSystem(path_, "cannot be written");
    made_->keep();
}

}  // namespace tool
