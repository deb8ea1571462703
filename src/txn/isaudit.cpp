#include "txn/isaudit.h"

#include <cstring>
#include <ctime>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "storage/isfree.h"
#include "storage/isidxio.h"
#include "txn/audit_layout.h"

using namespace audit;

namespace {

std::uint8_t *infoAt(IsamFile *h, int offset) { return h->auditInfo + offset; }

bool isLoaded(const IsamFile *h) { return ld_int(h->auditInfo + kLengthOffset) != 0; }

// Room for length more bytes of the entry, which count as part of it.
std::uint8_t *extend(IsamFile *h, int length) {
    const std::size_t size = h->auditLength + static_cast<std::size_t>(length);
    if (h->auditRoom < size) {
        const std::size_t room = size * 2;
        h->auditEntry = static_cast<std::uint8_t *>(is_realloc(h->auditEntry, h->auditRoom, room));
        h->auditRoom = room;
    }
    std::uint8_t *at = h->auditEntry + h->auditLength;
    h->auditLength = size;
    return at;
}

}  // namespace

void isAudInit(IsamFile *h) {
    h->auditFd = -1;
    h->auditLength = 0;
    if (h->auditNode != 0 && isAudLoad(h) && isAudIsOn(h)) is_create(h, ISKIND_AUDIT, isAudName(h));
}

void isAudHead(IsamFile *h, const char *type, long recnum) {
    if (h->auditFd <= 0) return;
    isAudWrite(h);
    std::uint8_t *head = extend(h, kHeadSize);
    std::memcpy(head + kTypeOffset, type, kTypeSize);
    st_long(static_cast<std::uint32_t>(std::time(nullptr)), head + kTimeOffset);
    st_int(static_cast<std::uint32_t>(is_getpid(h)), head + kProcessOffset);
    st_int(static_cast<std::uint32_t>(is_getuid(h)), head + kUserOffset);
    st_long(static_cast<std::uint32_t>(recnum), head + kNumberOffset);
}

void isAudVLen(IsamFile *h, int length) {
    if (h->auditFd > 0) st_int(static_cast<std::uint32_t>(length), extend(h, 2));
}

void isAudBody(IsamFile *h, const void *bytes, int length) {
    if (h->auditFd > 0 && length > 0) std::memcpy(extend(h, length), bytes, static_cast<std::size_t>(length));
}

void isAudWrite(IsamFile *h) {
    if (h->auditFd <= 0 || h->auditLength == 0) return;
    const int length = static_cast<int>(h->auditLength);
    h->auditLength = 0;
    is_append(h, ISKIND_AUDIT, h->auditEntry, length);
}

void isAudDone(IsamFile *h) {
    isAudWrite(h);
    if (h->auditFd > 0) is_close(h, ISKIND_AUDIT);
}

bool isAudLoad(IsamFile *h) {
    if (h->auditNode == 0) return false;
    if (isLoaded(h)) return true;
    isCheckNodeNumber(h, h->auditNode);
    isGetNodePart(h, h->auditInfo, kAuditInfoSize, h->auditNode, 0);
    const int length = ld_int(infoAt(h, kLengthOffset)) - kNameOffset;
    if (length < 0 || length > ISAUDNAMELEN || std::memchr(infoAt(h, kNameOffset), 0, kNameRoom) == nullptr) {
        st_int(0, infoAt(h, kLengthOffset));
        isFail(h, ISERR_CORRUPT);
    }
    return true;
}

void isAudStore(IsamFile *h) {
    if (h->auditNode != 0) {
        const std::uint8_t mark = kMark;
        isPutWhole(h, h->auditInfo, kAuditInfoSize, h->auditNode, 0);
        isPutNodePart(h, &mark, sizeof mark, h->auditNode, h->nodeSize - kMarkBack);
        return;
    }
    const std::uint32_t number = isGetFree(h, ISKIND_INDEX);
    std::uint8_t *node = isScratchNode(h);
    std::memset(node, 0, static_cast<std::size_t>(h->nodeSize));
    std::memcpy(node, h->auditInfo, kAuditInfoSize);
    node[h->nodeSize - kMarkBack] = kMark;
    isPutNode(h, node, number);
    h->auditNode = number;
}

bool isAudIsOn(const IsamFile *h) { return ld_int(h->auditInfo + kStateOffset) == 1; }

void isAudSwitch(IsamFile *h, bool on) { st_int(on ? 1 : 0, infoAt(h, kStateOffset)); }

const char *isAudName(const IsamFile *h) { return reinterpret_cast<const char *>(h->auditInfo + kNameOffset); }

void isAudSetName(IsamFile *h, const char *name) {
    const std::size_t length = std::strlen(name);
    std::memset(infoAt(h, kNameOffset), 0, kNameRoom);
    std::memcpy(infoAt(h, kNameOffset), name, length);
    st_int(static_cast<std::uint32_t>(length) + kNameOffset, infoAt(h, kLengthOffset));
}
