#include "log_reader.h"

#include "key_desc.h"
#include "key_image.h"

#include <algorithm>
#include <map>
#include <utility>

namespace testing_support {

namespace {

constexpr int kHeadSize = 18;
constexpr int kTrailerSize = 2;

bool isOneOf(const std::string &type, std::initializer_list<const char *> types) {
    return std::any_of(types.begin(), types.end(), [&](const char *one) { return type == one; });
}

// Takes a body to pieces. sound stays true as long as all of it was there.
class Body {
  public:
    Body(const std::uint8_t *from, const std::uint8_t *to) : at_(from), end_(to) {}

    std::uint32_t number(int width) {
        const std::uint8_t *from = take(width);
        return from == nullptr ? 0 : width == 2 ? be16(from) : be32(from);
    }
    int integer() { return static_cast<int>(number(2)); }

    std::string name() {
        const std::uint8_t *nul = std::find(at_, end_, 0);
        if (nul == end_) sound_ = false;
        std::string out(at_, nul);
        at_ = nul == end_ ? end_ : nul + 1;
        return out;
    }

    Bytes data(int length) {
        const std::uint8_t *from = take(length);
        return from == nullptr ? Bytes{} : Bytes(from, from + length);
    }

    KeyDesc key() {
        KeyDesc out{};
        out.flags = static_cast<unsigned short>(integer());
        out.nparts = static_cast<short>(integer());
        out.keyLength = static_cast<short>(integer());
        int total = 0;
        if (out.nparts < 0 || out.nparts > ISMAXPARTS) sound_ = false;
        for (int i = 0; sound_ && i < out.nparts; ++i) {
            out.parts[i].start = static_cast<short>(integer());
            out.parts[i].length = static_cast<short>(integer());
            out.parts[i].type = static_cast<unsigned short>(integer());
            total += out.parts[i].length;
        }
        if (total != out.keyLength) sound_ = false;
        return out;
    }

    void need(bool holds) { sound_ = sound_ && holds; }
    bool wholeAndSound() const { return sound_ && at_ == end_; }

  private:
    const std::uint8_t *take(int width) {
        if (end_ - at_ < width) {
            sound_ = false;
            at_ = end_;
            return nullptr;
        }
        at_ += width;
        return at_ - width;
    }

    const std::uint8_t *at_;
    const std::uint8_t *end_;
    bool sound_ = true;
};

bool readBody(Body body, LogContent *out) {
    const std::string &type = out->type;
    bool onFile = !isOneOf(type, {"BU", "ER", "RE", "BW", "CW", "RW"});
    if (onFile) out->fd = body.integer();
    if (isOneOf(type, {"FO", "FC"})) {
        int variable = body.integer();
        out->variable = variable == 1;
        body.need(variable <= 1);
        out->name = body.name();
    } else if (type == "BU") {
        out->mode = body.integer();
        out->minimum = body.integer();
        out->maximum = body.integer();
        out->key = body.key();
        out->name = body.name();
    } else if (type == "ER") {
        out->name = body.name();
    } else if (type == "RE") {
        auto length = static_cast<std::size_t>(body.integer());
        auto newLength = static_cast<std::size_t>(body.integer());
        out->name = body.name();
        out->newName = body.name();
        body.need(length == out->name.size() + 1 && newLength == out->newName.size() + 1);
    } else if (isOneOf(type, {"CI", "DI"})) {
        out->key = body.key();
    } else if (isOneOf(type, {"SU", "UN"})) {
        out->number = body.number(4);
    } else if (isOneOf(type, {"IN", "DE"})) {
        out->number = body.number(4);
        (type == "IN" ? out->after : out->before) = body.data(body.integer());
    } else if (type == "UP") {
        out->number = body.number(4);
        int length = body.integer();
        int newLength = body.integer();
        out->before = body.data(length);
        out->after = body.data(newLength);
    } else if (!isOneOf(type, {"BW", "CW", "RW"})) {
        return false;
    }
    return body.wholeAndSound();
}

// Follows the writers and their transactions through the log.
class LogChecker {
  public:
    std::string check(const std::vector<LogRecord> &records) {
        for (const LogRecord &record : records) {
            std::string wrong = checkTransaction(record);
            if (wrong.empty()) wrong = checkDescriptor(record);
            if (!wrong.empty())
                return "log record at " + std::to_string(record.offset) + " (" + record.content.text() + "): " + wrong;
        }
        return "";
    }

  private:
    std::string checkTransaction(const LogRecord &record) {
        const std::string &type = record.content.type;
        bool ends = isOneOf(type, {"CW", "RW"});
        auto key = std::make_pair(record.process, record.user);
        auto open = last_.find(key);
        if (type == "BW") {
            if (open != last_.end()) return "begins a transaction inside one";
            if (record.content.chained || record.previous != 0) return "a begin that is chained";
            last_[key] = &record;
            return "";
        }
        if (!record.content.chained) {
            if (record.previous != 0) return "a place before it without a length";
            return ends ? "an end that is not chained" : "";
        }
        if (!ends && !isOneOf(type, {"FO", "FC", "IN", "DE", "UP"})) return "is never chained";
        if (open == last_.end()) return "chained, but there is no transaction";
        if (record.previous != open->second->offset || record.previousLength != open->second->length)
            return "follows " + std::to_string(record.previous) + ", should follow " +
                   std::to_string(open->second->offset);
        if (ends)
            last_.erase(open);
        else
            open->second = &record;
        return "";
    }

    std::string checkDescriptor(const LogRecord &record) {
        const LogContent &content = record.content;
        if (content.fd < 0) return "";
        auto key = std::make_pair(record.process, content.fd);
        auto open = names_.find(key);
        if (content.type == "FO") {  // one that was closed without a record is open no more
            names_[key] = content.name;
            return "";
        }
        if (open == names_.end()) return "descriptor " + std::to_string(content.fd) + " is not open";
        if (content.type != "FC") return "";
        if (open->second != content.name) return "closes " + content.name + ", which is not what was opened";
        names_.erase(open);
        return "";
    }

    std::map<std::pair<std::uint32_t, std::uint32_t>, const LogRecord *> last_;  // per process and user
    std::map<std::pair<std::uint32_t, int>, std::string> names_;                 // per process and descriptor
};

}  // namespace

bool LogContent::operator==(const LogContent &other) const {
    return type == other.type && fd == other.fd && variable == other.variable && mode == other.mode &&
           minimum == other.minimum && maximum == other.maximum && sameKeyDesc(key, other.key) && name == other.name &&
           newName == other.newName && number == other.number && before == other.before && after == other.after &&
           chained == other.chained;
}

std::string LogContent::text() const {
    std::string out = type + (chained ? " chained" : "");
    if (fd >= 0) out += " fd " + std::to_string(fd);
    if (!name.empty()) out += " " + name;
    if (!newName.empty()) out += " to " + newName;
    if (type == "BU")
        out += " mode " + std::to_string(mode) + " lengths " + std::to_string(minimum) + ", " + std::to_string(maximum);
    if (key.nparts > 0) out += " key " + describe(specOf(key));
    if (number != 0) out += " number " + std::to_string(number);
    if (!before.empty()) out += " before " + std::to_string(before.size()) + " bytes";
    if (!after.empty()) out += " after " + std::to_string(after.size()) + " bytes";
    return out;
}

std::string readLog(const Bytes &log, std::vector<LogRecord> *out) {
    for (std::size_t at = 0; at < log.size();) {
        std::string where = "log record at " + std::to_string(at) + ": ";
        const std::uint8_t *p = log.data() + at;
        std::size_t left = log.size() - at;
        if (left < kHeadSize + kTrailerSize) return where + "cut off";
        std::size_t length = be16(p);
        if (length < kHeadSize + kTrailerSize || length > left) return where + "length " + std::to_string(length);
        if (be16(p + length - kTrailerSize) != length) return where + "another length at its end";
        LogRecord record;
        record.content.type.assign(p + 2, p + 4);
        record.offset = static_cast<std::uint32_t>(at);
        record.length = static_cast<int>(length);
        record.process = be16(p + 4);
        record.user = be16(p + 6);
        record.time = be32(p + 8);
        record.previous = be32(p + 12);
        record.previousLength = static_cast<int>(be16(p + 16));
        record.content.chained = record.previousLength != 0;
        if (!readBody(Body(p + kHeadSize, p + length - kTrailerSize), &record.content))
            return where + "body of type " + record.content.type;
        out->push_back(std::move(record));
        at += length;
    }
    return "";
}

std::string checkLog(const std::vector<LogRecord> &records) { return LogChecker().check(records); }

}  // namespace testing_support
