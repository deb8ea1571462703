#include "base/ismap.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cstring>

#include "base/isbuserror.h"
#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"

namespace {

constexpr int kKinds = 2;
constexpr std::int64_t kNever = -1;  // FileMap::size of a file that is not mapped: shorter than any

// On these a byte that is written through a mapping lies where a write would have
// put it, and each is seen by the other at once. File systems of other machines and
// of user space, those that put what is written elsewhere, and unknown ones are not
// here.
constexpr std::uint32_t kFileSystems[] = {
    0xef53,      // ext2, ext3, ext4
    0x58465342,  // XFS
    0x01021994,  // tmpfs
    0x858458f6,  // ramfs
    0x3153464a,  // JFS
    0x52654973,  // ReiserFS
};

FileMap &mapOf(IsamFile *h, int kind) { return h->maps[kind - ISKIND_INDEX]; }

bool isMappable(int fd) {
    struct statfs system;
    if (fd < 0 || fstatfs(fd, &system) != 0) return false;
    const auto type = static_cast<std::uint32_t>(system.f_type);
    return std::find(std::begin(kFileSystems), std::end(kFileSystems), type) != std::end(kFileSystems);
}

void dropWindow(const FileMap &m, MapWindow &w) {
    if (w.base != nullptr) munmap(w.base, static_cast<std::size_t>(m.reach));
    w = {};
}

void dropWindows(FileMap &m) {
    for (MapWindow &w : m.windows)
        dropWindow(m, w);
}

// From now on the file is worked on the ordinary way.
void giveUp(FileMap &m) {
    dropWindows(m);
    m.reach = 0;
    m.size = kNever;
}

bool isWithin(IsamFile *h, int kind, FileMap &m, std::int64_t end) {
    struct stat status;
    if (m.reach == 0 || fstat(loadfd(h, kind), &status) != 0) return false;
    m.size = status.st_size;
    return end <= m.size;
}

bool isCovered(const FileMap &m, const MapWindow &w, std::int64_t offset, int length) {
    return w.base != nullptr && offset >= w.start && offset - w.start <= m.reach - length;
}

// Maps a window in the place of the one that has not been used for the longest time.
bool mapWindow(IsamFile *h, int kind, FileMap &m, std::int64_t start) {
    MapWindow *w = std::min_element(std::begin(m.windows), std::end(m.windows),
                                    [](const MapWindow &a, const MapWindow &b) { return a.used < b.used; });
    dropWindow(m, *w);
    const int access = m.writable ? PROT_READ | PROT_WRITE : PROT_READ;
    void *base = mmap(nullptr, static_cast<std::size_t>(m.reach), access, MAP_SHARED, loadfd(h, kind), start);
    if (base == MAP_FAILED) return false;
    *w = {static_cast<std::uint8_t *>(base), start, 0};
    m.last = static_cast<int>(w - m.windows);
    return true;
}

// Turns to the window where the bytes lie. Where there is no room for big ones they
// become small.
bool turnTo(IsamFile *h, int kind, FileMap &m, std::int64_t offset, int length) {
    bool found = false;
    for (int i = 0; i < kMapWindows && !found; ++i) {
        found = isCovered(m, m.windows[i], offset, length);
        if (found) m.last = i;
    }
    while (!found) {
        found = mapWindow(h, kind, m, offset - offset % (m.reach - kMapOverlap));
        if (found) break;
        if (m.reach <= kMapSmallReach) {
            giveUp(m);
            return false;
        }
        dropWindows(m);
        m.reach = kMapSmallReach;
    }
    m.windows[m.last].used = ++m.turn;
    return isCovered(m, m.windows[m.last], offset, length);
}

// Runs copy on the bytes where they are mapped. The way without a system call.
template <typename Copy> inline bool copyMapped(IsamFile *h, int kind, std::int64_t offset, int length, Copy &&copy) {
    FileMap &m = mapOf(h, kind);
    if (offset < 0 || (offset > m.size - length && !isWithin(h, kind, m, offset + length))) return false;
    if (!isCovered(m, m.windows[m.last], offset, length) && !turnTo(h, kind, m, offset, length)) return false;
    const MapWindow &w = m.windows[m.last];
    std::uint8_t *const bytes = w.base + (offset - w.start);
    if (isBusGuarded(w.base, m.reach, [=] { copy(bytes); })) return true;
    giveUp(m);
    return false;
}

// One store, which neither the compiler nor the processor takes apart where
// numbers may lie at any address.
template <typename T> void store(std::uint8_t *to, const std::uint8_t *from) {
    using Placed [[gnu::may_alias, gnu::aligned(1)]] = T;
    T value;
    std::memcpy(&value, from, sizeof value);
    *reinterpret_cast<volatile Placed *>(to) = value;
}

void copyAscending(std::uint8_t *to, const std::uint8_t *from, int length) {
    int done = 0;
    if (length > kMapStore) {
        store<std::uint8_t>(to, from);
        done = kMapFirstStore;
    }
#if defined(__x86_64__)
    // The same in one instruction, which stops between two stores if at all.
    std::uint8_t *place = to + done;
    const std::uint8_t *source = from + done;
    auto stores = static_cast<std::size_t>((length - done) / kMapStore);
    done += static_cast<int>(stores) * kMapStore;
    asm volatile("rep movsq" : "+D"(place), "+S"(source), "+c"(stores) : : "memory");
#else
    for (; length - done >= kMapStore; done += kMapStore)
        store<std::uint64_t>(to + done, from + done);
#endif
    if (length - done >= 4) {
        store<std::uint32_t>(to + done, from + done);
        done += 4;
    }
    if (length - done >= 2) {
        store<std::uint16_t>(to + done, from + done);
        done += 2;
    }
    if (length > done) store<std::uint8_t>(to + done, from + done);
}

}  // namespace

void isMapStart(IsamFile *h) {
    if (!h->mapWanted || ((h->mode | h->openedMode) & ISSYNCWR) != 0) return;
    const bool mappable[kKinds] = {isMappable(h->indexFd), isMappable(h->dataFd)};
    if (!mappable[0] && !mappable[1]) return;
    isBusWatch();
    h->maps = is_new<FileMap>(kKinds);
    for (int i = 0; i < kKinds; ++i) {
        h->maps[i].writable = (h->openedMode & ISLOCKNONE) == 0;
        h->maps[i].reach = mappable[i] ? kMapReach : 0;
        h->maps[i].size = mappable[i] ? 0 : kNever;
    }
}

void isMapEnd(IsamFile *h) {
    if (h->maps == nullptr) return;
    for (const int kind : {ISKIND_INDEX, ISKIND_DATA})
        giveUp(mapOf(h, kind));
    h->maps = static_cast<FileMap *>(is_free(h->maps));
    isBusLeave();
}

void isMapForget(IsamFile *h) {
    if (h == nullptr || h->maps == nullptr) return;
    for (const int kind : {ISKIND_INDEX, ISKIND_DATA})
        isMapSized(h, kind, 0);
}

void isMapBound(IsamFile *h, int kind, std::int64_t size) {
    if (h->maps != nullptr && mapOf(h, kind).size > size) isMapSized(h, kind, 0);
}

void isMapSized(IsamFile *h, int kind, std::int64_t size) {
    if (h == nullptr || h->maps == nullptr || kind > ISKIND_DATA) return;
    FileMap &m = mapOf(h, kind);
    if (m.reach != 0) m.size = size;
}

bool isMapCopyOut(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset) {
    return copyMapped(h, kind, offset, length,
                      [=](const std::uint8_t *bytes) { std::memcpy(buffer, bytes, static_cast<std::size_t>(length)); });
}

bool isMapCopyIn(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset) {
    if (!mapOf(h, kind).writable) return false;
    return copyMapped(h, kind, offset, length, [=](std::uint8_t *bytes) {
        copyAscending(bytes, static_cast<const std::uint8_t *>(buffer), length);
    });
}
