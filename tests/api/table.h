// The table of all exported calls: what each needs, what it sets, which pointers it refuses and which errors it
// reports. The rows stand in table_*.cpp, one file a family of calls; table_*_test.cpp run through them.
#ifndef TESTS_API_TABLE_H
#define TESTS_API_TABLE_H

#include "audits.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace api {

// What a call asks of the descriptor that it is given.
enum class Needs {
    kNoFile,  // it takes none
    kHandle,  // it looks at the handle alone
    kAny,     // it works on the file, with either access
    kRead,
    kWrite,
    kBoth,
};

// The globals that a success sets.
enum class Sets {
    kNothing,
    kError,   // iserrno
    kOpened,  // iserrno, isrecnum and isreclen
    kAll,
    kOwn,  // none, but the handle's own results: so do its failures
};

struct Globals {
    int error, io;
    long recnum;
    int reclen;
    bool operator==(const Globals &other) const {
        return error == other.error && io == other.io && recnum == other.recnum && reclen == other.reclen;
    }
};
void PrintTo(const Globals &globals, std::ostream *out);
// As they are now; isstat1 and isstat2 must have been set wherever iserrno was.
Globals globals();

// What the globals are before each call: values that nothing sets them to.
constexpr Globals kPrimed = {55, 0x77, 7001, 7002};
void prime();

// Numbers in the header of an index file, by their offset, and the highest that they may be.
constexpr std::size_t kFreeRecordsAt = 25, kFreeNodesAt = 29, kLastRecordAt = 33, kLastNodeAt = 37, kChangesAt = 41;
constexpr long kHighestNumber = 0x7fffffff;

// Result of a call that returns a descriptor.
constexpr long kDescriptor = -1000;

// A call with arguments that are good in a file of the rows 1, 2 and 3 with indexes by id and name, the handle
// standing on record 2. A call on two files has a row for each place of the descriptor.
struct TableCall {
    const char *name;
    Needs needs = Needs::kNoFile;
    long (*run)(int fd) = nullptr;
    Sets sets = Sets::kAll;
    long good = 0;  // its result, and what it sets these two to
    long recnum = kPrimed.recnum;
    int reclen = kPrimed.reclen;
    long bad = -1;                 // its result for a descriptor that is not open
    int badError = ISERR_NOTOPEN;  // iserrno then, kPrimed.error where it stays
    int lockless = 0;              // iserrio of the EBADF under ISLOCKNONE, 0 = no such error
    long unread = 0;               // what a check finds under ISOUTPUT
    bool pair = false;             // it works on a second file, too
    long steps = 0;                // the record that it moves to before it changes anything
    // The error for an access mode and a lock mode, where it is not what the class of the call says.
    int (*refusal)(int access, int lock) = nullptr;
};
using Calls = std::vector<TableCall>;

// A call with a null pointer that it refuses.
struct Null {
    const char *name;      // of the call
    const char *argument;  // which one is null
    int code;
    long (*run)(int fd);
    bool clears = true;    // iserrio becomes 0, else it stays
    bool changes = false;  // what the row does first changes the file
};
using Nulls = std::vector<Null>;

// An error, and how it comes about.
class Bench;
struct Error {
    const char *call;
    int code;
    const char *when;
    void (*provoke)(Bench &bench);
};
using Errors = std::vector<Error>;
void PrintTo(const Error &error, std::ostream *out);

// One family's rows, and all of them.
struct Family {
    Calls calls;
    Nulls nulls;
    Errors errors;
};
Family buildFamily(), openFamily(), indexFamily(), readFamily(), startFamily(), writeFamily(), rewriteFamily(),
    deleteFamily(), lockFamily(), transactionFamily(), auditFamily(), wholeFamily(), copyFamily(), clusterFamily(),
    checkFamily(), rebuildFamily(), infoFamily(), lookFamily(), numberFamily();
const Family &wholeTable();

template <typename T> void appendRows(std::vector<T> *to, const std::vector<T> &rows) {
    to->insert(to->end(), rows.begin(), rows.end());
}

// What calls take beside their descriptor: an open, empty file of the same shape, a name of which there are no files
// yet, and a log.
struct Beside {
    int fd = -1;
    std::string name, fresh, log;
};
Beside &beside();

// What is left after an error, but for iserrno.
struct After {
    int io = 0;
    long recnum = kPrimed.recnum;
    int reclen = kPrimed.reclen;
    bool moves = false;  // the position is not where it was
};
// After an error of a call that is completed on no handle.
constexpr After kPlain = {.io = kPrimed.io};

class Bench : public AuditTest {
  public:
    // The file of the rows of the calls, on record 2.
    int usual(int mode = ISINOUT);
    // What stands beside it.
    void layBeside();

    // Runs a call that must fail with the row's code. With a descriptor: it is the handle's own result, too, and the
    // handle stays where it was.
    void fails(int fd, const std::function<long()> &call) { fails(fd, After(), call); }
    void fails(int fd, const After &after, const std::function<long()> &call);
    void setCode(int code) { code_ = code; }
    // The row has seen its error without fails.
    void note() { done_ = true; }
    bool done() const { return done_; }

    // The result and the globals are those of a success.
    static void expectSuccess(const TableCall &call, long result);
    // Ends everything, and removes what there is.
    void clear();
    // Calls on transactions are completed on the handle that recovery mapped last, where something is open under its
    // descriptor: from here on that is one that nothing uses.
    void forgetRecovery();

    // Current index and record of a handle; nothing for a descriptor that is not open.
    static std::pair<int, long> place(int fd);
    // The same name once more.
    int again(int mode = ISINOUT) { return isopen(base(), mode); }
    // Record number becomes locked through the handle.
    static void hold(int fd, long number);
    // The log takes no more records.
    void fillLog() const;
    // A handle of a file in record-number order that holds as many locks as it can, and has more records.
    int withAllLocks(int mode = ISINOUT);
    // Writes rows 1 to count into the data file, past all indexes.
    void fillSlots(long count) const;
    // Makes an empty file.
    void touch(const std::string &name) const;
    // Overwrites a number of the header.
    void patchHeader(std::size_t offset, long value) const;

    using ApiTest::base;
    using ApiTest::build;
    using ApiTest::buildNamed;
    using ApiTest::directory;
    using ApiTest::dontCheck;
    using ApiTest::open;
    using ApiTest::path;
    using AuditTest::startAudit;
    using LogTest::buildTrans;
    using LogTest::log;
    using LogTest::openTrans;
    using LogTest::startLog;
    using VarTest::buildVar;

  protected:
    void TearDown() override;

  private:
    int code_ = 0;
    bool done_ = false;
};

// Another process that does something to the files, and keeps what it has until the object goes. To be started before
// this process opens them.
class Neighbour {
  public:
    explicit Neighbour(const std::function<bool()> &steps);
    ~Neighbour();
    Neighbour(const Neighbour &) = delete;
    Neighbour &operator=(const Neighbour &) = delete;

  private:
    pid_t pid_ = -1;
    int hold_ = -1;
};

}  // namespace api

#endif
