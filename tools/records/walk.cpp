#include "records/walk.h"

#include "base/failure.h"

#include <algorithm>
#include <sys/stat.h>

namespace tool {

namespace {

constexpr int kGoOn = -1;
// Every entry of an index has its record's number, of four bytes.
constexpr std::uint64_t kBytesOfEntry = 4;
// Records that others move while they are read may come twice.
constexpr std::uint64_t kAllowance = 1000;

bool isMiss(int code) { return code == ISERR_ENDOFFILE || code == ISERR_NOTFOUND || code == ISERR_NOCURRENT; }

int checkedIndex(const Layout &layout, int index, const std::string &file) {
    if (index >= 0 && index <= static_cast<int>(layout.indexes.size())) return index;
    throw Failure(file + ": has no index " + std::to_string(index));
}

}  // namespace

Walk::Walk(const OpenFile &file, const Layout &layout, int index)
    : file_(file), keys_alone_(layout.keysAlone()), masks_(layout.masks),
      index_(checkedIndex(layout, index, file.name())), buffer_(static_cast<std::size_t>(layout.imageLength()), '\0') {
    if (index_ == 0 && keys_alone_) throw Failure(file.name() + ": has no records, and so no record-number order");
    if (index_ > 0) key_ = layout.indexes[static_cast<std::size_t>(index_) - 1];
}

void Walk::select() {
    if (isindex(file_.fd(), index_, 0) != 0) failCall(file_.name(), "cannot be read");
}

void Walk::toFirst() {
    select();
    first_mode_ = ISFIRST;
}

void Walk::toLast() {
    select();
    first_mode_ = ISLAST;
}

bool Walk::start(const std::string &image, int length, int mode) {
    std::copy(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(std::min(image.size(), buffer_.size())),
              buffer_.begin());
    const bool found = isstart(file_.fd(), &key_, length, buffer_.data(), mode) == 0;
    if (!found && !isMiss(iserrno)) failCall(file_.name(), "cannot be read");
    if (isqv_curidx(file_.fd()) != index_ - 1)
        throw Failure(file_.name() + ": another index is described as index " + std::to_string(index_) +
                      " is; keys are looked for in that one alone");
    return found;
}

void Walk::toKey(const std::string &image, int length) {
    ended_ = !start(image, length, ISGTEQ);
    first_mode_ = kGoOn;
}

void Walk::behindKey(const std::string &image, int length) {
    first_mode_ = start(image, length, ISGREAT) ? kGoOn : ISLAST;
}

bool Walk::stand(long number) {
    if (isgoto(file_.fd(), number) == 0) return true;
    if (iserrno != ISERR_NOTFOUND) failCall(file_.name(), "cannot be read");
    return false;
}

void Walk::toNumber(long number) {
    select();
    long last = 0;
    if (isgetlastrec(file_.fd(), &last) != 0) failCall(file_.name(), "cannot be read");
    number = std::max(number, 1L);
    while (number <= last && !stand(number))
        ++number;
    ended_ = number > last;
    first_mode_ = ISCURR;
}

void Walk::behindNumber(long number) {
    select();
    long last = 0;
    if (isgetlastrec(file_.fd(), &last) != 0) failCall(file_.name(), "cannot be read");
    number = std::min(number, last);
    while (number > 0 && !stand(number))
        --number;
    ended_ = number <= 0;
    first_mode_ = ISCURR;
}

// A damaged index may lead in a circle.
void Walk::bound() {
    if (index_ == 0 || count_++ < most_) return;
    struct stat status;
    if (fstat(isqv_idxfd(file_.fd()), &status) != 0) failSystem(file_.name(), "the index file cannot be looked at");
    most_ = static_cast<std::uint64_t>(status.st_size) / kBytesOfEntry + kAllowance;
    if (count_ > most_)
        throw Failure(file_.name() + ": index " + std::to_string(index_) +
                      " leads to more records than it can hold: it is "
                      "damaged");
}

bool Walk::read(Record &record, int mode) {
    if (ended_) return false;
    if (isread(file_.fd(), buffer_.data(), first_mode_ == kGoOn ? mode : first_mode_) != 0) {
        if (!isMiss(iserrno)) failCall(file_.name(), "cannot be read");
        ended_ = true;
        return false;
    }
    first_mode_ = kGoOn;
    bound();
    const std::size_t length = keys_alone_ ? buffer_.size() : static_cast<std::size_t>(std::max(isreclen, 0));
    record.bytes.assign(buffer_, 0, length);
    record.number = isrecnum;
    record.mask = masks_ ? static_cast<std::uint32_t>(isgetmask(file_.fd())) : 0;
    return true;
}

WholeWalk::WholeWalk(const OpenFile &file, const Layout &layout, int index)
    : walk_(file, layout, index), rest_(file, layout, layout.keysAlone() ? 1 : 0),
      leaves_out_(index > 0 && !layout.keysAlone() && (layout.masks || (walk_.key().flags & ISNULLKEY) != 0)) {
    walk_.toFirst();
}

bool WholeWalk::next(Record &record) {
    if (!in_rest_) {
        if (walk_.next(record)) {
            const auto number = static_cast<std::size_t>(std::max(record.number, 0L));
            if (leaves_out_ && number >= seen_.size()) seen_.resize(number + number / 2 + 1);
            if (leaves_out_) seen_[number] = true;
            return true;
        }
        if (!leaves_out_) return false;
        in_rest_ = true;
        rest_.toFirst();
    }
    while (rest_.next(record)) {
        const auto number = static_cast<std::size_t>(std::max(record.number, 0L));
        if (number >= seen_.size() || !seen_[number]) return true;
    }
    return false;
}

}  // namespace tool
