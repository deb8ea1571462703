#include "tools/sample.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace tool_tests {

namespace {

constexpr unsigned kAll = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

constexpr KeyPart kNumber = {0, 4, LONGTYPE};
constexpr KeyPart kName = {4, 6, CHARTYPE};
constexpr KeyPart kText = {10, 6, STRINGTYPE};
constexpr KeyPart kPlace = {16, 2, INTTYPE | ISDESC};
constexpr KeyPart kPrice = {18, 8, DOUBLETYPE};

// A record whose number in its first four bytes nobody else has.
void compose(std::vector<char> &record, int serial, std::mt19937 &random) {
    std::fill(record.begin(), record.end(), ' ');
    stlong(serial, record.data());
    const auto few = [&random](unsigned count) {
        return static_cast<int>(random() % count);
    };
    record[4] = static_cast<char>('a' + few(3));
    record[5] = static_cast<char>('a' + few(2));
    std::fill_n(record.begin() + 10, 6, '\0');
    if (few(3) != 0) record[10] = static_cast<char>('p' + few(3));
    stint(few(4) - 2, record.data() + 16);
    stdbl(few(3) - 1.0, record.data() + 18);
    for (std::size_t at = 26; at < record.size(); ++at)
        record[at] = few(3) == 0 ? static_cast<char>('A' + few(26)) : ' ';
}

int randomLength(const Kind &kind, std::mt19937 &random) {
    if (kind.maximum == 0) return kind.minimum;
    if (random() % 3 == 0) return kind.minimum;
    return kind.minimum + static_cast<int>(random() % static_cast<unsigned>(kind.maximum - kind.minimum + 1));
}

}  // namespace

KeyDesc keyOf(unsigned flags, const std::vector<KeyPart> &parts) {
    KeyDesc key = {};
    key.flags = static_cast<unsigned short>(flags);
    for (const KeyPart &part : parts)
        key.parts[key.nparts++] = part;
    return key;
}

std::vector<Kind> allKinds() {
    const KeyDesc primary = keyOf(ISNODUPS, {kNumber});
    const KeyDesc name = keyOf(ISDUPS, {kName});
    const KeyDesc text = keyOf(ISDUPS | kAll, {kText});
    const KeyDesc place = keyOf(ISDUPS | ISDUPCOMP, {kPlace});
    const KeyDesc price = keyOf(ISDUPS | ISLEADCOMP, {kPrice});
    const KeyDesc trailing = keyOf(ISDUPS | ISTRAILCOMP | ISTRAILNUL, {kText, kName});
    const KeyDesc nulls = keyOf(ISDUPS | ISNULLKEY, {{26, 1, CHARTYPE | ' ' << 8}});
    const KeyDesc both = keyOf(ISDUPS, {kName, kPlace});
    const KeyDesc whole = keyOf(ISNODUPS, {kName, kNumber});
    const KeyDesc down = keyOf(ISDUPS, {{4, 6, CHARTYPE | ISDESC}});
    return {{"fixed", 30, 0, 0, true, {primary}},
            {"duplicates", 30, 0, 0, true, {primary, name, text, place, price}},
            {"overlapping", 30, 0, 0, true, {name, both, whole}},
            {"compressions", 30, 0, 0, true, {primary, text, trailing, nulls, down}},
            {"tails50", 30, 80, 0, true, {primary, name, place}},
            {"tails500", 30, 530, 0, true, {primary, name}},
            {"tails5000", 30, 5030, 0, true, {primary, name}},
            {"compressed", 30, 530, ISCOMPRESS, true, {primary, name, place}},
            {"masks", 30, 0, ISMASK, true, {primary, name, text, nulls, name}},
            {"maskstails", 30, 130, ISMASK, true, {name, place}},
            {"noprimary", 30, 0, 0, false, {}},
            {"noprimaryindexes", 30, 0, 0, false, {name, place}},
            {"noprimarymasks", 30, 0, ISMASK, false, {name, place}},
            {"keys", 0, 0, 0, true, {keyOf(ISDUPS | kAll, {kText, kPlace})}},
            {"uniquekeys", 0, 0, 0, true, {keyOf(ISNODUPS, {{40, 4, LONGTYPE | ISDESC}, {0, 2, CHARTYPE}})}},
            {"nokeys", 0, 0, 0, false, {}}};
}

int buildKind(const std::string &name, const Kind &kind) {
    KeyDesc none = {};
    KeyDesc first = kind.primary ? kind.keys.front() : none;
    const int mode = ISINOUT | ISLOCKEXCL | kind.mode | (kind.maximum != 0 ? ISVARLEN : 0);
    const int fd = isvbuild(name.c_str(), kind.minimum, kind.maximum, &first, mode);
    EXPECT_GE(fd, 0) << kind.name << iserrno;
    for (std::size_t i = kind.primary ? 1 : 0; i < kind.keys.size(); ++i) {
        KeyDesc key = kind.keys[i];
        EXPECT_EQ(isaddindex(fd, &key), 0) << kind.name << iserrno;
    }
    return fd;
}

void work(int fd, const Kind &kind, unsigned seed, int steps) {
    std::mt19937 random(seed);
    std::vector<char> record(static_cast<std::size_t>(std::max({kind.minimum, kind.maximum, 64})));
    std::vector<long> numbers;
    int serial = static_cast<int>(seed) * 1000000;
    for (int step = 0; step < steps; ++step) {
        compose(record, ++serial, random);
        if (kind.minimum == 0 && kind.keys.empty()) return;
        if (kind.minimum == 0) stlong(serial, record.data() + 40);
        isreclen = randomLength(kind, random);
        if ((kind.mode & ISMASK) != 0) issetmask(fd, random() % 3 == 0 ? static_cast<long>(random() % 64) : 0);
        const std::size_t at = numbers.empty() ? 0 : random() % numbers.size();
        const unsigned what = random() % 8;
        if (kind.minimum == 0) {
            isrecnum = static_cast<long>(random() % 50);
            ASSERT_EQ(iswrite(fd, record.data()), 0) << kind.name << iserrno;
        } else if (numbers.empty() || what < 4) {
            ASSERT_EQ(iswrite(fd, record.data()), 0) << kind.name << iserrno;
            numbers.push_back(isrecnum);
        } else if (what < 6) {
            ASSERT_EQ(isrewrec(fd, numbers[at], record.data()), 0) << kind.name << iserrno;
        } else {
            ASSERT_EQ(isdelrec(fd, numbers[at]), 0) << kind.name << iserrno;
            numbers.erase(numbers.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
}

void makeSample(const std::string &name, const Kind &kind, unsigned seed, int steps) {
    const int fd = buildKind(name, kind);
    work(fd, kind, seed, steps);
    ASSERT_EQ(isclose(fd), 0);
}

}  // namespace tool_tests
