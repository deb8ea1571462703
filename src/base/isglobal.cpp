#include "base/isglobal.h"

ProcessState isProcess;

int iserrno = 0;
int iserrio = 0;
long isrecnum = 0;
int isreclen = 0;
char isstat1 = '0';
char isstat2 = '0';

const char *iscopyright = "Indexed-sequential file handler";
const char *isversnumber = "6.11";

const char *const is_errlist[] = {
    "Duplicate record",               // 100
    "File not open",                  // 101
    "Illegal argument",               // 102
    "Bad key descriptor",             // 103
    "Too many files",                 // 104
    "Corrupted isam file",            // 105
    "Need exclusive access",          // 106
    "Record or file locked",          // 107
    "Index already exists",           // 108
    "Illegal primary key operation",  // 109
    "End of file",                    // 110
    "Record not found",               // 111
    "No current record",              // 112
    "File is in use",                 // 113
    "File name too long",             // 114
    "Bad lock device",                // 115
    "Can't allocate memory",          // 116
    "Bad collating table",            // 117
    "Can't read log record",          // 118
    "Bad log record",                 // 119
    "Can't open log file",            // 120
    "Can't write log record",         // 121
    "No transaction",                 // 122
    "No shared memory",               // 123
    "No begin work yet",              // 124
    "Can't use nfs",                  // 125
    "Bad rowid",                      // 126
    "No primary key",                 // 127
    "No logging",                     // 128
    "Too many users",                 // 129
    "No such dbspace",                // 130
    "No free disk space",             // 131
    "Rowsize too big",                // 132
    "Audit trail exists",             // 133
    "No more locks",                  // 134
};

const char *const isCheckMsg[] = {
    "data file read error",
    "data record corrupt",
    "data free list is corrupt",
    "index file read error",
    "key out of order",
    "index count mismatch",
    "bad index node magic number",
    "index/data mismatch",
    "",
    "",
    "",
    "hash table zero loaded",
    "node misfiled in hash table",
    "mangled link in hash list",
    "nodes missing or unaccounted for",
    "data record length mismatch",
};
