#include "archive/archive.h"

#include "archive/format.h"
#include "archive/order.h"
#include "archive/settings.h"
#include "archive/stream.h"
#include "base/failure.h"
#include "base/key_image.h"
#include "base/place.h"
#include "base/progress.h"
#include "base/scan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <optional>
#include <set>

namespace tool {

namespace {

constexpr int kMadeIndex = 0x21;  // iserrio where the index file could not be made, and the data file
constexpr int kMadeData = 0x22;
constexpr long kOutOfAllIndexes = 0xffffffff;
constexpr unsigned kByteValues = 256;
constexpr int kMostLength = 65535;
constexpr unsigned kTypeBits = 0x3f;
constexpr std::array<const char *, 2> kExtensions = {".idx", ".dat"};

struct Head {
    unsigned kind = 0;
    int minimum = 0;
    int maximum = 0;
    std::uint32_t highest = 0;
    std::uint32_t lastRecord = 0;
    std::uint32_t about = 0;
    Settings settings;
    std::vector<KeyDesc> keys;
    std::vector<Filling> fillings;

    bool is(archive::Kind bit) const { return (kind & bit) != 0; }
};

KeyDesc getKey(ArchiveIn &in) {
    KeyDesc key = {};
    key.flags = static_cast<unsigned short>(in.get16());
    key.nparts = static_cast<short>(in.get8());
    if (key.nparts < 1 || key.nparts > ISMAXPARTS) in.damaged("a key has too many parts, or none");
    for (int i = 0; i < key.nparts; ++i) {
        key.parts[i].start = static_cast<short>(in.get16());
        key.parts[i].length = static_cast<short>(in.get16());
        key.parts[i].type = static_cast<unsigned short>(in.get16());
        if (key.parts[i].start < 0 || key.parts[i].length < 0) in.damaged("a key's part lies outside the record");
    }
    if (keyLength(key) > ISMAXKEYLEN) in.damaged("a key is too long");
    return key;
}

void getSettings(ArchiveIn &in, Head &head) {
    head.settings.uniqueId = in.get32();
    const char *info = in.bytes(ISUSERINFOLEN);
    std::copy_n(info, ISUSERINFOLEN, head.settings.userInfo.begin());
    const unsigned length = in.get8();
    if (length > ISAUDNAMELEN) in.damaged("the audit trail's name is too long");
    head.settings.trail.assign(in.bytes(length), length);
    head.settings.precious = head.is(archive::kPrecious);
    head.settings.hasTrail = head.is(archive::kTrail);
    head.settings.auditing = head.is(archive::kAuditing);
}

void checkShape(const ArchiveIn &in, const Head &head) {
    const bool variable = head.is(archive::kVariable);
    if (variable ? head.minimum < 1 || head.maximum <= head.minimum : head.maximum != head.minimum)
        in.damaged("its record lengths do not fit together");
    if (head.maximum > (variable ? ISMAXVARLEN : kMostLength)) in.damaged("its records are too long");
    if (head.minimum == 0 && head.is(archive::kMasks)) in.damaged("it has masks without records");
    if (head.keys.size() > ISMAXINDEXES || (head.minimum == 0 && head.keys.size() > 1))
        in.damaged("it has too many indexes");
    if (head.keys.empty() && !head.is(archive::kByNumber)) in.damaged("its primary key is missing");
    if (head.lastRecord > head.highest) in.damaged("its record numbers do not fit together");
}

Head getHead(ArchiveIn &in) {
    if (std::string_view(in.bytes(archive::kMagic.size()), archive::kMagic.size()) != archive::kMagic)
        in.damaged("it does not begin as one");
    const unsigned version = in.get16();
    if (version != archive::kVersion) in.damaged("its form is version " + std::to_string(version));
    Head head;
    head.kind = in.get16();
    if ((head.kind & ~static_cast<unsigned>(archive::kAllKinds)) != 0) in.damaged("it is of no known kind");
    head.minimum = static_cast<int>(in.get16());
    head.maximum = static_cast<int>(in.get16());
    head.highest = in.get32();
    head.lastRecord = in.get32();
    head.about = in.get32();
    getSettings(in, head);
    for (unsigned left = in.get8(); left > 0; --left) {
        head.keys.push_back(getKey(in));
        const unsigned filling = in.get8();
        const bool mayBeAdded = head.minimum != 0 && (head.keys.size() > 1 || head.is(archive::kByNumber));
        if (filling > (mayBeAdded ? 1U : 0U)) in.damaged("an index is filled in no known way");
        head.fillings.push_back(static_cast<Filling>(filling));
        if (head.keys.size() > 1 && head.fillings.end()[-2] > head.fillings.back())
            in.damaged("its indexes are in no order");
    }
    checkShape(in, head);
    return head;
}

template <typename Number> bool isNan(const char *bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return std::isnan(number);
}

// Such a key stands nowhere in an index, and would not be found again.
bool holdsNan(const KeyDesc &key, const std::vector<char> &record) {
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const unsigned type = part.type & kTypeBits;
        if (type != DOUBLETYPE && type != FLOATTYPE) continue;
        const int size = static_cast<int>(type == DOUBLETYPE ? sizeof(double) : sizeof(float));
        for (const char *at = record.data() + part.start; at < record.data() + part.start + part.length; at += size)
            if (type == DOUBLETYPE ? isNan<double>(at) : isNan<float>(at)) return true;
    }
    return false;
}

bool exists(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

// A file set in the making, beside the place that it gets when it is whole; removed unless it is kept.
class NewFile {
  public:
    NewFile(const std::string &name, const Head &head) : place_(linkedPlace(name)), name_(place_ + ".being-loaded") {
        for (const char *extension : kExtensions)
            if (exists(place_ + extension)) throw Failure(name + ": a file of that name exists: " + place_ + extension);
        removeLeftOver();
        unsigned mode = ISINOUT | ISLOCKEXCL | ISNOLOG | ISMAPPED;
        if (head.is(archive::kVariable)) mode |= ISVARLEN;
        if (head.is(archive::kCompressed)) mode |= ISVARLEN | ISCOMPRESS;
        if (head.is(archive::kMasks)) mode |= ISMASK;
        KeyDesc key = head.is(archive::kByNumber) ? KeyDesc{} : head.keys.front();
        const int fd = isvbuild(name_.c_str(), head.minimum, head.maximum, &key, static_cast<int>(mode));
        if (fd < 0) giveUp();
        try {
            file_.emplace(fd, name_);
        } catch (const Failure &) {
            iserase(name_.c_str());
            throw;
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() {
        if (!file_.has_value()) return;
        file_.reset();
        iserase(name_.c_str());
    }

    const OpenFile &file() const { return *file_; }
    // The data file goes first: without an index file there is no set. Nothing that stands there by now is replaced.
    void keep() {
        file_->close();
        file_.reset();
        const bool has_data = exists(name_ + ".dat");
        if (has_data && !isMoved(".dat")) giveUpMoving(".dat");
        if (isMoved(".idx")) return;
        const int code = errno;
        if (has_data) std::remove((place_ + ".dat").c_str());
        errno = code;
        giveUpMoving(".idx");
    }

  private:
    bool isMoved(const std::string &extension) const {
        const std::string from = name_ + extension, to = place_ + extension;
        if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
        // Not every file system knows how not to replace.
        return errno == EINVAL && !exists(to) && std::rename(from.c_str(), to.c_str()) == 0;
    }

    [[noreturn]] void giveUpMoving(const std::string &extension) const {
        const int code = errno;
        for (const char *each : kExtensions)
            std::remove((name_ + each).c_str());
        errno = code;
        failSystem(place_ + extension, "cannot be made");
    }

    // What a process that was killed has left here. One that is at work has it to itself.
    void removeLeftOver() const {
        for (const char *extension : kExtensions)
            if (exists(name_ + extension) && othersHave(name_))
                throw Failure(place_ + ": is being loaded by another process");
        for (const char *extension : kExtensions)
            std::remove((name_ + extension).c_str());
    }

    // What isbuild made before it failed stays on disk.
    [[noreturn]] void giveUp() const {
        const int code = iserrno;
        const int io = iserrio;
        std::error_code ignored;
        if (code != EEXIST || io != kMadeIndex) std::filesystem::remove(name_ + ".idx", ignored);
        if (code != EEXIST || (io != kMadeIndex && io != kMadeData)) std::filesystem::remove(name_ + ".dat", ignored);
        failCall(place_, "cannot be made");
    }

    std::string place_;
    std::string name_;
    std::optional<OpenFile> file_;
};

class Reader {
  public:
    // name: what failures call the file.
    Reader(ArchiveIn &in, const Head &head, const OpenFile &file, const std::string &name)
        : in_(in), head_(head), file_(file), name_(name), fd_(file.fd()), record_(recordRoom(file)),
          progress_("loading " + name, head.about), sets_(movableSets(head.keys, head.fillings)) {}

    std::vector<std::string> read() {
        for (std::size_t i = firstIndex(); i < head_.keys.size(); ++i)
            if (head_.fillings[i] == Filling::kWritten) addIndex(i);
        if (head_.minimum != 0) makeRoom();
        getEntries();
        // Only now is it known that nothing of this is damaged; what follows may take long.
        in_.finish();
        progress_.clear();
        for (std::size_t i = firstIndex(); i < head_.keys.size(); ++i)
            if (head_.fillings[i] == Filling::kAdded) addIndex(i);
        freeNumbers();
        writeSettings(file_, head_.settings);
        return std::move(notes_);
    }

  private:
    std::size_t firstIndex() const { return head_.is(archive::kByNumber) ? 0 : 1; }

    void need(int result) const {
        if (result != 0) failCall(name_, "cannot be loaded");
    }

    void addIndex(std::size_t i) const {
        KeyDesc key = head_.keys[i];
        if (isaddindex(fd_, &key) != 0) failCall(name_, "index " + std::to_string(i + 1) + " cannot be made");
    }

    // The file ends with a slot that is free: a record of that number comes and goes. In precious mode its number is
    // not used again.
    void makeRoom() {
        if (head_.lastRecord == head_.highest) return;
        need(isprecious(fd_, 1));
        setLast(head_.highest - 1);
        writeRecord(head_.highest, head_.minimum, kOutOfAllIndexes);
        need(isdelrec(fd_, static_cast<long>(head_.highest)));
    }

    void setLast(std::uint32_t number) {
        if (last_ == number) return;
        need(issetlastrec(fd_, static_cast<long>(number)));
        last_ = number;
    }

    // Writes the record in record_ where the highest number is one below. The list of free numbers is empty.
    void writeRecord(std::uint32_t number, int length, long mask) {
        if (head_.is(archive::kMasks)) issetmask(fd_, mask);
        isreclen = length;
        if (iswrite(fd_, record_.data()) != 0)
            failCall(name_, "record " + std::to_string(number) + " cannot be loaded");
        if (isrecnum != static_cast<long>(number)) in_.damaged("its record numbers do not fit together");
        last_ = number;
    }

    void getEntries() {
        std::uint64_t count = 0;
        for (unsigned tag = in_.get8(); tag != archive::kEnd; tag = in_.get8()) {
            if (tag == archive::kRecord && head_.minimum != 0)
                getRecord();
            else if (tag == archive::kKey && head_.minimum == 0 && !head_.keys.empty())
                getKeyEntry();
            else if (tag == archive::kMove && head_.minimum != 0)
                getMove();
            else
                in_.damaged("an entry is of no known kind");
            ++count;
            progress_.step();
        }
        endRecords();
        if (in_.get64() != count) in_.damaged("it has lost entries");
    }

    void getRecord() {
        const std::uint32_t number = in_.get32();
        const int length = static_cast<int>(in_.get16());
        const long mask = head_.is(archive::kMasks) ? static_cast<long>(in_.get32()) : 0;
        if (number == 0 || number > head_.lastRecord) in_.damaged("a record's number is too high");
        if (length < head_.minimum || length > head_.maximum) in_.damaged("a record's length is wrong");
        std::copy_n(in_.bytes(static_cast<std::size_t>(length)), length, record_.begin());
        if (number <= most_) needFree(number);
        setLast(number - 1);
        writeRecord(number, length, mask);
        most_ = std::max(most_, number);
        ++records_;
    }

    // A record in its place would be lost.
    void needFree(std::uint32_t number) {
        std::vector<char> ignored(record_.size());
        setLast(most_);
        if (isdata(fd_, ignored.data(), static_cast<long>(number)) == 0) in_.damaged("two records have one number");
        if (iserrno != ISERR_NOTFOUND) need(-1);
    }

    void endRecords() {
        if (head_.minimum != 0 && most_ != head_.lastRecord) in_.damaged("its last record is missing");
        setLast(head_.highest);
    }

    void getKeyEntry() {
        const KeyDesc &key = head_.keys.front();
        const std::uint32_t number = in_.get32();
        for (int i = 0; i < key.nparts; ++i) {
            const auto length = static_cast<std::size_t>(key.parts[i].length);
            std::copy_n(in_.bytes(length), length, record_.begin() + key.parts[i].start);
        }
        isrecnum = static_cast<long>(number);
        need(iswrite(fd_, record_.data()));
    }

    void getMove() {
        const auto set = static_cast<IndexSet>(in_.get16());
        const std::uint32_t number = in_.get32();
        setLast(most_);
        if (number > most_ || isdata(fd_, record_.data(), static_cast<long>(number)) != 0)
            in_.damaged("a record that is to be moved is not there");
        if (head_.is(archive::kMasks))
            moveByMask(set, number);
        else
            moveByKey(set, number);
    }

    void moveByMask(IndexSet set, std::uint32_t number) {
        const int length = isreclen;
        const long mask = isgetmask(fd_);
        if ((mask & set) != 0) in_.damaged("a record that is to be moved is not in the index");
        need(rewrite(number, record_, length, mask | set));
        need(rewrite(number, record_, length, mask));
    }

    int rewrite(std::uint32_t number, std::vector<char> &record, int length, long mask) const {
        if (head_.is(archive::kMasks)) issetmask(fd_, mask);
        isreclen = length;
        return isrewrec(fd_, static_cast<long>(number), record.data());
    }

    void moveByKey(IndexSet set, std::uint32_t number) {
        const int length = isreclen;
        const auto found = sets_.find(set);
        if (found == sets_.end()) in_.damaged("a record cannot be moved in these indexes");
        for (const int offset : found->second) {
            if (!moveByByte(offset, number, length)) continue;
            need(rewrite(number, record_, length, 0));
            return;
        }
        for (std::size_t i = 0; i < head_.keys.size(); ++i)
            if ((set >> i & 1) != 0 && unmoved_.insert(i).second)
                notes_.push_back("index " + std::to_string(i + 1) + " does not keep its order among equal keys");
    }

    // Gives the record another key, with another byte there. A unique index may have the first ones already.
    bool moveByByte(int offset, std::uint32_t number, int length) {
        std::vector<char> changed = record_;
        char &byte = changed[static_cast<std::size_t>(offset)];
        const auto before = static_cast<unsigned char>(byte);
        for (unsigned step = 1; step < kByteValues; ++step) {
            byte = static_cast<char>(before ^ step);
            if (std::any_of(head_.keys.begin(), head_.keys.end(), [&](auto &key) { return holdsNan(key, changed); }))
                return false;
            if (rewrite(number, changed, length, 0) == 0) return true;
            if (iserrno != ISERR_DUPLICATE) need(-1);
        }
        return false;
    }

    // What is no record becomes free, the lowest number first in line, or in precious mode stays unused.
    void freeNumbers() {
        const bool gaps = head_.minimum != 0 && records_ != head_.highest;
        if (!head_.settings.precious && !gaps) return;
        need(isprecious(fd_, 1));
        need(issetlastrec(fd_, static_cast<long>(head_.highest)));
        if (!head_.settings.precious) need(isprecious(fd_, 0));
    }

    ArchiveIn &in_;
    const Head &head_;
    const OpenFile &file_;
    const std::string &name_;
    int fd_;
    std::vector<char> record_;
    Progress progress_;
    std::uint32_t last_ = 0;                     // highest number as the file has it
    std::uint32_t most_ = 0;                     // highest number of a record so far
    std::uint32_t records_ = 0;                  // so far
    std::map<IndexSet, std::vector<int>> sets_;  // see movableSets
    std::set<std::size_t> unmoved_;
    std::vector<std::string> notes_;
};

}  // namespace

std::vector<std::string> readArchive(std::istream &in, const std::string &name) {
    ArchiveIn archive(in, name);
    const Head head = getHead(archive);
    NewFile made(name, head);
    std::vector<std::string> notes = Reader(archive, head, made.file(), name).read();
    made.keep();
    return notes;
}

}  // namespace tool
