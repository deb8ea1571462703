// Process-wide state: everything the library keeps outside its handles.
//
// The library serves one thread at a time, so none of it is locked. The
// exported globals (iserrno and its companions) are declared in isam.h.
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>

#include "isam.h"

struct IsamFile;
struct Txn;
struct ClosedPair;

// One slot of the descriptor table; its index is the caller's descriptor.
struct AdmEntry {
    IsamFile *isam;  // the handle in this slot, null when free
    void *dup;       // token shared by all slots that have the same file open
};

using FatalHandler = void (*)(char *message);

// The log record that this process appended last, and what its transaction named
// as its last one before.
struct Appended {
    std::int64_t offset = 0;
    int length = 0;  // 0 = none, or taken back
    Txn *txn = nullptr;
    std::uint32_t lastOffset = 0, lastLength = 0;
};

// A piece of the log, see txn/islogahead.
struct LogAhead {
    std::uint8_t *bytes = nullptr;
    std::int64_t start = 0, length = 0;  // offset of the first, and how many
    int next = 0;                        // to read the next time
};

struct KeptDescriptor;
struct NodeBuf;
struct Slab;

// The bound when nobody sets one: it holds all of the trees of about a million
// records, and the upper levels of any.
inline constexpr std::size_t kCacheLimit = std::size_t{sizeof(void *) == 8 ? 64 : 16} << 20;

// What the handler of SIGBUS must know, see base/isbuserror.
struct BusWatch {
    std::uint8_t *volatile base = nullptr;  // the window in which a copy is under way, null: none
    volatile std::size_t length = 0;
    volatile std::sig_atomic_t hit = 0;  // the copy has met a page that failed
    std::size_t pageSize = 0;
    int handles = 0;                 // that are mapped
    bool standing = false;           // the handler has been put there and not taken back
    struct sigaction previous = {};  // what was there before
};

struct ProcessState {
    AdmEntry *adminfo = nullptr;     // descriptor table, null while nothing was ever open
    int admsize = 0;                 // slots allocated, free ones included
    bool forkWatched = false;        // see records/isfork
    bool inherited = false;          // the table is the parent's, from before a fork
    KeptDescriptor *kept = nullptr;  // see lock/isshare
    int keptCount = 0, keptRoom = 0;
    int lastid = -1;                 // slot of the last transaction-file search
    FatalHandler fatcall = nullptr;  // application's fatal-stop callback

    NodeBuf **frames = nullptr;  // every node buffer of every handle, see keys/isnodepool
    std::uint32_t frameCount = 0, frameRoom = 0, frameHand = 0;
    std::size_t frameBytes = 0;
    Slab *slabs = nullptr;                 // see base/isslab
    std::size_t mirrorBytes = 0;           // see storage/ismirror
    std::size_t cacheLimit = kCacheLimit;  // bytes that all of these should not exceed

    int logfile = -1;                // descriptor of the open log, -1 when logging is off
    char *logpath = nullptr;         // its name as given
    std::uint8_t *buffer = nullptr;  // the log record being put together or read
    std::size_t bufoff = 0;          // where its next byte goes
    bool logHeld = false;            // the log's lock is held for more than one record
    std::int64_t logEnd = 0;         // length of the log when it was last looked at, bytes
    LogAhead logAhead;
    Appended appended;            // what went into it last
    std::uint32_t logSerial = 0;  // counts the logs opened, to tell them apart

    Txn **txnlist = nullptr;        // open transactions, null = free slot
    int txncount = 0;               // slots allocated, free ones included
    short (*callback)() = nullptr;  // tells whose transaction a call belongs to
    bool recover = false;           // recovery is running
    ClosedPair *closed = nullptr;   // descriptors that it has closed
    int closedCount = 0, closedRoom = 0;
    BusWatch busWatch;
};

extern ProcessState isProcess;
