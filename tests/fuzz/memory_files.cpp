#include "memory_files.h"

#include "limits.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <memory>

namespace fuzz {

namespace {

struct Node {
    Bytes bytes;
    ino_t number = 0;
};

struct Descriptor {
    std::shared_ptr<Node> node;  // null: the descriptor is free
    off_t at = 0;
    int flags = 0;
};

constexpr int kFirstDescriptor = 3;
constexpr int kDescriptors = 64;

struct Disk {
    std::map<std::string, std::shared_ptr<Node>> names;
    Descriptor open[kDescriptors];
    ino_t lastNumber = 0;
    bool locksRefused = false;
    off_t refusedAt = -1;  // where the last lock was refused
    SystemCalls calls;

    std::shared_ptr<Node> make(const std::string &name) {
        auto node = std::make_shared<Node>();
        node->number = ++lastNumber;
        names[name] = node;
        return node;
    }
    std::size_t used() const {
        std::size_t sum = 0;
        for (const auto &[name, node] : names)
            sum += node->bytes.size();
        return sum;
    }
};

Disk disk;

int fails(int error) {
    disk.calls.errors |= std::uint64_t{1} << error;
    errno = error;
    return -1;
}

void count() {
    if (++disk.calls.count > kMaxSystemCalls) misbehaves("one call makes system calls without end");
}

Descriptor *descriptorOf(int number) {
    const int i = number - kFirstDescriptor;
    return i >= 0 && i < kDescriptors && disk.open[i].node != nullptr ? &disk.open[i] : nullptr;
}

bool writable(const Descriptor &d) { return (d.flags & O_ACCMODE) != O_RDONLY; }

// 0, or why there can be no such name.
int judgeName(const char *path) {
    const std::size_t length = std::strlen(path);
    if (length == 0) return ENOENT;
    if (length >= PATH_MAX) return ENAMETOOLONG;
    const char *const slash = std::strrchr(path, '/');
    if (slash == nullptr) return length > NAME_MAX ? ENAMETOOLONG : 0;
    if (std::strlen(slash + 1) > NAME_MAX) return ENAMETOOLONG;
    if (slash[1] == '\0') return EISDIR;
    return slash == path + 1 && path[0] == 'm' ? 0 : ENOENT;
}

bool setSize(Node &node, std::size_t size) {
    if (size > node.bytes.size() && (size > kDiskSize || disk.used() - node.bytes.size() + size > kDiskSize))
        return false;
    node.bytes.resize(size);
    return true;
}

ssize_t transferIn(const Descriptor &d, void *buffer, std::size_t length, off_t offset) {
    const auto size = static_cast<off_t>(d.node->bytes.size());
    const std::size_t there = offset < size ? static_cast<std::size_t>(size - offset) : 0;
    const std::size_t moved = std::min(length, there);
    if (moved < length) disk.calls.cutShort = true;
    if (moved != 0) std::memcpy(buffer, d.node->bytes.data() + offset, moved);
    return static_cast<ssize_t>(moved);
}

// All or nothing, as far as the disk goes.
ssize_t transferOut(const Descriptor &d, const void *buffer, std::size_t length, off_t offset) {
    if (!writable(d)) return fails(EBADF);
    if (length == 0) return 0;
    if (offset > static_cast<off_t>(kDiskSize)) return fails(ENOSPC);
    const std::size_t end = static_cast<std::size_t>(offset) + length;
    if (end > d.node->bytes.size() && !setSize(*d.node, end)) return fails(ENOSPC);
    std::memcpy(d.node->bytes.data() + offset, buffer, length);
    return static_cast<ssize_t>(length);
}

void describe(const Node &node, struct stat *status) {
    std::memset(status, 0, sizeof *status);
    status->st_dev = 1;
    status->st_ino = node.number;
    status->st_mode = S_IFREG | 0666;
    status->st_size = static_cast<off_t>(node.bytes.size());
}

}  // namespace

void placeFiles(const FileSet &files) {
    for (Descriptor &d : disk.open)
        d = {};
    disk.names.clear();
    disk.lastNumber = 0;
    refuseLocks(false);
    for (const auto &[name, bytes] : files)
        disk.make(name)->bytes = bytes;
}

FileSet currentFiles() {
    FileSet files;
    for (const auto &[name, node] : disk.names)
        files[name] = node->bytes;
    return files;
}

Bytes *fileNamed(const std::string &name) {
    const auto found = disk.names.find(name);
    return found != disk.names.end() ? &found->second->bytes : nullptr;
}

Bytes &makeFile(const std::string &name) {
    Bytes *there = fileNamed(name);
    return there != nullptr ? *there : disk.make(name)->bytes;
}

void removeFile(const std::string &name) { disk.names.erase(name); }

int openDescriptors() {
    return static_cast<int>(std::count_if(std::begin(disk.open), std::end(disk.open),
                                          [](const Descriptor &d) { return d.node != nullptr; }));
}

void refuseLocks(bool refused) {
    disk.locksRefused = refused;
    disk.refusedAt = -1;
}

const SystemCalls &systemCalls() { return disk.calls; }
void forgetCalls() { disk.calls = {}; }

}  // namespace fuzz

using namespace fuzz;

// The names of ../shim/calls.txt.
extern "C" {

int shim_open(const char *path, int flags, mode_t) {
    count();
    if (const int error = judgeName(path)) return fails(error);
    const auto found = disk.names.find(path);
    if (found == disk.names.end() && (flags & O_CREAT) == 0) return fails(ENOENT);
    if (found != disk.names.end() && (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) return fails(EEXIST);
    auto *const free =
        std::find_if(std::begin(disk.open), std::end(disk.open), [](const Descriptor &d) { return d.node == nullptr; });
    if (free == std::end(disk.open)) return fails(EMFILE);
    *free = {found != disk.names.end() ? found->second : disk.make(path), 0, flags};
    return kFirstDescriptor + static_cast<int>(free - disk.open);
}

int shim_close(int descriptor) {
    count();
    Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) misbehaves("close of a descriptor that is not open");
    *d = {};
    return 0;
}

ssize_t shim_pread(int descriptor, void *buffer, std::size_t length, off_t offset) {
    count();
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if (offset < 0) return fails(EINVAL);
    return transferIn(*d, buffer, length, offset);
}

ssize_t shim_read(int descriptor, void *buffer, std::size_t length) {
    count();
    Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    const ssize_t moved = transferIn(*d, buffer, length, d->at);
    d->at += moved;
    return moved;
}

ssize_t shim_pwrite(int descriptor, const void *buffer, std::size_t length, off_t offset) {
    count();
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if (offset < 0) return fails(EINVAL);
    return transferOut(*d, buffer, length, offset);
}

ssize_t shim_write(int descriptor, const void *buffer, std::size_t length) {
    count();
    Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if ((d->flags & O_APPEND) != 0) d->at = static_cast<off_t>(d->node->bytes.size());
    const ssize_t moved = transferOut(*d, buffer, length, d->at);
    if (moved > 0) d->at += moved;
    return moved;
}

off_t shim_lseek(int descriptor, off_t offset, int whence) {
    count();
    Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if (whence == SEEK_CUR) offset += d->at;
    if (whence == SEEK_END) offset += static_cast<off_t>(d->node->bytes.size());
    if (offset < 0) return fails(EINVAL);
    return d->at = offset;
}

int shim_ftruncate(int descriptor, off_t length) {
    count();
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr || !writable(*d)) return fails(EBADF);
    if (length < 0) return fails(EINVAL);
    if (length > static_cast<off_t>(kDiskSize) || !setSize(*d->node, static_cast<std::size_t>(length)))
        return fails(ENOSPC);
    return 0;
}

// One process alone: its locks never stand against each other. The standard streams are open.
int shim_fcntl(int descriptor, int command, ...) {
    count();
    if (command == F_GETFD && descriptor >= 0 && descriptor < kFirstDescriptor) return 0;
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if (command != F_SETLK && command != F_SETLKW) misbehaves("an unexpected request of fcntl");
    std::va_list rest;
    va_start(rest, command);
    const auto *const lock = va_arg(rest, struct flock *);
    va_end(rest);
    if (lock->l_type == F_WRLCK && !writable(*d)) return fails(EBADF);
    if (lock->l_start < 0 || (lock->l_len < 0 && lock->l_start + lock->l_len < 0)) return fails(EINVAL);
    if (!disk.locksRefused || lock->l_type == F_UNLCK) return 0;
    if (command == F_SETLK) {
        disk.refusedAt = lock->l_start;
        return fails(EAGAIN);
    }
    // The other process will never let go of it.
    if (lock->l_start == disk.refusedAt) return fails(EDEADLK);
    return 0;
}

int shim_fstat(int descriptor, struct stat *status) {
    count();
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    describe(*d->node, status);
    return 0;
}

int shim_stat(const char *path, struct stat *status) {
    count();
    if (const int error = judgeName(path)) return fails(error);
    const auto found = disk.names.find(path);
    if (found == disk.names.end()) return fails(ENOENT);
    describe(*found->second, status);
    return 0;
}

int shim_link(const char *from, const char *to) {
    count();
    if (const int error = judgeName(from)) return fails(error);
    if (const int error = judgeName(to)) return fails(error);
    const auto found = disk.names.find(from);
    if (found == disk.names.end()) return fails(ENOENT);
    if (disk.names.count(to) != 0) return fails(EEXIST);
    disk.names[to] = found->second;
    return 0;
}

int shim_unlink(const char *path) {
    count();
    if (const int error = judgeName(path)) return fails(error);
    return disk.names.erase(path) != 0 ? 0 : fails(ENOENT);
}
}
