// The handle of one open file set.
//
// A handle owns its name, header copy, record buffer, lock list, search paths
// and free-list buffers; isDispose frees them. Everything an operation must
// find again after a failure lives here, never in a local variable alone.
#pragma once

#include <compare>
#include <csetjmp>
#include <cstdint>

#include "isam.h"

struct FileMap;
struct IndexPath;
struct VarlenState;

// Entry classes: what an operation demands of the handle it is given.
enum EntryClass : int {
    ISCLASS_NONE = 0,
    ISCLASS_OPEN = 16,   // open, build, close: the handle need not be registered
    ISCLASS_ANY = 48,    // a registered handle
    ISCLASS_READ = 64,   // and not opened for output only
    ISCLASS_WRITE = 80,  // and not opened for input only
};

// File kinds; added to an operation number they make iserrio.
enum FileKind : int {
    ISKIND_INDEX = 1,
    ISKIND_DATA = 2,
    ISKIND_AUDIT = 3,
    ISKIND_LKI = 4,
    ISKIND_LOG = 6,
    ISKIND_LCK = 7,
};

// Bits of IsamFile::state.
enum StateBit : std::uint16_t {
    ISSTATE_NOPRIMARY = 0x01,  // no primary key: record-number order is the first order
    ISSTATE_NEXTCURR = 0x02,   // the next ISNEXT returns the record at the position
    ISSTATE_PREVCURR = 0x04,   // the next ISPREV returns the record at the position
    ISSTATE_LOCKNEW = 0x08,    // lock the record being written
    ISSTATE_PRECIOUS = 0x10,   // record numbers are not used again
    ISSTATE_LOCKCHECK = 0x20,  // changes of a record need a lock of this handle
    ISSTATE_NOCURR = 0x40,     // no current record
    ISSTATE_PARKED = 0x80,     // closed inside a transaction
};

// Bits of IsamFile::lockFlags. No operation sets them; see islock.
enum LockFlag : std::uint8_t {
    ISLF_SHARED = 0x01,
    ISLF_EXCLUSIVE = 0x02,
    ISLF_READPHASE = 0x04,
    ISLF_WRITEPHASE = 0x08,
    ISLF_WHOLEDATA = 0x20,
};

// Load state of a buffer that mirrors a node of the index file.
enum BufferState : std::uint8_t { ISBUF_EMPTY = 0, ISBUF_CLEAN = 1, ISBUF_DIRTY = 2 };

// One-node cache of a free list.
struct FreeCache {
    std::uint8_t *buffer;      // the head node, nodeSize bytes, allocated on first use
    std::uint8_t state;        // BufferState
    std::uint32_t head;        // node number of the head node, 0 = list empty
    std::uint32_t last;        // highest number in use
    std::uint32_t used;        // used length of the head node
    std::uint32_t least;       // shortest used length since it was read or written; 0: it is a new list node
    std::uint32_t stored;      // used length in the file, 0xffffffff: it is a new list node
    bool usedUp;               // a node of the list has been given up since the header was written
    std::uint32_t blank;       // the one given up last, where the file has it empty and without link; else 0
    std::uint8_t *full;        // a node that filled up and is to be written, nodeSize bytes
    std::uint32_t fullNumber;  // its number, 0 = there is none
};

// Tells physical files apart, whatever they are called; zeros: not known.
struct FileIdentity {
    std::uint64_t device, inode;
    auto operator<=>(const FileIdentity &) const = default;
};

// Slots of the data file read ahead, see storage/isahead.
struct SlotsAhead {
    std::uint8_t *bytes;         // null until the first time
    std::uint32_t first, count;  // the slots in it
    std::uint32_t last;          // slot asked for last
    std::uint32_t lastCount;     // slots read ahead the last time, on this way
    int steps;                   // one after the other, backwards below 0
};

// Those that have been read, kept; see storage/ismirror.
struct SlotMirror {
    std::uint8_t *bytes;  // at the offsets that they have in the file; null: none are kept
    std::uint8_t *known;  // a bit for each piece that is here
    std::int64_t size;    // bytes there is room for
    std::uint32_t calm;   // slots read alone since the file was changed by others
    bool filled;          // some piece is here
};

inline constexpr int kMaxPaths = 10;
inline constexpr int kAuditInfoSize = 2 + 2 + 65;

struct IsamFile {
    char *name;                 // as the caller gave it, no extension
    int mode;                   // open-mode word
    std::uint16_t state;        // StateBit
    int dataFd;                 // -1 when closed
    int recordLength;           // bytes of the fixed part
    int bufferLength;           // bytes of a slot
    int varlenInfo;             // maximum record length, 0 for fixed-length records
    int indexFd;                // -1 when closed
    int nodeSize;               // bytes
    int headerByte11;           // width of a duplicate serial, bytes
    int keyCount;               // indexes
    int currentIndex;           // keyCount or more: record-number order
    std::uint32_t keyDescNode;  // first key-description node, 0 = none
    std::uint32_t headerStamp;  // change counter last loaded or written
    std::int32_t uniqueId;      // next unique id
    IndexPath *indexes[kMaxPaths];
    FreeCache indexFree, dataFree;
    std::int32_t *lockList;   // record numbers locked, 0 = free slot
    std::int16_t lockCount;   // slots in lockList
    long lockHighest;         // no number in it is above
    std::uint8_t lockFlags;   // LockFlag
    int slot;                 // descriptor + 1, 0 = not registered
    std::uint32_t auditNode;  // node of the audit settings, 0 = none
    std::uint8_t auditInfo[kAuditInfoSize];
    int auditFd;                // 0 or below: no audit trail open
    std::int32_t txnFileId[2];  // writer's process id, logged descriptor
    std::uint32_t *hashHeads;   // heads of the variable-length space hash
    VarlenState *varlenState;   // buffers of the work on variable tails
    std::uint8_t hashStale;     // hashHeads must be read again
    int (*filter)(int, char *, int);
    std::uint32_t mask;          // index mask of the current record
    std::uint8_t *header;        // copy of the header node
    std::uint8_t *recordBuffer;  // one slot
    int activeClass;             // class of the operation in progress, 0 = none
    std::jmp_buf recoveryPoint;
    long recnum;
    int reclen, errcode, errio;
    std::uint32_t lastNumber;  // position in record-number order

    SlotsAhead ahead;
    SlotMirror mirror;
    std::uint8_t *nodeScratch;  // one node, for work that no cache is for

    // Work buffers that grow, with their sizes in bytes.
    std::uint8_t *tailBuffer;  // a tail as stored
    std::size_t tailRoom;
    std::uint8_t *auditEntry;  // the audit entry being put together
    std::size_t auditLength, auditRoom;
    char *oldImage;  // a record as it was, its tail expanded; varlenInfo bytes

    // What the log knows of the handle, see txn/islog.
    std::uint32_t logSerial;  // log that was open when the handle was opened, 0 = none
    std::int64_t logStart;    // offset of its opening in that log
    bool changeLogged;        // the log has the change that is under way
    bool openLogged;          // and it has a record of the opening
    bool recovered;           // opened by recovery
    bool pinWanted;           // the phase lock is to be pinned
    bool phasePinned;         // it stays when an operation ends
    bool comesBack;           // a rollback has written the record that it changes

    // What other handles of the process must know.
    FileIdentity indexFile, dataFile;
    bool inherited;  // it came with a fork, see records/isfork
    int openedMode;  // the bits of the mode that the descriptors were opened by
    bool allLocked;  // it holds the lock of all records

    // What the caller of a write or rewrite is told beside its success.
    bool metEqual;  // a key went behind equal ones

    // What the clean-up after a failure must know.
    int failedClass;            // class of the operation that failed
    long newLock;               // record that the operation has locked, 0 = none
    bool phaseHeld;             // the phase lock is held
    bool headWhole;             // the next write of the header must not be cut
    bool exclHeld;              // the open lock was made exclusive for this operation only
    bool openTaken;             // the operation has taken the open lock
    std::uint32_t *takenNodes;  // nodes taken from the free list while noteTaken is set
    std::uint32_t takenCount, takenRoom;
    bool descEntered;         // the new index stands in the chain
    std::uint32_t takenDesc;  // description node that it took, 0 = none
    std::uint32_t filling;    // record whose key the index being filled is taking, 0 between two
    bool noteTaken;           // isGetFree notes what it takes from the index list

    // What work on a whole file needs.
    bool damageFails;       // damage that is a fatal stop or EIO elsewhere fails with 105
    int findings;           // of the check in progress
    IndexPath *twin;        // a second path through one of the indexes
    std::uint8_t *numbers;  // a set of record or node numbers, see storage/isnumbers
    std::uint32_t numbersLast;
    std::uint8_t filesMade;  // what a build has done so far

    // Work through mappings, see base/ismap.
    bool mapWanted;  // opened with ISMAPPED
    FileMap *maps;   // of index and data file; null: none is mapped
};

inline bool hasData(const IsamFile *h) { return h->recordLength != 0; }
inline bool hasMasks(const IsamFile *h) { return (h->mode & ISMASK) != 0; }
inline bool hasTails(const IsamFile *h) { return (h->mode & ISVARLEN) != 0; }
inline bool isPreciousFile(const IsamFile *h) { return (h->state & ISSTATE_PRECIOUS) != 0; }
inline bool inRecordOrder(const IsamFile *h) { return h->currentIndex >= h->keyCount; }

// Record and node numbers have 31 bits in the files.
inline constexpr std::uint32_t kMaxNumber = 0x7fffffff;
