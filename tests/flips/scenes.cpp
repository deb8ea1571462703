#include "flips/scenes.h"

#include "memory/files.h"
#include "support/key_desc.h"

#include <cstring>

namespace flips {
namespace {

using testing_support::keyDesc;

constexpr int kMostReads = 2000;  // more than any small file set has
constexpr const char *kOther = "/set/other";
constexpr const char *kLog = "/set/log";

// One buffer for all reading: what is read into it may be as long as any record.
char *buffer() {
    static std::vector<char> bytes(ISMAXVARLEN + 40000);
    return bytes.data();
}

// A record to be written; isreclen tells its length.
char *record(const FlipKind &kind, int n) {
    int length = 0;
    char *const bytes = recordOf(kind, n, &length);
    isreclen = length;
    return bytes;
}

bool works(long result) { return result >= 0; }

// ------------------------------------------------------------------------------------------------------ looking

void playLooking(Session &s, const Stage &stage) {
    const int fd = openIn(s);
    if (fd < 0) return;
    const int indexes = stage.kind->indexes();
    KeyDesc key{};
    DictInfo info{};
    long number = 0, stats[6];
    int mode = 0;
    char bytes[ISAUDNAMELEN + 1];
    s.look("ischeckdata", [&] { return ischeckdata(fd); });
    for (int i = 0; i <= indexes + 1; ++i)
        s.look("ischeckindex", [&] { return ischeckindex(fd, i); });
    s.look("ischeckvarlen", [&] { return ischeckvarlen(fd, stats); });
    for (int i = 0; i <= indexes + 1; ++i)
        s.call("isindexinfo", Effect::Reads,
               [&] { return isindexinfo(fd, i == 0 ? static_cast<void *>(&info) : &key, i); });
    s.call("isisaminfo", Effect::Reads, [&] { return isisaminfo(fd, &info); });
    s.call("isuserinfo", Effect::Reads, [&] { return isuserinfo(fd, 0, bytes); });
    s.call("isgetlastrec", Effect::Reads, [&] { return isgetlastrec(fd, &number); });
    s.call("isgetmode", Effect::Reads, [&] { return isgetmode(fd, &mode); });
    s.call("issetmode", Effect::Reads, [&] { return issetmode(fd, ISLOCKMANUAL); });
    s.call("islockcheck", Effect::Reads, [&] { return islockcheck(fd, 0); });
    s.call("isaudit", Effect::Reads, [&] { return isaudit(fd, bytes, ISAUDGETNAME); });
    s.call("isaudit", Effect::Reads, [&] { return isaudit(fd, bytes, ISAUDINFO); });
    s.look("isqv_name", [&] { return std::strlen(isqv_name(fd)); });
    s.look("isqv_datlen", [&] { return isqv_datlen(fd) + isqv_curidx(fd); });
    s.look("isqv_kdsc", [&] { return isqv_kdsc(fd) != nullptr ? isqv_kdsc(fd)->keyLength : 0; });
    s.look("isseekey", [&] { return isseekey(fd) != nullptr ? static_cast<const char *>(isseekey(fd))[0] & 1 : 0; });
    s.look("isgetmask", [&] { return isgetmask(fd) != -1 ? isflush(fd) : -1; });
    closeIn(s, fd);
}

// ------------------------------------------------------------------------------------------------------ reading

void readAlong(Session &s, int fd, int edge, int onward) {
    int reads = 0;
    for (int mode = edge; works(s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), mode); }));
         mode = onward)
        if (++reads > kMostReads) {
            s.problem("reading along has no end");
            return;
        }
}

void readOrder(Session &s, int fd, const FlipKind &kind, int index) {
    const auto read = [&](int mode, int n) {
        std::memcpy(buffer(), record(kind, n), static_cast<std::size_t>(kind.length != 0 ? kind.length : 30));
        return s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), mode); });
    };
    const auto start = [&](int mode, int length) {
        s.call("isstart", Effect::Reads, [&] { return isstart(fd, nullptr, length, record(kind, 5), mode); });
    };
    s.call("isindex", Effect::Reads, [&] { return isindex(fd, index, 0); });
    readAlong(s, fd, ISFIRST, ISNEXT);
    readAlong(s, fd, ISLAST, ISPREV);
    for (int n = 1; n <= kind.records + 2; n += 4)
        for (const int mode : {ISEQUAL, ISGREAT, ISGTEQ}) {
            isrecnum = n;
            read(mode, n);
        }
    for (const int mode : {ISCURR, ISNEXT, ISPREV})
        read(mode, 5);
    start(ISGTEQ, index != 0 ? 2 : 0);
    for (const int mode : {ISNEXT, ISCURR, ISEQUAL})
        read(mode, 5);
    for (const int mode : {ISFIRST, ISLAST, ISEQUAL, ISGREAT, ISNEXT, ISPREV, ISCURR})
        start(mode, 0);
    isrecnum = 2;
    read(8, 5);
    int at = 0;
    long number = 0;
    s.call("isgoto", Effect::Reads, [&] { return isgoto(fd, 2); });
    s.call("ispush", Effect::Reads, [&] { return ispush(fd, &at, &number); });
    read(ISNEXT + (kind.length != 0 ? ISLOCK : 0), 5);
    s.call("ispop", Effect::Reads, [&] { return ispop(fd, at, number); });
    isrecnum = 4;
    s.call("isindex", Effect::Reads, [&] { return isindex(fd, index, 1); });
}

int passesEven(int, char *, int) { return isrecnum % 2 == 0 ? 1 : 0; }

void playReading(Session &s, const Stage &stage) {
    const int fd = openIn(s, ISINPUT);
    if (fd < 0) return;
    const FlipKind &kind = *stage.kind;
    for (int index = kind.length != 0 ? 0 : 1; index <= kind.indexes(); ++index)
        readOrder(s, fd, kind, index);
    for (int n = 0; n <= kind.records + 1; ++n)
        s.call("isdata", Effect::Reads, [&] { return isdata(fd, buffer(), n); });
    s.call("isfilter", Effect::Reads, [&] { return isfilter(fd, passesEven); });
    readAlong(s, fd, ISFIRST, ISNEXT);
    s.call("islock", Effect::Reads, [&] { return islock(fd); });
    s.call("isrelrec", Effect::Reads, [&] { return isrelrec(fd, 1); });
    s.call("isrelcurr", Effect::Reads, [&] { return isrelcurr(fd); });
    s.call("isunlock", Effect::Reads, [&] { return isunlock(fd); });
    s.call("isrelease", Effect::Reads, [&] { return isrelease(fd); });
    closeIn(s, fd);
}

// ----------------------------------------------------------------------------------------------------- changing

void playChanging(Session &s, const Stage &stage) {
    const int fd = openIn(s);
    if (fd < 0) return;
    const FlipKind &kind = *stage.kind;
    const int next = kind.records + 1;
    long id = 0;
    char name[] = "/set/trail", bytes[] = "0123456789";
    isrecnum = 5000;
    s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, next)); });
    s.call("iswrcurr", Effect::Changes, [&] { return iswrcurr(fd, record(kind, next + 1)); });
    s.call("iswrlock", Effect::Changes, [&] { return iswrlock(fd, record(kind, next + 2)); });
    s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), ISFIRST); });
    s.call("isrewcurr", Effect::Changes, [&] { return isrewcurr(fd, record(kind, next + 3)); });
    s.call("isrewnxt", Effect::Changes, [&] { return isrewnxt(fd, record(kind, next + 4)); });
    s.call("isrewrite", Effect::Changes, [&] { return isrewrite(fd, record(kind, 5)); });
    s.call("isdelete", Effect::Changes, [&] { return isdelete(fd, record(kind, 6)); });
    s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), ISLAST); });
    s.call("isdelcurr", Effect::Changes, [&] { return isdelcurr(fd); });
    s.call("isaudit", Effect::Changes, [&] { return isaudit(fd, name, ISAUDSETNAME); });
    s.call("isaudit", Effect::Changes, [&] { return isaudit(fd, name, ISAUDSTART); });
    s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, next + 5)); });
    s.call("isaudit", Effect::Changes, [&] { return isaudit(fd, name, ISAUDSTOP); });
    s.call("isuserinfo", Effect::Changes, [&] { return isuserinfo(fd, 1, bytes); });
    s.call("isuniqueid", Effect::Changes, [&] { return isuniqueid(fd, &id); });
    s.call("issetunique", Effect::Changes, [&] { return issetunique(fd, 9); });
    s.call("isprecious", Effect::Changes, [&] { return isprecious(fd, 1); });
    s.call("isdelrec", Effect::Changes, [&] { return isdelrec(fd, 2); });
    s.call("isprecious", Effect::Changes, [&] { return isprecious(fd, 0); });
    s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, next + 6)); });
    s.call("islastrec", Effect::Changes, [&] { return islastrec(fd, &id); });
    s.call("issetlastrec", Effect::Changes, [&] { return issetlastrec(fd, kind.records + 20); });
    s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, next + 7)); });
    closeIn(s, fd);
}

// Every record, so that whatever is damaged is met.
void playRewriting(Session &s, const Stage &stage) {
    const int fd = openIn(s);
    if (fd < 0) return;
    const FlipKind &kind = *stage.kind;
    for (int n = 1; n <= kind.records; ++n) {
        if (kind.masked()) issetmask(fd, maskOf(kind, n + 1));
        s.call("isrewrec", Effect::Changes, [&] { return isrewrec(fd, n, record(kind, n + 100)); });
    }
    for (int n = 1; n <= 8; ++n) {
        isrecnum = 2000 + n;
        s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, n + 200)); });
    }
    closeIn(s, fd);
}

void playDeleting(Session &s, const Stage &stage) {
    const int fd = openIn(s);
    if (fd < 0) return;
    const FlipKind &kind = *stage.kind;
    for (int n = 1; n <= kind.records; ++n)
        s.call("isdelrec", Effect::Changes, [&] { return isdelrec(fd, n); });
    for (int n = 1; n <= 5; ++n) {
        s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), n % 2 == 0 ? ISFIRST : ISLAST); });
        s.call("isdelcurr", Effect::Changes, [&] { return isdelcurr(fd); });
    }
    for (int n = 1; n <= 8; ++n) {
        isrecnum = 3000 + n;
        s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, n)); });
    }
    closeIn(s, fd);
}

// ------------------------------------------------------------------------------------------------------ indexes

void playIndexes(Session &s, const Stage &stage) {
    const int fd = openIn(s);
    if (fd < 0) return;
    const FlipKind &kind = *stage.kind;
    KeyDesc wide = keyDesc(ISDUPS | ISLEADCOMP, {{0, 10}, {2, 8}}), first = kind.keys.front(), last = kind.keys.back();
    s.call("isaddindex", Effect::Changes, [&] { return isaddindex(fd, &wide); });
    s.call("isdelindex", Effect::Changes, [&] { return isdelindex(fd, &last); });
    s.call("isaddindex", Effect::Changes, [&] { return isaddindex(fd, &last); });
    s.call("isdelindex", Effect::Changes, [&] { return isdelindex(fd, &first); });
    s.call("isdelindex", Effect::Changes, [&] { return isdelindex(fd, &wide); });
    s.call("isaddindex", Effect::Changes, [&] { return isaddindex(fd, &wide); });
    closeIn(s, fd);
}

// ------------------------------------------------------------------------------------------------- transactions

void changeIn(Session &s, int fd, const FlipKind &kind, int n) {
    isrecnum = 6000 + n;
    s.call("iswrite", Effect::Changes, [&] { return iswrite(fd, record(kind, kind.records + n)); });
    s.call("isrewrec", Effect::Changes, [&] { return isrewrec(fd, n, record(kind, kind.records + n + 50)); });
    s.call("isdelrec", Effect::Changes, [&] { return isdelrec(fd, n + 4); });
}

void playTransactions(Session &s, const Stage &stage) {
    const FlipKind &kind = *stage.kind;
    s.call("islogopen", Effect::Works, [] { return islogopen(kLog); });
    const int fd = openIn(s, ISINOUT | ISTRANS);
    if (fd >= 0) {
        s.call("isbegin", Effect::Works, [] { return isbegin(); });
        changeIn(s, fd, kind, 1);
        s.call("isrollback", Effect::Works, [] { return isrollback(); });
        s.call("isbegin", Effect::Works, [] { return isbegin(); });
        changeIn(s, fd, kind, 2);
        s.call("iscommit", Effect::Works, [] { return iscommit(); });
        closeIn(s, fd);
    }
    s.call("islogclose", Effect::Works, [] { return islogclose(); });
    s.call("iscleanup", Effect::Works, [] { return iscleanup(); });
    // Over the files as they were before.
    install(*stage.damaged);
    s.call("islogopen", Effect::Works, [] { return islogopen(kLog); });
    s.call("isrecover", Effect::Works, [] { return isrecover(); });
    s.call("islogclose", Effect::Works, [] { return islogclose(); });
}

// -------------------------------------------------------------------------------------------------- whole files

void playWholeFiles(Session &s, const Stage &stage) {
    const FlipKind &kind = *stage.kind;
    int fd = openIn(s, ISINOUT | ISLOCKEXCL);
    if (fd >= 0) {
        KeyDesc last = kind.keys.back(), none = testing_support::noKey();
        const int copy = static_cast<int>(s.call("isclone", Effect::Works, [&] { return isclone(fd, kOther); }));
        if (copy >= 0) {
            s.call("iscopy", Effect::Works, [&] { return iscopy(copy, fd, nullptr); });
            s.call("iscopy", Effect::Works, [&] { return iscopy(copy, fd, &none); });
            closeIn(s, copy);
        }
        const int clustered =
            static_cast<int>(s.call("iscluster", Effect::Works, [&] { return iscluster(fd, &last); }));
        if (clustered >= 0) fd = clustered;
        s.call("isread", Effect::Reads, [&] { return isread(fd, buffer(), ISFIRST); });
        closeIn(s, fd);
    }
    s.call("isrename", Effect::Changes, [] { return isrename(kBase, "/set/renamed"); });
    s.call("isrename", Effect::Changes, [] { return isrename("/set/renamed", kBase); });
    s.call("iserase", Effect::Changes, [] { return iserase(kBase); });
    s.call("iserase", Effect::Changes, [] { return iserase(kOther); });
}

}  // namespace

const std::vector<Scene> &callScenes() {
    static const std::vector<Scene> scenes = {
        {"looking", playLooking},           {"reading", playReading},       {"changing", playChanging},
        {"rewriting", playRewriting},       {"deleting", playDeleting},     {"indexes", playIndexes},
        {"transactions", playTransactions}, {"wholefiles", playWholeFiles},
    };
    return scenes;
}

void setStage(const Stage &stage) {
    memory_files::clear();
    install(*stage.damaged);
}

int openIn(Session &session, int mode) {
    // What is logged is written.
    const Effect effect = (mode & ISTRANS) != 0 ? Effect::Works : Effect::Reads;
    return static_cast<int>(session.call("isopen", effect, [&] { return isopen(kBase, mode | ISVARAUTO); }));
}

void closeIn(Session &session, int fd) {
    session.call("isclose", Effect::Works, [&] { return isclose(fd); });
}

}  // namespace flips
