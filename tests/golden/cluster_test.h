// Two file sets: one that a test works on, and what a clone or a copy makes of it beside it.
#ifndef TESTS_GOLDEN_CLUSTER_TEST_H
#define TESTS_GOLDEN_CLUSTER_TEST_H

#include "golden_test.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace golden {

// Base: a test with a file set of its own.
template <typename Base> class BesideTest : public Base {
  protected:
    ~BesideTest() override {
        if (beside_ >= 0) isclose(beside_);
    }
    std::string besideName() const { return this->path(".2"); }
    int beside() const { return beside_; }
    // Makes the second set as a clone of the first.
    void clone() {
        beside_ = isclone(this->fd(), besideName().c_str());
        ASSERT_GE(beside_, 0) << "error " << iserrno;
    }
    // Copies all records into it, in the order of a key.
    void copy(KeyDesc key) { ASSERT_EQ(0, iscopy(beside_, this->fd(), &key)) << "error " << iserrno; }
    // Rewrites the first set in the order of a key.
    void cluster(KeyDesc key) { ASSERT_EQ(this->fd(), iscluster(this->fd(), &key)) << "error " << iserrno; }
    // Closes the second set and compares every byte of it.
    void expectBeside(const Image &index, std::string_view data, std::size_t slot_len) {
        ASSERT_EQ(0, isclose(beside_));
        beside_ = -1;
        EXPECT_EQ("", difference(index.bytes(), fileContent(besideName() + ".idx"), kNodeSize)) << "in the index file";
        EXPECT_EQ("", difference(bytes(data), fileContent(besideName() + ".dat"), slot_len)) << "in the data file";
    }

  private:
    int beside_ = -1;
};

}  // namespace golden

#endif
