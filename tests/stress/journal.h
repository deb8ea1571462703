// What all processes of a run share beside the file: who says what before a call, and what it was told afterwards.
//
// It lies in a mapped file. Every number has 32 bits and is atomic, so that processes of either word size read it
// alike.
#ifndef TESTS_STRESS_JOURNAL_H
#define TESTS_STRESS_JOURNAL_H

#include "image.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace stress {

using Number = std::atomic<std::uint32_t>;

constexpr int kSlots = 8;    // places for processes
constexpr int kKeys = 480;   // records' keys are 0 .. kKeys - 1
constexpr int kRacers = 32;  // the last of them come in pairs that share their second unique key
constexpr int kImages = 24;  // images that a call in flight may leave
constexpr int kEvents = 1 << 14;
constexpr int kTextLength = 400;

// Why a key is claimed. The claim keeps the journal's own entry consistent; it is only tried, never waited for.
enum class Purpose : std::uint32_t {
    Change = 1,   // its owner holds the record lock
    Insert,       // there is no record
    Probe,        // nothing is going to change
    Bold,         // a change is tried without the record lock
    Transaction,  // until the transaction ends
};

struct KeyEntry {
    Number claim;     // 0, or slot + 1 and the purpose
    Number holder;    // slot + 1 of who has been granted the record lock and has not begun to release it
    Number sequence;  // odd from before a call that changes the record until its answer is noted
    Number version;   // as settled
    Number checksum;
    Number drawn;      // versions given out so far
    Number rollbacks;  // changes of it that were rolled back
};

enum class Counter : int {
    ReadCalls,
    WriteCalls,
    RewriteCalls,
    DeleteCalls,
    LockCalls,
    OpenCalls,
    TransactionCalls,
    MaintenanceCalls,
    RecordsVerified,
    RecordsExact,
    Walks,
    Waits,
    Refused,
    Deadlocks,
    WholeLocks,
    Duplicates,
    KeptOut,
    Opens,
    Commits,
    Rollbacks,
    StoppedCalls,
    Exclusive,
    IndexesAdded,
    IndexesDropped,
    IndexesRebuilt,
    Clusters,
    Checks,
    RebuiltAfterKill,
    CopiedAfterKill,
    SoundAfterKill,
    LostInFlight,
    LeaksNoticed,
    Recoveries,
    Count
};

enum class Task : std::uint32_t { None, Build, Check, ChangeIndexes, Rebuild, Cluster, Mend, Recover, Verify };
const char *taskName(Task task);

// One of the processes.
struct Seat {
    Number pid;
    Number heartbeat;  // raised by every call
    Number doing;      // Action << 16 | key, for the watchdog's message
    Number parked;     // all files closed, waiting
    Number holds;      // has the file open
    Number inTransaction;
    Number mapped;   // works on the files through memory
    Number flights;  // images that what is in flight may leave
    struct Flight {
        Number key, version, checksum;
    } flight[kImages];
    Number counters[static_cast<int>(Counter::Count)];
};

enum class Action : std::uint32_t {
    Insert = 1,
    Rewrite,
    Delete,
    Rollback,
    Lock,
    Told,
    Read,
    Walk,
    Wait,
    Open,
    Exclusive
};

struct Event {
    Number tick, who, what, key, version, result;
};

enum class Phase : std::uint32_t { Run, Park, Quit };

struct Journal {
    Number magic;
    Number phase;
    Number quarantine;  // slot + 1 of the process about to be killed: nobody else starts on the file until it is mended
    Number writesLeft;  // it ends itself before so many writes to files; 0: it is ended from outside
    Number draining;    // the same process: nobody else begins a transaction
    Number task, taskSeat, taskArgument;
    Number exclusive;  // slot + 1 of who has the file open exclusively
    Number exclusives;
    Number whole;     // slot + 1 of who wants, or has, all records locked
    Number wholeHas;  // the same, once granted
    Number fifth;     // number of the optional index's form, 0: there is none
    Number epoch;     // number of the log
    Number leaks;     // a killed process has left pieces of tails that no record has
    Number findings;
    Seat seats[kSlots];
    KeyEntry keys[kKeys];
    Number events;
    Event event[kEvents];
};

void munmapJournal(Journal *journal);
// Maps the journal's file, making it where it is not there. Null when that fails.
Journal *mapJournal(const std::string &path, bool make);

void note(Journal *journal, int slot, Action what, int key, std::uint32_t version, int result);
// The last events about a key, or of all keys for -1, in words.
std::string extract(const Journal &journal, int key, int most);

// What a process knows of a key before a call; comparing with what it knows afterwards tells what the call must show.
struct Known {
    std::uint32_t sequence = 0;
    Image image;
    std::uint32_t rollbacks = 0;
    bool settled() const { return sequence % 2 == 0; }
};
Known know(const KeyEntry &entry);
using AllKnown = std::array<Known, kKeys>;
void knowAll(const Journal &journal, AllKnown *out);

}  // namespace stress

#endif
