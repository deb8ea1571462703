#include "log/log_record.h"

#include "txn/log_layout.h"

#include <algorithm>
#include <array>

namespace tool {

namespace {

struct TypeEntry {
    int code;  // in the log
    const char *word;
};

// In the order of LogType.
constexpr std::array<TypeEntry, kLogTypes> kTypes = {{{logtype::kFileOpen, "open"},
                                                      {logtype::kFileClose, "close"},
                                                      {logtype::kBuild, "build"},
                                                      {logtype::kErase, "erase"},
                                                      {logtype::kRename, "rename"},
                                                      {logtype::kCreateIndex, "addindex"},
                                                      {logtype::kDropIndex, "delindex"},
                                                      {logtype::kSetUnique, "setunique"},
                                                      {logtype::kUnique, "uniqueid"},
                                                      {logtype::kDelete, "delete"},
                                                      {logtype::kInsert, "write"},
                                                      {logtype::kUpdate, "rewrite"},
                                                      {logtype::kBegin, "begin"},
                                                      {logtype::kCommit, "commit"},
                                                      {logtype::kRollBack, "rollback"},
                                                      {-1, "unknown"}}};

std::string lettersOf(int code) { return {static_cast<char>(code >> 8), static_cast<char>(code & 0xff)}; }

LogType typeOf(int code) {
    const auto *found =
        std::find_if(kTypes.begin(), kTypes.end(), [code](const TypeEntry &e) { return e.code == code; });
    return found == kTypes.end() ? LogType::kUnknown : static_cast<LogType>(found - kTypes.begin());
}

// Takes a body to pieces and never leaves it.
class Body {
  public:
    explicit Body(std::span<const std::uint8_t> bytes) : left_(bytes) {}

    int integer() {
        const auto bytes = take(2);
        return bytes.empty() ? 0 : ld_int(bytes.data());
    }
    std::uint32_t number() {
        const auto bytes = take(4);
        return bytes.empty() ? 0 : ld_long(bytes.data());
    }
    ByteString image(int length) {
        const auto bytes = take(static_cast<std::size_t>(length));
        return {bytes.begin(), bytes.end()};
    }
    std::string name() {
        const auto end = std::find(left_.begin(), left_.end(), 0);
        const bool ends = end != left_.end();
        std::string text(left_.begin(), end);
        take(text.size() + (ends ? 1 : 0));
        sound_ = sound_ && ends;
        return text;
    }
    KeyDesc key() {
        KeyDesc key{};
        key.flags = static_cast<unsigned short>(integer());
        const int parts = integer();
        key.keyLength = static_cast<short>(integer());
        sound_ = sound_ && parts <= ISMAXPARTS;
        key.nparts = static_cast<short>(sound_ ? parts : 0);
        for (int i = 0; i < key.nparts; ++i) {
            key.parts[i].start = static_cast<short>(integer());
            key.parts[i].length = static_cast<short>(integer());
            key.parts[i].type = static_cast<unsigned short>(integer());
        }
        return key;
    }
    void demand(bool holds) { sound_ = sound_ && holds; }
    bool wholeAndSound() const { return sound_ && left_.empty(); }

  private:
    // The next bytes; none, and the body is not sound, where it has fewer.
    std::span<const std::uint8_t> take(std::size_t count) {
        sound_ = sound_ && count <= left_.size();
        if (!sound_) return {};
        const auto taken = left_.first(count);
        left_ = left_.subspan(count);
        return taken;
    }

    std::span<const std::uint8_t> left_;
    bool sound_ = true;
};

void readRename(Body &body, LogRecord &record) {
    const int length = body.integer();
    const int new_length = body.integer();
    record.name = body.name();
    record.newName = body.name();
    body.demand(static_cast<std::size_t>(length) == record.name.size() + 1 &&
                static_cast<std::size_t>(new_length) == record.newName.size() + 1);
}

void readBuild(Body &body, LogRecord &record) {
    record.mode = body.integer();
    record.minimum = body.integer();
    record.maximum = body.integer();
    record.key = body.key();
    record.name = body.name();
}

void readChange(Body &body, LogRecord &record) {
    record.number = body.number();
    const int length = body.integer();
    if (record.type == LogType::kRewrite) {
        const int new_length = body.integer();
        record.before = body.image(length);
        record.after = body.image(new_length);
    } else if (record.type == LogType::kWrite) {
        record.after = body.image(length);
    } else {
        record.before = body.image(length);
    }
}

void readBody(Body body, LogRecord &record) {
    switch (record.type) {
    case LogType::kErase:
    case LogType::kRename:
    case LogType::kBuild:
    case LogType::kBegin:
    case LogType::kCommit:
    case LogType::kRollBack:
    case LogType::kUnknown: break;
    default: record.fd = body.integer();
    }
    switch (record.type) {
    case LogType::kOpen:
    case LogType::kClose: {
        const int variable = body.integer();
        record.variable = variable == 1;
        body.demand(variable <= 1);
        record.name = body.name();
        break;
    }
    case LogType::kBuild: readBuild(body, record); break;
    case LogType::kErase: record.name = body.name(); break;
    case LogType::kRename: readRename(body, record); break;
    case LogType::kAddIndex:
    case LogType::kDropIndex: record.key = body.key(); break;
    case LogType::kSetUnique:
    case LogType::kUnique: record.number = body.number(); break;
    case LogType::kDelete:
    case LogType::kWrite:
    case LogType::kRewrite: readChange(body, record); break;
    case LogType::kBegin:
    case LogType::kCommit:
    case LogType::kRollBack: break;
    case LogType::kUnknown: return;
    }
    record.sound = body.wholeAndSound();
}

}  // namespace

const char *logTypeWord(LogType type) { return kTypes[static_cast<std::size_t>(type)].word; }

LogType logTypeOf(const std::string &word) {
    for (std::size_t i = 0; i + 1 < kTypes.size(); ++i) {
        if (word == kTypes[i].word || word == lettersOf(kTypes[i].code)) return static_cast<LogType>(i);
    }
    return LogType::kUnknown;
}

LogRecord parseLogRecord(std::span<const std::uint8_t> bytes, std::int64_t offset) {
    const std::uint8_t *p = bytes.data();
    LogRecord record;
    record.offset = offset;
    record.length = static_cast<unsigned>(bytes.size());
    record.type = typeOf(logrec::type(p));
    record.letters = lettersOf(logrec::type(p));
    record.process = static_cast<unsigned>(logrec::process(p));
    record.user = ld_int(p + logrec::kUserOffset);
    record.time = ld_long(p + logrec::kTimeOffset);
    record.chained = logrec::previousLength(p) != 0;
    record.previous = logrec::previous(p);
    readBody(Body(bytes.subspan(logrec::kHeadSize, bytes.size() - logrec::kMinSize)), record);
    return record;
}

}  // namespace tool
