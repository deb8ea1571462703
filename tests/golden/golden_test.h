// A test with one file set of its own, whose files are compared with expected bytes.
#ifndef TESTS_GOLDEN_GOLDEN_TEST_H
#define TESTS_GOLDEN_GOLDEN_TEST_H

#include "../support/key_desc.h"
#include "../support/temp_dir.h"
#include "golden_image.h"
#include "isam.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace golden {

using testing_support::keyDesc;
using testing_support::noKey;

class GoldenTest : public ::testing::Test {
  protected:
    ~GoldenTest() override;

    // Builds the file set and leaves it open for reading and writing.
    void build(int record_len, KeyDesc key, int more_mode = 0);
    // The same with variable-length records.
    void buildVarying(int min_len, int max_len, KeyDesc key, int more_mode = 0);
    void addIndex(KeyDesc key);
    void dropIndex(KeyDesc key);
    // Records are given as text, see golden_image.h. number is the record number that the write must take.
    void write(std::string_view record, long number);
    void rewrite(std::string_view record, long number);
    // Records of one letter each, 'first' up to 'last', repeated over len bytes; the numbers count on from number.
    void writeLetters(char first, char last, int len, long number);
    // Adds a key to a file without records.
    void writeKey(std::string_view record, long number);
    // Deletes records first up to last.
    void erase(long first, long last);
    void erase(long number) { erase(number, number); }

    // Compares every byte, with the file set left open.
    void expectIndex(const Image &expected);
    void expectData(std::string_view expected);
    // Closes the file set; from then on the comparisons read the files by their names.
    void close();
    void open();

    int fd() const { return fd_; }
    std::string path(const char *suffix) const { return base_ + suffix; }
    // All bytes of the index file or the data file.
    std::string content(bool index) const;

  private:
    // The record's bytes, with isreclen made their number where records may differ in length.
    std::string record(std::string_view text);

    testing_support::TempDir dir_;
    std::string base_ = dir_.file("golden");
    int fd_ = -1;
    int record_len_ = 0;
    int slot_len_ = 0;
    int varying_ = 0;  // the modes that a file with variable-length records is opened with
};

// All bytes of a file that this process does not have open.
std::string fileContent(const std::string &path);

}  // namespace golden

#endif
