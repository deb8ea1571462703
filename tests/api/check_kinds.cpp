#include "check_kinds.h"

#include <ostream>

namespace api {

namespace {

constexpr int kAllComp = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

// A key of 128 bytes, so that a few hundred records make a deep tree.
KeyDesc wideKey(int flags) { return keyDesc(flags, {{4, 28}, {0, 32}, {0, 32}, {0, 32}, {0, 4}}); }

KeyDesc nullName(int flags) { return keyDesc(flags | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}}); }
KeyDesc nullGroup(int flags) { return keyDesc(flags | ISNULLKEY, {{kGroupAt, 2, INTTYPE, 0}}); }

std::vector<KeyDesc> threeKeys() { return {idKey(), nameKey(), wideKey(ISNODUPS)}; }
std::vector<KeyDesc> compressedKeys() {
    return {idKey(ISLEADCOMP | ISTRAILCOMP), nameKey(ISDUPS | kAllComp), wideKey(ISLEADCOMP | ISTRAILCOMP)};
}

// A row that is told from every other one by its id alone; ids do not rise with the numbers.
Row rowOf(int n) {
    const std::string name = n % 11 == 0 ? "" : "name " + std::to_string(n % 23);
    return row(n * 7919L % 10007, name, n % 7, n % 3 == 0 ? "" : letters(static_cast<std::size_t>(n % 16), 5));
}

// Whole nodes, shared ones, each bucket, and none.
std::string tailOf(const Kind &kind, int n) {
    static const std::size_t lengths[] = {0, 30, 994, 150, 2000, 431, 88, 1988, 600, 5};
    std::string tail = letters(lengths[n % 10], static_cast<unsigned>(n));
    if ((kind.mode & ISCOMPRESS) != 0 && n % 2 == 0) tail.replace(0, tail.size() / 2, tail.size() / 2, ' ');
    return tail;
}

}  // namespace

int Kind::indexes() const { return static_cast<int>(keys.size()) - (keys.front().nparts == 0 ? 1 : 0); }

KeyDesc Kind::key(int index) const {
    return keys.at(keys.size() - static_cast<std::size_t>(indexes()) + static_cast<std::size_t>(index) - 1);
}

bool Kind::counted(int index) const { return records && !precious && !masked() && (key(index).flags & ISNULLKEY) == 0; }

void PrintTo(const Kind &kind, std::ostream *out) { *out << kind.name; }

std::string kindName(const ::testing::TestParamInfo<Kind> &info) { return info.param.name; }

std::vector<Kind> allKinds() {
    const KeyDesc whole = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {kNameAt, kNameLen}});
    const KeyDesc numbers = keyDesc(ISNODUPS, {{kGroupAt, 2, INTTYPE | ISDESC}, {0, 4, LONGTYPE | ISDESC}});
    return {
        {"Fixed", 0, threeKeys()},
        {"Compressed", 0, compressedKeys()},
        {"LeadingOrRepeated", 0, {idKey(ISLEADCOMP), nameKey(ISDUPS | ISDUPCOMP), wideKey(ISDUPS | ISLEADCOMP)}},
        {"Trailing",
         0,
         {idKey(ISTRAILCOMP | ISTRAILNUL), nameKey(ISDUPS | ISTRAILCOMP), wideKey(ISDUPS | ISDUPCOMP | ISTRAILCOMP)}},
        {"Descending", 0, {numbers, groupKey(ISDUPS | ISLEADCOMP), nameKey(ISDUPS | kAllComp)}},
        {"Variable", ISVARLEN, threeKeys()},
        {"CodedTails", ISVARLEN | ISCOMPRESS, compressedKeys()},
        {"Masked", ISMASK, threeKeys()},
        {"MaskedTails", ISMASK | ISVARLEN | ISCOMPRESS, compressedKeys()},
        {"NoPrimaryKey", 0, {noKey(), nameKey(), wideKey(ISLEADCOMP)}},
        {"NoPrimaryKeyTails", ISVARLEN, {noKey(), idKey()}},
        {"NoIndex", 0, {noKey()}},
        {"Precious", 0, threeKeys(), true, true},
        {"PreciousTails", ISVARLEN, threeKeys(), true, true},
        {"NullKeys", 0, {idKey(), nullName(ISDUPS), nullGroup(ISDUPS | kAllComp)}},
        {"PureKey", 0, {whole}, false},
        {"PureKeyWide", 0, {wideKey(ISLEADCOMP | ISTRAILCOMP)}, false},
        {"PureKeyDuplicates", 0, {nameKey(ISDUPS | kAllComp)}, false},
    };
}

std::vector<Kind> kindsWith(const std::function<bool(const Kind &)> &wanted) {
    std::vector<Kind> kinds;
    for (const Kind &kind : allKinds())
        if (wanted(kind)) kinds.push_back(kind);
    return kinds;
}

std::vector<Kind> recordKinds() {
    return kindsWith([](const Kind &kind) { return kind.records; });
}
std::vector<Kind> indexKinds() {
    return kindsWith([](const Kind &kind) { return kind.indexes() > 0; });
}
std::vector<Kind> tailKinds() {
    return kindsWith([](const Kind &kind) { return kind.tails(); });
}

void PrintTo(const Found &found, std::ostream *out) {
    *out << std::hex << "(data 0x" << found.data << ", indexes";
    for (const int bits : found.indexes)
        *out << " 0x" << bits;
    *out << ", tails 0x" << found.tails << ')' << std::dec;
}

Found checksOf(int fd, int indexes) {
    Found found;
    iserrno = 77;
    iserrio = 78;
    isrecnum = 79;
    isreclen = 80;
    found.data = ischeckdata(fd);
    for (int i = 1; i <= indexes; ++i)
        found.indexes.push_back(ischeckindex(fd, i));
    long stats[6];
    found.tails = ischeckvarlen(fd, stats);
    EXPECT_EQ(iserrno, 77);
    EXPECT_EQ(iserrio, 78);
    EXPECT_EQ(isrecnum, 79);
    EXPECT_EQ(isreclen, 80);
    return found;
}

Rec CheckTest::recordOf(const Kind &kind, int n) { return rec(rowOf(n), kind.tails() ? tailOf(kind, n) : ""); }

// Every fifth record is left out of one index.
long CheckTest::maskOf(const Kind &kind, int n) { return kind.masked() && n % 5 == 0 ? 1L << (n / 5 % 3) : 0; }

void CheckTest::writeKind(int fd, const Kind &kind, int from, int to) {
    for (int n = from; n <= to; ++n) {
        if (kind.masked()) issetmask(fd, maskOf(kind, n));
        isrecnum = kNumbers + n;
        ASSERT_OK(send(iswrite, fd, recordOf(kind, n))) << n;
    }
}

void CheckTest::deleteKind(int fd, const Kind &kind, int n) {
    if (kind.records) {
        ASSERT_OK(isdelrec(fd, n));
        return;
    }
    Row key = rowOf(n);
    ASSERT_OK(isread(fd, key, ISEQUAL));
    ASSERT_OK(isdelcurr(fd));
}

void CheckTest::rewriteKind(int fd, const Kind &kind, int n, int as) {
    if (!kind.records) return;
    if (kind.masked()) issetmask(fd, maskOf(kind, as));
    ASSERT_OK(sendTo(fd, n, recordOf(kind, as)));
}

int CheckTest::make(const Kind &kind, int count) {
    KeyDesc first = kind.keys.front();
    isreclen = kRowLen;
    const int length = kind.tails() ? kVarMax : kind.records ? kRowLen : 0;
    const int fd = buildNamed(base(), ISINOUT | kind.mode, first, length);
    for (std::size_t i = 1; i < kind.keys.size(); ++i)
        add(fd, kind.keys[i]);
    if (kind.precious) EXPECT_OK(isprecious(fd, 1));
    writeKind(fd, kind, 1, count);
    for (int n = 6; n <= count; n += 6)
        deleteKind(fd, kind, n);
    for (int n = 10; n <= count; n += 10)
        if (n % 6 != 0) rewriteKind(fd, kind, n, n + 5001);
    return fd;
}

Found CheckTest::sound(const Kind &kind) {
    Found found;
    found.data = kind.records ? 0 : ISCHK_DATAREAD;
    found.indexes.resize(static_cast<std::size_t>(kind.indexes()));
    return found;
}

Damage &CheckTest::damage() {
    if (!damage_) damage_ = std::make_unique<Damage>(base());
    return *damage_;
}

void CheckTest::withDamage(const Kind &kind, const std::function<void()> &damages,
                           const std::function<void(int fd)> &look, int access) {
    const Damage::Contents whole = damage().contents();
    damages();
    const int fd = openKind(kind, access);
    EXPECT_GE(fd, 0) << "iserrno " << iserrno;
    if (fd >= 0) {
        const Damage::Contents damaged = damage().contents();
        look(fd);
        EXPECT_TRUE(damaged == damage().contents()) << "a check has changed the files";
        EXPECT_OK(isclose(fd));
    }
    damage().restore(whole);
}

Found KindTest::withIndex(int index, int bits) const {
    Found expected = sound();
    expected.indexes.at(static_cast<std::size_t>(index - 1)) = bits;
    return expected;
}

Found KindTest::withData(int bits) const {
    Found expected = sound();
    expected.data = bits;
    return expected;
}

Found KindTest::withTails(int bits) const {
    Found expected = sound();
    expected.tails = bits;
    return expected;
}

Found KindTest::foundAfter(const std::function<void()> &damages) {
    Found got;
    withDamage(kind(), damages, [&](int fd) { got = found(fd); });
    return got;
}

}  // namespace api
