#include "memory/files.h"

#include "memory/node.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <iterator>

namespace memory_files {
namespace {

struct Descriptor {
    NodePointer node;  // null: the descriptor is free
    off_t at = 0;
    int flags = 0;
};

constexpr int kFirstDescriptor = 3;
constexpr int kDescriptors = 64;

struct Disk {
    Names names;
    Descriptor open[kDescriptors];
    ino_t lastNumber = 0;
    bool locksRefused = false;
    off_t refusedAt = -1;  // where the last lock was refused
    Calls calls;
};
Disk disk;

int fails(int error) {
    disk.calls.errors |= std::uint64_t{1} << error;
    errno = error;
    return -1;
}

void count() {
    if (++disk.calls.count > Rules::mostCalls()) Rules::misbehaves("one call makes system calls without end");
}

NodePointer makeNode(const std::string &path) {
    auto node = std::make_shared<Node>();
    node->name = path;
    node->number = ++disk.lastNumber;
    disk.names[path] = node;
    return node;
}

// Null where no file has that name.
NodePointer nodeOf(const std::string &path) {
    const auto found = disk.names.find(path);
    return found != disk.names.end() ? found->second : nullptr;
}

Descriptor *descriptorOf(int number) {
    const int i = number - kFirstDescriptor;
    return i >= 0 && i < kDescriptors && disk.open[i].node != nullptr ? &disk.open[i] : nullptr;
}

bool isWritable(const Descriptor &d) { return (d.flags & O_ACCMODE) != O_RDONLY; }

bool isRoom(const Node &node, std::size_t size) {
    if (size <= node.bytes.size()) return true;
    std::size_t others = 0;
    for (const auto &[path, other] : disk.names)
        if (other.get() != &node) others += other->bytes.size();
    return size <= kDiskSize && others + size <= kDiskSize;
}

ssize_t transferIn(const Descriptor &d, void *buffer, std::size_t length, off_t offset) {
    if (d.node->directory) return fails(EISDIR);
    const auto size = static_cast<off_t>(d.node->bytes.size());
    const std::size_t there = offset < size ? static_cast<std::size_t>(size - offset) : 0;
    const std::size_t moved = std::min(length, there);
    if (moved < length) disk.calls.cutShort = true;
    if (moved != 0) std::memcpy(buffer, d.node->bytes.data() + offset, moved);
    return static_cast<ssize_t>(moved);
}

// All or nothing, as far as the disk goes.
ssize_t transferOut(const Descriptor &d, const void *buffer, std::size_t length, off_t offset) {
    if (!isWritable(d)) return fails(EBADF);
    if (length == 0) return 0;
    if (offset > static_cast<off_t>(kDiskSize)) return fails(ENOSPC);
    const std::size_t end = static_cast<std::size_t>(offset) + length;
    if (!isRoom(*d.node, end)) return fails(ENOSPC);
    noteBytes(d.node, static_cast<std::size_t>(offset), length);
    if (end > d.node->bytes.size()) d.node->bytes.resize(end);
    std::memcpy(d.node->bytes.data() + offset, buffer, length);
    return static_cast<ssize_t>(length);
}

void describe(const Node &node, struct stat *status) {
    std::memset(status, 0, sizeof *status);
    status->st_dev = 1;
    status->st_ino = node.number;
    status->st_mode = node.directory ? S_IFDIR | 0777 : S_IFREG | 0666;
    status->st_size = static_cast<off_t>(node.bytes.size());
}

}  // namespace

const Names &names() { return disk.names; }

void place(const FileSet &files) {
    forgetChanges();
    for (Descriptor &d : disk.open)
        d = {};
    disk.names.clear();
    disk.lastNumber = 0;
    refuseLocks(false);
    for (const auto &[path, bytes] : files)
        makeNode(path)->bytes = bytes;
}

FileSet all() {
    FileSet files;
    for (const auto &[path, node] : disk.names)
        files[path] = node->bytes;
    return files;
}

Bytes *find(const std::string &path) {
    const NodePointer node = nodeOf(path);
    return node != nullptr ? &node->bytes : nullptr;
}

Bytes &make(const std::string &path) {
    Bytes *there = find(path);
    return there != nullptr ? *there : makeNode(path)->bytes;
}

void remove(const std::string &path) { disk.names.erase(path); }
void makeDirectory(const std::string &path) { makeNode(path)->directory = true; }

int openDescriptors() {
    return static_cast<int>(std::count_if(std::begin(disk.open), std::end(disk.open),
                                          [](const Descriptor &d) { return d.node != nullptr; }));
}

void refuseLocks(bool refused) {
    disk.locksRefused = refused;
    disk.refusedAt = -1;
}

const Calls &calls() { return disk.calls; }
void forgetCalls() { disk.calls = {}; }

}  // namespace memory_files

using namespace memory_files;

// The names of ../shim/calls.txt.
extern "C" {

int shim_open(const char *path, int flags, mode_t) {
    count();
    if (const int error = Rules::judgePath(path)) return fails(error);
    NodePointer node = nodeOf(path);
    if (node == nullptr && (flags & O_CREAT) == 0) return fails(ENOENT);
    if (node != nullptr && (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) return fails(EEXIST);
    if (node != nullptr && node->directory && (flags & O_ACCMODE) != O_RDONLY) return fails(EISDIR);
    auto *const free =
        std::find_if(std::begin(disk.open), std::end(disk.open), [](const Descriptor &d) { return d.node == nullptr; });
    if (free == std::end(disk.open)) return fails(EMFILE);
    if (node == nullptr) {
        noteName(path);
        node = makeNode(path);
    }
    *free = {node, 0, flags};
    return kFirstDescriptor + static_cast<int>(free - disk.open);
}

int shim_close(int descriptor) {
    count();
    Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) Rules::misbehaves("close of a descriptor that is not open");
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
    if (moved > 0) d->at += moved;
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
    if (d == nullptr || !isWritable(*d)) return fails(EBADF);
    if (length < 0) return fails(EINVAL);
    if (length > static_cast<off_t>(kDiskSize)) return fails(ENOSPC);
    const auto size = static_cast<std::size_t>(length);
    if (!isRoom(*d->node, size)) return fails(ENOSPC);
    noteBytes(d->node, size, d->node->bytes.size());
    d->node->bytes.resize(size);
    return 0;
}

// The standard streams are open.
int shim_fcntl(int descriptor, int command, ...) {
    count();
    if (command == F_GETFD && descriptor >= 0 && descriptor < kFirstDescriptor) return 0;
    const Descriptor *const d = descriptorOf(descriptor);
    if (d == nullptr) return fails(EBADF);
    if (command != F_SETLK && command != F_SETLKW) Rules::misbehaves("an unexpected request of fcntl");
    std::va_list rest;
    va_start(rest, command);
    const auto *const lock = va_arg(rest, struct flock *);
    va_end(rest);
    if (lock->l_type == F_WRLCK && !isWritable(*d)) return fails(EBADF);
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
    if (const int error = Rules::judgePath(path)) return fails(error);
    const NodePointer node = nodeOf(path);
    if (node == nullptr) return fails(ENOENT);
    describe(*node, status);
    return 0;
}

// These files are nowhere that could be mapped.
int shim_fstatfs(int, struct statfs *) {
    count();
    return fails(ENOSYS);
}

void *shim_mmap(void *, std::size_t, int, int, int, off_t) { Rules::misbehaves("mmap"); }

int shim_link(const char *from, const char *to) {
    count();
    for (const char *path : {from, to})
        if (const int error = Rules::judgePath(path)) return fails(error);
    const NodePointer node = nodeOf(from);
    if (node == nullptr) return fails(ENOENT);
    if (nodeOf(to) != nullptr) return fails(EEXIST);
    noteName(to);
    disk.names[to] = node;
    return 0;
}

int shim_unlink(const char *path) {
    count();
    if (const int error = Rules::judgePath(path)) return fails(error);
    if (nodeOf(path) == nullptr) return fails(ENOENT);
    noteName(path);
    disk.names.erase(path);
    return 0;
}
}
