#include "subject.h"

#include "engines/engines.h"

namespace bench {
namespace {

constexpr unsigned kTrees = kOrdered | kSecondIndex;
constexpr unsigned kIsam = kTrees | kTransactions | kRecordOrder | kTails | kAddsIndex | kMaintenance;
constexpr unsigned kSqlite = kTrees | kTransactions | kTails | kAddsIndex | kHeldScan | kProcesses;

}  // namespace

const std::vector<SubjectEntry> &subjects() {
    static const std::vector<SubjectEntry> kSubjects = {
        {"floor", "floor", "the unavoidable system calls alone, no work between them", nullptr, "isam",
         kIsam | kProcesses | kBareLock, true, makeFloor},
        {"isam", "isam", "several processes; a kill loses nothing done, one within a change is mended by a rebuild",
         nullptr, "isam", kIsam | kProcesses | kCompression | kHeldScan, true, makeIsam},
        {"isam-mapped", "isam, mapped", "as isam; reads go through a mapping (ISMAPPED)", nullptr, "isam",
         kIsam | kProcesses | kHeldScan, true, makeIsamMapped},
        {"isam-excl", "isam, exclusive", "as isam, but one process has the file alone (ISLOCKEXCL)", nullptr, "isam",
         kIsam & ~kMaintenance, true, makeIsamExclusive},
        {"lmdb", "LMDB", "several processes; a kill loses nothing done and leaves nothing half done", "liblmdb0",
         "lmdb", kTrees | kTransactions | kTails | kHeldScan | kProcesses, true, makeLmdb},
        {"bdb", "Berkeley DB",
         "several processes; what a killed one has done stays in the shared cache, one killed "
         "within a call may spoil files",
         "libdb5.3", "bdb", kTrees | kTails | kHeldScan | kProcesses, true, makeBerkeleyDb},
        {"sqlite-wal", "SQLite, WAL", "several processes; a kill loses nothing done and leaves nothing half done",
         "libsqlite3-0", "sqlite-wal", kSqlite, false, makeSqliteWal},
        {"sqlite-journal", "SQLite, journal",
         "several processes; a kill loses nothing done and leaves nothing half "
         "done",
         "libsqlite3-0", "sqlite-journal", kSqlite, false, makeSqliteJournal},
        {"tdb", "TDB", "several processes, no order; a kill loses nothing done, one within a call may spoil the file",
         "libtdb1", "tdb", kTransactions | kTails | kProcesses, false, makeTdb},
        {"gdbm", "GDBM", "one process, no order; a kill loses nothing done, one within a call may spoil the file",
         "libgdbm6", "gdbm", kTails, false, makeGdbm},
        {"leveldb", "LevelDB", "one process; a kill loses nothing done and leaves nothing half done", "libleveldb1d",
         "leveldb", kTrees | kTransactions | kTails | kHeldScan, false, makeLevelDb},
        {"tcb", "Tokyo Cabinet", "one process; a kill loses what it has done since a transaction ended",
         "libtokyocabinet9", "tcb", kTrees | kTransactions | kTails | kHeldScan, false, makeTokyoCabinet},
    };
    return kSubjects;
}

const SubjectEntry &subjectNamed(const std::string &name) {
    for (const SubjectEntry &entry : subjects())
        if (name == entry.name) return entry;
    throw Failure("no subject " + name);
}

const Shape &shapeNamed(const std::string &name) {
    static const Shape kShapes[] = {
        {"one", false, 0, 0, false},         {"two", true, 0, 0, false},      {"clustered", true, 0, 0, true},
        {"dup", true, 0, 0x02, false},       {"lead", true, 0, 0x04, false},  {"trail", true, 0, 0x08, false},
        {"all", true, 0, 0x0e, false},       {"tail50", false, 50, 0, false}, {"tail500", false, 500, 0, false},
        {"tail5000", false, 5000, 0, false}, {"empty", true, 0, 0, false},
    };
    for (const Shape &shape : kShapes)
        if (name == shape.name) return shape;
    throw Failure("no shape " + name);
}

}  // namespace bench
