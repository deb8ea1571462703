#include "archive/archive.h"

#include "archive/format.h"
#include "archive/order.h"
#include "archive/settings.h"
#include "archive/stream.h"
#include "archive/unchanged.h"
#include "base/failure.h"
#include "base/progress.h"
#include "base/scan.h"

#include <algorithm>

namespace tool {

namespace {

class Writer {
  public:
    Writer(const OpenFile &file, std::ostream &out)
        : file_(file), out_(out, file.name()), keys_(file.indexes()),
          about_(static_cast<std::uint32_t>(file.recordCount())), progress_("dumping " + file.name(), about_) {}

    std::vector<std::string> write() {
        if (file_.hasRecords()) order_ = findWritingOrder(file_, keys_);
        putHead();
        if (!file_.hasRecords())
            putKeys();
        else if (order_.byNumber)
            putByNumber();
        else
            putByOrder();
        out_.put8(archive::kEnd);
        out_.put64(entries_);
        out_.finish();
        return std::move(order_.notes);
    }

  private:
    unsigned kind(const Settings &settings) const {
        int mode = 0;
        isgetmode(file_.fd(), &mode);
        unsigned kind = 0;
        if (file_.variableLength()) kind |= archive::kVariable;
        if (file_.variableLength() && (mode & ISCOMPRESS) != 0) kind |= archive::kCompressed;
        if (file_.hasMasks()) kind |= archive::kMasks;
        if (!file_.hasPrimaryKey()) kind |= archive::kByNumber;
        if (settings.precious) kind |= archive::kPrecious;
        if (settings.hasTrail) kind |= archive::kTrail;
        if (settings.auditing) kind |= archive::kAuditing;
        return kind;
    }

    std::uint32_t lastRecord() const {
        if (!file_.hasRecords()) return 0;
        std::vector<char> record(recordRoom(file_));
        if (isindex(file_.fd(), 0, 0) == 0 && isread(file_.fd(), record.data(), ISLAST) == 0)
            return static_cast<std::uint32_t>(isrecnum);
        if (iserrno != ISERR_ENDOFFILE) failCall(file_.name(), "cannot be read");
        return 0;
    }

    void putHead() {
        const Settings settings = readSettings(file_);
        long highest = 0;
        if (isgetlastrec(file_.fd(), &highest) != 0) failCall(file_.name(), "cannot be read");
        out_.bytes(archive::kMagic);
        out_.put16(archive::kVersion);
        out_.put16(kind(settings));
        out_.put16(static_cast<std::uint64_t>(file_.minimumLength()));
        out_.put16(static_cast<std::uint64_t>(file_.maximumLength()));
        out_.put32(static_cast<std::uint64_t>(highest));
        out_.put32(lastRecord());
        out_.put32(about_);
        out_.put32(settings.uniqueId);
        out_.bytes({settings.userInfo.data(), settings.userInfo.size()});
        out_.put8(settings.trail.size());
        out_.bytes(settings.trail);
        out_.put8(keys_.size());
        for (std::size_t i = 0; i < keys_.size(); ++i)
            putIndex(keys_[i], order_.fillings.empty() ? Filling::kWritten : order_.fillings[i]);
    }

    void putIndex(const KeyDesc &key, Filling filling) {
        out_.put16(key.flags);
        out_.put8(static_cast<std::uint64_t>(key.nparts));
        for (int i = 0; i < key.nparts; ++i) {
            out_.put16(static_cast<std::uint64_t>(key.parts[i].start));
            out_.put16(static_cast<std::uint64_t>(key.parts[i].length));
            out_.put16(key.parts[i].type);
        }
        out_.put8(static_cast<std::uint64_t>(filling));
    }

    void begin(archive::Tag tag) {
        out_.put8(tag);
        ++entries_;
        progress_.step();
    }

    void putRecord(std::uint32_t number, int length, const char *record) {
        begin(archive::kRecord);
        out_.put32(number);
        out_.put16(static_cast<std::uint64_t>(length));
        if (file_.hasMasks()) out_.put32(static_cast<std::uint64_t>(isgetmask(file_.fd())));
        out_.bytes({record, static_cast<std::size_t>(length)});
    }

    void putByNumber() {
        Scan scan(file_, 0);
        while (scan.next())
            putRecord(scan.number(), scan.length(), scan.record());
    }

    void putByOrder() {
        std::vector<char> record(recordRoom(file_));
        for (const auto &[number, moved] : order_.steps) {
            if (moved != 0) {
                begin(archive::kMove);
                out_.put16(moved);
                out_.put32(number);
                continue;
            }
            if (isdata(file_.fd(), record.data(), static_cast<long>(number)) != 0)
                failCall(file_.name(), "record " + std::to_string(number) + " cannot be read");
            putRecord(number, file_.variableLength() ? isreclen : file_.maximumLength(), record.data());
        }
    }

    void putKeys() {
        if (keys_.empty()) return;
        const KeyDesc &key = keys_.front();
        Scan scan(file_, 1);
        while (scan.next()) {
            begin(archive::kKey);
            out_.put32(scan.number());
            for (int i = 0; i < key.nparts; ++i)
                out_.bytes({scan.record() + key.parts[i].start, static_cast<std::size_t>(key.parts[i].length)});
        }
    }

    const OpenFile &file_;
    ArchiveOut out_;
    std::vector<KeyDesc> keys_;
    std::uint32_t about_;
    Progress progress_;
    WritingOrder order_;
    std::uint64_t entries_ = 0;
};

}  // namespace

std::vector<std::string> writeArchive(const OpenFile &file, std::ostream &out) {
    return readUnchanged(file, [&out](const OpenFile &reader) { return Writer(reader, out).write(); });
}

}  // namespace tool
