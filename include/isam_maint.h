/*
 * isam_maint.h - for maintenance tools: mending what the checks of isam.h find.
 *
 * A tool opens the file as any program does, looks at it with ischeckdata,
 * ischeckindex and ischeckvarlen, and rebuilds what they name:
 *
 *     IsamFile *file = isAdmItoD(fd);
 *     if (ischeckdata(fd) & ISCHK_FREELIST)
 *         isRebuildFree(file, ISFREE_DATA);
 *     if (ischeckindex(fd, 2) != 0)
 *         isRebuildIdx(file, 2);
 *
 * isopen opens a file although its first index is damaged; the damage shows
 * when it is read. The rebuilds take the file under its exclusive phase lock and
 * write neither log nor audit trail. Since they change which record number is
 * used next, a transaction log should be begun anew behind them.
 */
#ifndef ISAM_MAINT_H
#define ISAM_MAINT_H

#include "isam.h"

#ifdef __cplusplus
extern "C" {
#endif

/* An open file behind its descriptor. */
typedef struct IsamFile IsamFile;

/* The file of a descriptor, null for one that is not open. It is good until the
 * descriptor is closed. */
ISAM_API IsamFile *isAdmItoD(int fd);

/* What the last call on the file left: code as in iserrno, which system call
 * failed as in iserrio, record number and length. For null: the system's errno,
 * 0, -1 and -1. */
ISAM_API int isErrno(IsamFile *file);
ISAM_API int isErrio(IsamFile *file);
ISAM_API long isRecnum(IsamFile *file);
ISAM_API int isReclen(IsamFile *file);

/* Free lists: of nodes in the index file, of record numbers. */
#define ISFREE_INDEX 1
#define ISFREE_DATA 2

/* Makes the list of free record numbers anew, from the records' status [write].
 *
 * list: ISFREE_DATA. A precious file keeps no list: success, and nothing is
 * done. Returns 1, or 0 with the code in isErrno. The highest record number
 * becomes that of the data file's last slot. Positions and locks stay.
 * Errors: 102 another list, or a file without records; 105 the index file's own
 * free list is damaged; 131 no node is left for the list. */
ISAM_API int isRebuildFree(IsamFile *file, int list);

/* Makes an index anew, from the records [write].
 *
 * index: 1 for the first. Returns 1, or 0 with the code in isErrno. Nodes that a
 * damaged index has lost are free afterwards, where it can be told that nothing
 * else has them. A free list that then does not give the root back is the fatal
 * stop "ischeck.c", 187. Positions and locks stay; another handle's position among
 * equal keys may be on another one of them.
 * Errors: 100 two records share a key of a unique index: it then holds those
 * before the second of them; 102 no such index, or a file without records;
 * 105 the index file's free list is damaged, or the index's root belongs to
 * something else; 131 no node number is left. */
ISAM_API int isRebuildIdx(IsamFile *file, int index);

#ifdef __cplusplus
}
#endif

#endif /* ISAM_MAINT_H */
