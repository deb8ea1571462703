#include "log_damage.h"

#include "kinds.h"
#include "memory/files.h"
#include "numbers.h"
#include "txn/log_layout.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace fuzz {

namespace {

using memory_files::Bytes;

struct Piece {
    std::size_t start, length;
};

// The records, as far as their lengths lead.
std::vector<Piece> recordsOf(const Bytes &log) {
    std::vector<Piece> records;
    for (std::size_t at = 0; at + logrec::kMinSize <= log.size();) {
        const std::size_t length = loadBig(log.data() + at, 2);
        if (length < logrec::kMinSize || at + length > log.size()) break;
        records.push_back({at, length});
        at += length;
    }
    return records;
}

struct Field {
    int offset, width;
};
constexpr Field kFields[] = {
    {logrec::kLengthOffset, 2},  {logrec::kTypeOffset, 2},     {logrec::kProcessOffset, 2},
    {logrec::kUserOffset, 2},    {logrec::kPreviousOffset, 4}, {logrec::kPreviousLengthOffset, 2},
    {logrec::kHeadSize, 2},      {logrec::kHeadSize + 2, 2},   {logrec::kHeadSize + 2, 4},
    {logrec::kHeadSize + 4, 2},  {logrec::kHeadSize + 6, 2},   {logrec::kHeadSize + 8, 2},
    {logrec::kHeadSize + 10, 2}, {logrec::kHeadSize + 12, 2},  {-logrec::kTrailerSize, 2}};

// a: field; b: record; c: value.
void setField(Bytes &log, const Operation &operation) {
    const std::vector<Piece> records = recordsOf(log);
    if (records.empty()) return;
    const Piece record = records[operation.b % records.size()], another = records[operation.d % records.size()];
    const std::size_t which = operation.a % (std::size(kFields) + 1);
    const Field field = which < std::size(kFields)
                            ? kFields[which]
                            : Field{static_cast<int>(operation.c >> 8) % static_cast<int>(record.length), 1};
    const std::size_t at = field.offset < 0 ? record.start + record.length - static_cast<std::size_t>(-field.offset)
                                            : record.start + static_cast<std::size_t>(field.offset);
    if (at + static_cast<std::size_t>(field.width) > log.size()) return;
    const std::uint32_t old = loadBig(log.data() + at, field.width);
    std::uint32_t value = operation.d;
    switch (operation.c & 0x0f) {
    case 0: value = 0; break;
    case 1: value = 0xffffffff; break;
    case 2: value = 0x7fff; break;
    case 3: value = old + 1; break;
    case 4: value = old - 1; break;
    case 5: value = static_cast<std::uint32_t>(another.start); break;
    case 6: value = static_cast<std::uint32_t>(record.start); break;
    case 7: value = static_cast<std::uint32_t>(another.length); break;
    case 8: value = loadBig(log.data() + another.start + logrec::kTypeOffset, 2); break;
    case 9: value = old ^ 1U << operation.d % 16; break;
    case 10: value = operation.d % 64; break;
    default: break;
    }
    storeBig(value, log.data() + at, field.width);
}

class Record {
  public:
    explicit Record(int type) : bytes_(logrec::kHeadSize) { storeBig(static_cast<std::uint32_t>(type), &bytes_[2], 2); }
    Record &number(std::uint32_t value, int width) {
        bytes_.resize(bytes_.size() + static_cast<std::size_t>(width));
        storeBig(value, &bytes_[bytes_.size() - static_cast<std::size_t>(width)], width);
        return *this;
    }
    Record &bytes(const char *first, std::size_t length) {
        bytes_.insert(bytes_.end(), first, first + length);
        return *this;
    }
    Record &name(const char *text) { return bytes(text, std::strlen(text) + 1); }
    Record &key(std::uint32_t choice) {
        number(choice % 3, 2).number(1, 2).number(choice % 5 == 4 ? 300 : 4, 2);
        return number(choice % 64, 2).number(4, 2).number(choice % 4, 2);
    }
    // head as another record has it, for writer and chain.
    Bytes done(const std::uint8_t *head) {
        number(0, 2);
        if (head != nullptr) std::copy(head + logrec::kProcessOffset, head + logrec::kHeadSize, &bytes_[4]);
        storeBig(static_cast<std::uint32_t>(bytes_.size()), &bytes_[0], 2);
        storeBig(static_cast<std::uint32_t>(bytes_.size()), &bytes_[bytes_.size() - 2], 2);
        return bytes_;
    }

  private:
    Bytes bytes_;
};

const char *nameFor(std::uint32_t choice) {
    static const std::string longest(251, 'n'), longer(60000, 'n');
    static const char *const kNames[] = {"m/a", "m/b", "m/c", "m/d", "", "none/x", "m/log", "m/elsewhere"};
    if (choice % 16 == 14) return longest.c_str();
    if (choice % 16 == 15) return longer.c_str();
    return kNames[choice % std::size(kNames)];
}

Bytes put(const Operation &operation, const std::uint8_t *head) {
    static char image[kMaxLength];
    const Kind &kind = kinds()[operation.c / 64 % kinds().size()];
    const int full = fillRecord(kind, operation.d, image, sizeof image);
    const auto length = static_cast<std::size_t>(operation.c % 7 == 0 ? std::min<std::uint32_t>(operation.d, kMaxLength)
                                                                      : static_cast<std::uint32_t>(full));
    const std::uint32_t fd = operation.c % 4, recnum = operation.d % 20;
    using namespace logtype;
    static constexpr int kTypes[] = {kFileOpen,  kFileClose, kBuild,    kErase,  kRename, kCreateIndex,
                                     kDropIndex, kSetUnique, kUnique,   kDelete, kInsert, kUpdate,
                                     kBegin,     kCommit,    kRollBack, 0x4142};
    const int type = kTypes[operation.a % std::size(kTypes)];
    Record record(type);
    switch (type) {
    case kFileOpen:
    case kFileClose: record.number(fd, 2).number(operation.c / 4 % 2, 2).name(nameFor(operation.d)); break;
    case kBuild:
        record.number(operation.c / 4 % 2 != 0 ? ISINOUT | ISVARLEN : operation.d % 0x10000, 2);
        record.number(operation.d % 100, 2).number(operation.d / 100 % 40000, 2).key(operation.d);
        record.name(nameFor(operation.c >> 8));
        break;
    case kErase: record.name(nameFor(operation.d)); break;
    case kRename: {
        const char *from = nameFor(operation.d), *to = nameFor(operation.d >> 8);
        record.number(static_cast<std::uint32_t>(std::strlen(from)) + 1 + operation.c / 4 % 2, 2);
        record.number(static_cast<std::uint32_t>(std::strlen(to)) + 1, 2).name(from).name(to);
        break;
    }
    case kCreateIndex:
    case kDropIndex: record.number(fd, 2).key(operation.d); break;
    case kSetUnique:
    case kUnique: record.number(fd, 2).number(operation.d, 4); break;
    case kDelete:
    case kInsert:
        record.number(fd, 2).number(recnum, 4).number(static_cast<std::uint32_t>(length), 2).bytes(image, length);
        break;
    case kUpdate:
        record.number(fd, 2).number(recnum, 4).number(static_cast<std::uint32_t>(length), 2);
        record.number(static_cast<std::uint32_t>(full), 2)
            .bytes(image, length)
            .bytes(image, static_cast<std::size_t>(full));
        break;
    default: break;
    }
    return record.done(head);
}

// a: type; b: behind which record; c, d: what is in it.
void add(Bytes &log, const Operation &operation) {
    const std::vector<Piece> records = recordsOf(log);
    const Piece *const near = records.empty() ? nullptr : &records[operation.b % records.size()];
    const Bytes made = put(operation, near != nullptr ? log.data() + near->start : nullptr);
    if (made.size() > logrec::kMaxSize || log.size() + made.size() > memory_files::kDiskSize / 4) return;
    log.insert(log.begin() + static_cast<std::ptrdiff_t>(near != nullptr ? near->start + near->length : 0),
               made.begin(), made.end());
}

void move(Bytes &log, const Operation &operation) {
    const std::vector<Piece> records = recordsOf(log);
    if (records.empty()) return;
    const Piece record = records[operation.b % records.size()], before = records[operation.c % records.size()];
    const auto start = log.begin() + static_cast<std::ptrdiff_t>(record.start);
    const Bytes copy(start, start + static_cast<std::ptrdiff_t>(record.length));
    if (operation.a % 2 == 0)
        log.erase(start, start + static_cast<std::ptrdiff_t>(record.length));
    else if (log.size() + copy.size() < memory_files::kDiskSize / 4)
        log.insert(log.begin() + static_cast<std::ptrdiff_t>(before.start), copy.begin(), copy.end());
}

}  // namespace

void damageLog(DamageCode code, const Operation &operation) {
    if (code == DamageCode::AddRecord) return add(memory_files::make("m/log"), operation);
    Bytes *const log = memory_files::find("m/log");
    if (log == nullptr) return;
    if (code == DamageCode::LogField)
        setField(*log, operation);
    else
        move(*log, operation);
}

}  // namespace fuzz
