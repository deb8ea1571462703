#include "kinds.h"

#include "../support/key_desc.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fuzz {

using testing_support::keyDesc;
using testing_support::noKey;

namespace {

// The row: id 4, name 10, group 2, note 16, float 4, double 8, text 4.
constexpr int kNameAt = 4, kNameLength = 10, kGroupAt = 14, kNoteAt = 16, kFloatAt = 32, kDoubleAt = 36, kTextAt = 44;
constexpr int kAll = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

KeyDesc idKey(int flags = ISNODUPS) { return keyDesc(flags, {{0, 4, LONGTYPE}}); }
KeyDesc nameKey(int flags = ISDUPS) { return keyDesc(flags, {{kNameAt, kNameLength}}); }
KeyDesc groupKey(int flags = ISDUPS) { return keyDesc(flags, {{kGroupAt, 2, INTTYPE}}); }
// Seven to a node, so that trees are deep.
KeyDesc wideKey(int flags = ISNODUPS) { return keyDesc(flags, {{4, 28}, {4, 28}, {4, 28}, {4, 28}, {0, 4, LONGTYPE}}); }
KeyDesc noteKey(int flags) { return keyDesc(flags, {{kNoteAt, 28}, {kNoteAt, 28}, {kNoteAt, 28}, {4, 28}}); }

std::vector<KeyDesc> threeKeys() { return {idKey(), nameKey(), wideKey()}; }
std::vector<KeyDesc> compressedKeys() {
    return {idKey(ISLEADCOMP | ISTRAILCOMP), nameKey(ISDUPS | kAll), wideKey(ISLEADCOMP | ISTRAILCOMP)};
}
std::vector<KeyDesc> numberKeys() {
    return {keyDesc(ISNODUPS, {{kGroupAt, 2, INTTYPE | ISDESC}, {0, 4, LONGTYPE | ISDESC}}),
            keyDesc(ISDUPS, {{kFloatAt, 4, FLOATTYPE}}), keyDesc(ISDUPS, {{kDoubleAt, 8, DOUBLETYPE | ISDESC}}),
            keyDesc(ISDUPS | ISLEADCOMP, {{kTextAt, 4, STRINGTYPE}}), keyDesc(ISDUPS, {{0, 4, MLONGTYPE}})};
}
std::vector<KeyDesc> nineKeys() {
    std::vector<KeyDesc> keys = {idKey()};
    for (int i = 0; i < 8; ++i)
        keys.push_back(keyDesc(i % 2 == 0 ? ISDUPS : ISDUPS | kAll, {{kNoteAt + i, 4}, {0, 2}}));
    return keys;
}
std::vector<KeyDesc> nullKeys() {
    return {idKey(), keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLength, CHARTYPE, ' '}}),
            keyDesc(ISDUPS | ISNULLKEY | kAll, {{kGroupAt, 2, INTTYPE, 0}})};
}

char letter(unsigned seed, int i) { return static_cast<char>('a' + (seed * 31 + static_cast<unsigned>(i) * 7) % 26); }

int tailLength(const Kind &kind, unsigned n) {
    static constexpr int kLengths[] = {0, 30, 994, 150, 2000, 431, 88, 1988, 600, 5};
    return (kind.extra & kLongTails) != 0 && n % 4 == 1 ? 9000 + static_cast<int>(n % 7) * 1000 : kLengths[n % 10];
}

// A call on the way to a sound file set. It cannot fail.
int must(int result) {
    if (result >= 0) return result;
    std::fprintf(stderr, "a starting file set cannot be made: iserrno %d, iserrio 0x%x\n", iserrno,
                 static_cast<unsigned>(iserrio));
    std::abort();
}

void write(const Kind &kind, int fd, unsigned n) {
    static char buffer[kMaxLength];
    isreclen = fillRecord(kind, n, buffer, sizeof buffer);
    isrecnum = static_cast<long>(1000 + n);
    if ((kind.mode & ISMASK) != 0) issetmask(fd, n % 5 == 0 ? 1L << (n / 5 % 3) : 0);
    must(iswrite(fd, buffer));
}

void rewrite(const Kind &kind, int fd, long recnum, unsigned n) {
    static char buffer[kMaxLength];
    isreclen = fillRecord(kind, n, buffer, sizeof buffer);
    must(isrewrec(fd, recnum, buffer));
}

// Builds a file set and leaves it open.
int build(const Kind &kind, const char *name, int records) {
    KeyDesc first = kind.keys.front();
    const int length = kind.pure() ? 0 : kRowLength;
    const int fd = must(isvbuild(name, length, kind.tails() ? kMaxLength : 0, &first, ISINOUT | kind.mode));
    for (std::size_t i = 1; i < kind.keys.size(); ++i) {
        KeyDesc next = kind.keys[i];
        must(isaddindex(fd, &next));
    }
    if ((kind.extra & kPrecious) != 0) must(isprecious(fd, 1));
    if ((kind.extra & kAudited) != 0) {
        char trail[ISAUDNAMELEN + 1] = "m/trail";
        must(isaudit(fd, trail, ISAUDSETNAME));
        must(isaudit(fd, trail, ISAUDSTART));
    }
    for (int n = 1; n <= records; ++n)
        write(kind, fd, static_cast<unsigned>(n));
    for (int n = kind.deletedEvery; n <= records; n += kind.deletedEvery) {
        if (kind.pure()) {
            char buffer[kRowLength];
            fillRecord(kind, static_cast<unsigned>(n), buffer, sizeof buffer);
            must(isread(fd, buffer, ISEQUAL));
            must(isdelcurr(fd));
        } else {
            must(isdelrec(fd, n));
        }
    }
    for (int n = 10; n <= records && !kind.pure(); n += 10)
        if (n % kind.deletedEvery != 0) rewrite(kind, fd, n, static_cast<unsigned>(n) + 5001);
    return fd;
}

// A log of every kind of change, over the file set m/a.
void fillLog(const Kind &kind) {
    must(islogopen("m/log"));
    const int fd = must(isopen("m/a", ISINOUT | ISTRANS | kind.mode));
    write(kind, fd, 301);
    must(isbegin());
    write(kind, fd, 302);
    rewrite(kind, fd, 1, 303);
    rewrite(kind, fd, 2, 304);
    must(isdelrec(fd, 3));
    must(iscommit());
    must(isbegin());
    write(kind, fd, 305);
    must(isdelrec(fd, 4));
    rewrite(kind, fd, 5, 306);
    must(isrollback());
    KeyDesc group = groupKey();
    must(isaddindex(fd, &group));
    must(isdelindex(fd, &group));
    long id = 0;
    must(isuniqueid(fd, &id));
    must(issetunique(fd, 77));
    KeyDesc key = kind.keys.front();
    const int other = must(isvbuild("m/c", kRowLength, kind.tails() ? kMaxLength : 0, &key, ISINOUT | kind.mode));
    write(kind, other, 7);
    must(isclose(other));
    must(isrename("m/c", "m/d"));
    must(isbegin());
    must(isdelrec(fd, 7));
    must(isclose(fd));
    must(iscommit());
    must(iserase("m/d"));
    must(islogclose());
}

memory_files::FileSet make(const Kind &kind) {
    memory_files::clear();
    if ((kind.extra & kLinked) != 0) {
        static constexpr char kLine[] = "m/elsewhere\n";
        memory_files::make("m/a.lnk").assign(kLine, kLine + sizeof kLine - 1);
    }
    must(isclose(build(kind, "m/a", kind.records)));
    must(isclose(build(kind, "m/b", std::min(kind.records, 4))));
    memory_files::FileSet files = memory_files::all();
    if ((kind.extra & kLogged) != 0) {
        fillLog(kind);
        files["m/log"] = *memory_files::find("m/log");
    }
    memory_files::clear();
    return files;
}

}  // namespace

bool Kind::pure() const { return (extra & kPure) != 0; }

const std::vector<Kind> &kinds() {
    static const std::vector<Kind> all = {
        {"fixed", 0, threeKeys()},
        {"deep", 0, {wideKey(), noteKey(ISDUPS | ISLEADCOMP)}, 200},
        {"compressed", 0, compressedKeys(), 100},
        {"leading or repeated", 0, {idKey(ISLEADCOMP), nameKey(ISDUPS | ISDUPCOMP), wideKey(ISDUPS | ISLEADCOMP)}},
        {"trailing", 0, {idKey(ISTRAILCOMP | ISTRAILNUL), nameKey(ISDUPS | ISTRAILCOMP), wideKey(ISDUPS | kAll)}},
        {"numbers", 0, numberKeys()},
        {"variable", ISVARLEN, threeKeys(), 30},
        {"coded tails", ISVARLEN | ISCOMPRESS, compressedKeys(), 30},
        {"masked", ISMASK, threeKeys()},
        {"masked tails", ISMASK | ISVARLEN | ISCOMPRESS, compressedKeys(), 30},
        {"no primary key", 0, {noKey(), nameKey(), wideKey(ISLEADCOMP)}},
        {"no primary key, tails", ISVARLEN, {noKey(), idKey()}, 30},
        {"no index", 0, {noKey()}},
        {"precious", 0, threeKeys(), 60, 6, kPrecious},
        {"null keys", 0, nullKeys()},
        {"pure key", 0, {wideKey(ISLEADCOMP | ISTRAILCOMP)}, 60, 6, kPure},
        {"pure key, duplicates", 0, {nameKey(ISDUPS | kAll)}, 200, 6, kPure},
        {"nine indexes", 0, nineKeys(), 40},
        {"long free lists", 0, {idKey()}, 600, 1},
        {"long tails", ISVARLEN, {idKey()}, 12, 5, kLongTails},
        {"audited", 0, {idKey(), nameKey()}, 10, 6, kAudited},
        {"audited tails", ISVARLEN | ISCOMPRESS, {idKey()}, 10, 6, kAudited},
        {"log", 0, {idKey(), nameKey()}, 12, 6, kLogged},
        {"log of tails", ISVARLEN, {idKey()}, 12, 6, kLogged},
        {"log of no primary key", ISMASK, {noKey(), nameKey(ISDUPS | kAll)}, 12, 6, kLogged},
        {"linked", 0, threeKeys(), 20, 6, kLinked},
    };
    return all;
}

const memory_files::FileSet &filesOf(std::size_t kind) {
    static const std::vector<memory_files::FileSet> all = [] {
        std::vector<memory_files::FileSet> made;
        for (const Kind &each : kinds())
            made.push_back(make(each));
        return made;
    }();
    return all[kind];
}

int fillRecord(const Kind &kind, unsigned n, char *buffer, int size) {
    char row[kRowLength];
    stlong(static_cast<long>(n * 7919UL % 10007), row);
    char text[kRowLength];
    std::snprintf(text, sizeof text, "name %u", n % 23);
    stchar(n % 11 == 0 ? "" : text, row + kNameAt, kNameLength);
    stint(static_cast<int>(n % 7), row + kGroupAt);
    for (int i = 0; i < kFloatAt - kNoteAt; ++i)
        row[kNoteAt + i] = i < static_cast<int>(n % 17) ? letter(n % 5, i) : ' ';
    stfloat(static_cast<float>(n % 13) - 6, row + kFloatAt);
    stdbl(static_cast<double>(n % 29) / 7 - 2, row + kDoubleAt);
    std::memset(row + kTextAt, 0, 4);
    std::memset(row + kTextAt, 'x', n % 5);
    std::memcpy(buffer, row, static_cast<std::size_t>(std::min(size, kRowLength)));
    if (!kind.tails()) return std::min(size, kRowLength);
    const int length = std::min(size, kRowLength + tailLength(kind, n));
    for (int i = kRowLength; i < length; ++i)
        buffer[i] = n % 2 == 0 && i < length / 2 ? ' ' : letter(n, i);
    return length;
}

}  // namespace fuzz
