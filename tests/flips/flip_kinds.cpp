#include "flips/flip_kinds.h"

#include "memory/files.h"
#include "support/key_desc.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

namespace flips {
namespace {

using testing_support::keyDesc;
using testing_support::noKey;

// The fixed part of a record: 4 bytes number, 10 bytes name, 2 bytes group, then 14 bytes that native types use.
constexpr int kNumberAt = 0, kNameAt = 4, kNameLength = 10, kGroupAt = 14, kNativeAt = 16;
constexpr int kFixed = 30;
constexpr int kMaximum = 3000;
constexpr int kAllComp = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

KeyDesc number(int flags = ISNODUPS) { return keyDesc(flags, {{kNumberAt, 4, LONGTYPE}}); }
KeyDesc name(int flags) { return keyDesc(flags, {{kNameAt, kNameLength, CHARTYPE}}); }
KeyDesc group(int flags) { return keyDesc(flags, {{kGroupAt, 2, INTTYPE | ISDESC}}); }
// Of 126 bytes: seven of them fill a node.
KeyDesc wide(int flags) { return keyDesc(flags, {{0, 30}, {0, 30}, {0, 30}, {0, 30}, {0, 4}, {14, 2}}); }

void demand(bool held, const char *what) {
    if (held) return;
    std::fprintf(stderr, "file set: %s fails with %d, iserrio 0x%x\n", what, iserrno, static_cast<unsigned>(iserrio));
    std::exit(2);
}

std::string makeTail(const FlipKind &kind, int n) {
    static const std::size_t lengths[] = {0, 30, 994, 150, 2000, 431, 88, 600, 5};
    const std::size_t length = lengths[static_cast<std::size_t>(n) % 9];
    std::string tail;
    for (std::size_t i = 0; i < length; ++i)
        tail += static_cast<char>('a' + (i * 7 + static_cast<std::size_t>(n)) % 23);
    if ((kind.mode & ISCOMPRESS) != 0 && n % 2 == 0) std::fill_n(tail.begin(), length / 2, n % 4 == 0 ? ' ' : '0');
    return tail;
}

// Made once: the sweep writes the same records again and again.
const std::string &tailOf(const FlipKind &kind, int n) {
    static std::map<std::pair<const FlipKind *, int>, std::string> tails;
    const auto found = tails.find({&kind, n});
    return found != tails.end() ? found->second : tails[{&kind, n}] = makeTail(kind, n);
}

void writeRecords(int fd, const FlipKind &kind) {
    for (int n = 1; n <= kind.records; ++n) {
        int length = 0;
        char *const record = recordOf(kind, n, &length);
        isreclen = length;
        isrecnum = 1000 + n;
        if (kind.masked()) issetmask(fd, maskOf(kind, n));
        demand(iswrite(fd, record) == 0, "iswrite");
    }
}

void deleteRecords(int fd, const FlipKind &kind) {
    for (int n = 3; n <= kind.records; n += 4) {
        if (kind.length != 0) {
            demand(isdelrec(fd, n) == 0, "isdelrec");
            continue;
        }
        int length = 0;
        demand(isread(fd, recordOf(kind, n, &length), ISEQUAL) == 0 && isdelcurr(fd) == 0, "isdelcurr");
    }
}

// An index that is gone again leaves its nodes free.
void leaveFreeNodes(int fd) {
    KeyDesc key = keyDesc(ISDUPS, {{0, 30}, {0, 30}, {0, 30}});
    demand(isaddindex(fd, &key) == 0 && isdelindex(fd, &key) == 0, "adding and dropping an index");
}

void addExtras(int fd) {
    char trail[] = "/set/trail", bytes[] = "my own ten";
    long id = 0;
    demand(isaudit(fd, trail, ISAUDSETNAME) == 0, "isaudit");
    demand(isuserinfo(fd, 1, bytes) == 0 && issetunique(fd, 77) == 0 && isuniqueid(fd, &id) == 0, "extras");
}

}  // namespace

int FlipKind::indexes() const { return static_cast<int>(keys.size()) - (keys.front().nparts == 0 ? 1 : 0); }

const std::vector<FlipKind> &flipKinds() {
    static const std::vector<FlipKind> kinds = {
        {"fixed", kFixed, 0, 0, {number()}, 20},
        // A record length of one bit: one flip makes a file without records of it.
        {"fixed16", 16, 0, 0, {number(), name(ISDUPS)}, 9, true},
        {"indexes", kFixed, 0, 0, {number(), name(ISDUPS), group(ISDUPS)}, 18, true},
        {"numbers",
         kFixed,
         0,
         0,
         {keyDesc(ISNODUPS, {{kNativeAt, 2, MINTTYPE}, {kNativeAt + 2, 4, MLONGTYPE | ISDESC}}),
          keyDesc(ISDUPS, {{kNativeAt + 6, 4, FLOATTYPE}, {kGroupAt, 2, INTTYPE}}),
          keyDesc(ISDUPS, {{kNativeAt + 2, 8, DOUBLETYPE | ISDESC}}),
          keyDesc(ISDUPS | ISLEADCOMP, {{kNameAt, kNameLength, STRINGTYPE}})},
         12},
        {"leading", kFixed, 0, 0, {number(ISLEADCOMP), name(ISDUPS | ISLEADCOMP)}, 20, true},
        {"trailing", kFixed, 0, 0, {number(ISTRAILCOMP | ISTRAILNUL), name(ISDUPS | ISTRAILCOMP)}, 20, true},
        {"repeated", kFixed, 0, 0, {number(), name(ISDUPS | ISDUPCOMP)}, 20, true},
        {"compressed",
         kFixed,
         0,
         0,
         {number(kAllComp & ~ISDUPCOMP), name(ISDUPS | kAllComp), group(ISDUPS | kAllComp | ISTRAILNUL)},
         20,
         true},
        {"levels", kFixed, 0, 0, {wide(ISNODUPS)}, 40, true},
        {"levelscompressed",
         kFixed,
         0,
         0,
         {keyDesc(ISLEADCOMP, {{0, 4}, {14, 2}, {0, 30}, {0, 30}}), name(ISDUPS)},
         36},
        {"tails", kFixed, kMaximum, ISVARLEN, {number(), name(ISDUPS)}, 14, true},
        {"codedtails", kFixed, kMaximum, ISVARLEN | ISCOMPRESS, {number(), name(ISDUPS | kAllComp)}, 14, true},
        {"purekey", 0, 0, 0, {keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {4, 8}})}, 30, true},
        {"purekeyrepeated", 0, 0, 0, {name(ISDUPS | kAllComp)}, 30, true},
        {"recordorder", kFixed, 0, 0, {noKey(), name(ISDUPS)}, 16, true},
        {"noindex", kFixed, 0, 0, {noKey()}, 16, true},
        {"noprimarytails", kFixed, kMaximum, ISVARLEN, {noKey(), number()}, 9, true},
        {"masks", kFixed, 0, ISMASK, {number(), name(ISDUPS), group(ISDUPS)}, 16, true},
        {"maskedtails", kFixed, kMaximum, ISMASK | ISVARLEN | ISCOMPRESS, {number(), name(ISDUPS | ISLEADCOMP)}, 9},
        {"nullkeys",
         kFixed,
         0,
         0,
         {number(), keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLength, CHARTYPE, ' '}}),
          keyDesc(ISDUPS | ISNULLKEY | kAllComp, {{kGroupAt, 2, INTTYPE, 0}})},
         16,
         true},
        {"precious", kFixed, 0, 0, {number(), name(ISDUPS)}, 16, true, true},
        {"preciousextras", kFixed, kMaximum, ISVARLEN, {number()}, 6, true, true, false, true},
        {"freelists", kFixed, 0, 0, {number()}, 24, true, false, true},
        {"extras", kFixed, 0, 0, {number()}, 10, true, false, true, true},
    };
    return kinds;
}

const FlipKind *kindNamed(const std::string &name) {
    for (const FlipKind &kind : flipKinds())
        if (name == kind.name) return &kind;
    return nullptr;
}

char *recordOf(const FlipKind &kind, int n, int *length) {
    static std::vector<char> record(ISMAXVARLEN + 40000, ' ');
    char *const at = record.data();
    std::fill_n(at, kFixed, ' ');
    stlong(n * 7919L % 10007, at + kNumberAt);
    const std::string text = n % 7 == 0 ? "" : "name " + std::to_string(n % 5);
    stchar(text.c_str(), at + kNameAt, kNameLength);
    stint(n % 3, at + kGroupAt);
    const auto half = static_cast<short>(n * 5 - 40);
    const int whole = n * 1000003 - 7000000;
    const float part = static_cast<float>(n % 6) / 4 - 0.5F;
    std::memcpy(at + kNativeAt, &half, sizeof half);
    std::memcpy(at + kNativeAt + 2, &whole, sizeof whole);
    std::memcpy(at + kNativeAt + 6, &part, sizeof part);
    if (n % 4 == 0) at[kNameAt + 6] = '\0';
    *length = kind.length;
    if (!kind.tails()) return at;
    const std::string &tail = tailOf(kind, n);
    std::copy(tail.begin(), tail.end(), record.begin() + kind.length);
    *length += static_cast<int>(tail.size());
    return at;
}

// Every third record is left out of one index.
long maskOf(const FlipKind &kind, int n) { return kind.masked() && n % 3 == 0 ? 1L << (n / 3 % 3) : 0; }

FileSet makeSet(const FlipKind &kind) {
    memory_files::clear();
    KeyDesc first = kind.keys.front();
    const int mode = ISINOUT | kind.mode;
    const int fd = kind.tails() ? isvbuild(kBase, kind.length, kind.maximum, &first, mode)
                                : isvbuild(kBase, kind.length, 0, &first, mode);
    demand(fd >= 0, "isvbuild");
    for (std::size_t i = 1; i < kind.keys.size(); ++i) {
        KeyDesc key = kind.keys[i];
        demand(isaddindex(fd, &key) == 0, "isaddindex");
    }
    if (kind.precious) demand(isprecious(fd, 1) == 0, "isprecious");
    writeRecords(fd, kind);
    if (kind.freeNodes) leaveFreeNodes(fd);
    if (kind.deletes) deleteRecords(fd, kind);
    if (kind.extras) addExtras(fd);
    demand(isclose(fd) == 0, "isclose");
    FileSet set;
    set.index = *memory_files::find(kIndexPath);
    if (const Bytes *data = memory_files::find(kDataPath)) {
        set.data = *data;
        set.hasData = true;
    }
    memory_files::clear();
    return set;
}

void install(const FileSet &set) {
    memory_files::make(kIndexPath) = set.index;
    if (set.hasData) memory_files::make(kDataPath) = set.data;
}

}  // namespace flips
