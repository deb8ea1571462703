/*
 * isam.h - indexed-sequential files: the whole interface of the library.
 *
 * A file set is named by a base path. NAME.dat holds the records in slots of
 * one length, NAME.idx holds the indexes, and an optional one-line NAME.lnk
 * sends both elsewhere. Several processes may work on a file set at once.
 *
 * Conventions
 *
 *  1. Calls return 0 on success and -1 on failure, unless they say otherwise.
 *     A failed call leaves the reason in iserrno: one of the codes 100..134
 *     below, or the system's errno when a system call failed; iserrio then
 *     tells which: 0x10 open, 0x20 create, 0x30 seek, 0x40 read, 0x50 write,
 *     0x60 lock, plus 1 for the index file, 2 for the data file, 3 for the
 *     audit trail; with another code it is 0 or what it was. After a success
 *     iserrno is 0.
 *  2. isrecnum and isreclen are handed to every call on an open file and come
 *     back from it. Calls that open a file set them when they succeed; those
 *     without a descriptor, and isclose, leave them. Record numbers count slots
 *     from 1 to 2147483647.
 *  3. A descriptor is a small number counted from 0, the lowest one free. Any
 *     call on a descriptor that is not open fails with 101.
 *  4. A file opened ISINPUT refuses every changing call with 102, one opened
 *     ISOUTPUT every reading call. Reading calls are marked [read], changing
 *     ones [write], those that either access mode allows [any].
 *  5. Records, names, keys and results that the caller passes belong to the
 *     caller and are not kept. In calls on files a null pointer in their place
 *     gives 102, a null key description 103, where the call does not say what
 *     null means. Every record buffer has at least the record length, for
 *     variable-length records the maximum one, when it is read into.
 *  6. Each handle has one position per index, and one in record-number order.
 *     Calls say when they move it. A failed call leaves it where it was,
 *     unless the call says otherwise.
 *  7. Every call on an open file holds a short lock on the index file for its
 *     own duration, shared for reading, exclusive for changing, and waits for
 *     it. Record locks stay until they are released.
 *  8. Any call can report a failed system call as in 1, or 105 for a damaged
 *     file. What 3, 4, 5 and this say of the marked calls is left out of their
 *     own lists of errors; a list that has 101 leaves out nothing. Exhausted
 *     memory and broken invariants end the process with status 1 after a
 *     message, see isfatal.
 *  9. A failed change leaves the files as they were, except where the system
 *     itself fails between two writes.
 * 10. The library is for one thread at a time. Locks belong to the process: a
 *     child made by fork has none of its parent's locks and transactions. It
 *     may use the descriptors that it has taken over: the first call on each
 *     takes the open lock for the child (113 where that is refused, as while
 *     the parent has the file exclusively; 101 where the file is gone, or
 *     indexes have been added or dropped since the fork). Closing a system
 *     descriptor of NAME.idx or NAME.dat that the library did not open loses
 *     the process's locks.
 * 11. Handles of one process on one file respect each other's record locks,
 *     and none or only one of them is exclusive (113), whatever names the file
 *     was opened by. Where one of those with the same name releases all of its
 *     own locks (isunlock, isrelease, isclose, each move under ISLOCKAUTO),
 *     other processes are free to lock the records of all of them; those with
 *     other spellings of the name keep theirs.
 */
#ifndef ISAM_H
#define ISAM_H

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ISAM_API
#if defined(__GNUC__)
#define ISAM_API __attribute__((visibility("default")))
#else
#define ISAM_API
#endif
#endif

/* ------------------------------------------------------------------ modes */

/* Access, bits 0-1 of an open mode; exactly one. */
#define ISINPUT 0x0000  /* read only */
#define ISOUTPUT 0x0001 /* write only */
#define ISINOUT 0x0002  /* read and write */

/* Flags of an open mode. */
#define ISTRANS 0x0004    /* the file takes part in transactions */
#define ISNOLOG 0x0008    /* changes of this file are never logged */
#define ISVARLEN 0x0010   /* variable-length records */
#define ISCOMPRESS 0x0020 /* with ISVARLEN: compressed variable parts */
#define ISSYNCWR 0x0040   /* each write waits for the device */
#define ISMASK 0x0080     /* records carry a mask: bit i set keeps a record out of index i */
#define ISVARAUTO 0x8000  /* isopen only: take ISVARLEN from the file */
#define ISMAPPED 0x10000  /* isopen and isbuild only: work on the files through memory, see isopen */

/* Locking, one of them; ISLOCKMANUAL where none is given. */
#define ISLOCKNONE 0x0100   /* no locks at all; the files are opened for reading only, changes fail with EBADF */
#define ISLOCKAUTO 0x0200   /* each read locks the record it returns, each move releases it */
#define ISLOCKMANUAL 0x0400 /* records are locked when the caller asks */
#define ISLOCKEXCL 0x0800   /* nobody else may have the file open */

/* Read modes: the low byte of isread's mode, and isstart's mode. */
#define ISFIRST 0 /* first record in the current order */
#define ISLAST 1  /* last record */
#define ISNEXT 2  /* the one after the position */
#define ISPREV 3  /* the one before the position */
#define ISCURR 4  /* the one at the position */
#define ISEQUAL 5 /* first one whose key equals the key in the record */
#define ISGREAT 6 /* first one whose key is greater */
#define ISGTEQ 7  /* first one whose key is equal or greater */

/* Read flags, added to isread's mode. Any other bit of 0xff00 has the lock tested. */
#define ISLOCK 0x0100 /* lock the record and keep the lock */
#define ISWAIT 0x0400 /* wait for a lock that another one holds */

/* What isaudit does. */
#define ISAUDSETNAME 0 /* set the trail's name */
#define ISAUDGETNAME 1 /* get the trail's name */
#define ISAUDSTART 2   /* switch auditing on */
#define ISAUDSTOP 3    /* switch auditing off */
#define ISAUDINFO 4    /* is it on? */

/* ------------------------------------------------------- key descriptions */

/* Flags of a key description. */
#define ISNODUPS 0x00    /* a key may occur once */
#define ISDUPS 0x01      /* a key may occur any number of times */
#define ISDUPCOMP 0x02   /* a repeated key is stored once */
#define ISLEADCOMP 0x04  /* leading bytes shared with the key before are not stored */
#define ISTRAILCOMP 0x08 /* trailing fill bytes are not stored */
#define ISTRAILNUL 0x10  /* that fill byte is NUL instead of blank */
#define ISNULLKEY 0x20   /* keys made of the parts' null bytes alone are not indexed */

/* Types of a key part, the low six bits of its type. */
#define CHARTYPE 0     /* bytes */
#define INTTYPE 1      /* 2-byte integer, see stint; a longer part is one number */
#define LONGTYPE 2     /* 4-byte integer, see stlong */
#define DOUBLETYPE 3   /* the machine's double */
#define FLOATTYPE 4    /* the machine's float */
#define MINTTYPE 5     /* the machine's 2-byte integer */
#define MLONGTYPE 6    /* the machine's 4-byte integer */
#define STRINGTYPE 7   /* text up to a NUL */
#define QUADTYPE 8     /* isCustCmp only: the machine's 8-byte integer */
#define BYTETYPE 10    /* isCustCmp only: one unsigned byte */
#define RFATYPE 11     /* isCustCmp only: a 6-byte address */
#define COLLATETYPE 12 /* isCustCmp only: text in the order of the locale */
#define ISDESC 0x80    /* added to a type: this part sorts descending */

#define ISMAXPARTS 10     /* parts of a key */
#define ISMAXKEYLEN 128   /* bytes of a key */
#define ISMAXINDEXES 9    /* an index more is refused */
#define ISUSERINFOLEN 10  /* bytes that isuserinfo moves */
#define ISAUDNAMELEN 64   /* bytes of an audit trail's name, its NUL not counted */
#define ISMAXVARLEN 32511 /* bytes of the longest variable-length record */

typedef struct keypart {
    short start;         /* offset in the record, from 0 */
    short length;        /* bytes, a multiple of the type's unit */
    unsigned short type; /* type code + ISDESC + null-fill byte * 256 */
} KeyPart;

/* Parts 0..nparts-1 make the key, in that order, 128 bytes at the most. No
 * parts at all stand for record-number order. The library computes keyLength
 * and rootNode; what the caller puts there is ignored. */
typedef struct keydesc {
    unsigned short flags;      /* key flags */
    short nparts;              /* parts in use, 0..10 */
    KeyPart parts[ISMAXPARTS]; /* the parts */
    short keyLength;           /* bytes of the whole key */
    unsigned int rootNode;     /* node number of the index's root */
} KeyDesc;

/* What isisaminfo tells of a file. */
typedef struct dictinfo {
    unsigned short keyCount;     /* number of indexes; + 0x8000 for variable-length records */
    unsigned short recordLength; /* bytes; the maximum for variable-length records */
    unsigned short nodeSize;     /* bytes of an index-file node */
    int recordCount;             /* records: all numbers in use, in precious mode those of deleted records as well */
} DictInfo;

/* ------------------------------------------------------------ error codes */

#define ISERR_DUPLICATE 100     /* a unique index holds the key already */
#define ISERR_NOTOPEN 101       /* no such descriptor */
#define ISERR_ARGUMENT 102      /* argument or access mode does not allow it */
#define ISERR_KEYDESC 103       /* bad key description, or none such in the file */
#define ISERR_TOOMANYFILES 104  /* reserved */
#define ISERR_CORRUPT 105       /* damaged file */
#define ISERR_NEEDEXCL 106      /* the file must be open with ISLOCKEXCL */
#define ISERR_LOCKED 107        /* somebody else holds the record or the file */
#define ISERR_INDEXEXISTS 108   /* the file has that index */
#define ISERR_PRIMARYKEY 109    /* not with the primary key, or the last index */
#define ISERR_ENDOFFILE 110     /* beginning or end reached */
#define ISERR_NOTFOUND 111      /* no such record */
#define ISERR_NOCURRENT 112     /* no current record, or it is gone */
#define ISERR_FILEINUSE 113     /* open elsewhere in a way that excludes this */
#define ISERR_NAMETOOLONG 114   /* name does not fit */
#define ISERR_LOCKDEVICE 115    /* reserved */
#define ISERR_NOMEMORY 116      /* reserved */
#define ISERR_COLLATING 117     /* reserved */
#define ISERR_LOGREAD 118       /* log record cannot be read */
#define ISERR_BADLOG 119        /* log record of no known kind */
#define ISERR_LOGOPEN 120       /* log cannot be opened */
#define ISERR_LOGWRITE 121      /* log record cannot be written */
#define ISERR_NOTRANSACTION 122 /* no transaction is open */
#define ISERR_SHAREDMEMORY 123  /* reserved */
#define ISERR_NOBEGIN 124       /* reserved */
#define ISERR_NFS 125           /* reserved */
#define ISERR_ROWID 126         /* reserved */
#define ISERR_NOPRIMARYKEY 127  /* the call needs a unique first index */
#define ISERR_NOLOG 128         /* no log is open */
#define ISERR_USERS 129         /* reserved */
#define ISERR_DBSPACE 130       /* reserved */
#define ISERR_DISKSPACE 131     /* no record or node number is left */
#define ISERR_ROWSIZE 132       /* record longer than the file's maximum */
#define ISERR_AUDITEXISTS 133   /* reserved */
#define ISERR_NOLOCKS 134       /* a handle holds more locks than it can note */

#define ISERR_FIRST 100
#define ISERR_LAST 134

/* ---------------------------------------------------------------- globals */

extern ISAM_API int iserrno;   /* 0, or why the last call failed */
extern ISAM_API int iserrio;   /* which system call failed, see convention 1 */
extern ISAM_API char isstat1;  /* the same as iserrno in two characters, see below */
extern ISAM_API char isstat2;  /* the second of them */
extern ISAM_API long isrecnum; /* record number, in and out */
extern ISAM_API int isreclen;  /* record length in bytes, in and out */

extern ISAM_API const char *const is_errlist[ISERR_LAST - ISERR_FIRST + 1]; /* message of code c at [c - 100] */
extern ISAM_API const char *const isCheckMsg[16]; /* message of bit i of a check's result at [i] */
extern ISAM_API const char *iscopyright;          /* a banner */
extern ISAM_API const char *isversnumber;         /* "6.11" */

/* isstat1 and isstat2 are set by every call that sets iserrno, and by no other.
 * They follow from iserrno, but for 02. The two characters, and what they stand
 * for:
 *   00  success
 *   02  success of iswrite, iswrlock, iswrcurr, isrewrite, isrewrec, isrewcurr or
 *       isrewnxt, which put a key into an index where equal keys stood already; a
 *       rewrite puts the keys that it changes
 *   10  110, end of file
 *   21  109, 112 or 127, the primary key, or a call out of sequence
 *   22  100, duplicate
 *   23  111, not found
 *   90  any other number: the system's errno
 *   9A  102, argument
 *   9B  119, bad log record
 *   9D  105, damage
 *   9F  131, full
 *   9G  128, no log
 *   9I  108, index exists
 *   9K  103, key description
 *   9L  107, locked
 *   9M  134, no more locks
 *   9N  114, name too long
 *   9O  101, not open
 *   9P  120, log cannot be opened
 *   9R  118, log cannot be read
 *   9T  122, no transaction
 *   9U  113, in use
 *   9W  121, log cannot be written
 *   9X  106, exclusive access needed
 *   9Z  132, size of a record
 * and of the codes that are reserved:
 *   9a  133, audit trail exists
 *   9b  124, no begin
 *   9c  117, collating table
 *   9d  115, lock device
 *   9m  116, memory
 *   9n  125, nfs
 *   9p  130, dbspace
 *   9r  126, rowid
 *   9s  123, shared memory
 *   9t  104, too many files
 *   9u  129, users */

/* ------------------------------------------------------- build, open, close */

/* Variable-length records have a fixed part, of the minimum length, and a tail
 * up to the maximum length. Keys lie in the fixed part. isreclen tells the
 * length of a record read, and is to hold that of a record written or
 * rewritten: a length up to the minimum gives a record without tail, one above
 * the maximum the error 132. Under ISCOMPRESS runs of blanks, NULs and the
 * digit 0 in tails take less room. The coding, fixed by the files that exist,
 * has one flaw: of a tail that it shortens and that ends in exactly 64, 127,
 * 190 .. (each 63 more) bytes without a run, the last 64 bytes are lost. A run
 * is of 2 to 63 bytes: the last of 64 blanks is such a byte without one. */

/* Makes a file set and opens it.
 *
 * name: base path, at most 251 characters with whatever a link file puts in
 * its place. reclen: bytes of a record, 1..65535, or 0 for a file that keeps
 * keys without records (not with ISLOCKAUTO, ISMASK or ISVARLEN). key: the
 * primary key; no parts for a file in record-number order. mode: access,
 * flags and locking; with ISVARLEN reclen is the maximum length, up to 32511,
 * and isreclen the minimum length, 1 or more and below it. For ISMAPPED see
 * isopen.
 *
 * Returns the descriptor. isreclen becomes the (minimum) record length and
 * isrecnum 0. The new handle has no position: start or read by mode first.
 * Errors: 102 bad length or mode; 103 bad key; 113 open in the process, or by
 * now elsewhere; 114 name too long; 121 the log cannot be written; EEXIST with
 * iserrio 0x21 or 0x22: the file exists. Files made before a failure stay on
 * disk. */
ISAM_API int isbuild(const char *name, int reclen, KeyDesc *key, int mode);

/* The same as isbuild with both lengths as arguments, in bytes. Without
 * ISVARLEN, maxlen is ignored.
 * Errors: as for isbuild. */
ISAM_API int isvbuild(const char *name, int minlen, int maxlen, KeyDesc *key, int mode);

/* Opens a file set.
 *
 * mode: access, flags and locking. ISMASK and ISCOMPRESS come from the file,
 * and a compressed file is opened with ISVARLEN in any case. Returns the
 * descriptor; a second open of the same name shares the system's files with
 * the first, whatever the two modes say: where the first has ISLOCKNONE,
 * changes through both and locks of records through the second fail with
 * EBADF; where the second has it, its changes are made, without any lock. The
 * position is before the first record of the first index (of the file, for a
 * file without primary key): ISNEXT returns that record, and isrecnum is its
 * number, 0 in an empty file (without primary key always 1). isreclen becomes the maximum length of variable-length
 * records, else 0. Inside a transaction a file closed in it comes back as it
 * was, under its old descriptor, when name and mode are those that isgetmode
 * showed of it (ISVARLEN, ISCOMPRESS, ISVARAUTO and ISMAPPED aside, but with
 * ISMASK for a file with masks); opened otherwise it meets the locks of the old
 * one.
 *
 * ISMAPPED has the handle work on the files through memory: what is read, and
 * what is written over bytes that a file has, is copied without a system call.
 * Results, locks and files are the same, and other handles and processes may do
 * likewise or not. It is no part of the mode: isgetmode, issetmode, files and
 * log know nothing of it; a clone and a clustered file have it from the handle
 * they are made of. Without a word files are worked on as ever under ISSYNCWR
 * (also that of an older handle whose files are shared), where no memory can be
 * mapped, and on all file systems but ext2, ext3, ext4, XFS, JFS, ReiserFS,
 * tmpfs and ramfs. Between the first such open and the last close the library
 * handles SIGBUS and passes on what is not its own: a program that handles it
 * too installs its handler before, or passes on, else a call may hang where a
 * file is cut off; and no thread blocks it in a call of the library. A process
 * killed in the middle of a copy may leave it half done; see durability.md.
 * Errors: 102 ISVARLEN and the file do not agree, or ISLOCKAUTO on a file
 * without records; 103 the file holds a bad key description; 105 its header or
 * its list of indexes is damaged; 113 open elsewhere and one of the two is
 * ISLOCKEXCL; 114 name too long; 121 the log cannot be written; ENOENT with
 * iserrio 0x11 or 0x12: the file is missing. */
ISAM_API int isopen(const char *name, int mode);

/* Closes a descriptor and releases its record locks. Inside a transaction, a
 * file opened with ISTRANS is closed to the caller only: its descriptor and its
 * locks stay taken until the transaction ends.
 * Errors: 101; 121 the log cannot be written: the file is closed all the
 * same. */
ISAM_API int isclose(int fd);

/* Closes every descriptor, highest first, those that transactions hold too. A
 * transaction whose files have been closed so cannot be rolled back here any
 * more (118); recovery will roll it back where the log says so. */
ISAM_API int iscleanup(void);

/* Stores the mode word of an open file in *mode. No lock; no global is set but
 * iserrno by a failure.
 * Errors: 101; 102 null mode. */
ISAM_API int isgetmode(int fd, int *mode);

/* Changes the locking of an open file [any]. mode: ISLOCKNONE, ISLOCKAUTO or
 * ISLOCKMANUAL alone; it is added to the low byte of the old mode. Going from
 * ISLOCKAUTO to ISLOCKMANUAL releases all record locks of the handle.
 * Error: 102 ISLOCKEXCL, or a file opened so, or ISLOCKAUTO on a file without
 * records. */
ISAM_API int issetmode(int fd, int mode);

/* Switches lock checking on (on not 0) or off [any]: while it is on, a record
 * can be rewritten or deleted only under a lock of this handle, else 112. No
 * lock is taken.
 * Error: 101. */
ISAM_API int islockcheck(int fd, int on);

/* Switches the precious mode of the file on or off [write]. While it is on,
 * the numbers of deleted records are not used again; switching it off makes
 * them free. Kept in the file.
 * Error: 131 no node is left for the list of free numbers. */
ISAM_API int isprecious(int fd, int on);

/* ---------------------------------------------------------------- indexes */

/* Adds an index and fills it from the records [write]. Nobody else may have
 * the file open. In a file with masks a record is left out when the bit below
 * the new index's is set in its mask (bit 31 for the first index).
 * Positions stay, as does the number of the current index: a handle in
 * record-number order then stands in the new index, and selects record-number
 * order anew to stay there.
 * Errors: 100 two records share a key of a unique index; 102 file without
 * records; 103 bad key, or nine indexes; 108 index exists (flags for duplicates
 * and compression do not count, files with masks may have an index twice);
 * 109 no parts; 113 file in use, also by another descriptor of this process;
 * 121 the log cannot be written: the index is there all the same; 131 no node
 * number is left. After any other failure the file is as before. */
ISAM_API int isaddindex(int fd, KeyDesc *key);

/* Drops an index [write]. Nobody else may have the file open. Indexes behind
 * it move down by one; the current index keeps its number where it can.
 * Errors: 103 no such index; 109 the last index of a file with primary key, or
 * a file without any; 113 as for isaddindex; 121 the log cannot be written: the
 * index is gone all the same. */
ISAM_API int isdelindex(int fd, KeyDesc *key);

/* ------------------------------------------------------- read and position */

/* Reads a record [read]. mode: a read mode plus read flags.
 *
 * record receives the record; for ISEQUAL, ISGREAT and ISGTEQ it holds the
 * key to look for, compared over the length given to the last isstart on the
 * index. In record-number order ISEQUAL reads record isrecnum, ISGREAT means
 * ISNEXT and ISGTEQ means ISCURR. isrecnum becomes the record's number,
 * isreclen its length, and the position moves there. The first ISNEXT after
 * isopen or isstart returns the record at the position itself, as does ISPREV
 * after isstart with ISLAST, and the way back from an end that was reached.
 * ISCURR on a deleted record returns the one that followed it. A mode of 8 to
 * 255 returns the record isrecnum (in record-number order the slot last read)
 * without moving. With ISLOCK the record stays locked; without it the read
 * flags only test or await the lock, and release it even where this handle had
 * it before. A lock of another handle of this process is awaited for ever.
 * Under ISLOCKAUTO the handle first releases all its record locks, whatever
 * comes of the read, and then reads with ISLOCK + ISWAIT.
 * Errors: 102 read flags in a file without records; 107 record locked by
 * somebody else and no ISWAIT; 110 end or beginning (ISFIRST to ISPREV); 111 no
 * such key, or a filter passes over what ISCURR or ISEQUAL finds; 112 no record
 * for ISCURR, no slot isrecnum for a mode of 8 to 255, or the index leads to no
 * slot; 134 no room to note one lock more; EDEADLK with iserrio 0x62: waiting
 * for the lock would never end.
 * After 107, 134 and EDEADLK, and where the record cannot be fetched, the
 * position has moved all the same and isrecnum is the record's number; after
 * 107 the record has been read, too. A key mode that finds nothing keeps the
 * position's record but takes its key from the record given: ISNEXT goes on
 * from there.
 * Where the file is changed between two reads, the place among equal keys is
 * found again by numbers that follow each other in their entries. In trees of
 * three levels and more these may begin anew within a long run of equal keys:
 * ISNEXT then comes to records of the run once more, without end when there is
 * a change before each read, and ISPREV passes some over. islock keeps changes
 * away meanwhile; after iscluster by the index its numbers do not begin anew. */
ISAM_API int isread(int fd, char *record, int mode);

/* Chooses an index and a starting point [read]; no record is returned.
 *
 * key: the index; no parts select record-number order. Null: the current one,
 * with as many bytes of its key as the last read or start in it: all after a
 * read in order or a change. length: leading bytes of the key that count in
 * ISEQUAL, ISGREAT and ISGTEQ from now on, 0 for all. record: holds the key
 * for those modes, unused in others. With a key, ISNEXT, ISPREV and ISCURR
 * start from record isrecnum, where the index has it. isrecnum becomes the
 * record's number and the position moves there; ISFIRST and ISLAST succeed in
 * an empty file too. Under ISLOCKAUTO all record locks of the handle are
 * released.
 * Errors: 102 length or mode out of range, or a mode that needs a record
 * without one; 103 no such index; 110 no record for ISNEXT or ISPREV; 111 no
 * such key; 112 no record for ISCURR. After 110 to 112, and without the record
 * that a mode needs, the index and length have been chosen all the same, after
 * a length out of range the index; after 111 a key mode has taken the
 * position's key from the record, as in isread. */
ISAM_API int isstart(int fd, KeyDesc *key, int length, char *record, int mode);

/* Selects index number 1.. or, with 0, record-number order [read]. With
 * reposition not 0 the position in it is set to record isrecnum, as by isgoto.
 * Errors: 103 no such index; 111 as for isgoto, with the index selected all the
 * same. */
ISAM_API int isindex(int fd, int index, int reposition);

/* Positions the current index on a record by number [any]; isrecnum becomes
 * recnum. Under ISLOCKAUTO all record locks of the handle are released.
 * Error: 111 no such record, or the current index leaves it out. In
 * record-number order isrecnum has then become the number of a deleted record
 * all the same. */
ISAM_API int isgoto(int fd, long recnum);

/* Reads a record by number without moving [read]; locks nothing. isreclen
 * becomes its length.
 * Errors: 102 number outside 1..highest; 111 deleted record, whose bytes the
 * buffer holds then. */
ISAM_API int isdata(int fd, char *record, long recnum);

/* Stores the current index (0, 1, ..) and the number of its record (0 for none)
 * for ispop [any]. No lock.
 * Errors: 101; 102 null pointer. */
ISAM_API int ispush(int fd, int *index, long *recnum);

/* Goes back to what ispush stored: isindex, then isgoto unless recnum is 0
 * [read].
 * Errors: 103 and 111 as for isindex. */
ISAM_API int ispop(int fd, int index, long recnum);

/* Installs a filter for isread, or removes it with null. It is called as
 * filter(fd, record, mode) for each record read, the globals set, and returns
 * 0 to have it passed over: ISFIRST and ISNEXT then go on with ISNEXT, ISLAST
 * and ISPREV with ISPREV, the greater modes with ISGREAT from the record's
 * key, ISCURR and ISEQUAL fail with 111. A filter that returns 0 and leaves
 * iserrno not 0 ends the read with that error. With ISLOCK the records passed
 * over stay locked. A damaged index that would lead a read round in a circle
 * ends it with 105. No lock; no global is set but iserrno by a failure.
 * Error: 101. */
ISAM_API int isfilter(int fd, int (*filter)(int fd, char *record, int mode));

/* Stores the highest record number used so far [read]. */
ISAM_API int isgetlastrec(int fd, long *recnum);

/* Sets the highest record number, 0..2147483647 [write]. It must not be below
 * that of an existing record. Error: 102 out of range. */
ISAM_API int issetlastrec(int fd, long recnum);

/* Raises the highest record number by one and stores it [write]. As long as no
 * record with that number or a higher one has been written, the data file ends
 * before it: reading to the end in record-number order fails with EIO and
 * iserrio 0x42. Error: 131 none is left. */
ISAM_API int islastrec(int fd, long *recnum);

/* ------------------------------------------------ write, rewrite and delete */

/* Adds a record [write]; isrecnum becomes its number. The position stays. In
 * a file without records the key in record is added with the number isrecnum.
 * Under ISTRANS and a log the record is locked, until the transaction ends;
 * outside transactions until it is released.
 * Errors: 100 a unique index holds the key; 102 isrecnum outside 0..2147483647
 * in a file without records; 107 under ISTRANS and a log, somebody's islock
 * covers the new number; 121 the log cannot be written, or the record does not
 * fit a log record (more than 65507 bytes); 127 a file without records that has
 * no index; 131 no record or node number is left; 132 variable-length record
 * longer than the maximum; 134 under ISTRANS and a log, no room to note one
 * lock more. When the system refuses the log record of a write, the record has
 * been added all the same. */
ISAM_API int iswrite(int fd, char *record);

/* The same as iswrite, and the new record stays locked [write].
 * Errors: 100, 121, 131 and 132 as for iswrite; 102 file without records;
 * 107 somebody's islock covers the new number; 134 no room to note one lock
 * more. */
ISAM_API int iswrlock(int fd, char *record);

/* The same as iswrite, then isgoto to the new record [write]. Errors: 100, 107,
 * 121, 131, 132 and 134 as for iswrite; 102 file without records; 111 the
 * current index leaves the record out: it has been written all the same. */
ISAM_API int iswrcurr(int fd, char *record);

/* Replaces the record whose key in the first index equals that in record
 * [write]; isrecnum becomes its number. The position stays. Under ISTRANS and
 * a log the record is locked, until the transaction ends.
 * Errors: 100 another record has the key in a unique index; 102 file without
 * records; 107 locked by somebody else; 111 no such key, or an index does not
 * have the record (it is damaged, or isaddindex left the record out for a
 * mask); 112 lock checking is on and this handle has no lock on it, or the
 * first index leads to no slot; 121 the log cannot be written, or both records
 * do not fit a log record (together more than 65505 bytes); 127 the first index
 * is missing or allows duplicates; 131 no node number is left; 132 and 134 as
 * for iswrite. */
ISAM_API int isrewrite(int fd, char *record);

/* Replaces record number recnum [write]; isrecnum becomes recnum.
 * Errors: 100, 102, 107, 121, 131, 132 and 134 as for isrewrite; 111 an index
 * does not have the record; 112 no such record, or it is not locked while lock
 * checking is on. */
ISAM_API int isrewrec(int fd, long recnum, char *record);

/* Replaces the record at the position of the current index [write]; isrecnum
 * becomes its number. In a file without records the first index's entry is
 * replaced by the key in record with the number isrecnum.
 * Errors: 100, 107, 121, 131, 132 and 134 as for isrewrite; 102 as for iswrite;
 * 111 as for isrewrec; 112 no record is current, or it is gone, or it is not
 * locked while lock checking is on. */
ISAM_API int isrewcurr(int fd, char *record);

/* Moves to the next record, then replaces the one it came from [read, write].
 * In a file without records it is the entry moved to that is replaced, with the
 * record number it has; where there is none, the entry at the position, with
 * the number isrecnum.
 * Errors: 100, 107, 111, 112, 121, 131, 132 and 134 as for isrewcurr; 102 as
 * for iswrite, when there is no next entry; 110 there is no next record: the
 * record has been replaced all the same. After any other failure the position
 * has moved all the same. */
ISAM_API int isrewnxt(int fd, char *record);

/* Deletes the record whose key in the first index equals that in record
 * [write]. Its number is used again first; a lock of this handle on it is
 * released. The position stays: ISNEXT finds what followed.
 * Errors: 107, 111, 112 and 127 as for isrewrite; 121 as for iswrite; 131 no
 * node is left for the list of free numbers. */
ISAM_API int isdelete(int fd, char *record);

/* Deletes record number recnum [write]. Errors: 102 file without records; 107,
 * 121 and 131 as for isdelete; 111 and 112 as for isrewrec. */
ISAM_API int isdelrec(int fd, long recnum);

/* Deletes the record at the position [write]. Errors: 107, 121 and 131 as for
 * isdelete; 111 as for isrewrec; 112 as for isrewcurr, and after isstart with
 * ISFIRST or ISLAST until a record has been read or isstart has been called
 * with another mode. */
ISAM_API int isdelcurr(int fd);

/* Sets the file's unique-id counter, low 32 bits [write]. Error: 121 the log
 * cannot be written: the counter is set all the same. */
ISAM_API int issetunique(int fd, long value);

/* Stores the counter's value in *id and adds 1 to it; after 2147483647 comes 1
 * [write].
 * Error: 121 the log cannot be written: the value has been taken all the
 * same. */
ISAM_API int isuniqueid(int fd, long *id);

/* ------------------------------------------------------------------ locks */

/* Locks records 1 to 268435454 of the file against other processes, without
 * waiting [read]. Rewriting or deleting a record, releasing it, or testing its
 * lock by a read opens the lock at that record.
 * Errors: 107 somebody holds a record, also another descriptor of the process;
 * EBADF with iserrio 0x62: file without records. */
ISAM_API int islock(int fd);

/* Release islock's lock and every record lock of the handle [read]. */
ISAM_API int isunlock(int fd);
ISAM_API int isrelease(int fd);

/* Releases the handle's lock on record recnum, if it has one [read].
 * Error: 102 number below 1. */
ISAM_API int isrelrec(int fd, long recnum);

/* Releases the handle's lock on record isrecnum, if it has one [read]. */
ISAM_API int isrelcurr(int fd);

/* --------------------------------------------------- log and transactions
 *
 * A log file takes a record of every change that the process makes from
 * islogopen to islogclose, with what is needed to undo it and to do it again;
 * several processes may write into one log, as long as their ids differ in the
 * low 16 bits. A transaction groups the changes of files opened with ISTRANS:
 * isrollback undoes them. The records that it inserts and rewrites stay locked,
 * and files closed in it stay open for it, until it ends.
 *
 * Every call that is logged can fail with 121 when the log cannot be written;
 * of isbuild, iserase, isrename, isaddindex, isdelindex, issetunique and
 * isuniqueid the change stays all the same, isopen opens nothing.
 *
 * Not in the log: records' masks (a change undone takes the handle's mask, a
 * change recovered none), isprecious, issetlastrec, islastrec, isuserinfo and
 * isaudit, changes of files without records. isrelease, isunlock and the moves
 * under ISLOCKAUTO let go of a transaction's locks as well. */

/* Opens the log file at path, or makes it, and starts logging. With a log
 * open already, nothing happens. Every later change of files without ISNOLOG
 * is logged, also of those that are open already; but recovery needs a file's
 * opening in the log, so open the log first.
 * Errors: 102 null path; 120 the log cannot be opened. */
ISAM_API int islogopen(const char *path);

/* Ends logging. A transaction that is still open can then only be ended, by
 * iscommit (121) or isrollback (118): its records stay as they are, and those
 * in files that stay open stay locked until they are released. */
ISAM_API int islogclose(void);

/* Begins a transaction, or goes on with the one that is open: they do not
 * nest. Errors: 121 the log cannot be written; 128 no log is open. */
ISAM_API int isbegin(void);

/* Ends the transaction and keeps its changes. The locks of the records that it
 * inserted and rewrote are released, the files closed in it are closed.
 * Errors: 121 the log cannot be written; 122 no transaction is open. The
 * transaction has ended all the same. */
ISAM_API int iscommit(void);

/* Ends the transaction and undoes its changes, the last one first. Records
 * that it deleted are written anew and may come back under another number.
 * Locks and files as in iscommit. Later changes through the descriptors that
 * changes were undone through are not logged any more, and so not undone by a
 * later rollback, until they have been closed and opened again.
 * Errors: 100, 105, 107, 111, 112 and 131 a change cannot be undone;
 * 118 damaged or closed log, or the descriptor of a change means another file
 * by now; 119 damaged log; 121 and 122 as for iscommit. A change that cannot be
 * undone, also for a failed system call, leaves those before it as they are;
 * iserrio does not tell of it.
 * The transaction has ended all the same. */
ISAM_API int isrollback(void);

/* Does everything in the open log again, from its beginning, and undoes the
 * transactions that were rolled back; those that have no end are kept. A
 * rollback that failed over a lock or a system call is done whole. The files
 * must be as they were when the log was begun, under the names that the log
 * has, and nobody may be working on them. At the end they are closed. Audit
 * trails that are on get their entries again.
 * Errors: 100, 102, 103, 105, 107 to 109, 111 to 114, 131 and 132 a change
 * failed; 118 a log record is cut off, or belongs to a file that was not opened
 * in the log; 119 a log record is damaged; 128 no log is open. Recovery stops
 * at the first failure, also of a system call; iserrio then tells of files that
 * cannot be opened, made, erased or renamed alone. Behind a recovery this call,
 * iscommit and isrollback may set isrecnum, isreclen and iserrio to those of
 * some open file. */
ISAM_API int isrecover(void);

/* Tells whose transaction a call belongs to, where one process has several:
 * identity is called by every begin, end and logged change and returns the
 * transaction's number, which log records then carry in place of the user's.
 * A descriptor through which one transaction has changed something must not be
 * closed by a caller outside it before it has ended.
 * Null: one transaction a process, number 0. Returns 1. */
ISAM_API int isTxnInit(short (*identity)(void));

/* ------------------------------------------------------------------- audit */

/* Manages a file's audit trail [write]: a file of its own that takes an entry
 * for every record added, deleted or rewritten. mode says what to do:
 *   ISAUDSETNAME  buffer holds the trail's name, at most 64 bytes and a NUL;
 *                 no extension is added. Auditing stays on or off.
 *   ISAUDGETNAME  buffer receives the name, up to 65 bytes
 *   ISAUDSTART    switches auditing on, ISAUDSTOP off; buffer is not used
 *   ISAUDINFO     buffer[0] becomes 1 when auditing is on, else 0
 * An entry: type (2 bytes: "aa" added, "dd" deleted, "rr" before and "ww"
 * after a rewrite), time (4), process (2), user (2), record number (4), then
 * the record; of a variable-length record its stored length (2), its fixed
 * part and its tail as stored, or nothing where it has no tail. Numbers stand
 * most significant byte first.
 * Errors: 102 mode below 0, or no name has been set yet; 114 name too long;
 * 131 no node number is left. A mode above 4 ends the process, see isfatal.
 * Every change opens the trail by its name, from the directory of the moment.
 * While that fails, or the trail cannot be written, changes of the file fail
 * with the system's error and iserrio 0x23 or 0x53. */
ISAM_API int isaudit(int fd, char *buffer, int mode);

/* ------------------------------------------------------------- whole files */

/* Removes a file set by its base path, the index file first. Nobody may have it
 * open.
 * Errors: 102 empty name; 105 damaged header; 113 file in use; 114 name too
 * long; 121 the log cannot be written; ENOENT with iserrio 0x11 or 0x12: the
 * file is missing. */
ISAM_API int iserase(const char *name);

/* Renames a file set; no existing file is overwritten, and either both files
 * are renamed or none. Errors: as for iserase; EEXIST with iserrio 1 or 2: a
 * file has the new name. */
ISAM_API int isrename(const char *from, const char *to);

/* Makes an empty file set of the same shape and opens it [any]: the same record
 * lengths, indexes, mode and masks; with or without primary key. Unique id,
 * user information, precious mode and audit trail are not taken along.
 *
 * name: base path of the new file set. Returns its descriptor; isrecnum and
 * isreclen become as after isbuild. Errors: 113, 114, 121 and EEXIST as for
 * isbuild. Files made before the failure are removed again. */
ISAM_API int isclone(int fd, const char *name);

/* Copies all records of one open file into another, in the order of an index
 * [from: read, to: write].
 *
 * key: an index of the file copied from; no parts for record-number order; null
 * for its current order. Records that the index leaves out, for their mask or
 * for a null key, follow in record-number order. Each record gets a number of
 * its own in the new file, and goes into the indexes of that file; masks are
 * carried over between files that both have them. In files without records the
 * keys are copied with the numbers that they have. Positions stay, those of
 * both files. Neither log nor audit trail learns of the copy.
 * Errors: 100 the destination has a key of a unique index already; 102 both are
 * one file, or their record lengths differ; 103 no such index; 105 the index
 * does not fit the records; 131 as for iswrite. What was copied before the
 * failure stays. isrecnum stays. */
ISAM_API int iscopy(int to, int from, KeyDesc *key);

/* Rewrites a file physically in the order of an index [read, write]. The file
 * must be open with ISLOCKEXCL and not be part of an open transaction.
 *
 * key: an index, or null, as for iscopy. The records go into a file "istNNNNN"
 * beside the old one, NNNNN being the process id, which then takes its place
 * under its name; link files stay. Record numbers change. Unique id, user
 * information, precious mode and audit trail stay.
 * Returns the descriptor of the file, opened again with the same mode and
 * positioned as by isopen; it may be another number, and fd is closed. After a
 * failure fd is as before and the temporary file is gone, but for two cases, both
 * with fd closed: when the new file cannot be given the name, all records are in
 * the temporary file; when only the log or the opening fails after that, the file
 * has been clustered. A process that is killed leaves the records whole under one
 * of the two names.
 * The log gets a build, closings, an erasing and a renaming, but not the
 * records: recovery over a clustering leaves the file without those it had
 * before. Begin a new log behind it.
 * Errors: 100 as for isaddindex; 102 file without records; 103 no such index;
 * 105 as for iscopy; 106 not open with ISLOCKEXCL; 113 the file is part of an
 * open transaction; 114 temporary name too long; 121 the log cannot be written;
 * EEXIST with iserrio 0x21 or 0x22: a file with the temporary name exists;
 * EXDEV it would be in another file system; ENOENT the files are not under
 * their name any more. */
ISAM_API int iscluster(int fd, KeyDesc *key);

/* ----------------------------------------------------------------- checks */

/* What the checks find, bits of their result. */
#define ISCHK_DATAREAD 0x0001  /* data file cannot be read, or has none */
#define ISCHK_RECORD 0x0002    /* a slot is neither a record nor free */
#define ISCHK_FREELIST 0x0004  /* free list and deleted records differ */
#define ISCHK_INDEXREAD 0x0008 /* index cannot be read, or is damaged */
#define ISCHK_KEYORDER 0x0010  /* a key sorts after its successor */
#define ISCHK_KEYCOUNT 0x0020  /* keys and records differ in number */
#define ISCHK_MAGIC 0x0040     /* a tail's node is none */
#define ISCHK_MISMATCH 0x0080  /* key in index and key in record differ */
#define ISCHK_BUCKET0 0x0800   /* something is filed as having no space */
#define ISCHK_MISFILED 0x1000  /* a tail's node is filed under a wrong space */
#define ISCHK_LINK 0x2000      /* a list of tails' nodes is broken */
#define ISCHK_LOST 0x4000      /* tails' nodes filed and found differ in number */
#define ISCHK_LENGTH 0x8000    /* a tail's pieces do not make its length */

/* The checks read a file under the shared phase lock and return what they have
 * found, 0 when all is well; isCheckMsg has a message for each bit. Whatever
 * the damage, a check ends, and says so in its result. A descriptor that is not
 * open gives -1 and iserrno 101; else no global is set. Positions stay. */

/* Checks the records' status and the list of free record numbers [read]. A file
 * without records, or opened ISOUTPUT, gives ISCHK_DATAREAD.
 * Error: 101. */
ISAM_API int ischeckdata(int fd);

/* Checks one index against itself and the records [read]. index: 1 for the
 * first; any other than the file has, or ISOUTPUT, gives ISCHK_INDEXREAD.
 * Error: 101. */
ISAM_API int ischeckindex(int fd, int index);

/* Checks the tails of variable-length records, and the lists of nodes that have
 * room for more [read]. stats: null, or six numbers to be filled: nodes in
 * those lists and their free bytes, nodes of tails in no list and their free
 * bytes, nodes of tails and their free bytes. ISCHK_LOST is found only with it.
 * Error: 101. */
ISAM_API int ischeckvarlen(int fd, long *stats);

/* ------------------------------------------------------------ information */

/* Stores the key description of index 1.. in buffer (a KeyDesc), or for index
 * 0 what isisaminfo tells [read]. Error: 102 no such index. */
ISAM_API int isindexinfo(int fd, void *buffer, int index);

/* Describes the file [read]. For variable-length records isreclen becomes the
 * minimum length. */
ISAM_API int isisaminfo(int fd, DictInfo *info);

/* Reads (direction 0) or writes (1) the 10 bytes that a file keeps for the
 * application [any]. Error: 102 other direction. */
ISAM_API int isuserinfo(int fd, int direction, void *buffer);

/* Plain looks into a handle: no lock, no globals set. A bad descriptor gives
 * null or -1, or for the last four the address of the global. */
ISAM_API const char *isqv_name(int fd); /* base path as given */
ISAM_API int isqv_datlen(int fd);       /* fixed record length, bytes */
ISAM_API int isqv_curidx(int fd);       /* current index from 0; the number of indexes or more: record-number order */
ISAM_API int isqv_idxfd(int fd);        /* system descriptor of the index file */
ISAM_API int isqv_datfd(int fd);        /* system descriptor of the data file, -1 for none */
ISAM_API KeyDesc *isqv_kdsc(int fd);    /* description of the current index, null in record-number order */
ISAM_API long *is_recnum(int fd);       /* the handle's own isrecnum */
ISAM_API int *is_reclen(int fd);        /* the handle's own isreclen */
ISAM_API int *is_errno(int fd);         /* the handle's own iserrno */
ISAM_API int *is_errio(int fd);         /* the handle's own iserrio */

/* The key at the position of the current index, keyLength bytes owned by the
 * handle; null for a bad descriptor and in record-number order. */
ISAM_API void *isseekey(int fd);

/* The mask of the last record read from a file with ISMASK, or as last set, as
 * an unsigned 32-bit number; 0 for a bad descriptor. */
ISAM_API long isgetmask(int fd);

/* Sets the mask that the next write or rewrite stores with its record, low 32
 * bits: bit i set keeps the record out of index i, counted from 0. A bad
 * descriptor gives -1; no global is set. */
ISAM_API int issetmask(int fd, long mask);

/* Nothing is held back, so there is nothing to do: 0 for a descriptor of 0 or
 * more, -1 for a negative one. */
ISAM_API int isflush(int fd);

/* Sets how much memory, in units of 1,024 bytes, what has been read may take up for
 * the next time, of all open files together: index nodes, of whichever file is used
 * most, and the records of files that fit in whole beside them. 65,536 (64
 * megabytes; 16 in 32-bit programs) unless it is set; 0 keeps nothing beyond a call
 * and reads no records ahead. A negative value changes nothing. The nodes that a
 * call is at work on and those not written yet come on top; whatever the bound is,
 * the files become the same. Returns the bound before the call; sets no global. */
ISAM_API long iscachelimit(long kilobytes);

/* Installs a function that is shown the message of a fatal stop in place of
 * the standard output; null removes it. The process ends when it returns. */
ISAM_API void isfatal(void (*handler)(char *message));

/* Returns 1. */
ISAM_API int isthreaded(void);

/* ----------------------------------------------------- numbers in records */

/* Numbers as keys and files hold them: most significant byte first, at any
 * address. Floating-point numbers keep the machine's form. Storing calls
 * return 0. The null forms store 0.0 when null is not 0, and on loading set
 * *null to 1 for a value of zero and to 0 for any other. */
ISAM_API int ldint(const void *p);                      /* 2 bytes, 0..65535 */
ISAM_API int stint(int value, void *p);                 /* low 16 bits */
ISAM_API long ldlong(const void *p);                    /* 4 bytes, signed */
ISAM_API int stlong(long value, void *p);               /* low 32 bits */
ISAM_API int ldchar(const char *src, int n, char *dst); /* n bytes to text without trailing blanks, dst n + 1 bytes */
ISAM_API int stchar(const char *src, char *dst, int n); /* text to n bytes, filled with blanks */
ISAM_API float ldfloat(const void *p);
ISAM_API int stfloat(float value, void *p);
ISAM_API double lddbl(const void *p);
ISAM_API int stdbl(double value, void *p);
ISAM_API float ldfltnull(const void *p, short *null);
ISAM_API int stfltnull(float value, void *p, short null);
ISAM_API double lddblnull(const void *p, short *null);
ISAM_API int stdblnull(double value, void *p, short null);

/* Length in bytes of a value of an isCustCmp-only type, 0 for any other. */
ISAM_API int isCustLen(int type);

/* Compares two values of a part's isCustCmp-only type: below, equal to or
 * above 0. part: counted from 0. ISDESC does not count; 0 for other types,
 * parts outside 0..9 and null pointers. */
ISAM_API int isCustCmp(KeyDesc *key, int part, const void *a, const void *b);

#ifdef __cplusplus
}
#endif

#ifndef ISAM_NO_NAMES
#include "isam_names.h" /* customary names, as macros */
#endif

#endif /* ISAM_H */
