// A log in a directory of its own, with file sets beside it, and what it holds byte by byte.
#ifndef TESTS_GOLDEN_LOG_TEST_H
#define TESTS_GOLDEN_LOG_TEST_H

#include "../support/key_desc.h"
#include "golden_image.h"
#include "isam.h"
#include "stamp.h"

#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace golden {

using testing_support::keyDesc;
using testing_support::noKey;

// Offset and length of the previous record, for one that has none.
inline constexpr std::string_view kUnchained = "00 00 00 00 00 00";

// Text of a log record: its length, the two letters of its type, offset and length of the previous record, and what
// stands behind the head. user is what stands for the user or the transaction.
std::string record(std::string_view length, std::string_view type, std::string_view previous,
                   std::string_view body = "", std::string_view user = "USER");

class LogTest : public ::testing::Test {
  protected:
    ~LogTest() override;

    void openLog();

    // Makes a file set and returns its descriptor. Records have 6 bytes, or 4 to max_len with ISVARLEN; the key is
    // kKey.
    int build(const char *name, int more_mode = 0, int max_len = 200);
    int open(const char *name, int more_mode = 0);
    void close(int fd);

    // Records are given as text, see golden_image.h.
    void write(int fd, std::string_view record, long number);
    void rewrite(int fd, std::string_view record, long number);
    void erase(int fd, long number);

    // Compares all bytes of the log. Text as for stamped().
    void expectLog(std::string_view text);

    // The key as the log tells it: flags, parts, length; start, length and type of the part.
    static constexpr char kKey[] = " 00 00 00 01 00 02 00 00 00 02 00 00 ";

  private:
    WorkDir dir_;
    std::time_t start_ = std::time(nullptr);
};

}  // namespace golden

#endif
