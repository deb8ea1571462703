// What is measured: an engine that keeps the records, behind one interface.
//
// A subject works in the current directory. Whatever goes wrong is thrown as a Failure; that something is not there is
// an answer, false.
#pragma once

#include "records.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// How a file is made.
struct Shape {
    const char *name;
    bool second = false;  // an index of the second field, values not unique
    int tail = 0;         // bytes behind the fixed part
    int compression = 0;  // key flags, this library's alone
    bool clustered = false;
    int length() const { return kRecord + tail; }
};

const Shape &shapeNamed(const std::string &name);

// What a subject can do; a workload says what it needs.
enum Ability : unsigned {
    kKeyed = 0,          // reads and changes by key: all of them
    kOrdered = 1U << 0,  // reads in key order
    kSecondIndex = 1U << 1,
    kProcesses = 1U << 2,  // several processes at once
    kTransactions = 1U << 3,
    kRecordOrder = 1U << 4,  // reads in record-number order
    kCompression = 1U << 5,
    kTails = 1U << 6,
    kAddsIndex = 1U << 7,
    kMaintenance = 1U << 8,  // checks, clustering, recovery
    kHeldScan = 1U << 9,     // one view for a whole scan
    kBareLock = 1U << 10,
};

class Subject {
  public:
    virtual ~Subject() = default;

    // How many records the files hold, for those that size their caches or choose places by it.
    void expect(std::uint64_t records) { records_ = records; }

    // Makes an empty store, open for loading by the fastest way; endLoading closes it.
    virtual void beginLoading(const Shape &shape) = 0;
    virtual void load(const Step &step, char *record) { insert(step, record); }
    // Is it the fastest way to get them in key order? What lies where in the file then follows the keys.
    virtual bool loadsInOrder() const { return false; }
    virtual void endLoading() { close(); }

    virtual void open(const Shape &shape, bool transactions = false) = 0;
    virtual void close() = 0;

    // One operation each: what it has done other processes see when it returns.
    virtual bool find(const Step &step, char *record) = 0;
    virtual bool insert(const Step &step, char *record) = 0;
    virtual bool rewrite(const Step &step, char *record, bool keyChanges) = 0;
    virtual bool remove(const Step &step, char *record) = 0;

    // Key order. start: the next record is the first one whose key begins with the leading bytes, or follows.
    virtual bool first(char *) { throw Failure("no order"); }
    virtual bool last(char *) { throw Failure("no order"); }
    virtual bool next(char *) { throw Failure("no order"); }
    virtual bool previous(char *) { throw Failure("no order"); }
    virtual bool start(const Step &, int /*bytes*/) { throw Failure("no order"); }
    // From now on a scan goes through a view of the file that is kept for all of it.
    virtual void holdScan() {}
    virtual void inRecordOrder() { throw Failure("no record numbers"); }

    // The first record whose second field is the step's. What find looks for is found after useFirst again.
    virtual void useSecond() {}
    virtual void useFirst() {}
    virtual bool findSecond(const Step &, char *) { throw Failure("no second index"); }

    virtual void begin() { throw Failure("no transactions"); }
    virtual void commit() { throw Failure("no transactions"); }

    // An index of the unique field at kOtherOffset.
    virtual void addIndex() { throw Failure("no index added"); }
    virtual void check() { throw Failure("no check"); }
    virtual void cluster() { throw Failure("no clustering"); }
    // Makes a log of the load of so many records and takes the files away; recover makes them again.
    virtual void prepareRecovery(const Shape &) { throw Failure("no recovery"); }
    virtual void recover() { throw Failure("no recovery"); }

    // The shared lock of a read, taken and given back.
    virtual void bareLock() { throw Failure("no lock"); }

    // Has it got the records, or does it only go through the motions?
    virtual bool keepsRecords() const { return true; }

  protected:
    static constexpr std::uint64_t kMany =
        2000000;  // records: from here on the order of loading is a matter of minutes
    std::uint64_t records_ = 0;
};

struct SubjectEntry {
    const char *name;
    const char *title;
    const char *guarantee;  // in a line: several processes or one, what a killed process loses
    const char *package;    // Debian package of its version, null for none
    const char *files;      // subject whose prepared files it takes
    unsigned abilities;
    bool large;  // takes part above a million records
    std::unique_ptr<Subject> (*make)();
};

const std::vector<SubjectEntry> &subjects();
const SubjectEntry &subjectNamed(const std::string &name);

}  // namespace bench
