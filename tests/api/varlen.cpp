#include "varlen.h"

#include <algorithm>
#include <functional>
#include <ostream>

namespace api {

namespace {

constexpr std::size_t kBuffer = 40000;
constexpr char kUntouched = '\x5a';

Rec given(int result, const std::vector<char> &buffer, const Row &key) {
    if (result != 0) return error(iserrno);
    const auto length = static_cast<std::size_t>(isreclen);
    EXPECT_GE(isreclen, 0);
    EXPECT_LE(length, kBuffer);
    bool clean = true;
    for (std::size_t i = length; i < kBuffer; ++i)
        clean = clean && buffer[i] == (i < kRowLen ? key.bytes[i] : kUntouched);
    EXPECT_TRUE(clean) << "written behind the record's end";
    return {buffer.data(), length};
}

std::vector<char> bufferWith(const Row &key) {
    std::vector<char> buffer(kBuffer, kUntouched);
    std::copy(key.bytes, key.bytes + kRowLen, buffer.begin());
    return buffer;
}

}  // namespace

std::string letters(std::size_t size, unsigned seed) {
    std::string made(size, ' ');
    unsigned state = seed * 2654435761U + 1;
    unsigned last = 26;
    for (char &letter : made) {
        state = state * 1664525U + 1013904223U;
        unsigned next = (state >> 16) % 26;
        if (next == last) next = (next + 1) % 26;
        letter = static_cast<char>('a' + next);
        last = next;
    }
    return made;
}

void PrintTo(const Rec &record, std::ostream *out) {
    if (record.size() < kRowLen) {
        *out << static_cast<const std::string &>(record);
        return;
    }
    Row fixed;
    std::copy(record.begin(), record.begin() + kRowLen, fixed.bytes);
    const std::string tail = record.substr(kRowLen);
    *out << '(' << fixed.id() << " '" << fixed.name() << "' " << fixed.group() << " '" << fixed.note() << '\'';
    if (!tail.empty()) *out << " + " << tail.size() << " bytes, sum " << std::hash<std::string>()(tail) % 10000;
    *out << ')';
}

Rec rec(const Row &fixed, const std::string &tail) { return std::string(fixed.bytes, kRowLen) + tail; }

Rec rec(const Row &fixed, std::size_t tail) { return rec(fixed, letters(tail, static_cast<unsigned>(fixed.id()))); }

Rec rec(long id, std::size_t tail) { return rec(row(id), tail); }

int sendAs(int length, int (*call)(int, char *), int fd, const std::string &record) {
    // Exactly as long as it must be, so that reading beyond it shows under the sanitizers.
    std::vector<char> copy(record.begin(), record.end());
    isreclen = length;
    const int result = call(fd, copy.data());
    EXPECT_TRUE(std::equal(copy.begin(), copy.end(), record.begin())) << "the caller's record has changed";
    return result;
}

int send(int (*call)(int, char *), int fd, const std::string &record) {
    return sendAs(static_cast<int>(record.size()), call, fd, record);
}

int sendTo(int fd, long recnum, const std::string &record) {
    static long number;
    number = recnum;
    return send([](int to, char *bytes) { return isrewrec(to, number, bytes); }, fd, record);
}

Rec error(int code) { return "error " + std::to_string(code); }

Rec take(int fd, int mode, const Row &key) {
    std::vector<char> buffer = bufferWith(key);
    const int result = isread(fd, buffer.data(), mode);
    return given(result, buffer, key);
}

Rec takeNumber(int fd, long recnum) {
    const Row key = row(-1);
    std::vector<char> buffer = bufferWith(key);
    const int result = isdata(fd, buffer.data(), recnum);
    return given(result, buffer, key);
}

Records allOf(int fd, int edge) {
    Records all;
    std::vector<char> buffer(kBuffer);
    int result = isread(fd, buffer.data(), edge);
    while (result == 0) {
        all.emplace_back(buffer.data(), static_cast<std::size_t>(isreclen));
        result = isread(fd, buffer.data(), edge == ISFIRST ? ISNEXT : ISPREV);
    }
    EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
    return all;
}

Records allBy(int fd, KeyDesc key, int edge) {
    Row unused;
    EXPECT_OK(isstart(fd, &key, 0, unused, edge));
    return allOf(fd, edge);
}

int VarTest::buildVar(int mode, KeyDesc key, int maximum) { return buildVarNamed(base(), mode, key, maximum); }

int VarTest::buildVarNamed(const std::string &name, int mode, KeyDesc key, int maximum) {
    isreclen = kRowLen;
    return buildNamed(name, mode | ISVARLEN, key, maximum);
}

int VarTest::fillVar(std::initializer_list<std::size_t> tails, int mode) {
    const int fd = buildVar(mode);
    long id = 10;
    for (const std::size_t tail : tails) {
        EXPECT_OK(send(iswrite, fd, rec(id, tail)));
        id += 10;
    }
    return fd;
}

TailPointer tailPointer(const std::string &name, long recnum, std::size_t behind) {
    const std::size_t slot = kRowLen + 1 + 6 + behind;
    const std::string data = contents(name + ".dat");
    const std::size_t at = slot * static_cast<std::size_t>(recnum - 1) + kRowLen + 1;
    return {numberAt(data, at, 2), numberAt(data, at + 2, 1), numberAt(data, at + 3, 3)};
}

unsigned long bucketHead(const std::string &name, std::size_t bucket) {
    return numberAt(contents(name + ".idx"), 61 + 4 * bucket, 4);
}

unsigned long freeBytesOf(const std::string &name, unsigned long node) {
    return numberAt(nodeOf(imageOf(name), node), 12, 2);
}

unsigned long lastNode(const std::string &name) { return numberAt(contents(name + ".idx"), 37, 4); }

}  // namespace api
