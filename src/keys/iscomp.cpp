#include "keys/iscomp.h"

#include <algorithm>
#include <cstring>

#include "base/isfail.h"
#include "base/ismif.h"
#include "keys/iscompmark.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "keys/isorder.h"
#include "storage/node_layout.h"

namespace {

constexpr const char *kModule = "iscomp";
constexpr int kOffsetLine = 59;
constexpr int kCountLine = 70;
constexpr int kMaxLeading = 127;

std::uint8_t fillByte(const IndexPath *path) { return (path->keyDesc.flags & ISTRAILNUL) != 0 ? 0x00 : 0x20; }

bool isKeyless(const std::uint8_t *buffer, int offset) {
    return offset != node::kTreeStart && (buffer[offset - kPointerSize] & kShareBit) != 0;
}

// The counts in front of an entry's key bytes.
struct Counts {
    int leading, trailing, middle;
    int size;  // bytes of the counts themselves
};

Counts countsAt(const IndexPath *path, const std::uint8_t *entry) {
    Counts c = {};
    if ((path->keyDesc.flags & ISLEADCOMP) != 0) c.leading = ld_signed(entry + c.size++);
    if ((path->keyDesc.flags & ISTRAILCOMP) != 0) c.trailing = ld_signed(entry + c.size++);
    c.middle = keyLength(path) - c.leading - c.trailing;
    return c;
}

bool possible(const Counts &c) { return c.leading >= 0 && c.trailing >= 0 && c.middle >= 0; }

Counts readCounts(const IndexPath *path, const std::uint8_t *entry) {
    const Counts c = countsAt(path, entry);
    if (!possible(c)) isBroken(kModule, kCountLine);
    return c;
}

// The current entry becomes the one decoded from start to end.
void compval(const IndexPath *path, NodeBuf *n, int start, int end) {
    n->position = start;
    n->next = end;
    const std::uint8_t *pointer = n->buffer + end - kPointerSize;
    n->pointer = ld_long(pointer) & kPointerMask;
    if (path->dupWidth != 0) n->serial = ldMint(pointer - path->dupWidth, path->dupWidth);
}

int decode(const IndexPath *path, NodeBuf *n, int offset) {
    const int end = isCompNext(path, n->buffer, n->used, n->key, offset);
    isMarkEntry(path, n, offset, end);
    return end;
}

// What the mark knows becomes the current entry.
void resume(const IndexPath *path, NodeBuf *n, const CompMark *mark) {
    std::memcpy(n->key, markedKey(mark), static_cast<std::size_t>(keyLength(path)));
    compval(path, n, mark->start, mark->end);
}

// First entry with a key not below key, or with a key above it, or the last entry and
// false. Starts behind the last entry that is known to come before. REQUIRES:
// path->byteOrder.
bool search(const IndexPath *path, NodeBuf *n, const std::uint8_t *key, bool above) {
    if (n->used <= node::kTreeStart) return false;
    const int limit = above ? 1 : 0;
    const auto behind = [=] {
        return isByteCmp(path, n->key, key, path->searchLength) < limit;
    };
    int offset = node::kTreeStart;
    if (n->position != 0 && behind()) offset = n->next;
    const CompMark *mark = isMarkBehind(path, n, key, above);
    if (mark != nullptr && mark->end > offset) {
        resume(path, n, mark);
        offset = mark->end;
    }
    while (offset < n->used) {
        const int start = offset;
        offset = decode(path, n, start);
        if (!behind()) {
            compval(path, n, start, offset);
            return true;
        }
        if (offset == n->used) compval(path, n, start, offset);
    }
    return false;
}

// Decodes from offset while the key looked for sorts after the entry (greater:
// not before it), at the most up to limit. Returns the last comparison.
int scan(const IndexPath *path, NodeBuf *n, const std::uint8_t *key, int offset, int limit, bool greater) {
    int start, order;
    do {
        start = offset;
        offset = decode(path, n, offset);
        order = isKeyCmp(path, key, n->key);
    } while ((greater ? order >= 0 : order > 0) && offset < limit);
    compval(path, n, start, offset);
    return order;
}

}  // namespace

int isCompNext(const IndexPath *path, const std::uint8_t *buffer, int used, std::uint8_t *keyArea, int offset) {
    if (offset < node::kTreeStart || offset >= used) isBroken(kModule, kOffsetLine);
    const int tail = path->dupWidth + kPointerSize;
    const bool keyless = isKeyless(buffer, offset);
    const Counts counts = keyless ? Counts{} : readCounts(path, buffer + offset);
    // The borders were checked when the node was read; but marks of shared keys that
    // were damaged then can turn up as a key where a change has taken the one before.
    if (offset + counts.size + counts.middle + tail > used) isBroken(kModule, kOffsetLine);
    if (keyless) return offset + tail;
    offset += counts.size;
    std::memcpy(keyArea + counts.leading, buffer + offset, static_cast<std::size_t>(counts.middle));
    std::memset(keyArea + keyLength(path) - counts.trailing, fillByte(path), static_cast<std::size_t>(counts.trailing));
    return offset + counts.middle + tail;
}

bool compsound(const IndexPath *path, const NodeBuf *n, bool stops) {
    int offset = node::kTreeStart;
    while (offset < n->used) {
        int length = path->dupWidth + kPointerSize;
        if (!isKeyless(n->buffer, offset)) {
            const Counts counts = countsAt(path, n->buffer + offset);
            if (!possible(counts)) {
                if (stops) isBroken(kModule, kCountLine);
                return false;
            }
            length += counts.size + counts.middle;
        }
        offset += length;
    }
    return offset == n->used;
}

int isCompScan(const IndexPath *path, const NodeBuf *n, std::uint8_t *keyOut, int from, int to) {
    int offset = from;
    while (offset < to)
        offset = isCompNext(path, n->buffer, n->used, keyOut, offset);
    return offset;
}

int isCompKey(const IndexPath *path, std::uint8_t *out, const std::uint8_t *previous, const std::uint8_t *key) {
    const unsigned flags = path->keyDesc.flags;
    const int whole = keyLength(path);
    const int shared = previous != nullptr ? findoff(previous, key, whole) : 0;
    if (previous != nullptr && (flags & ISDUPCOMP) != 0 && shared == whole) return 0;

    int written = 0, leading = 0, trailing = 0;
    if ((flags & ISLEADCOMP) != 0) {
        // A count of 128 would be read back as damage. It would even be written
        // by every split of a root, whose two entries have the same key.
        leading = std::min(shared, kMaxLeading);
        out[written++] = static_cast<std::uint8_t>(leading);
    }
    if ((flags & ISTRAILCOMP) != 0) {
        const std::uint8_t fill = fillByte(path);
        while (trailing < whole - leading && key[whole - trailing - 1] == fill)
            ++trailing;
        out[written++] = static_cast<std::uint8_t>(trailing);
    }
    const int middle = whole - leading - trailing;
    std::memcpy(out + written, key + leading, static_cast<std::size_t>(middle));
    return written + middle;
}

void isCompBefore(const IndexPath *path, const NodeBuf *n, std::uint8_t *keyOut, int offset) {
    int from = node::kTreeStart;
    if (const CompMark *mark = isMarkBefore(path, n, offset)) {
        std::memcpy(keyOut, markedKey(mark), static_cast<std::size_t>(keyLength(path)));
        from = mark->end;
    }
    isCompScan(path, n, keyOut, from, offset);
}

bool compmatch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key) {
    if (path->byteOrder) return search(path, n, key, false);
    if (n->used <= node::kTreeStart) return false;
    if (n->position == 0) compval(path, n, node::kTreeStart, decode(path, n, node::kTreeStart));
    const int order = isKeyCmp(path, key, n->key);
    if (order > 0 && n->next == n->used) return false;
    if (order < 0 && n->position == node::kTreeStart) return true;
    if (order <= 0) return scan(path, n, key, node::kTreeStart, n->next, false) <= 0;
    return scan(path, n, key, n->next, n->used, false) <= 0;
}

bool compgreat(const IndexPath *path, NodeBuf *n, const std::uint8_t *key) {
    if (path->byteOrder) return search(path, n, key, true);
    if (n->used <= node::kTreeStart) return false;
    if (n->position == 0) return scan(path, n, key, node::kTreeStart, n->used, true) < 0;
    const int order = isKeyCmp(path, key, n->key);
    if (order >= 0 && n->next == n->used) return false;
    if (order < 0 && n->position == node::kTreeStart) return true;
    if (order < 0) return scan(path, n, key, node::kTreeStart, n->next, true) < 0;
    return scan(path, n, key, n->next, n->used, true) < 0;
}

bool compwalk(const IndexPath *path, NodeBuf *n, int direction) {
    if (n->used <= node::kTreeStart) return false;
    const bool current = n->position != 0;
    int offset = node::kTreeStart, stop = n->used;
    switch (direction) {
    case kWalkFirst:
        if (n->position == node::kTreeStart) return true;
        stop = node::kTreeStart + 1;
        break;
    case kWalkLast:
        if (current && n->next == n->used) return true;
        if (current) offset = n->next;
        break;
    case kWalkNext:
        if (current && n->next == n->used) return false;
        if (current) offset = n->next;
        stop = offset + 1;
        break;
    default:
        if (!current || n->position == node::kTreeStart) return false;
        stop = n->position;
        if (const CompMark *mark = isMarkBefore(path, n, stop)) {
            resume(path, n, mark);
            offset = mark->end;
            if (offset == stop) return true;
        }
        break;
    }
    int start;
    do {
        start = offset;
        offset = decode(path, n, offset);
    } while (offset < stop);
    compval(path, n, start, offset);
    return true;
}
