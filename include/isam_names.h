/*
 * isam_names.h - customary names: macros over those of isam.h.
 *
 * Application sources that use them compile unchanged. isam.h includes this
 * header; a program that has names of its own like these defines ISAM_NO_NAMES
 * before it includes isam.h. They stand for members of the same structs and for
 * the same numbers, so that both ways of writing can be mixed.
 */
#ifndef ISAM_NAMES_H
#define ISAM_NAMES_H

/* Members of KeyDesc. */
#define k_flags flags
#define k_nparts nparts
#define k_part parts
#define k_len keyLength
#define k_rootnode rootNode
#define k_start parts[0].start /* of the first part, as the next two */
#define k_leng parts[0].length
#define k_type parts[0].type

/* Members of KeyPart. */
#define kp_start start
#define kp_leng length
#define kp_type type

/* Members of DictInfo. */
#define di_nkeys keyCount
#define di_recsize recordLength
#define di_idxsize nodeSize
#define di_nrecords recordCount

/* In a key description: how many parts it has room for. */
#define NPARTS ISMAXPARTS

/* In an open mode. */
#define ISFIXLEN 0x0000 /* fixed-length records: what there is without ISVARLEN */
#define ISMANULOCK ISLOCKMANUAL
#define ISAUTOLOCK ISLOCKAUTO
#define ISEXCLLOCK ISLOCKEXCL

/* In isread's mode. */
#define ISLCKW (ISLOCK + ISWAIT)
#define ISSKIPLOCK 0x0200 /* alone it tests the lock; after 107 the position is on the record, ISNEXT goes past it */

/* Flags of a key description. */
#define DCOMPRESS ISDUPCOMP
#define LCOMPRESS ISLEADCOMP
#define TCOMPRESS ISTRAILCOMP
#define COMPRESS (DCOMPRESS + LCOMPRESS + TCOMPRESS)

/* The error codes 100 to 134, in this order. */
#define EDUPL ISERR_DUPLICATE
#define ENOTOPEN ISERR_NOTOPEN
#define EBADARG ISERR_ARGUMENT
#define EBADKEY ISERR_KEYDESC
#define ETOOMANY ISERR_TOOMANYFILES
#define EBADFILE ISERR_CORRUPT
#define ENOTEXCL ISERR_NEEDEXCL
#define ELOCKED ISERR_LOCKED
#define EKEXISTS ISERR_INDEXEXISTS
#define EPRIMKEY ISERR_PRIMARYKEY
#define EENDFILE ISERR_ENDOFFILE
#define ENOREC ISERR_NOTFOUND
#define ENOCURR ISERR_NOCURRENT
#define EFLOCKED ISERR_FILEINUSE
#define EFNAME ISERR_NAMETOOLONG
#define ENOLOK ISERR_LOCKDEVICE
#define EBADMEM ISERR_NOMEMORY
#define EBADCOLL ISERR_COLLATING
#define ELOGREAD ISERR_LOGREAD
#define EBADLOG ISERR_BADLOG
#define ELOGOPEN ISERR_LOGOPEN
#define ELOGWRIT ISERR_LOGWRITE
#define ENOTRANS ISERR_NOTRANSACTION
#define ENOSHMEM ISERR_SHAREDMEMORY
#define ENOBEGIN ISERR_NOBEGIN
#define ENONFS ISERR_NFS
#define EBADROWID ISERR_ROWID
#define ENOPRIM ISERR_NOPRIMARYKEY
#define ENOLOG ISERR_NOLOG
#define EUSER ISERR_USERS
#define ENODBS ISERR_DBSPACE
#define ENOFREE ISERR_DISKSPACE
#define EROWSIZE ISERR_ROWSIZE
#define EAUDIT ISERR_AUDITEXISTS
#define ENOLOCKS ISERR_NOLOCKS

#endif /* ISAM_NAMES_H */
