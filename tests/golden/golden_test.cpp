#include "golden_test.h"

#include <fstream>
#include <iterator>
#include <unistd.h>

namespace golden {
namespace {

// Through the descriptor that the library holds: opening and closing the file anew would lose the process's locks.
std::string readOpen(int system_fd) {
    std::string all;
    char block[4096];
    for (;;) {
        const ssize_t got = pread(system_fd, block, sizeof block, static_cast<off_t>(all.size()));
        if (got <= 0) return got == 0 ? all : "cannot read";
        all.append(block, static_cast<std::size_t>(got));
    }
}

}  // namespace

std::string fileContent(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return "cannot open";
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

GoldenTest::~GoldenTest() {
    if (fd_ >= 0) isclose(fd_);
}

void GoldenTest::build(int record_len, KeyDesc key, int more_mode) {
    record_len_ = record_len;
    slot_len_ = record_len + 1 + ((more_mode & ISMASK) != 0 ? 4 : 0);
    fd_ = isbuild(base_.c_str(), record_len, &key, ISINOUT | more_mode);
    ASSERT_GE(fd_, 0) << "error " << iserrno;
}

void GoldenTest::buildVarying(int min_len, int max_len, KeyDesc key, int more_mode) {
    record_len_ = min_len;
    slot_len_ = min_len + 1 + 6 + ((more_mode & ISMASK) != 0 ? 4 : 0);
    varying_ = ISVARLEN | (more_mode & ISCOMPRESS);
    fd_ = isvbuild(base_.c_str(), min_len, max_len, &key, ISINOUT | ISVARLEN | more_mode);
    ASSERT_GE(fd_, 0) << "error " << iserrno;
}

void GoldenTest::addIndex(KeyDesc key) { ASSERT_EQ(0, isaddindex(fd_, &key)) << "error " << iserrno; }

void GoldenTest::dropIndex(KeyDesc key) { ASSERT_EQ(0, isdelindex(fd_, &key)) << "error " << iserrno; }

std::string GoldenTest::record(std::string_view text) {
    std::string buffer = bytes(text);
    if (varying_ != 0)
        isreclen = static_cast<int>(buffer.size());
    else
        EXPECT_EQ(record_len_, static_cast<int>(buffer.size())) << text;
    return buffer;
}

void GoldenTest::write(std::string_view text, long number) {
    std::string buffer = record(text);
    ASSERT_EQ(0, iswrite(fd_, buffer.data())) << text << ": error " << iserrno;
    ASSERT_EQ(number, isrecnum) << text;
}

void GoldenTest::rewrite(std::string_view text, long number) {
    std::string buffer = record(text);
    ASSERT_EQ(0, isrewrec(fd_, number, buffer.data())) << text << ": error " << iserrno;
}

void GoldenTest::writeLetters(char first, char last, int len, long number) {
    for (char letter = first; letter <= last; ++letter)
        write(std::string("'") + letter + "'*" + std::to_string(len), number++);
}

void GoldenTest::writeKey(std::string_view record, long number) {
    std::string buffer = bytes(record);
    isrecnum = number;
    ASSERT_EQ(0, iswrite(fd_, buffer.data())) << record << ": error " << iserrno;
}

void GoldenTest::erase(long first, long last) {
    for (long number = first; number <= last; ++number)
        ASSERT_EQ(0, isdelrec(fd_, number)) << number << ": error " << iserrno;
}

void GoldenTest::expectIndex(const Image &expected) {
    EXPECT_EQ("", difference(expected.bytes(), content(true), kNodeSize)) << "in the index file";
}

void GoldenTest::expectData(std::string_view expected) {
    EXPECT_EQ("", difference(bytes(expected), content(false), static_cast<std::size_t>(slot_len_)))
        << "in the data file";
}

void GoldenTest::close() {
    ASSERT_EQ(0, isclose(fd_)) << "error " << iserrno;
    fd_ = -1;
}

void GoldenTest::open() {
    fd_ = isopen(base_.c_str(), ISINOUT | varying_);
    ASSERT_GE(fd_, 0) << "error " << iserrno;
}

std::string GoldenTest::content(bool index) const {
    if (fd_ < 0) return fileContent(base_ + (index ? ".idx" : ".dat"));
    return readOpen(index ? isqv_idxfd(fd_) : isqv_datfd(fd_));
}

}  // namespace golden
