// A test with a directory of its own; what it leaves behind is closed and checked.
#ifndef TESTS_API_API_TEST_H
#define TESTS_API_API_TEST_H

#include "../support/temp_dir.h"
#include "rows.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace api {

class ApiTest : public ::testing::Test {
  protected:
    ApiTest();
    ~ApiTest() override;
    // Closes everything and has the bytes of all file sets that were built checked.
    void TearDown() override;

    // Builds a file set of rows with idKey and leaves it open.
    int build(int mode = ISINOUT, KeyDesc key = idKey(), int record_len = kRowLen);
    int buildNamed(const std::string &name, int mode = ISINOUT, KeyDesc key = idKey(), int record_len = kRowLen);
    int open(int mode = ISINOUT) { return isopen(base(), mode); }
    // Builds, writes rows with these ids and opens the file set anew.
    int fill(std::initializer_list<long> ids, int mode = ISINOUT);

    const char *base() const { return base_.c_str(); }
    std::string path(const std::string &name) const { return dir_.file(name); }
    std::string directory() const { return dir_.path(); }

    // Leaves a file set out of the closing check, for tests that break it or look at masks.
    void dontCheck() { built_.clear(); }

  private:
    testing_support::TempDir dir_;
    std::string base_ = dir_.file("file");
    std::vector<std::string> built_;
};

// Number of open descriptors of the process.
int openDescriptors();

// The bytes of a file; empty when it is not there.
std::string contents(const std::string &path);
bool exists(const std::string &path);

}  // namespace api

#endif
