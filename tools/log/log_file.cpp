#include "log/log_file.h"

#include "base/failure.h"
#include "txn/log_layout.h"

#include <algorithm>

namespace tool {

namespace {

// Each process takes back at most the last record that it has written.
constexpr std::size_t kRemembered = 64;

}  // namespace

LogFile::Found LogFile::stop(Found how, const std::string &what) {
    problem_ =
        (how == Found::kCutOff ? "cut off at offset " : "damaged at offset ") + std::to_string(offset_) + ": " + what;
    window_.forget();
    return how;
}

LogFile::Found LogFile::next(LogRecord &record) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(offset_, logrec::kHeadSize, &got);
    if (got == 0) {
        window_.forget();
        return Found::kEnd;
    }
    if (got < logrec::kHeadSize) return stop(Found::kCutOff, std::to_string(got) + " bytes of a record's head");
    const auto length = static_cast<std::size_t>(logrec::length(p));
    if (length < logrec::kMinSize) return stop(Found::kDamaged, "a record of " + std::to_string(length) + " bytes");
    p = window_.at(offset_, length, &got);
    if (got < length) {
        return stop(Found::kCutOff, std::to_string(got) + " of a record's " + std::to_string(length) + " bytes");
    }
    const int trailer = ld_int(p + length - logrec::kTrailerSize);
    if (static_cast<std::size_t>(trailer) != length) {
        return stop(Found::kDamaged, "a record has " + std::to_string(length) + " bytes at its beginning, " +
                                         std::to_string(trailer) + " at its end");
    }
    record = parseLogRecord({p, length}, offset_);
    seen_.push_back({offset_, ByteString(p, p + length)});
    if (seen_.size() > kRemembered) seen_.pop_front();
    offset_ += static_cast<std::int64_t>(length);
    return Found::kRecord;
}

bool LogFile::stillThere(const Seen &seen) {
    std::size_t got = 0;
    const std::uint8_t *p = window_.at(seen.offset, seen.bytes.size(), &got);
    return got == seen.bytes.size() && std::equal(seen.bytes.begin(), seen.bytes.end(), p);
}

std::vector<LogRecord> LogFile::stepBack() {
    std::vector<LogRecord> gone;
    window_.forget();
    while (!seen_.empty() && !stillThere(seen_.back())) {
        const Seen &last = seen_.back();
        gone.push_back(parseLogRecord(last.bytes, last.offset));
        offset_ = last.offset;
        seen_.pop_back();
    }
    window_.forget();
    if (seen_.empty() && offset_ > 0) throw Failure(window_.path() + ": is another log by now");
    return gone;
}

}  // namespace tool
