#include "flips/memory_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

namespace flips::memory_files {
namespace {

struct File {
    std::string name;  // that it was made under
    Bytes bytes;
    ino_t number = 0;
    bool directory = false;
    // What was overwritten behind the mark, oldest first, and the length that the file had then.
    struct Old {
        std::size_t offset;
        Bytes bytes;
    };
    std::vector<Old> old;
    std::size_t length = 0;
    bool touched = false;
};
using FilePointer = std::shared_ptr<File>;

struct Open {
    FilePointer file;
    int flags = 0;
    std::int64_t offset = 0;
};

constexpr int kFirstDescriptor = 100;
constexpr std::size_t kMostMemory = 16 << 20;  // no small file set is worth more, whatever its numbers say

std::map<std::string, FilePointer> files;
std::vector<Open> opened;
ino_t lastNumber = 0;
std::vector<FilePointer> touched;
bool anythingWritten = false;
// Names that came or went behind the mark, with what they meant then.
std::map<std::string, FilePointer> renamed;

FilePointer newFile(const std::string &name) {
    auto file = std::make_shared<File>();
    file->name = name;
    file->number = ++lastNumber;
    return file;
}

Open *openOf(int descriptor) {
    const std::size_t at = static_cast<std::size_t>(descriptor - kFirstDescriptor);
    if (descriptor < kFirstDescriptor || at >= opened.size() || opened[at].file == nullptr) {
        errno = EBADF;
        return nullptr;
    }
    return &opened[at];
}

// Notes what is about to be overwritten.
void touch(const FilePointer &file, std::size_t offset, std::size_t length) {
    anythingWritten = true;
    if (!file->touched) {
        file->touched = true;
        file->length = file->bytes.size();
        file->old.clear();
        touched.push_back(file);
    }
    const Bytes &bytes = file->bytes;
    // What the file had not got then is no part of it.
    const std::size_t end = std::min(bytes.size(), file->length);
    const std::size_t from = std::min(offset, end), to = std::min(offset + length, end);
    file->old.push_back({from, Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                                     bytes.begin() + static_cast<std::ptrdiff_t>(to))});
}

void touchName(const std::string &path) {
    anythingWritten = true;
    const auto found = files.find(path);
    renamed.emplace(path, found != files.end() ? found->second : nullptr);
}

ssize_t readAt(const Open &open, void *buffer, std::size_t length, std::int64_t offset) {
    if (open.file->directory) {
        errno = EISDIR;
        return -1;
    }
    const auto size = static_cast<std::int64_t>(open.file->bytes.size());
    if (offset < 0) {
        errno = EINVAL;
        return -1;
    }
    if (offset >= size) return 0;
    const std::size_t moved = std::min(length, static_cast<std::size_t>(size - offset));
    std::memcpy(buffer, open.file->bytes.data() + offset, moved);
    return static_cast<ssize_t>(moved);
}

ssize_t writeAt(const Open &open, const void *buffer, std::size_t length, std::int64_t offset) {
    if ((open.flags & O_ACCMODE) == O_RDONLY) {
        errno = EBADF;
        return -1;
    }
    if (offset < 0) {
        errno = EINVAL;
        return -1;
    }
    const std::int64_t end = offset + static_cast<std::int64_t>(length);
    if (offset > kLongest || end > kLongest) {
        errno = EFBIG;
        return -1;
    }
    touch(open.file, static_cast<std::size_t>(offset), length);
    Bytes &bytes = open.file->bytes;
    if (static_cast<std::int64_t>(bytes.size()) < end) bytes.resize(static_cast<std::size_t>(end));
    std::memcpy(bytes.data() + offset, buffer, length);
    return static_cast<ssize_t>(length);
}

int openPath(const char *path, int flags) {
    const auto found = files.find(path);
    FilePointer file;
    if (found != files.end()) {
        if ((flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL)) {
            errno = EEXIST;
            return -1;
        }
        file = found->second;
        if (file->directory && (flags & O_ACCMODE) != O_RDONLY) {
            errno = EISDIR;
            return -1;
        }
    } else if ((flags & O_CREAT) != 0) {
        touchName(path);
        files[path] = file = newFile(path);
    } else {
        errno = ENOENT;
        return -1;
    }
    auto free = std::find_if(opened.begin(), opened.end(), [](const Open &open) { return open.file == nullptr; });
    if (free == opened.end()) free = opened.insert(opened.end(), Open{});
    *free = {file, flags, 0};
    return kFirstDescriptor + static_cast<int>(free - opened.begin());
}

// A request beyond all reason ends the process: it is what a damaged number must not lead to.
std::size_t within(std::size_t size) {
    if (size > kMostMemory) std::abort();
    return size;
}

// The same bytes, but for the change counter of an index file: it may rise without a change.
bool isSame(const File &file) {
    constexpr std::size_t kCounter = 41, kCounterEnd = 45;
    if (file.bytes.size() != file.length) return false;
    Bytes before = file.bytes;
    for (auto old = file.old.rbegin(); old != file.old.rend(); ++old)
        std::copy(old->bytes.begin(), old->bytes.end(), before.begin() + static_cast<std::ptrdiff_t>(old->offset));
    const bool index = file.name.size() > 4 && file.name.compare(file.name.size() - 4, 4, ".idx") == 0;
    if (index && before.size() >= kCounterEnd)
        std::copy_n(file.bytes.begin() + kCounter, kCounterEnd - kCounter, before.begin() + kCounter);
    return before == file.bytes;
}

void fill(const File &file, struct stat *status) {
    std::memset(status, 0, sizeof *status);
    status->st_dev = 1;
    status->st_ino = file.number;
    status->st_size = static_cast<off_t>(file.bytes.size());
    status->st_mode = file.directory ? S_IFDIR | 0755 : S_IFREG | 0644;
}

}  // namespace

void put(const std::string &path, const Bytes &bytes) {
    FilePointer &file = files[path];
    if (file == nullptr) file = newFile(path);
    file->bytes = bytes;
}

void makeDirectory(const std::string &path) {
    files[path] = newFile(path);
    files[path]->directory = true;
}

void remove(const std::string &path) { files.erase(path); }

Bytes *find(const std::string &path) {
    const auto found = files.find(path);
    return found != files.end() ? &found->second->bytes : nullptr;
}

std::map<std::string, Bytes> all() {
    std::map<std::string, Bytes> out;
    for (const auto &[path, file] : files)
        out[path] = file->bytes;
    return out;
}

void clear() {
    mark();
    files.clear();
    opened.clear();
    lastNumber = 0;
}

int openDescriptors() {
    return static_cast<int>(
        std::count_if(opened.begin(), opened.end(), [](const Open &open) { return open.file != nullptr; }));
}

void mark() {
    for (const FilePointer &file : touched)
        file->touched = false;
    touched.clear();
    renamed.clear();
    anythingWritten = false;
}

bool written() { return anythingWritten; }

bool asMarked() {
    const bool same = std::all_of(touched.begin(), touched.end(),
                                  [](const FilePointer &file) { return file.use_count() < 2 || isSame(*file); });
    return same && std::all_of(renamed.begin(), renamed.end(), [](const auto &name) {
               const auto now = files.find(name.first);
               return (now != files.end() ? now->second : nullptr) == name.second;
           });
}

}  // namespace flips::memory_files

using namespace flips::memory_files;

// The names of shim/calls.txt.
extern "C" {

int shim_open(const char *path, int flags, mode_t) { return openPath(path, flags); }

int shim_close(int descriptor) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    *open = {};
    return 0;
}

ssize_t shim_read(int descriptor, void *buffer, std::size_t length) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    const ssize_t moved = readAt(*open, buffer, length, open->offset);
    if (moved > 0) open->offset += moved;
    return moved;
}

ssize_t shim_pread(int descriptor, void *buffer, std::size_t length, off_t offset) {
    const Open *const open = openOf(descriptor);
    return open != nullptr ? readAt(*open, buffer, length, offset) : -1;
}

ssize_t shim_write(int descriptor, const void *buffer, std::size_t length) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    if ((open->flags & O_APPEND) != 0) open->offset = static_cast<std::int64_t>(open->file->bytes.size());
    const ssize_t moved = writeAt(*open, buffer, length, open->offset);
    if (moved > 0) open->offset += moved;
    return moved;
}

ssize_t shim_pwrite(int descriptor, const void *buffer, std::size_t length, off_t offset) {
    const Open *const open = openOf(descriptor);
    return open != nullptr ? writeAt(*open, buffer, length, offset) : -1;
}

off_t shim_lseek(int descriptor, off_t offset, int whence) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    const std::int64_t from = whence == SEEK_SET   ? 0
                              : whence == SEEK_CUR ? open->offset
                                                   : static_cast<std::int64_t>(open->file->bytes.size());
    if (from + offset < 0) {
        errno = EINVAL;
        return -1;
    }
    open->offset = from + offset;
    return static_cast<off_t>(open->offset);
}

int shim_ftruncate(int descriptor, off_t length) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    if (length < 0 || length > kLongest) {
        errno = EFBIG;
        return -1;
    }
    touch(open->file, static_cast<std::size_t>(length), open->file->bytes.size());
    open->file->bytes.resize(static_cast<std::size_t>(length));
    return 0;
}

// Locks: nobody else is there.
int shim_fcntl(int descriptor, int command, ...) {
    Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    if (command != F_SETLK && command != F_SETLKW) {
        errno = EINVAL;
        return -1;
    }
    std::va_list rest;
    va_start(rest, command);
    const struct flock *const lock = va_arg(rest, struct flock *);
    va_end(rest);
    if (lock->l_start < 0 || lock->l_len < 0) {
        errno = EINVAL;
        return -1;
    }
    if (lock->l_type == F_WRLCK && (open->flags & O_ACCMODE) == O_RDONLY) {
        errno = EBADF;
        return -1;
    }
    return 0;
}

int shim_fstat(int descriptor, struct stat *status) {
    const Open *const open = openOf(descriptor);
    if (open == nullptr) return -1;
    fill(*open->file, status);
    return 0;
}

int shim_stat(const char *path, struct stat *status) {
    const auto found = files.find(path);
    if (found == files.end()) {
        errno = ENOENT;
        return -1;
    }
    fill(*found->second, status);
    return 0;
}

int shim_link(const char *from, const char *to) {
    const auto found = files.find(from);
    if (found == files.end() || files.count(to) != 0) {
        errno = found == files.end() ? ENOENT : EEXIST;
        return -1;
    }
    const FilePointer file = found->second;
    touchName(to);
    files[to] = file;
    return 0;
}

int shim_unlink(const char *path) {
    if (files.count(path) == 0) {
        errno = ENOENT;
        return -1;
    }
    touchName(path);
    files.erase(path);
    return 0;
}

void *shim_malloc(std::size_t size) { return malloc(within(size)); }
void *shim_calloc(std::size_t count, std::size_t size) { return calloc(count, within(size)); }
void *shim_realloc(void *memory, std::size_t size) { return realloc(memory, within(size)); }
void shim_free(void *memory) { free(memory); }
}
