// The record that most tests use, its keys, and short ways to check results.
#ifndef TESTS_API_ROWS_H
#define TESTS_API_ROWS_H

#include "../support/key_desc.h"
#include "isam.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace api {

using testing_support::keyDesc;
using testing_support::noKey;

constexpr int kRowLen = 32;
constexpr int kNameAt = 4, kNameLen = 10;
constexpr int kGroupAt = 14, kNoteAt = 16, kNoteLen = 16;

// 4 bytes id, 10 bytes name, 2 bytes group, 16 bytes note.
struct Row {
    char bytes[kRowLen]{};

    operator char *() { return bytes; }
    long id() const { return ldlong(bytes); }
    int group() const { return ldint(bytes + kGroupAt); }
    std::string name() const { return text(kNameAt, kNameLen); }
    std::string note() const { return text(kNoteAt, kNoteLen); }

  private:
    std::string text(int start, int len) const {
        char copy[kRowLen + 1];
        ldchar(bytes + start, len, copy);
        return copy;
    }
};

inline Row row(long id, const std::string &name = "", int group = 0, const std::string &note = "") {
    Row made;
    stlong(id, made.bytes);
    stchar(name.c_str(), made.bytes + kNameAt, kNameLen);
    stint(group, made.bytes + kGroupAt);
    stchar(note.c_str(), made.bytes + kNoteAt, kNoteLen);
    return made;
}

inline KeyDesc idKey(int flags = ISNODUPS) { return keyDesc(flags, {{0, 4, LONGTYPE}}); }
inline KeyDesc nameKey(int flags = ISDUPS) { return keyDesc(flags, {{kNameAt, kNameLen, CHARTYPE}}); }
inline KeyDesc groupKey(int flags = ISDUPS) { return keyDesc(flags, {{kGroupAt, 2, INTTYPE}}); }

// A call that must succeed, and one that must fail with a code.
inline testing::AssertionResult succeeded(int result) {
    if (result == 0 && iserrno == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "result " << result << ", iserrno " << iserrno << ", iserrio 0x" << std::hex
                                       << iserrio;
}

inline testing::AssertionResult failedWith(int code, int result) {
    if (result == -1 && iserrno == code) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "result " << result << ", iserrno " << iserrno << " for " << code
                                       << ", iserrio 0x" << std::hex << iserrio;
}

#define EXPECT_OK(call) EXPECT_TRUE(::api::succeeded(call))
#define ASSERT_OK(call) ASSERT_TRUE(::api::succeeded(call))
#define EXPECT_FAILS(code, call) EXPECT_TRUE(::api::failedWith((code), (call)))
#define ASSERT_FAILS(code, call) ASSERT_TRUE(::api::failedWith((code), (call)))

// The ids that reading from one end to the other gives.
inline std::vector<long> idsOf(int fd, int edge = ISFIRST) {
    std::vector<long> ids;
    Row got;
    int result = isread(fd, got, edge);
    while (result == 0) {
        ids.push_back(got.id());
        result = isread(fd, got, edge == ISFIRST ? ISNEXT : ISPREV);
    }
    EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
    return ids;
}

// The same in the order of another index, which stays current.
inline std::vector<long> idsBy(int fd, KeyDesc key, int edge = ISFIRST) {
    Row unused;
    EXPECT_OK(isstart(fd, &key, 0, unused, edge));
    return idsOf(fd, edge);
}

using Ids = std::vector<long>;

}  // namespace api

#endif
