#include "mend/new_set.h"

#include "base/failure.h"
#include "base/open_file.h"
#include "base/progress.h"
#include "index/data_slots.h"
#include "index/survey.h"
#include "mend/old_records.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <isam_maint.h>

namespace tool {

namespace {

// Records that have no place in the new set, as they are; those of variable length each behind its length.
class Rejects {
  public:
    Rejects(std::string path, bool lengths) : path_(std::move(path)), lengths_(lengths) {}

    void add(const std::vector<std::uint8_t> &record) {
        if (!file_.is_open()) file_.open(path_, std::ios::binary | std::ios::app);
        char length[4];
        stlong(static_cast<long>(record.size()), length);
        if (lengths_) file_.write(length, sizeof length);
        file_.write(reinterpret_cast<const char *>(record.data()), static_cast<std::streamsize>(record.size()));
        if (!file_.flush()) throw Failure(path_ + ": cannot be written");
    }

  private:
    std::string path_;
    bool lengths_;
    std::ofstream file_;
};

OpenFile build(const Shape &shape, const std::string &place) {
    const IndexHeader &header = shape.header;
    KeyDesc first = {};
    std::size_t added = 0;
    if (!shape.noPrimaryKey) first = shape.indexes.at(added++);
    int mode = ISINOUT | ISLOCKEXCL | ISNOLOG;
    if (header.variable()) mode |= ISVARLEN | (header.compressed() ? ISCOMPRESS : 0);
    if (header.masks()) mode |= ISMASK;
    const int fd = isvbuild(place.c_str(), header.recordLength, header.maximum, &first, mode);
    if (fd < 0) failCall(place, "cannot be made");
    OpenFile file(fd, place);
    for (; added < shape.indexes.size(); ++added) {
        KeyDesc key = shape.indexes[added];
        if (isaddindex(fd, &key) != 0) failCall(place, "index " + std::to_string(added + 1) + " cannot be added");
    }
    return file;
}

class NewSet {
  public:
    NewSet(const FileView &view, BestShape &best, const std::string &place, const std::string &rejects)
        : view_(view), best_(best), shape_(best.shape), place_(place), rejects_(rejects, shape_.header.variable()) {}

    Saved run() {
        if (shape_.header.recordLength == 0) {
            OpenFile file = build(shape_, place_);
            writeKeys(file);
            keepSettings(file);
            file.close();
            return saved_;
        }
        OldRecords old(view_, shape_, best_.longestKnown);
        best_.shape.header = shape_.header = old.header();
        {
            OpenFile file = build(shape_, place_);
            writeRecords(file, old);
            file.close();
        }
        saved_.tailsLost = old.tailsLost();
        saved_.statusMended = old.statusMended();
        saved_.slotsMissing = old.slotsMissing();
        finish(old.slots());
        return saved_;
    }

  private:
    void writeRecords(const OpenFile &file, OldRecords &old) {
        Progress progress("saving " + view_.name(), old.slots());
        const auto longest = static_cast<std::size_t>(std::max(shape_.header.recordLength, shape_.header.maximum));
        std::uint64_t last = 0;
        OldRecord record;
        while (old.next(record)) {
            progress.step();
            if (record.kind == OldRecord::kDeleted) continue;
            if (record.kind == OldRecord::kUnsure) {
                ++saved_.unsure;
                rejects_.add(record.bytes);
                continue;
            }
            isreclen = static_cast<int>(record.bytes.size());
            std::vector<std::uint8_t> buffer = record.bytes;
            buffer.resize(longest);
            // It keeps its number.
            if (record.number != last + 1 && issetlastrec(file.fd(), static_cast<long>(record.number) - 1) != 0)
                failCall(place_, "record " + std::to_string(record.number) + " cannot be written");
            isreclen = static_cast<int>(record.bytes.size());
            last = record.number - 1;
            if (shape_.header.masks()) issetmask(file.fd(), static_cast<long>(record.mask));
            if (iswrite(file.fd(), reinterpret_cast<char *>(buffer.data())) == 0) {
                last = record.number;
                ++saved_.records;
            } else if (iserrno == ISERR_DUPLICATE) {
                ++saved_.rejected;
                rejects_.add(record.bytes);
            } else {
                failCall(place_, "record " + std::to_string(record.number) + " cannot be written");
            }
        }
    }

    // The numbers behind the last record, and those of deleted ones.
    void finish(std::uint64_t slots) {
        const std::uint64_t length = slots * static_cast<std::uint64_t>(shape_.header.slotLength());
        const std::string data = place_ + ".dat";
        if (std::filesystem::file_size(data) < length) std::filesystem::resize_file(data, length);
        OpenFile file = OpenFile::alone(place_);
        if (isRebuildFree(isAdmItoD(file.fd()), ISFREE_DATA) == 0) {
            iserrno = isErrno(isAdmItoD(file.fd()));
            failCall(place_, "the list of free record numbers cannot be made");
        }
        keepSettings(file);
        file.close();
    }

    void keepSettings(const OpenFile &file) {
        const IndexHeader &header = shape_.header;
        const auto insist = [this](int result, const char *what) {
            if (result != 0) failCall(place_, what);
        };
        if (!best_.settings) {
            saved_.notKept.emplace_back("next unique id, user area, precious mode, audit trail");
            return;
        }
        insist(issetunique(file.fd(), static_cast<std::int32_t>(header.uniqueId)), "the unique id cannot be set");
        auto area = header.userInfo;
        insist(isuserinfo(file.fd(), 1, area.data()), "the user area cannot be written");
        if (header.precious()) insist(isprecious(file.fd(), 1), "precious mode cannot be switched on");
        if (shape_.audit) {
            std::string name = shape_.audit->name;
            insist(isaudit(file.fd(), name.data(), ISAUDSETNAME), "the audit trail cannot be named");
            if (shape_.audit->on) insist(isaudit(file.fd(), nullptr, ISAUDSTART), "auditing cannot be switched on");
        } else if (header.auditNode != 0) {
            saved_.notKept.emplace_back("audit trail");
        }
    }

    // The entries of all leaves: those of the tree, and those that it has lost.
    void writeKeys(const OpenFile &file) {
        std::size_t longest = 0;
        for (const KeyDesc &key : shape_.indexes)
            for (int i = 0; i < key.nparts; ++i)
                longest =
                    std::max<std::size_t>(longest, static_cast<std::size_t>(key.parts[i].start + key.parts[i].length));
        std::vector<char> record(longest);
        forOldKeys(view_, shape_, [&](const KeyDesc &key, const KeyEntry &entry) {
            std::size_t from = 0;
            for (int i = 0; i < key.nparts; ++i) {
                const auto length = static_cast<std::size_t>(key.parts[i].length);
                std::memcpy(&record[static_cast<std::size_t>(key.parts[i].start)], entry.key + from, length);
                from += length;
            }
            isrecnum = static_cast<long>(entry.pointer);
            if (iswrite(file.fd(), record.data()) == 0)
                ++saved_.records;
            else if (iserrno == ISERR_DUPLICATE)
                ++saved_.rejected;
            else
                failCall(place_, "a key cannot be written");
        });
    }

    const FileView &view_;
    BestShape &best_;
    Shape shape_;
    const std::string &place_;
    Rejects rejects_;
    Saved saved_;
};

}  // namespace

Saved countSaved(const FileView &view, BestShape &best) {
    Saved saved;
    if (best.shape.header.recordLength == 0) {
        forOldKeys(view, best.shape, [&saved](const KeyDesc &, const KeyEntry &) { ++saved.records; });
        return saved;
    }
    OldRecords old(view, best.shape, best.longestKnown);
    Progress progress("reading " + view.name(), old.slots());
    OldRecord record;
    while (old.next(record)) {
        progress.step();
        if (record.kind == OldRecord::kRecord) ++saved.records;
        if (record.kind == OldRecord::kUnsure) ++saved.unsure;
    }
    saved.tailsLost = old.tailsLost();
    saved.statusMended = old.statusMended();
    saved.slotsMissing = old.slotsMissing();
    return saved;
}

Saved makeNewSet(const FileView &view, BestShape &best, const std::string &place, const std::string &rejects) {
    return NewSet(view, best, place, rejects).run();
}

}  // namespace tool
