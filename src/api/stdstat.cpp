// isstat1 and isstat2: the outcome of a call in two characters.

#include "api/stdwrap.h"

namespace {

// For the codes, from 100 on. The page of the calls has the meanings.
constexpr char kStatuses[][3] = {
    "22",  // 100 duplicate
    "9O",  // 101 not open
    "9A",  // 102 argument
    "9K",  // 103 key description
    "9t",  // 104 too many files
    "9D",  // 105 damage
    "9X",  // 106 exclusive access needed
    "9L",  // 107 locked
    "9I",  // 108 index exists
    "21",  // 109 primary key
    "10",  // 110 end of file
    "23",  // 111 not found
    "21",  // 112 no current record
    "9U",  // 113 in use
    "9N",  // 114 name
    "9d",  // 115 lock device
    "9m",  // 116 memory
    "9c",  // 117 collating table
    "9R",  // 118 log cannot be read
    "9B",  // 119 bad log record
    "9P",  // 120 log cannot be opened
    "9W",  // 121 log cannot be written
    "9T",  // 122 no transaction
    "9s",  // 123 shared memory
    "9b",  // 124 no begin
    "9n",  // 125 nfs
    "9r",  // 126 rowid
    "21",  // 127 no primary key
    "9G",  // 128 no log
    "9u",  // 129 users
    "9p",  // 130 dbspace
    "9F",  // 131 full
    "9Z",  // 132 size of a record
    "9a",  // 133 audit trail
    "9M",  // 134 no more locks
};
static_assert(sizeof kStatuses / sizeof *kStatuses == ISERR_LAST - ISERR_FIRST + 1);

constexpr char kSystemStatus[] = "90";

}  // namespace

void isTellFailure(int code) {
    const bool ours = code >= ISERR_FIRST && code <= ISERR_LAST;
    const char *status = ours ? kStatuses[code - ISERR_FIRST] : kSystemStatus;
    iserrno = code;
    isstat1 = status[0];
    isstat2 = status[1];
}
