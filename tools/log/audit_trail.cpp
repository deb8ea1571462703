#include "log/audit_trail.h"

#include "log/stored_tail.h"
#include "txn/audit_layout.h"
#include "txn/isaudit.h"

#include <array>
#include <cstring>
#include <ctime>

namespace tool {

namespace {

constexpr std::size_t kLengthSize = 2;
// A tail that cannot be compressed is stored with so many bytes before it.
constexpr int kRawTail = 3;
// Clocks of the machines that write one trail differ by less.
constexpr std::int64_t kClockSlack = 60 * 60;

struct KindEntry {
    const char *letters;
    const char *word;
};

// In the order of AuditEntry::Kind.
constexpr std::array<KindEntry, 4> kKinds = {
    {{audit::kAdded, "added"}, {audit::kDeleted, "deleted"}, {audit::kBefore, "before"}, {audit::kAfter, "after"}}};

int kindOf(const std::uint8_t *p) {
    for (std::size_t i = 0; i < kKinds.size(); ++i) {
        if (std::memcmp(p + audit::kTypeOffset, kKinds[i].letters, audit::kTypeSize) == 0) return static_cast<int>(i);
    }
    return -1;
}

}  // namespace

const char *auditWord(AuditEntry::Kind kind) { return kKinds[static_cast<std::size_t>(kind)].word; }

AuditTrail::Found AuditTrail::stop(Found how, const std::string &what) {
    problem_ =
        (how == Found::kCutOff ? "cut off at offset " : "damaged at offset ") + std::to_string(offset_) + ": " + what;
    window_.forget();
    return how;
}

bool AuditTrail::beginsHead(std::int64_t offset) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(offset, audit::kTypeSize, &got);
    return got == audit::kTypeSize && kindOf(p) >= 0;
}

// A head with a time behind the one before, and not in the future.
bool AuditTrail::isTimely(std::int64_t offset, std::int64_t since) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(offset, audit::kHeadSize, &got);
    if (got < audit::kHeadSize) return true;
    const std::int64_t time = ld_long(p + audit::kTimeOffset);
    return time >= since - kClockSlack && time <= std::time(nullptr) + kClockSlack;
}

// Behind the head of a variable-length record stands the length of what follows, or nothing at all: then the next head,
// or the end. The letters of a head are lengths of 24,929 and more: where the file has records so long, what would be
// behind the record, and the time in the head, decide. Returns 0 for nothing.
int AuditTrail::storedLength(std::int64_t offset, std::int64_t time, bool &cut_off) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(offset, kLengthSize, &got);
    cut_off = got == 1;
    if (got < kLengthSize) return 0;
    const int length = ld_int(p);
    const int most = shape_.maximum + (shape_.compressed ? kRawTail : 0);
    if (kindOf(p) < 0) return length;
    if (length <= shape_.minimum || length > most) return 0;
    const std::int64_t behind = offset + static_cast<std::int64_t>(kLengthSize) + length;
    const bool fits = behind == size() || beginsHead(behind);
    return fits && !isTimely(offset, time) ? length : 0;
}

void AuditTrail::expand(AuditEntry &entry) const {
    if (!shape_.compressed) return;
    const auto fixed = static_cast<std::size_t>(shape_.minimum);
    const auto most = static_cast<std::size_t>(shape_.maximum - shape_.minimum);
    const auto tail = expandTail(std::span(entry.record).subspan(fixed), most);
    entry.sound = tail.has_value();
    if (!tail) return;
    entry.record.resize(fixed);
    entry.record.insert(entry.record.end(), tail->begin(), tail->end());
}

AuditTrail::Found AuditTrail::next(AuditEntry &entry) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(offset_, audit::kHeadSize, &got);
    if (got == 0) {
        window_.forget();
        return Found::kEnd;
    }
    if (got >= audit::kTypeSize && kindOf(p) < 0) return stop(Found::kDamaged, "no entry begins there");
    if (got < audit::kHeadSize) return stop(Found::kCutOff, std::to_string(got) + " bytes of an entry's head");
    entry = {};
    entry.offset = offset_;
    entry.kind = static_cast<AuditEntry::Kind>(kindOf(p));
    entry.time = ld_long(p + audit::kTimeOffset);
    entry.process = ld_int(p + audit::kProcessOffset);
    entry.user = ld_int(p + audit::kUserOffset);
    entry.number = ld_long(p + audit::kNumberOffset);

    std::int64_t at = offset_ + audit::kHeadSize;
    int length = shape_.maximum;
    if (shape_.variable) {
        bool cut_off = false;
        length = storedLength(at, entry.time, cut_off);
        if (cut_off) return stop(Found::kCutOff, "an entry without its record");
        const int most = shape_.maximum + (shape_.compressed ? kRawTail : 0);
        if (length != 0 && (length <= shape_.minimum || length > most)) {
            return stop(Found::kDamaged, "a record of " + std::to_string(length) + " bytes");
        }
        entry.bare = length == 0;
        if (!entry.bare) at += static_cast<std::int64_t>(kLengthSize);
    }
    p = window_.at(at, static_cast<std::size_t>(length), &got);
    if (got < static_cast<std::size_t>(length)) {
        return stop(Found::kCutOff, std::to_string(got) + " of a record's " + std::to_string(length) + " bytes");
    }
    entry.record.assign(p, p + length);
    if (shape_.variable && !entry.bare) expand(entry);
    offset_ = at + length;
    return Found::kEntry;
}

}  // namespace tool
