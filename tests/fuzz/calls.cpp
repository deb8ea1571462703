#include "calls.h"

#include "isam.h"
#include "isam_maint.h"
#include "session.h"

#include <cstring>
#include <iterator>
#include <string>

namespace fuzz {

namespace {

using Op = const Operation &;

// The field c of an operation is mostly a number of a record or index, b a mode; bit 7 of a asks for a null pointer.
bool wantsNull(Op o) { return (o.a & 0x80) != 0 && o.b % 8 == 7; }
int fdOf(Op o) { return descriptorFor(o); }
char *recordOf(Op o) { return wantsNull(o) ? nullptr : recordFor(fdOf(o), o.c % 512, o); }

const char *nameFor(std::uint32_t choice) {
    static const std::string longest(251, 'n'), longer(252, 'n');
    static const char *const kNames[] = {"m/a", "m/b", "m/a", "m/c", "m/new", "m/elsewhere", "none/a", "", "a"};
    choice %= 32;
    if (choice == 31) return nullptr;
    if (choice == 30) return longest.c_str();
    if (choice == 29) return longer.c_str();
    return kNames[choice % std::size(kNames)];
}

// How the kind is opened, in one of the lockings.
int modeFor(Op o) {
    static constexpr int kLocks[] = {0, 0, 0, ISLOCKMANUAL, ISLOCKAUTO, ISLOCKEXCL, ISLOCKEXCL, ISLOCKNONE};
    if ((o.b & 0xc000) == 0xc000) return static_cast<int>(o.d);
    int mode = session().kind->mode | ISINOUT | kLocks[o.b % 8];
    if ((o.b & 0x10) != 0) mode |= ISTRANS;
    if ((o.b & 0xe0) == 0x20) mode = (mode & ~3) | ISINPUT;
    if ((o.b & 0xe0) == 0x40) mode = (mode & ~3) | ISOUTPUT;
    if ((o.b & 0x700) == 0x100) mode |= ISNOLOG;
    if ((o.b & 0x700) == 0x200) mode |= ISSYNCWR;
    if ((o.b & 0x700) == 0x300) mode = (mode & ~ISVARLEN) | ISVARAUTO;
    return mode;
}

// A description of the kind, one that it has not, an odd one, none, or null.
KeyDesc *keyFor(Op o, std::uint32_t choice) {
    static KeyDesc key;
    const std::vector<KeyDesc> &keys = session().kind->keys;
    key = keys[choice / 8 % keys.size()];
    switch (choice % 8) {
    case 0:
    case 1:
    case 2:
    case 3: return &key;
    case 4:
        key = {};
        key.nparts = 1;
        key.flags = static_cast<unsigned short>(o.d & 0x3f);
        key.parts[0] = {static_cast<short>(o.d >> 8 & 0x3f), static_cast<short>((o.d >> 16 & 0x1f) + 1),
                        static_cast<unsigned short>(o.d >> 24 & 0x80)};
        return &key;
    case 5:
        key.nparts = static_cast<short>(o.d);
        key.flags = static_cast<unsigned short>(o.d >> 8);
        key.parts[o.d % ISMAXPARTS] = {static_cast<short>(o.d >> 3), static_cast<short>(o.d >> 9),
                                       static_cast<unsigned short>(o.d >> 16)};
        return &key;
    case 6: key = {}; return &key;
    default: return choice / 8 % 4 == 0 ? nullptr : &key;
    }
}

// Record numbers that files have, and others.
long numberFor(Op o) {
    switch (o.b % 8) {
    case 5: return static_cast<long>(static_cast<std::int32_t>(o.d));
    case 6: return 0x7fffffff - static_cast<long>(o.d % 4);
    case 7: return -static_cast<long>(o.d % 3);
    default: return static_cast<long>(o.c % 70);
    }
}

long opens(Op o, int fd) {
    opened(fd, o);
    return fd;
}

long touched(const void *bytes, int length) {
    long sum = 0;
    for (int i = 0; bytes != nullptr && i < length; ++i)
        sum += static_cast<const char *>(bytes)[i];
    return sum;
}

int everyOther(int, char *, int) { return static_cast<int>(isrecnum % 2); }
int nothing(int, char *, int) { return 0; }
int wrong(int, char *, int) {
    iserrno = isrecnum % 3 == 0 ? ISERR_LOCKED : 0;
    return isrecnum % 3 == 0 ? 0 : 1;
}
short identity = 0;
short identify() { return identity; }

long build(Op o) {
    isreclen = o.c % 4 == 0 ? static_cast<int>(o.d >> 4 & 0xff) : kRowLength;
    const int length = o.c % 8 == 1 ? static_cast<int>(o.d & 0xffff) : o.c % 8 == 2 ? 0 : kRowLength;
    const bool tails = (modeFor(o) & ISVARLEN) != 0;
    return opens(
        o, isbuild(nameFor(o.c >> 16), tails && length != 0 ? kMaxLength : length, keyFor(o, o.c >> 3), modeFor(o)));
}

long buildVariable(Op o) {
    const int minimum = o.c % 4 == 0 ? static_cast<int>(o.d & 0xffff) : kRowLength;
    const int maximum = o.c % 4 == 1 ? static_cast<int>(o.d & 0xffff) : 4000;
    return opens(o, isvbuild(nameFor(o.c >> 16), minimum, maximum, keyFor(o, o.c >> 3), modeFor(o)));
}

long read(Op o) {
    isrecnum = numberFor(o);
    const int mode = static_cast<int>(o.b >> 3 & 0x0f) % 10;
    const int flags = (o.b & 0x80) != 0 ? static_cast<int>(o.b) & (ISLOCK | ISWAIT) : 0;
    return isread(fdOf(o), recordOf(o), mode == 9 ? static_cast<int>(o.d & 0xffff) : mode | flags);
}

long start(Op o) {
    isrecnum = numberFor(o);
    char *const record = recordOf(o);
    const int length = o.b % 4 == 3 ? static_cast<int>(o.d & 0xff) : 0;
    return isstart(fdOf(o), keyFor(o, o.c >> 9), length, record, static_cast<int>(o.b >> 3) % 9);
}

// Reads on from the beginning or the end.
long walk(Op o) {
    const int fd = fdOf(o), edge = o.b % 2 == 0 ? ISFIRST : ISLAST;
    char *const record = recordFor(fd, 1, o);
    int result = isread(fd, record, edge);
    for (int left = 40; result == 0 && left > 0; --left)
        result = isread(fd, record, edge == ISFIRST ? ISNEXT : ISPREV);
    return result;
}

long audit(Op o) {
    static const std::string longest(64, 't'), longer(65, 't');
    const char *const names[] = {"m/trail", "none/trail", "", longest.c_str(), longer.c_str(), "m/a.idx"};
    char buffer[80] = {};
    std::strcpy(buffer, names[o.c % std::size(names)]);
    return isaudit(fdOf(o), wantsNull(o) ? nullptr : buffer,
                   o.b % 64 == 63 ? 5 + o.b % 3 : static_cast<int>(o.b % 6) - (o.b % 6 == 5 ? 6 : 0));
}

long indexInfo(Op o) {
    KeyDesc key;
    DictInfo info;
    const int index = static_cast<int>(o.c % 11);
    return isindexinfo(fdOf(o), index == 0 ? static_cast<void *>(&info) : wantsNull(o) ? nullptr : &key, index);
}

long looks(Op o) {
    const int fd = fdOf(o);
    const char *const name = isqv_name(fd);
    long sum = touched(name, name != nullptr ? static_cast<int>(std::strlen(name)) : 0);
    const KeyDesc *const key = isqv_kdsc(fd);
    if (key != nullptr) sum += touched(isseekey(fd), key->keyLength) + touched(key, sizeof *key);
    sum += isqv_datlen(fd) + isqv_curidx(fd) + isqv_idxfd(fd) + isqv_datfd(fd);
    sum += *is_recnum(fd) + *is_reclen(fd) + *is_errno(fd) + *is_errio(fd);
    return sum + isgetmask(fd) + isflush(fd) + isthreaded();
}

long copy(Op o) {
    Operation from = o;
    from.a = static_cast<std::uint8_t>(o.c);
    return iscopy(fdOf(o), fdOf(from), keyFor(o, o.c >> 8));
}

long handleLooks(Op o) {
    IsamFile *const file = isAdmItoD(fdOf(o));
    return isErrno(file) + isErrio(file) + isRecnum(file) + isReclen(file);
}

// Numbers, as they stand in any record.
long numbers(Op o) {
    char bytes[16], text[17];
    stlong(static_cast<long>(o.c), bytes);
    stlong(static_cast<long>(o.d), bytes + 4);
    ldchar(bytes, 8, text);
    stchar(text, bytes + 8, 8);
    short null = 0;
    const double sum = lddbl(bytes) + lddblnull(bytes, &null) + static_cast<double>(ldfloat(bytes + 8)) +
                       static_cast<double>(ldfltnull(bytes + 4, &null));
    stdblnull(sum, bytes, null);
    stfltnull(1, bytes + 8, null);
    KeyDesc *const key = keyFor(o, o.c);
    for (int part = -1; part <= ISMAXPARTS; ++part)
        if (isCustLen(key != nullptr && part >= 0 && part < ISMAXPARTS ? key->parts[part].type & 0x3f : 0) <= 8 &&
            key != nullptr && part >= 0 && part < key->nparts && key->parts[part].length <= 8)
            null = static_cast<short>(null + isCustCmp(key, part, bytes, bytes + 8));
    return null;
}

long rebuildIndex(Op o) {
    IsamFile *const file = isAdmItoD(fdOf(o));
    return file != nullptr ? isRebuildIdx(file, static_cast<int>(o.c % 11)) : 1;
}

long rebuildFree(Op o) {
    IsamFile *const file = isAdmItoD(fdOf(o));
    return file != nullptr ? isRebuildFree(file, o.c % 8 == 7 ? 3 : static_cast<int>(o.c % 2) + 1) : 1;
}

const Call kCalls[] = {
    {"isbuild", Tells::Failure, build},
    {"isvbuild", Tells::Failure, buildVariable},
    {"isopen", Tells::Failure,
     [](Op o) {
         return opens(o, isopen(nameFor(o.c), modeFor(o)));
     }},
    {"isclose", Tells::Error,
     [](Op o) -> long {
         return isclose(fdOf(o));
     }},
    {"iscleanup", Tells::Error,
     [](Op) -> long {
         return iscleanup();
     }},
    {"isgetmode", Tells::Failure,
     [](Op o) -> long {
         int mode;
         return isgetmode(fdOf(o), wantsNull(o) ? nullptr : &mode);
     }},
    {"issetmode", Tells::Error,
     [](Op o) -> long {
         static constexpr int kModes[] = {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL, ISLOCKMANUAL};
         return issetmode(fdOf(o), kModes[o.b % 5]);
     }},
    {"islockcheck", Tells::Error,
     [](Op o) -> long {
         return islockcheck(fdOf(o), o.b % 2);
     }},
    {"isprecious", Tells::Error,
     [](Op o) -> long {
         return isprecious(fdOf(o), o.b % 2);
     }},
    {"isaddindex", Tells::Error,
     [](Op o) -> long {
         return isaddindex(fdOf(o), keyFor(o, o.c));
     }},
    {"isdelindex", Tells::Error,
     [](Op o) -> long {
         return isdelindex(fdOf(o), keyFor(o, o.c));
     }},
    {"isread", Tells::Error, read},
    {"isread", Tells::Error, walk},
    {"isstart", Tells::Error, start},
    {"isindex", Tells::Error,
     [](Op o) -> long {
         isrecnum = numberFor(o);
         return isindex(fdOf(o), static_cast<int>(o.c % 11), o.b >> 3 & 1);
     }},
    {"isgoto", Tells::Error,
     [](Op o) -> long {
         return isgoto(fdOf(o), numberFor(o));
     }},
    {"isdata", Tells::Error,
     [](Op o) -> long {
         return isdata(fdOf(o), recordOf(o), numberFor(o));
     }},
    {"ispush", Tells::Failure,
     [](Op o) -> long {
         return ispush(fdOf(o), wantsNull(o) ? nullptr : &session().pushedIndex, &session().pushedRecord);
     }},
    {"ispop", Tells::Error,
     [](Op o) -> long {
         return o.b % 4 == 3 ? ispop(fdOf(o), static_cast<int>(o.c % 12), numberFor(o))
                             : ispop(fdOf(o), session().pushedIndex, session().pushedRecord);
     }},
    {"isfilter", Tells::Failure,
     [](Op o) -> long {
         static int (*const kFilters[])(int, char *, int) = {nullptr, everyOther, nothing, wrong};
         session().filtered = session().filtered || o.b % 4 == 3;
         return isfilter(fdOf(o), kFilters[o.b % 4]);
     }},
    {"isgetlastrec", Tells::Error,
     [](Op o) -> long {
         long number;
         return isgetlastrec(fdOf(o), &number);
     }},
    {"issetlastrec", Tells::Error,
     [](Op o) -> long {
         return issetlastrec(fdOf(o), numberFor(o));
     }},
    {"islastrec", Tells::Error,
     [](Op o) -> long {
         long number;
         return islastrec(fdOf(o), &number);
     }},
    {"iswrite", Tells::Error,
     [](Op o) -> long {
         isrecnum = numberFor(o);
         return iswrite(fdOf(o), recordOf(o));
     }},
    {"iswrlock", Tells::Error,
     [](Op o) -> long {
         return iswrlock(fdOf(o), recordOf(o));
     }},
    {"iswrcurr", Tells::Error,
     [](Op o) -> long {
         return iswrcurr(fdOf(o), recordOf(o));
     }},
    {"isrewrite", Tells::Error,
     [](Op o) -> long {
         return isrewrite(fdOf(o), recordOf(o));
     }},
    {"isrewrec", Tells::Error,
     [](Op o) -> long {
         return isrewrec(fdOf(o), numberFor(o), recordOf(o));
     }},
    {"isrewcurr", Tells::Error,
     [](Op o) -> long {
         return isrewcurr(fdOf(o), recordOf(o));
     }},
    {"isrewnxt", Tells::Error,
     [](Op o) -> long {
         return isrewnxt(fdOf(o), recordOf(o));
     }},
    {"isdelete", Tells::Error,
     [](Op o) -> long {
         return isdelete(fdOf(o), recordOf(o));
     }},
    {"isdelrec", Tells::Error,
     [](Op o) -> long {
         return isdelrec(fdOf(o), numberFor(o));
     }},
    {"isdelcurr", Tells::Error,
     [](Op o) -> long {
         return isdelcurr(fdOf(o));
     }},
    {"issetunique", Tells::Error,
     [](Op o) -> long {
         return issetunique(fdOf(o), static_cast<long>(o.d));
     }},
    {"isuniqueid", Tells::Error,
     [](Op o) -> long {
         long id;
         return isuniqueid(fdOf(o), &id);
     }},
    {"islock", Tells::Error,
     [](Op o) -> long {
         return islock(fdOf(o));
     }},
    {"isunlock", Tells::Error,
     [](Op o) -> long {
         return isunlock(fdOf(o));
     }},
    {"isrelease", Tells::Error,
     [](Op o) -> long {
         return isrelease(fdOf(o));
     }},
    {"isrelrec", Tells::Error,
     [](Op o) -> long {
         return isrelrec(fdOf(o), numberFor(o));
     }},
    {"isrelcurr", Tells::Error,
     [](Op o) -> long {
         return isrelcurr(fdOf(o));
     }},
    {"islogopen", Tells::Error,
     [](Op o) -> long {
         return islogopen(o.b % 16 == 15 ? nameFor(o.c) : o.b % 16 == 14 ? "m/trail" : "m/log");
     }},
    {"islogclose", Tells::Error,
     [](Op) -> long {
         return islogclose();
     }},
    {"isbegin", Tells::Error,
     [](Op) -> long {
         return isbegin();
     }},
    {"iscommit", Tells::Error,
     [](Op) -> long {
         return iscommit();
     }},
    {"isrollback", Tells::Error,
     [](Op) -> long {
         return isrollback();
     }},
    {"isrecover", Tells::Error,
     [](Op) -> long {
         return isrecover();
     }},
    {"isTxnInit", Tells::Nothing,
     [](Op o) -> long {
         identity = static_cast<short>(o.d % kIdentities);
         return isTxnInit(o.b % 4 == 0 ? identify : nullptr);
     }},
    {"isaudit", Tells::Error, audit},
    {"iserase", Tells::Error,
     [](Op o) -> long {
         return iserase(nameFor(o.c));
     }},
    {"isrename", Tells::Error,
     [](Op o) -> long {
         return isrename(nameFor(o.c), nameFor(o.d));
     }},
    {"isclone", Tells::Error,
     [](Op o) {
         return opens(o, isclone(fdOf(o), nameFor(o.c)));
     }},
    {"iscopy", Tells::Error, copy},
    {"iscluster", Tells::Error,
     [](Op o) {
         return opens(o, iscluster(fdOf(o), keyFor(o, o.c)));
     }},
    {"ischeckdata", Tells::Nothing,
     [](Op o) -> long {
         return ischeckdata(fdOf(o));
     }},
    {"ischeckindex", Tells::Nothing,
     [](Op o) -> long {
         return ischeckindex(fdOf(o), static_cast<int>(o.c % 11));
     }},
    {"ischeckvarlen", Tells::Nothing,
     [](Op o) -> long {
         long stats[6];
         return ischeckvarlen(fdOf(o), o.b % 2 == 0 ? stats : nullptr);
     }},
    {"isindexinfo", Tells::Error, indexInfo},
    {"isisaminfo", Tells::Error,
     [](Op o) -> long {
         DictInfo info;
         return isisaminfo(fdOf(o), wantsNull(o) ? nullptr : &info);
     }},
    {"isuserinfo", Tells::Error,
     [](Op o) -> long {
         char bytes[ISUSERINFOLEN] = "123456789";
         return isuserinfo(fdOf(o), o.b % 3, bytes);
     }},
    {"isqv_name", Tells::Nothing, looks},
    {"issetmask", Tells::Nothing,
     [](Op o) -> long {
         return issetmask(fdOf(o), static_cast<long>(o.d));
     }},
    {"isErrno", Tells::Nothing, handleLooks},
    {"isRebuildFree", Tells::FileError, rebuildFree},
    {"isRebuildIdx", Tells::FileError, rebuildIndex},
    {"stlong", Tells::Nothing, numbers},
    {"locks of another process", Tells::Nothing,
     [](Op o) -> long {
         memory_files::refuseLocks(o.b % 2 != 0);
         return 0;
     }},
};

}  // namespace

std::size_t callCount() { return std::size(kCalls); }
const Call &callAt(std::size_t code) { return kCalls[code]; }

std::uint8_t codeFor(const char *name) {
    std::size_t code = 0;
    while (std::strcmp(kCalls[code].name, name) != 0)
        ++code;
    return static_cast<std::uint8_t>(kFirstCall + code);
}

}  // namespace fuzz
