// The operating-system layer: the only place that makes system calls on files,
// but for those that map them (ismap).
//
// Every function takes a handle and a file kind. With a handle, a failed
// system call ends the operation through isFail: errno is the code, operation
// number plus kind the secondary code. With a null handle the kind is itself
// the system descriptor and failure is the result 0. Interrupted calls are
// repeated here and nowhere else.
#pragma once

#include <cstdint>

#include "base/isfile.h"

// Secondary error codes, the file kind added.
enum IoCode : int {
    ISIO_NAME = 0x00,  // link, unlink
    ISIO_OPEN = 0x10,
    ISIO_CREATE = 0x20,
    ISIO_SEEK = 0x30,
    ISIO_READ = 0x40,
    ISIO_WRITE = 0x50,
    ISIO_LOCK = 0x60,
};

// Kinds of lock request.
enum LockType : int {
    ISLT_UNLOCK = 0,
    ISLT_WRITEWAIT = 1,
    ISLT_WRITE = 2,
    ISLT_READWAIT = 3,
    ISLT_READ = 4,
};

// Longest path, NUL included; the size of makename's and testlink's out.
inline constexpr int kPathSize = 256;

// Writes the path of the file of that kind: the name, or what its link file
// puts in its place, and the kind's extension. 0, and errno, as by testlink.
int makename(char *out, const char *name, int kind);

// Writes the name, or the first line of NAME.lnk when there is one. 0 when it
// does not fit, errno 114; or when the system has no means left to look, which
// must not lead to another file: errno tells of what.
int testlink(char *out, const char *name);

// Creates a file; index and data files must not exist. The descriptor goes into
// the handle; with a null handle it is the result, -1 on failure. 114 when the
// name does not fit.
int is_create(IsamFile *h, int kind, const char *name);

// Opens an existing file, for reading only under ISLOCKNONE. Results as above.
int is_open(IsamFile *h, int kind, const char *name);

// Closes the file; descriptors below 1 are left alone. Returns 1.
int is_close(IsamFile *h, int kind);

// One transfer of exactly length bytes at offset (-1: where the file stands).
// A short transfer, as at the end of a file, is a failure with EIO.
int is_read(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset);
int is_write(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset);

// The same as is_write by a call of the system in any case, which SIGKILL does not cut
// within a page: for the few bytes without which a file cannot be opened.
int is_write_whole(IsamFile *h, int kind, const void *buffer, int length, std::int64_t offset);

// The same as is_read, but 0 where the file ends before.
int is_read_within(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset);

// One read that never fails: returns how many bytes it got, or -1.
std::int64_t is_read_some(IsamFile *h, int kind, void *buffer, int length, std::int64_t offset);

// One write at the end of a file that is_create opened for appending. What went
// in of a transfer that falls short is cut off again: it would put everything
// behind it out of step.
int is_append(IsamFile *h, int kind, const void *buffer, int length);

// Cuts the file off at length. 0 on failure, also with a handle.
int is_truncate(IsamFile *h, int kind, std::int64_t length);

std::int64_t is_size(IsamFile *h, int kind);

// Of the handle's open file; of the file of that name, zeros where there is none.
FileIdentity is_identity(IsamFile *h, int kind);
FileIdentity is_named(IsamFile *h, int kind, const char *name);

// Is the handle's open file, whose identity it knows, still the one of that
// name?
bool is_current(IsamFile *h, int kind, const char *name);

// Removes the name of the file of that kind, or gives it another one besides. No
// existing file loses its name by that.
int is_unlink(IsamFile *h, int kind, const char *name);
int is_link(IsamFile *h, int kind, const char *from, const char *to);

// Places or releases a byte-range lock (LockType). 1 when done, 0 when another
// process is in the way. A release on a closed file succeeds.
int is_lock(IsamFile *h, int kind, std::int64_t start, std::int64_t length, int type);

long is_getpid(IsamFile *h);
long is_getuid(IsamFile *h);  // low 16 bits

void storefd(IsamFile *h, int descriptor, int kind);
int loadfd(IsamFile *h, int kind);
