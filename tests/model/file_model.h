// What a file set and its handles should do, in the simplest form that answers every call: records in a
// vector, one sorted vector of (key, serial, record number) per index, a remembered position per index and
// handle.
//
// Equal keys of an index with duplicates stay in the order in which they came. Their serials decide only how
// a position is found again after its entry went; they depend on the shape of the tree, so they are taken
// from the file (setSerial).
#ifndef TESTS_MODEL_FILE_MODEL_H
#define TESTS_MODEL_FILE_MODEL_H

#include "support/audit_reader.h"
#include "support/key_image.h"

#include "isam.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace model {

using testing_support::IndexSpec;
using testing_support::Key;
using Buffer = std::vector<std::uint8_t>;

struct Entry {
    Key key;
    long rec = 0;
    std::uint32_t serial = 0;
};

struct Index {
    IndexSpec spec;
    std::vector<Entry> entries;
};

struct Record {
    Buffer bytes;    // as reading gives it, tail included
    Buffer stored;   // its tail as the file has it
    long stamp = 0;  // another one with each change
    std::uint32_t mask = 0;
    bool live = false;
};

// The lengths of a file's records, and how it keeps their tails.
struct Format {
    int recordLength = 0;   // of the fixed part, 0 for keys alone
    int maximumLength = 0;  // 0 for records of one length
    bool compressed = false;
    bool masked = false;

    bool variable() const { return maximumLength != 0; }
};

// Where a handle stands in one index. rec 0: nowhere.
struct Position {
    Key key;
    long rec = 0;
    std::uint32_t serial = 0;
    int startLength = 0;   // of key reads, as the last start set it
    int searchLength = 0;  // of the next start without a key
};

enum State : unsigned { kNextStays = 0x02, kPrevStays = 0x04, kNoCurrent = 0x40 };

struct Handle {
    bool exclusive = false;
    std::uint32_t current = 0;
    unsigned state = 0;
    std::vector<Position> positions;
    long natural = 0;  // position in record-number order
    std::uint32_t mask = 0;
    Record slot;  // the slot last read or written
    std::set<long> locks;
    bool lockCheck = false;
    bool logged = false;      // changes go into a log
    bool keepsLocks = false;  // and leave their records locked
};

// A call's results. It starts as a copy of the globals and the caller's buffer.
struct Outcome {
    int ret = 0;
    int err = 0;
    long recnum = 0;
    int reclen = 0;
    Buffer record;   // of a change: as long as the longest record, reclen tells what of it counts
    long value = 0;  // a number stored through a pointer
    bool recnumKnown = true;
    bool recordKnown = true;

    Outcome &fail(int code) {
        ret = -1;
        err = code;
        return *this;
    }
    bool ok() const { return ret == 0; }
};

// An entry put into an index with duplicates whose serial the model does not know yet.
struct NewEntry {
    std::size_t index = 0;
    Key key;
    long rec = 0;
};

// An entry that the file's audit trail gets.
struct Audited {
    std::string trail;
    testing_support::AuditEntry entry;
};

class FileModel {
  public:
    FileModel(const Format &format, const KeyDesc &primary);

    // Facts.
    const Format &format() const { return format_; }
    int recordLength() const { return format_.recordLength; }
    bool pure() const { return format_.recordLength == 0; }
    bool masked() const { return format_.masked; }
    bool variable() const { return format_.variable(); }
    bool noPrimary() const { return noPrimary_; }
    bool precious() const { return precious_; }
    std::size_t keyCount() const { return indexes_.size(); }
    const std::vector<Index> &indexes() const { return indexes_; }
    const std::vector<Record> &records() const { return records_; }  // record n at [n - 1]
    long last() const { return static_cast<long>(records_.size()); }
    bool live(long rec) const { return rec >= 1 && rec <= last() && record(rec).live; }
    long liveCount() const;
    Handle &handle(std::size_t i) { return handles_[i]; }
    std::size_t handleCount() const { return handles_.size(); }
    bool indexed(const Handle &h) const { return h.current < indexes_.size(); }
    // Number of the index a description names, keyCount for no parts, -1 for none.
    int find(const KeyDesc &key) const;
    // Number of entries equal to key in an index.
    bool holdsKey(std::size_t index, const Key &key) const;
    // True when the position names an entry by number and serial, but its key is not the remembered one.
    bool detached(const Handle &h, std::size_t index) const;
    // True when a read that does not locate can be foretold: the tail of the slot that it delivers is still there. In
    // an index that is the slot of recnum, in record-number order the one that the handle has at hand.
    bool foreseeable(const Handle &h, long recnum) const;
    void forgetSlot(Handle &h) const;
    // After work on the whole file it is any slot.
    void loseSlot(Handle &h) const;
    // True when the mask bits of every record tell which index holds it.
    bool masksConsistent() const;
    // The same, if an index were dropped.
    bool masksConsistentWithout(std::size_t index) const;

    // A handle's position and the entries around it, for messages.
    std::string describePosition(const Handle &h) const;

    long uniqueIdNow() const { return uniqueId_; }
    const Buffer &userInfo() const { return userInfo_; }
    const std::vector<long> &freeRecords() const { return free_; }  // reused from the back
    // The number that the next record gets.
    long nextRecord() const { return precious_ || free_.empty() ? last() + 1 : free_.back(); }
    // The record written or rewritten last.
    long newest() const;
    bool lockedByOther(const Handle &h, long rec) const;

    // Handles.
    void openAfterBuild(bool exclusive);
    Outcome open(std::size_t handle, bool exclusive);
    void addHandle() { handles_.emplace_back(); }
    void removeHandle(std::size_t i) { handles_.erase(handles_.begin() + static_cast<std::ptrdiff_t>(i)); }

    // Reading. viaPath: the tree still stands on the entry that the position's number and serial name.
    Outcome read(Handle &h, Outcome in, int mode, bool viaPath) const;
    Outcome start(Handle &h, Outcome in, const KeyDesc *key, int length, int mode, bool viaPath) const;
    Outcome index(Handle &h, Outcome in, int number, int reposition) const;
    Outcome gotoRecord(Handle &h, Outcome in, long rec) const;
    Outcome data(Handle &h, Outcome in, long rec) const;
    Outcome push(const Handle &h, Outcome in, int *number, long *rec) const;
    Outcome pop(Handle &h, Outcome in, int number, long rec) const;

    // Changing.
    enum class Write { kPlain, kLock, kCurrent };
    Outcome write(Handle &h, Outcome in, Write how);
    Outcome rewriteByKey(Handle &h, Outcome in);
    Outcome rewriteRecord(Handle &h, Outcome in, long rec);
    Outcome rewriteCurrent(Handle &h, Outcome in);
    Outcome rewriteNext(Handle &h, Outcome in);
    Outcome deleteByKey(Handle &h, Outcome in);
    Outcome deleteRecord(Handle &h, Outcome in, long rec);
    Outcome deleteCurrent(Handle &h, Outcome in);
    Outcome uniqueId(Outcome in);
    Outcome setUnique(Outcome in, long value);
    Outcome precious(Outcome in, bool on);
    Outcome addIndex(Handle &h, Outcome in, const KeyDesc &key);
    Outcome dropIndex(Handle &h, Outcome in, const KeyDesc &key);

    // Whole files. An order is an index, or any number behind the last one for record-number order.
    Outcome userInfo(Outcome in, int direction, Buffer *info);
    Outcome rebuildFree(Outcome in, int list);
    Outcome rebuildIndex(Handle &h, Outcome in, int number);
    // Once the serials are known: the handle that rebuilt it still stands on its record.
    void followEntry(Handle &h, std::size_t index) const;
    // The order that a description means, -1 for none; without one, that of the handle.
    int orderOf(const Handle &h, const KeyDesc *key) const;
    // Record numbers in an order, behind them those that the index leaves out.
    std::vector<long> recordsIn(std::size_t order) const;
    FileModel emptyLike() const;
    Outcome copyFrom(const FileModel &from, std::size_t order, Outcome in);
    Outcome cluster(std::size_t handle, Outcome in, const KeyDesc *key);

    // Audit trail.
    Outcome audit(Outcome in, int mode, std::string *name);
    bool hasAudit() const { return hasAudit_; }
    bool auditOn() const { return auditOn_; }
    const std::string &auditName() const { return auditName_; }
    std::vector<Audited> takeAudited();

    // Locks.
    Outcome lockFile(const Handle &h, Outcome in) const;
    Outcome unlock(Handle &h, Outcome in) const;
    Outcome releaseRecord(Handle &h, Outcome in, long rec) const;

    // The number that the record searched for by the first index's key has, 0 for none.
    long recordByKey(const Buffer &record) const;
    // The record that a rewrite or delete of the current record would touch.
    long currentRecord(const Handle &h) const;

    std::vector<NewEntry> takeNewEntries();
    // Gives an entry the serial that the file holds. False when it breaks the order of equal keys.
    bool setSerial(const NewEntry &entry, std::uint32_t serial);
    // Takes over all serials of an index, given in its order.
    void setSerials(std::size_t index, const std::vector<std::uint32_t> &serials);

  private:
    Record &record(long rec) { return records_[static_cast<std::size_t>(rec - 1)]; }
    const Record &record(long rec) const { return records_[static_cast<std::size_t>(rec - 1)]; }

    // First entry with a key equal or greater (greater) over length bytes.
    std::size_t lower(const Index &index, const Key &key, int length) const;
    std::size_t upper(const Index &index, const Key &key, int length) const;
    std::optional<std::size_t> findEntry(const Index &index, const Key &key, long rec) const;

    struct Standing {
        int kind = 0;  // 0 nothing at or after the position, 1 its entry, 2 one that follows
        std::size_t entry = 0;
    };
    Standing standing(const Index &index, const Position &at, bool viaPath) const;
    bool walk(const Index &index, const Position &at, int mode, bool viaPath, std::size_t *entry) const;
    bool locateIndexed(Handle &h, Outcome &o, int mode, int length, bool viaPath) const;
    bool locateNatural(Handle &h, Outcome &o, int mode) const;
    bool locate(Handle &h, Outcome &o, int mode, int length, bool viaPath) const;
    bool locateRecord(Handle &h, Outcome &o, long rec) const;
    void remember(Handle &h, Outcome &o, const Entry &entry) const;
    int adjusted(const Handle &h, int mode, bool substitute) const;

    // Bytes of the image that a change of the record leaves in a log.
    int imageLength(const Outcome &o) const;
    // The record as it is kept, with a stamp of its own.
    Record kept(const Outcome &o, std::uint32_t mask);
    void note(const char *type, long rec);
    bool inIndex(std::size_t index, const Key &key, std::uint32_t mask) const;
    void insert(std::size_t index, const Key &key, long rec);
    void erase(std::size_t index, const Key &key, long rec);
    Outcome changeRecord(Handle &h, Outcome o, long rec);
    Outcome removeRecord(Handle &h, Outcome o, long rec);
    Outcome rewritePure(Handle &h, Outcome o);
    Outcome refused(const Handle &h, Outcome o, long rec) const;
    void setUpPositions(Handle &h) const;

    Format format_;
    bool noPrimary_ = false;
    bool precious_ = false;
    long uniqueId_ = 1;
    Buffer userInfo_ = Buffer(ISUSERINFOLEN);
    std::vector<Index> indexes_;
    std::vector<Record> records_;
    std::vector<long> free_;  // reused from the back
    std::vector<Handle> handles_;
    std::vector<NewEntry> newEntries_;
    long stamps_ = 0;
    bool hasAudit_ = false;
    bool auditOn_ = false;
    std::string auditName_;
    std::vector<Audited> audited_;
};

}  // namespace model

#endif
