#include "base/open_file.h"

#include "base/failure.h"
#include "base/place.h"

#include <cerrno>
#include <filesystem>
#include <utility>

namespace tool {

namespace {

constexpr unsigned kVariableBit = 0x8000;
constexpr int kMadeIndex = 0x21;  // iserrio where the index file could not be made

bool isThere(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

bool isFile(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

}  // namespace

std::string basePath(const std::string &typed) {
    const auto isSet = [](const std::string &base) {
        return isFile(base + ".idx") || isFile(base + ".dat");
    };
    for (const char *extension : {".idx", ".dat"}) {
        const std::string_view end = extension;
        if (!typed.ends_with(end)) continue;
        std::string base = typed.substr(0, typed.size() - end.size());
        const bool named = !base.empty() && !base.ends_with('/');
        return named && (isSet(base) || !isSet(typed)) ? base : typed;
    }
    return typed;
}

OpenFile OpenFile::forReading(const std::string &name) {
    const int fd = isopen(name.c_str(), ISINPUT | ISLOCKMANUAL | ISVARAUTO);
    if (fd >= 0) return {fd, name};
    // Locks are for those who may write the file.
    if (iserrno != EACCES && iserrno != EROFS) failCall(name, "cannot be opened");
    return withoutLocks(name);
}

OpenFile OpenFile::withoutLocks(const std::string &name) {
    const int code = iserrno, io = iserrio;
    const int fd = isopen(name.c_str(), ISINPUT | ISLOCKNONE | ISVARAUTO);
    if (fd < 0) {
        iserrno = code;
        iserrio = io;
        failCall(name, "cannot be opened");
    }
    OpenFile file(fd, name);
    if (othersHave(name))
        throw Failure(name + ": others have it open, and who may not write it gets no locks to read it beside them");
    return file;
}

OpenFile OpenFile::forChanging(const std::string &name) { return open(name, ISINOUT | ISLOCKMANUAL); }

OpenFile OpenFile::alone(const std::string &name) { return open(name, ISINOUT | ISLOCKEXCL); }

OpenFile OpenFile::built(const std::string &name, int minimum, int maximum, KeyDesc first, int mode) {
    const std::string index = linkedPlace(name) + ".idx", data = linkedPlace(name) + ".dat";
    const bool index_was_there = isThere(index), data_was_there = isThere(data);
    const int fd = isvbuild(name.c_str(), minimum, maximum, &first, mode);
    if (fd < 0) {
        // What the call made before it failed stays on disk. What somebody else has made meanwhile is told by EEXIST.
        const int code = iserrno, io = iserrio;
        std::error_code ignored;
        if (!index_was_there && !(code == EEXIST && io == kMadeIndex)) std::filesystem::remove(index, ignored);
        if (!data_was_there && code != EEXIST) std::filesystem::remove(data, ignored);
        iserrno = code;
        iserrio = io;
        failCall(name, "cannot be made");
    }
    try {
        return {fd, name};
    } catch (const Failure &) {
        iserase(name.c_str());
        throw;
    }
}

OpenFile OpenFile::open(const std::string &name, int mode) {
    const int fd = isopen(name.c_str(), mode | ISVARAUTO);
    if (fd < 0) failCall(name, "cannot be opened");
    return {fd, name};
}

OpenFile::OpenFile(int fd, std::string name) : fd_(fd), name_(std::move(name)) {
    try {
        learn();
    } catch (const Failure &) {
        const int code = iserrno, io = iserrio;
        isclose(fd_);
        iserrno = code;
        iserrio = io;
        throw;
    }
}

OpenFile::OpenFile(OpenFile &&other) noexcept
    : fd_(std::exchange(other.fd_, -1)), name_(std::move(other.name_)), variable_(other.variable_),
      minimum_(other.minimum_), maximum_(other.maximum_) {}

OpenFile &OpenFile::operator=(OpenFile &&other) noexcept {
    if (this == &other) return *this;
    if (fd_ >= 0) isclose(fd_);
    fd_ = std::exchange(other.fd_, -1);
    name_ = std::move(other.name_);
    variable_ = other.variable_;
    minimum_ = other.minimum_;
    maximum_ = other.maximum_;
    return *this;
}

OpenFile::~OpenFile() {
    if (fd_ >= 0) isclose(fd_);
}

void OpenFile::close() {
    if (isclose(std::exchange(fd_, -1)) != 0) failCall(name_, "cannot be closed");
}

void OpenFile::learn() {
    DictInfo info;
    if (isisaminfo(fd_, &info) != 0) failCall(name_, "cannot be read");
    variable_ = (info.keyCount & kVariableBit) != 0;
    maximum_ = info.recordLength;
    minimum_ = variable_ ? isreclen : maximum_;
}

bool OpenFile::hasMode(int bit) const {
    int mode = 0;
    return isgetmode(fd_, &mode) == 0 && (mode & bit) != 0;
}

bool OpenFile::hasMasks() const { return hasMode(ISMASK); }

bool OpenFile::compressesTails() const { return hasMode(ISCOMPRESS); }

long OpenFile::recordCount() const {
    DictInfo info;
    if (isisaminfo(fd_, &info) != 0) failCall(name_, "cannot be read");
    return info.recordCount;
}

// Record-number order counts as an index where it takes the place of a primary key, but has no description.
bool OpenFile::hasPrimaryKey() const {
    DictInfo info;
    if (isisaminfo(fd_, &info) != 0) failCall(name_, "cannot be read");
    return indexes().size() == (info.keyCount & ~kVariableBit);
}

std::vector<KeyDesc> OpenFile::indexes() const {
    std::vector<KeyDesc> descriptions;
    KeyDesc description;
    while (isindexinfo(fd_, &description, static_cast<int>(descriptions.size()) + 1) == 0)
        descriptions.push_back(description);
    if (iserrno != ISERR_ARGUMENT) failCall(name_, "cannot be read");
    return descriptions;
}

}  // namespace tool
