#include "base/issystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "base/ismap.h"

namespace {

constexpr const char *kModule = "issystem";
constexpr int kPermissions = 0666;
constexpr int kFirstDescriptor = 3;  // 0, 1 and 2 are the standard streams'
constexpr int kRetriedErrno = 58;    // retried like EINTR; unused here

const char *extension(int kind) {
    switch (kind) {
    case ISKIND_INDEX: return ".idx";
    case ISKIND_DATA: return ".dat";
    case ISKIND_LKI: return ".lki";
    case ISKIND_LCK: return ".lck";
    default: return "";
    }
}

// Appends suffix to the name in out, or copies name first when it is given.
int compose(char *out, const char *name, const char *suffix) {
    const std::size_t stem = std::strlen(name), tail = std::strlen(suffix);
    if (stem + tail + 1 > kPathSize) {
        errno = ISERR_NAMETOOLONG;
        return 0;
    }
    std::memmove(out, name, stem + 1);
    std::memcpy(out + stem, suffix, tail + 1);
    return 1;
}

// A standard stream that the application has closed must not become one of our
// files: anything printed there would land in the records.
int liftDescriptor(int fd) {
    if (fd < 0 || fd >= kFirstDescriptor) return fd;
    const int lifted = fcntl(fd, F_DUPFD_CLOEXEC, kFirstDescriptor);
    const int error = errno;
    close(fd);
    errno = error;
    return lifted;
}

int openPath(const char *path, int flags) {
    int fd;
    do
        fd = open(path, flags | O_CLOEXEC, kPermissions);
    while (fd < 0 && errno == EINTR);
    return liftDescriptor(fd);
}

// Lifting closes a descriptor, and with it goes every lock that the process has on
// that file. An index or data file, which may be open already, is therefore opened
// with the standard streams' places taken.
class StandardStreams {
  public:
    void take() {
        for (int fd = 0; fd < kFirstDescriptor; ++fd)
            taken_[fd] = fcntl(fd, F_GETFD, 0) < 0 && open("/", O_PATH | O_CLOEXEC, 0) == fd;
    }
    void giveBack() const {
        const int error = errno;
        for (int fd = 0; fd < kFirstDescriptor; ++fd)
            if (taken_[fd]) close(fd);
        errno = error;
    }

  private:
    bool taken_[kFirstDescriptor] = {};
};

// The system is at its limits or broken, which says nothing about the file.
bool isOutOfMeans(int error) { return error == EMFILE || error == ENFILE || error == ENOMEM || error == EIO; }

// Tells without a descriptor; errno stays unless that fails.
bool isMissing(const char *path) {
    const int error = errno;
    struct stat status;
    if (stat(path, &status) == 0) {
        errno = error;
        return false;
    }
    return errno == ENOENT;
}

int openKind(IsamFile *h, int kind, const char *name, int flags, int io) {
    char path[kPathSize];
    if (!makename(path, name, kind)) {
        if (h != nullptr) isFail(h, errno, errno < ISERR_DUPLICATE ? io + kind : 0);
        return -1;
    }
    if (h == nullptr) return openPath(path, flags);
    if ((h->mode & ISSYNCWR) != 0) flags |= O_SYNC;
    StandardStreams streams;
    streams.take();
    const int fd = openPath(path, flags);
    streams.giveBack();
    if (fd < 0) isFail(h, errno, io + kind);
    storefd(h, fd, kind);
    return 1;
}

// Shared end of both transfers: 1 when all bytes moved. A short transfer sets no
// errno; what an earlier call left there would mislead.
int finishTransfer(IsamFile *h, int kind, std::int64_t moved, int length, int io) {
    if (moved == length) return 1;
    if (h == nullptr) return 0;
    isFail(h, moved < 0 ? errno : EIO, io + kind);
}

// Transfers all of it, the rest in further calls where one was cut short. Returns the
// bytes that moved, up to the end of a file, or -1 when even less did.
template <typename Once> std::int64_t transfer(int length, std::int64_t offset, Once &&once) {
    std::int64_t done = 0;
    while (done < length) {
        const ssize_t moved = once(static_cast<std::size_t>(done), static_cast<off_t>(offset + done));
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) return -1;
        if (moved == 0) break;
        done += moved;
    }
    return done;
}

std::int64_t readAll(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    const int fd = loadfd(h, kind);
    return transfer(length, offset, [=](std::size_t done, off_t at) {
        auto *place = static_cast<char *>(buffer) + done;
        const std::size_t rest = static_cast<std::size_t>(length) - done;
        return offset == -1 ? read(fd, place, rest) : pread(fd, place, rest, at);
    });
}

void kindName(IsamFile *h, char *path, const char *name, int kind) {
    if (!makename(path, name, kind)) isFail(h, errno, errno < ISERR_DUPLICATE ? ISIO_NAME + kind : 0);
}

FileIdentity identityOf(const struct stat &status) {
    return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
}

}  // namespace

int testlink(char *out, const char *name) {
    char path[kPathSize];
    if (!compose(path, name, ".lnk")) return compose(out, name, "");
    const int fd = openPath(path, O_RDONLY);
    if (fd < 0) return isOutOfMeans(errno) && !isMissing(path) ? 0 : compose(out, name, "");
    ssize_t length;
    do
        length = read(fd, out, kPathSize - 2);
    while (length < 0 && errno == EINTR);
    const int error = length < 0 ? errno : 0;
    close(fd);
    if (isOutOfMeans(error)) {
        errno = error;
        return 0;
    }
    if (length <= 0) return compose(out, name, "");
    // The line ends with its newline, or is cut off after 254 characters; that
    // last character is dropped.
    const void *newline = std::memchr(out, '\n', static_cast<std::size_t>(length));
    const std::size_t stem = newline != nullptr ? static_cast<std::size_t>(static_cast<const char *>(newline) - out)
                                                : static_cast<std::size_t>(length) - 1;
    out[stem] = '\0';
    return 1;
}

int makename(char *out, const char *name, int kind) {
    return testlink(out, name) && compose(out, out, extension(kind));
}

int is_create(IsamFile *h, int kind, const char *name) {
    int flags = O_RDWR | O_CREAT;
    if (kind == ISKIND_INDEX || kind == ISKIND_DATA) flags |= O_EXCL;
    if (kind == ISKIND_AUDIT || kind == ISKIND_LOG) flags |= O_APPEND;
    return openKind(h, kind, name, flags, ISIO_CREATE);
}

int is_open(IsamFile *h, int kind, const char *name) {
    const bool readOnly = h != nullptr && (h->mode & ISLOCKNONE) != 0;
    return openKind(h, kind, name, readOnly ? O_RDONLY : O_RDWR, ISIO_OPEN);
}

int is_close(IsamFile *h, int kind) {
    const int fd = loadfd(h, kind);
    if (fd < 1) return 1;
    close(fd);
    if (h != nullptr) storefd(h, -1, kind);
    return 1;
}

int is_read(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    if (isMapRead(h, kind, buffer, length, offset)) return 1;
    return finishTransfer(h, kind, readAll(h, kind, buffer, length, offset), length, ISIO_READ);
}

int is_read_within(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    if (isMapRead(h, kind, buffer, length, offset)) return 1;
    const std::int64_t moved = readAll(h, kind, buffer, length, offset);
    if (moved >= 0 && moved < length) return 0;
    return finishTransfer(h, kind, moved, length, ISIO_READ);
}

std::int64_t is_read_some(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    const int error = errno;
    ssize_t moved;
    do
        moved = pread(loadfd(h, kind), buffer, static_cast<std::size_t>(length), static_cast<off_t>(offset));
    while (moved < 0 && errno == EINTR);
    errno = error;
    return moved;
}

int is_write(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset) {
    return isMapWrite(h, kind, buffer, length, offset) ? 1 : is_write_whole(h, kind, buffer, length, offset);
}

int is_write_whole(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset) {
    const int fd = loadfd(h, kind);
    const std::int64_t moved = transfer(length, offset, [=](std::size_t done, off_t at) {
        const auto *place = static_cast<const char *>(buffer) + done;
        const std::size_t rest = static_cast<std::size_t>(length) - done;
        return offset == -1 ? write(fd, place, rest) : pwrite(fd, place, rest, at);
    });
    return finishTransfer(h, kind, moved, length, ISIO_WRITE);
}

int is_append(IsamFile *h, int kind, const void *buffer, int length) {
    const int fd = loadfd(h, kind);
    std::int64_t written = 0;
    const std::int64_t moved = transfer(length, 0, [=, &written](std::size_t done, off_t) {
        written = static_cast<std::int64_t>(done);
        return write(fd, static_cast<const char *>(buffer) + done, static_cast<std::size_t>(length) - done);
    });
    if (moved != length && written > 0) {
        // Unless somebody has appended since.
        const int error = errno;
        const off_t end = lseek(fd, 0, SEEK_CUR);
        if (end == lseek(fd, 0, SEEK_END)) is_truncate(h, kind, end - written);
        errno = error;
    }
    return finishTransfer(h, kind, moved, length, ISIO_WRITE);
}

int is_truncate(IsamFile *h, int kind, std::int64_t length) {
    isMapForget(h);
    return ftruncate(loadfd(h, kind), static_cast<off_t>(length)) == 0 ? 1 : 0;
}

std::int64_t is_size(IsamFile *h, int kind) {
    const off_t size = lseek(loadfd(h, kind), 0, SEEK_END);
    if (size < 0 && h != nullptr) isFail(h, errno, ISIO_SEEK + kind);
    isMapSized(h, kind, size);
    return size;
}

FileIdentity is_identity(IsamFile *h, int kind) {
    struct stat status;
    if (fstat(loadfd(h, kind), &status) != 0) isFail(h, errno, ISIO_OPEN + kind);
    return identityOf(status);
}

FileIdentity is_named(IsamFile *h, int kind, const char *name) {
    char path[kPathSize];
    struct stat status;
    kindName(h, path, name, kind);
    if (stat(path, &status) == 0) return identityOf(status);
    if (errno != ENOENT) isFail(h, errno, ISIO_NAME + kind);
    return {};
}

bool is_current(IsamFile *h, int kind, const char *name) {
    return is_named(h, kind, name) == (kind == ISKIND_INDEX ? h->indexFile : h->dataFile);
}

int is_unlink(IsamFile *h, int kind, const char *name) {
    char path[kPathSize];
    kindName(h, path, name, kind);
    if (unlink(path) != 0) isFail(h, errno, ISIO_NAME + kind);
    return 1;
}

int is_link(IsamFile *h, int kind, const char *from, const char *to) {
    char fromPath[kPathSize], toPath[kPathSize];
    kindName(h, fromPath, from, kind);
    kindName(h, toPath, to, kind);
    if (link(fromPath, toPath) != 0) isFail(h, errno, ISIO_NAME + kind);
    return 1;
}

int is_lock(IsamFile *h, int kind, std::int64_t start, std::int64_t length, int type) {
    const int fd = loadfd(h, kind);
    if (type == ISLT_UNLOCK && fd < 0) return 1;

    int command = F_SETLK;
    struct flock request;
    std::memset(&request, 0, sizeof request);
    request.l_whence = SEEK_SET;
    request.l_start = static_cast<off_t>(start);
    request.l_len = static_cast<off_t>(length);
    switch (type) {
    case ISLT_UNLOCK: request.l_type = F_UNLCK; break;
    case ISLT_WRITEWAIT: command = F_SETLKW; [[fallthrough]];
    case ISLT_WRITE: request.l_type = F_WRLCK; break;
    case ISLT_READWAIT: command = F_SETLKW; [[fallthrough]];
    case ISLT_READ: request.l_type = F_RDLCK; break;
    default: isBroken(kModule, __LINE__);
    }

    while (fcntl(fd, command, &request) != 0) {
        if (errno == EINTR || errno == kRetriedErrno) continue;
        // Systems differ in how they say "held by another process".
        if (errno == EACCES || errno == EAGAIN) return 0;
        if (h == nullptr) return 0;
        isFail(h, errno, ISIO_LOCK + kind);
    }
    return 1;
}

long is_getpid(IsamFile *) { return getpid(); }

long is_getuid(IsamFile *) { return static_cast<long>(getuid() & 0xffff); }

void storefd(IsamFile *h, int descriptor, int kind) {
    switch (kind) {
    case ISKIND_INDEX: h->indexFd = descriptor; break;
    case ISKIND_DATA: h->dataFd = descriptor; break;
    case ISKIND_AUDIT: h->auditFd = descriptor; break;
    default: isBroken(kModule, __LINE__);
    }
}

int loadfd(IsamFile *h, int kind) {
    if (h == nullptr) return kind;
    switch (kind) {
    case ISKIND_INDEX: return h->indexFd;
    case ISKIND_DATA: return h->dataFd;
    case ISKIND_AUDIT: return h->auditFd;
    default: isBroken(kModule, __LINE__);
    }
}
