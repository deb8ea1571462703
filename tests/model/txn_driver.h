// Plays random transactions over several files to the library and to a world that tells how they should come out; then
// recovers copies of the files from the log and compares again.
#ifndef TESTS_MODEL_TXN_DRIVER_H
#define TESTS_MODEL_TXN_DRIVER_H

#include "random.h"
#include "txn_world.h"

#include "support/temp_dir.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace model {

struct TxnStatistics {
    long steps = 0;
    long commits = 0;
    long rollbacks = 0;
    long failedRollbacks = 0;
    long takenBack = 0;  // descriptors closed and opened again in a transaction
    long recoveries = 0;
    long unfinished = 0;  // of these, with a transaction that has no end
    long logRecords = 0;
    long checks = 0;                        // of files through their descriptors
    std::map<std::string, long> succeeded;  // calls by name
    std::map<std::string, long> failed;
};

void copyFiles(const std::string &from, const std::string &to);

// The last records that the log should have, a line each.
std::string endOfLog(const World &world);

// A shape without masks, which the log does not hold.
Shape makeTxnShape(Random *random, bool variable);

class TxnDriver {
  public:
    TxnDriver(std::uint64_t seed, TxnStatistics *statistics);
    ~TxnDriver();

    // Makes files and begins a log, takes about the given number of steps, and recovers. False after a difference.
    bool run(int steps);
    std::string report() const;

  private:
    // What the files should be like when this much of the log has been done again.
    struct Snapshot {
        World world;
        Buffer log;
    };

    // txn_driver.cpp: the run.
    bool makeFiles();
    bool makeFile(const std::string &name, int records, bool neverLogged);
    void become(int who);
    void step();
    bool finish();
    void takeSnapshot();

    // txn_compare.cpp: the comparisons, recovery.
    bool compareAll(const World &world, bool recovered);
    bool compareLog();
    bool compareTrails();
    bool recover(const Snapshot &snapshot);
    bool scan(const FileSet &file);

    // txn_calls.cpp: calls on transactions, descriptors, indexes and whole files.
    void begin();
    void end();
    void open();
    void close();
    void useParked();
    void changeIndexes();
    void build();
    void eraseFile();
    void renameFile();

    // txn_maint.cpp: calls on whole files that are open.
    void rebuild();
    void cluster();
    void clone();
    bool copyAndErase(Place from, Place to);

    // txn_records.cpp: calls on records.
    void write();
    void rewrite();
    void erase();
    void read();
    void release();
    void unique();

    // Comparing.
    Outcome prepare(const Buffer &record, long recnum, int reclen);
    void settle(const std::string &what, const Outcome &expected, int ret, const Buffer &record, long value = 0);
    void fail(const std::string &what);

    // Choosing.
    bool someOpen(bool forChange, Place *out);
    bool someUnlogged(Place *out);
    std::size_t someFile() { return static_cast<std::size_t>(random_.below(static_cast<int>(world_.files.size()))); }
    long someRecnum(const FileModel &model);
    int openMode(const FileSet &file);
    Buffer someRecord(const FileSet &file, long like);
    int giveTail(const FileSet &file, Buffer *record);
    void openAs(std::size_t file, int mode);
    bool closeAt(Place at);
    void reopen(Place at);
    void eraseAt(std::size_t file);
    std::string newName();

    std::uint64_t seed_;
    Random random_;
    TxnStatistics *statistics_;
    int opens_ = 0;  // every second one is mapped
    testing_support::TempDir dir_;
    std::string logPath_;
    std::string livePath_;
    std::string initialPath_;
    World world_;
    World initial_;
    std::vector<Snapshot> snapshots_;
    std::uint32_t since_ = 0;
    int names_ = 0;
    bool failed_ = false;
    std::string error_;
    std::deque<std::string> steps_;
};

}  // namespace model

#endif
