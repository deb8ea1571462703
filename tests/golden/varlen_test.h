// A file set with variable-length records of 4 bytes and more, whose unique key is the first byte.
#ifndef TESTS_GOLDEN_VARLEN_TEST_H
#define TESTS_GOLDEN_VARLEN_TEST_H

#include "golden_test.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace golden {

// The counters of a header as text, four bytes each.
struct Counters {
    std::string_view free_records = "00 00 00 00";  // node that heads their list
    std::string_view free_nodes = "00 00 00 00";    // node that heads their list
    std::string_view last_record = "00 00 00 00";
    std::string_view last_node = "00 00 00 03";
    std::string_view changes = "00 00 00 01";
};

// Heads of the buckets, as text of four bytes each. The one of bucket 0 is never used.
struct Heads {
    std::string_view one = "00 00 00 00";
    std::string_view two = "00 00 00 00";
    std::string_view three = "00 00 00 00";
    std::string_view four = "00 00 00 00";
};

class VarlenTest : public GoldenTest {
  protected:
    // Builds the file set for records of up to 32511 bytes.
    void build(int more_mode = 0);
    // Three records, whose tails of 600 bytes take nodes 4 to 6. Each has 394 bytes free then: bucket 1 holds 6, 5, 4
    // in this order.
    void writeTails();
    // Header and description of its index file, the index's root being node 3.
    static Image start(std::size_t nodes, const Counters &counters, const Heads &heads = {},
                       std::string_view flags = "00 00");
};

}  // namespace golden

#endif
