#include "mending.h"

#include "isam.h"
#include "isam_maint.h"

#include "support/bytes.h"
#include "support/file_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace fault_testing {

namespace {

constexpr std::size_t kMostRecord = 65536;

int indexCount(int fd) {
    KeyDesc key{};
    int count = 0;
    while (isindexinfo(fd, &key, count + 1) == 0 && key.nparts > 0)
        ++count;
    return count;
}

// Does the number of its keys tell whether the index is complete?
bool isCounted(int fd, int index) {
    testing_support::FileReader reader(isqv_name(fd));
    std::vector<std::string> wrong;
    KeyDesc key{};
    isindexinfo(fd, &key, index);
    return reader.refresh(&wrong) && !reader.header().precious() && !reader.header().masked() &&
           (key.flags & ISNULLKEY) == 0;
}

std::string hexadecimal(int bits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(bits));
    return text;
}

// Some may come twice: the first one counts.
bool copyKeys(int from, int to) {
    std::string record(kMostRecord, '\0');
    for (int mode = ISFIRST; isread(from, record.data(), mode) == 0; mode = ISNEXT)
        if (iswrite(to, record.data()) != 0 && iserrno != ISERR_DUPLICATE) return false;
    return iserrno == ISERR_ENDOFFILE;
}

bool replaceKeys(int *fd) {
    const std::string name = isqv_name(*fd);
    int mode = 0;
    const int copy = isclone(*fd, "anew");
    if (copy < 0 || isgetmode(*fd, &mode) != 0 || !copyKeys(*fd, copy)) return false;
    if (isclose(copy) != 0 || isclose(*fd) != 0 || iserase(name.c_str()) != 0 || isrename("anew", name.c_str()) != 0)
        return false;
    *fd = isopen(name.c_str(), mode);
    return *fd >= 0;
}

class Mender {
  public:
    explicit Mender(int fd) : fd_(fd) { out_.first = out_.last = checksOf(fd); }

    Mending mend() {
        if (out_.first.bits() == 0) return out_;
        if (!out_.first.recordsSound() && isqv_datlen(fd_) != 0) rebuild(false);
        if (out_.last.tails != 0 && removeBroken()) rebuild(true);
        if (out_.last.bits() != 0 || !out_.problem.empty()) anew();
        if (out_.last.bits() != 0) out_.problem += " left: " + out_.last.text();
        return out_;
    }
    int fd() const { return fd_; }

  private:
    IsamFile *file() const { return isAdmItoD(fd_); }

    void rebuild(bool all) {
        if (all || out_.first.data != 0) {
            out_.freeList = true;
            if (isRebuildFree(file(), ISFREE_DATA) == 0) failed("free list");
            out_.last = checksOf(fd_);
        }
        // An index named before the list was made anew counts although it may agree with the new list. One that cannot
        // be counted may lack records without being named.
        for (std::size_t i = 0; i < out_.first.indexes.size(); ++i) {
            const int index = static_cast<int>(i) + 1;
            if (!all && out_.first.indexes[i] == 0 && out_.last.indexes[i] == 0 && isCounted(fd_, index)) continue;
            ++out_.indexes;
            if (isRebuildIdx(file(), index) == 0) failed("index " + std::to_string(index));
        }
        out_.last = checksOf(fd_);
    }

    // A record whose tail is damaged is in the way of clustering.
    bool removeBroken() {
        std::string record(kMostRecord, '\0');
        long last = 0;
        isgetlastrec(fd_, &last);
        const std::size_t before = out_.removed.size();
        for (long number = 1; number <= last; ++number)
            if (isdata(fd_, record.data(), number) != 0 && iserrno == ISERR_CORRUPT) remove(number);
        return out_.removed.size() > before;
    }

    // isdelrec refuses what it cannot read. The status byte is what tells that a record is there.
    void remove(long number) {
        testing_support::FileReader reader(isqv_name(fd_));
        std::vector<std::string> wrong;
        testing_support::Bytes slot;
        if (!reader.refresh(&wrong) || !reader.slot(number, &slot)) return;
        out_.removed.push_back(static_cast<std::int32_t>(testing_support::be32(slot.data())));
        if (isdelrec(fd_, number) == 0) return;
        const char deleted = 0;
        const long place = (number - 1) * reader.slotLength() + reader.header().recordLength;
        if (pwrite(isqv_datfd(fd_), &deleted, 1, place) != 1) out_.problem += " status byte not written";
    }

    void anew() {
        if (!makeAnew(&fd_)) {
            out_.problem += " made anew: error " + std::to_string(iserrno);
            return;
        }
        out_.clustered = true;
        out_.problem.clear();
        out_.last = checksOf(fd_);
    }

    void failed(const std::string &what) { out_.problem += what + ": error " + std::to_string(isErrno(file())) + " "; }

    int fd_;
    Mending out_;
};

}  // namespace

bool Checks::recordsSound() const {
    return data == 0 && std::all_of(indexes.begin(), indexes.end(), [](int bits) { return bits == 0; });
}

int Checks::bits() const {
    int all = data | tails;
    for (const int bits : indexes)
        all |= bits;
    return all;
}

std::string Checks::text() const {
    std::string out = "data " + hexadecimal(data) + ", indexes";
    for (const int bits : indexes)
        out += " " + hexadecimal(bits);
    return out + ", tails " + hexadecimal(tails);
}

Checks checksOf(int fd) {
    Checks out;
    if (isqv_datlen(fd) != 0) out.data = ischeckdata(fd);
    for (int i = 1, count = indexCount(fd); i <= count; ++i)
        out.indexes.push_back(ischeckindex(fd, i));
    long stats[6];
    out.tails = ischeckvarlen(fd, stats);
    return out;
}

bool makeAnew(int *fd) {
    if (isqv_datlen(*fd) == 0) return replaceKeys(fd);
    KeyDesc none{};
    const int made = iscluster(*fd, &none);
    if (made >= 0) *fd = made;
    return made >= 0;
}

Mending mend(int *fd) {
    Mender mender(*fd);
    const Mending out = mender.mend();
    *fd = mender.fd();
    return out;
}

}  // namespace fault_testing
