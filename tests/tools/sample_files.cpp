#include "tools/sample_files.h"

#include <gtest/gtest.h>
#include <isam.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tool_tests {

namespace {

constexpr int kMaximum = 3000;
constexpr int kTailEvery = 90;

KeyDesc byNumber() { return {ISNODUPS, 1, {{0, 4, LONGTYPE}}, 0, 0}; }
KeyDesc byName() { return {ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, 1, {{4, 20, CHARTYPE}}, 0, 0}; }
KeyDesc byGroup() { return {ISDUPS, 2, {{24, 2, INTTYPE | ISDESC}, {4, 8, CHARTYPE}}, 0, 0}; }

bool isVariable(const std::string &kind) { return kind == "variable" || kind == "compressed"; }

void buildKeys(int count) {
    KeyDesc key = byNumber();
    const int fd = isbuild("keys", 0, &key, ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    char record[4];
    for (int i = 0; i < count; ++i) {
        stlong(i * 7919L % count, record);
        isrecnum = i + 1;
        ASSERT_EQ(iswrite(fd, record), 0);
    }
    ASSERT_EQ(isclose(fd), 0);
}

// A record and its length: names repeat, tails are of all lengths up to some nodes.
int fill(const std::string &kind, int i, int count, std::vector<char> &record) {
    std::fill(record.begin(), record.end(), ' ');
    stlong(i * 7919L % count, record.data());
    stchar(("name " + std::to_string(i % 97)).c_str(), &record[4], 20);
    stint(i % 13, &record[24]);
    stlong(i, &record[26]);
    if (!isVariable(kind)) return kSampleRecord;
    const int length = kSampleRecord + i * 37 % (i % 50 != 0 ? kTailEvery : kMaximum - 100);
    for (int at = kSampleRecord; at < length; ++at)
        record[static_cast<std::size_t>(at)] = static_cast<char>(at % 7 != 0 ? 'a' + (i + at) % 26 : '0');
    return length;
}

int build(const std::string &kind) {
    const int mode = ISINOUT | ISLOCKEXCL | (kind == "masks" ? ISMASK : 0) | (kind == "compressed" ? ISCOMPRESS : 0);
    KeyDesc none = {}, first = byNumber();
    KeyDesc *primary = kind == "heap" ? &none : &first;
    return isVariable(kind) ? isvbuild(kind.c_str(), kSampleRecord, kMaximum, primary, mode | ISVARLEN)
                            : isbuild(kind.c_str(), kSampleRecord, primary, mode);
}

}  // namespace

const std::vector<std::string> &sampleKinds() {
    static const std::vector<std::string> kinds = {"fixed", "variable", "compressed", "masks", "heap", "keys"};
    return kinds;
}

void buildSample(const std::string &kind, int records) {
    if (kind == "keys") {
        buildKeys(records);
        return;
    }
    const int fd = build(kind);
    ASSERT_GE(fd, 0);
    KeyDesc second = byName(), third = byGroup();
    ASSERT_EQ(isaddindex(fd, &second), 0);
    ASSERT_EQ(isaddindex(fd, &third), 0);
    std::vector<char> record(kMaximum);
    for (int i = 0; i < records; ++i) {
        const int length = fill(kind, i, records, record);
        isreclen = length;
        if (kind == "masks") issetmask(fd, i % 4 == 0 ? 2 : 0);
        ASSERT_EQ(iswrite(fd, record.data()), 0);
    }
    for (long number = 5; number <= records; number += 40)
        ASSERT_EQ(isdelrec(fd, number), 0);
    char area[ISUSERINFOLEN] = "hello";
    ASSERT_EQ(isuserinfo(fd, 1, area), 0);
    ASSERT_EQ(issetunique(fd, 77), 0);
    ASSERT_EQ(isclose(fd), 0);
}

std::string sampleLayout(const std::string &kind) {
    if (kind == "keys") return "record none\nindex unique 0+4/long\n";
    return std::string("record 30") + (isVariable(kind) ? "..3000" : "") + (kind == "compressed" ? " compressed" : "") +
           (kind == "masks" ? " masks" : "") + "\n" +
           (kind == "heap" ? "index record-number\n" : "index unique 0+4/long\n") +
           "index duplicates 4+20/char compress repeats leading blanks\n"
           "index duplicates 24+2/int/desc 4+8/char\n";
}

int sampleSlot(const std::string &kind) {
    return kSampleRecord + 1 + (isVariable(kind) ? 6 : 0) + (kind == "masks" ? 4 : 0);
}

std::map<long, std::string> contentsOf(const std::string &name) {
    std::map<long, std::string> contents;
    const int fd = isopen(name.c_str(), ISINPUT | ISLOCKMANUAL | ISVARAUTO);
    EXPECT_GE(fd, 0) << name << ": " << iserrno;
    if (fd < 0) return contents;
    int mode = 0;
    DictInfo info;
    isgetmode(fd, &mode);
    isisaminfo(fd, &info);
    long last = 0;
    std::vector<char> record(ISMAXVARLEN);
    if (info.recordLength == 0) {
        for (int way = ISFIRST; isread(fd, record.data(), way) == 0; way = ISNEXT)
            contents[isrecnum] = std::to_string(ldlong(record.data()));
    } else {
        isgetlastrec(fd, &last);
    }
    for (long number = 1; number <= last; ++number) {
        isreclen = info.recordLength;
        if (isdata(fd, record.data(), number) == 0)
            contents[number] = std::string(record.data(), static_cast<std::size_t>(isreclen)) +
                               ((mode & ISMASK) != 0 ? " mask " + std::to_string(isgetmask(fd)) : "");
        else
            EXPECT_EQ(iserrno, ISERR_NOTFOUND) << name << ": record " << number;
    }
    isclose(fd);
    return contents;
}

std::vector<long> countsOf(const std::string &name) {
    std::vector<long> counts;
    const int fd = isopen(name.c_str(), ISINPUT | ISLOCKMANUAL | ISVARAUTO);
    std::vector<char> record(ISMAXVARLEN);
    for (int index = 1; isindex(fd, index, 0) == 0; ++index) {
        long count = 0;
        for (int way = ISFIRST; isread(fd, record.data(), way) == 0; way = ISNEXT)
            ++count;
        counts.push_back(count);
    }
    isclose(fd);
    return counts;
}

}  // namespace tool_tests
