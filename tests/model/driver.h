// Plays random calls of one shape to the library and to the model at once and compares all that comes back.
#ifndef TESTS_MODEL_DRIVER_H
#define TESTS_MODEL_DRIVER_H

#include "file_model.h"
#include "random.h"
#include "shape.h"

#include "support/file_check.h"
#include "support/file_reader.h"
#include "support/remnant.h"
#include "support/temp_dir.h"

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace model {

struct RunStatistics {
    long calls = 0;                         // random calls, those of the full scans not counted
    long scanReads = 0;                     // calls of the full scans
    long checks = 0;                        // structural checks
    long viaPath = 0;                       // answers that came from where the tree stood
    long avoided = 0;                       // changes left out because equal keys would not stay in order
    long addsTakenBack = 0;                 // indexes added and dropped at once
    long takenBack = 0;                     // rebuilds and clusterings, for the order of equal keys
    long copiedRecords = 0;                 // into files made for it
    long clusteredRecords = 0;              // into files that took the place of the old ones
    long resets = 0;                        // reopenings
    long remnantNodes = 0;                  // most nodes with tails seen in a file
    long auditEntries = 0;                  // compared
    long tooLong = 0;                       // writes refused for their length
    int levels = 0;                         // levels of the highest tree seen
    std::map<std::string, long> succeeded;  // random calls by name
    std::map<std::string, long> failed;
};

class Driver {
  public:
    Driver(const Shape &shape, RunStatistics *statistics);
    ~Driver();

    // Builds the file and makes about the given number of random calls. False after a difference.
    // everyCall: check the bytes after each call, to find the one that does the harm.
    bool run(int calls, bool everyCall = false);

    // Of the bytes of index and data file at every check so far.
    std::uint64_t digest() const { return digest_; }

    // What went wrong, with seed, shape and the last operations.
    std::string report() const;

  private:
    static constexpr int kUnusedLength = 7777;  // where the length given to a call must not matter

    enum Operation {
        kRead,
        kStart,
        kIndex,
        kGoto,
        kData,
        kPushPop,
        kWrite,
        kWriteCurrent,
        kWriteLock,
        kRewrite,
        kRewriteRecord,
        kRewriteCurrent,
        kRewriteNext,
        kDelete,
        kDeleteRecord,
        kDeleteCurrent,
        kUniqueId,
        kSetUnique,
        kLastRecord,
        kAddIndex,
        kDropIndex,
        kPrecious,
        kAudit,
        kInformation,
        kReopen,
        kLocks,
        kSetMask,
        kUserInfo,
        kWholeFile,
        kOperations
    };

    // driver.cpp: the run.
    bool build();
    void perform(Operation operation);
    Operation chooseOperation(int call, int calls);
    bool checkBatch();
    bool checkStructure();
    void digestFiles();
    std::string compareTrails();
    std::uint32_t changeCounter();
    bool scanIndex(std::size_t handle, std::size_t index);
    bool askLibrary(const testing_support::CheckReport &report);
    void closeAll();

    // driver_calls.cpp: one call each.
    void read(std::size_t handle, int mode, const Buffer &record, long recnum);
    void start(std::size_t handle, const KeyDesc *key, int length, int mode, const Buffer &record, long recnum);
    void randomRead();
    void randomStart();
    void randomIndex();
    void randomGoto();
    void randomData();
    void randomPushPop();
    void randomWrite(FileModel::Write how);
    void randomRewrite(Operation operation);
    void randomDelete(Operation operation);
    void randomAddIndex();
    void randomDropIndex();
    void randomLocks();
    void randomUnique(Operation operation);
    void randomPrecious();
    void randomAudit();
    void randomReopen();
    void randomMask();

    // driver_maint.cpp: whole files.
    void randomWholeFile();
    void randomRebuildFree();
    void randomRebuildIndex();
    Outcome rebuild(std::size_t handle, int number);
    bool settleMasks(std::size_t handle, std::size_t index);
    void randomCluster();
    struct Kept {
        FileModel model;
        testing_support::Bytes index;
        testing_support::Bytes data;
    };
    Kept keep() const { return {model_, reader_->indexFile(), reader_->dataFile()}; }
    void takeBack(const Kept &kept);
    void adoptFile(const Kept &before);
    void settleRebuild(const Outcome &expected, int done, int fd, std::uint32_t counter);
    int lowestFreeFd() const;
    bool largeToday();
    std::string describeOrder(const KeyDesc *key) const;
    const KeyDesc *someOrder(KeyDesc *key);

    // driver_copy.cpp: a second file set, from its making to its end.
    void randomCopy();
    int makeCopy(std::size_t handle);
    void fillCopy(std::size_t handle, int to, const KeyDesc *given, FileModel *copy);
    void compareCopy(int to, const FileModel &copy, testing_support::FileReader *reader);
    void thinOut(int to, FileModel *copy);
    void eraseCopy(int to);

    // driver_info.cpp: what a handle and its file tell of themselves.
    void randomInformation();
    void randomUserInfo();
    void compareAccessors(std::size_t handle);

    // Comparing.
    Outcome prepare(const Buffer &record, long recnum, int reclen = kUnusedLength);
    Outcome collect(int ret, const Buffer &record, long value = 0) const;
    bool same(const Outcome &expected, const Outcome &actual, std::string *why) const;
    void settle(const std::string &what, const Outcome &expected, const Outcome &actual);
    void checkHandle(std::size_t handle, const std::string &what);
    void fail(const std::string &what);

    // Equal keys and their serials.
    struct Prediction {
        std::size_t index;
        std::uint32_t serial;
        std::uint32_t other;  // allowed as well
    };
    bool predict(std::size_t handle, const Buffer &record, std::vector<Prediction> *out);
    bool riskyRewrite(std::size_t handle, const Buffer &record, long rec);
    void takeSerials(const std::vector<Prediction> *predictions);
    bool takeAllSerials(std::size_t index);
    bool adoptSerials(const testing_support::CheckReport &report, std::size_t index);

    // Where the last piece of a tail goes, by the heads of the buckets before the write.
    using Rooms = std::array<testing_support::RemnantReader::Place, 5>;
    Rooms foreseeRooms();
    void checkRoom(const Rooms &rooms, long rec);

    // Choosing.
    Buffer randomRecord();
    Buffer someRecord();  // of the file, often with a change
    // Gives the record a tail, or leaves it with that of record rec; returns the length of the whole.
    int giveTail(Buffer *record, long rec);
    int openFlags();  // every second open is mapped; for a file that has variable-length records more
    long someRecnum();
    long liveRecnum();
    std::uint32_t someMask();
    std::size_t someHandle() { return static_cast<std::size_t>(random_.below(static_cast<int>(fds_.size()))); }
    int partialLength(const IndexSpec &spec);
    KeyDesc descOf(std::size_t index) const;

    Shape shape_;
    Random random_;
    RunStatistics *statistics_;
    std::uint64_t digest_ = 0;
    testing_support::TempDir dir_;
    std::string base_;
    std::unique_ptr<testing_support::FileReader> reader_;
    FileModel model_;
    std::vector<int> fds_;
    std::vector<KeyDesc> descs_;  // of the model's indexes, in order
    int ascending_ = 0;
    int opens_ = 0;
    long pureRecnum_ = 0;
    bool failed_ = false;
    std::string error_;
    std::uint32_t since_;  // when the run began
    struct Trail {
        std::size_t compared = 0;  // bytes
        std::vector<testing_support::AuditEntry> entries;
    };
    std::map<std::string, Trail> trails_;  // by name: entries not compared yet
    std::deque<std::string> log_;
    std::string pending_;  // the call in progress, for a fatal stop
    bool scanning_ = false;
};

// Ends the process after a report on the run in progress; installed as the library's fatal handler.
void installFatalReport();

}  // namespace model

#endif
