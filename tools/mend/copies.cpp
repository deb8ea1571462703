#include "mend/copies.h"

#include "base/failure.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPiece = std::size_t{1} << 20U;

std::vector<std::string> filesOf(const FileView &view) {
    std::vector<std::string> files;
    if (view.hasIndex()) files.push_back(view.indexPath());
    if (view.hasData()) files.push_back(view.dataPath());
    return files;
}

bool isWritten(int fd, const char *bytes, std::size_t count) {
    while (count != 0) {
        const ssize_t put = write(fd, bytes, count);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return false;
        bytes += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

bool isCopied(int from, int to) {
    std::vector<char> piece(kPiece);
    for (;;) {
        const ssize_t got = read(from, piece.data(), piece.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got == 0;
        if (!isWritten(to, piece.data(), static_cast<std::size_t>(got))) return false;
    }
}

// With its permissions; errno tells why not.
bool isCopied(const std::string &from, const std::string &to) {
    const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    struct stat status = {};
    const bool known = fstat(in, &status) == 0;
    const int out = known ? open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600) : -1;
    bool copied = out >= 0 && isCopied(in, out) && fchmod(out, status.st_mode & 07777) == 0;
    const int code = errno;
    close(in);
    if (out >= 0 && close(out) != 0) return false;
    errno = code;
    return copied;
}

void sync(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) failSystem(path, "cannot be opened");
    const bool done = fsync(fd) == 0;
    const int code = errno;
    close(fd);
    errno = code;
    if (!done) failSystem(path, "cannot be written to the disk");
}

}  // namespace

std::vector<std::string> namesOfCopies(const FileView &view) {
    const std::vector<std::string> files = filesOf(view);
    for (int number = 1;; ++number) {
        const std::string suffix = ".before-repair" + (number == 1 ? "" : "-" + std::to_string(number));
        std::vector<std::string> names;
        bool taken = false;
        for (const std::string &file : files) {
            names.push_back(file + suffix);
            taken = taken || fs::exists(fs::symlink_status(names.back()));
        }
        if (!taken) return names;
    }
}

std::vector<std::string> keepCopies(const FileView &view) {
    const std::vector<std::string> names = namesOfCopies(view);
    const std::vector<std::string> files = filesOf(view);
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!isCopied(files[i], names[i])) {
            const int code = errno;
            for (std::size_t made = 0; made <= i; ++made)
                std::remove(names[made].c_str());
            errno = code;
            failSystem(names[i], "the copy cannot be made");
        }
        sync(names[i]);
    }
    return names;
}

void putInPlace(const std::string &from, const FileView &old, bool with_data) {
    // The index file comes last: until then the library refuses the pair, or its checks tell.
    for (const bool data : {true, false}) {
        if (data && !with_data) continue;
        const std::string made = from + (data ? ".dat" : ".idx");
        const std::string target = data ? old.dataPath() : old.indexPath();
        const std::string &model = fs::exists(target) ? target : old.hasData() ? old.dataPath() : old.indexPath();
        struct stat status;
        if (stat(model.c_str(), &status) == 0) {
            // Only the superuser may give files away; for anybody else they stay his own.
            if (chown(made.c_str(), status.st_uid, status.st_gid) != 0 && errno != EPERM)
                failSystem(made, "cannot be given to the owner of " + model);
            if (chmod(made.c_str(), status.st_mode & 07777) != 0) failSystem(made, "cannot be given its permissions");
        }
        sync(made);
        if (std::rename(made.c_str(), target.c_str()) != 0) failSystem(target, "cannot be replaced");
    }
    const fs::path directory = fs::path(old.place()).parent_path();
    sync(directory.empty() ? "." : directory.string());
}

void removeSet(const std::string &place) {
    std::remove((place + ".idx").c_str());
    std::remove((place + ".dat").c_str());
}

}  // namespace tool
