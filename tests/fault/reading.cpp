#include "reading.h"

#include "support/key_image.h"

namespace fault_testing {

namespace {

constexpr std::size_t kMostRecord = 65536;

bool select(int fd, int index) {
    KeyDesc key{};
    std::string record(recordRoom(fd), '\0');
    if (index != 0 && isindexinfo(fd, &key, index) != 0) return false;
    return isstart(fd, &key, 0, record.data(), ISFIRST) == 0 || iserrno != ISERR_KEYDESC;
}

}  // namespace

std::size_t recordRoom(int) { return kMostRecord; }

std::vector<Found> readAll(int fd, int index, std::size_t most) {
    std::vector<Found> out;
    if (!select(fd, index)) return out;
    std::string record(recordRoom(fd), '\0');
    for (int mode = ISFIRST; out.size() <= most; mode = ISNEXT) {
        const int result = isread(fd, record.data(), mode);
        if (result != 0 && iserrno == ISERR_ENDOFFILE) break;
        Found found;
        found.number = isrecnum;
        if (result == 0) {
            const int length = isqv_datlen(fd) != 0 ? isreclen : 256;
            found.image = record.substr(0, static_cast<std::size_t>(length));
            found.mask = static_cast<unsigned>(isgetmask(fd));
        } else {
            found.error = iserrno;
        }
        out.push_back(found);
    }
    return out;
}

bool findsKey(int fd, int index, const std::string &image) {
    if (!select(fd, index)) return false;
    KeyDesc key{};
    isindexinfo(fd, &key, index);
    const auto spec = testing_support::specOf(key);
    std::string record = image;
    record.resize(recordRoom(fd));
    if (isread(fd, record.data(), ISEQUAL) != 0) return false;
    return testing_support::makeKey(spec, reinterpret_cast<const unsigned char *>(record.data())) ==
           testing_support::makeKey(spec, reinterpret_cast<const unsigned char *>(image.data()));
}

}  // namespace fault_testing
