#include "session.h"

#include "base/isfile.h"
#include "isam_maint.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace fuzz {

namespace {

char loose[kLooseSize];

// Keys without records lie anywhere in the caller's buffer.
int sizeOf(const IsamFile *file) {
    if (!hasData(file)) return kLooseSize;
    return std::max(file->recordLength, file->varlenInfo);
}

}  // namespace

Session &session() {
    static Session only;
    return only;
}

void beginSession(const Kind &kind) {
    endSession();
    session().kind = &kind;
}

void endSession() {
    for (char *buffer : session().records)
        std::free(buffer);
    session() = {};
}

int descriptorFor(const Operation &operation) {
    static constexpr int kOdd[] = {-1, 7, 99, -2147483647};
    return (operation.a & 0x7c) == 0x7c ? kOdd[operation.b % 4] : session().places[operation.a % kPlaces];
}

char *recordFor(int fd, unsigned n, const Operation &operation) {
    const bool known = fd >= 0 && fd < kBuffers && session().records[fd] != nullptr;
    char *const buffer = known ? session().records[fd] : loose;
    const int size = known ? session().sizes[fd] : kLooseSize;
    isreclen = fillRecord(*session().kind, n, buffer, std::min(size, kMaxLength));
    // Bytes that differ make other keys; another length makes another tail.
    if ((operation.d & 1) != 0 && size > 4)
        buffer[operation.d / 2 % static_cast<unsigned>(std::min(size, kRowLength))] =
            static_cast<char>(operation.d >> 8);
    if ((operation.d & 0x80000000) != 0) isreclen = static_cast<int>(operation.d >> 8 & 0xffff) % (size + 2);
    return buffer;
}

void opened(int fd, const Operation &operation) {
    if (fd < 0 || fd >= kBuffers) return;
    Session &s = session();
    const int size = sizeOf(isAdmItoD(fd));
    std::free(s.records[fd]);
    s.records[fd] = static_cast<char *>(std::calloc(1, static_cast<std::size_t>(size)));
    s.sizes[fd] = size;
    s.places[operation.a % kPlaces] = fd;
}

}  // namespace fuzz
