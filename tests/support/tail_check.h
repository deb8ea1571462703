// Checks the part of an index file that holds tails: every piece belongs to one record, every node's numbers add up,
// every node with room is found through the heads.
#ifndef TESTS_SUPPORT_TAIL_CHECK_H
#define TESTS_SUPPORT_TAIL_CHECK_H

#include "remnant.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

// Nodes with tails, and their free bytes.
struct TailCounts {
    struct Sum {
        long nodes = 0;
        long freeBytes = 0;
    };
    Sum filed;    // in the buckets
    Sum unfiled;  // in none of them
    Sum reached;  // from records
};

class TailCheck {
  public:
    using Claim = std::function<bool(std::uint32_t number, const std::string &owner)>;
    using Problem = std::function<void(const std::string &text)>;

    // claim: takes a node as its owner; false when it has one already.
    TailCheck(const FileReader &reader, Claim claim, Problem problem);

    // Checks a live record's tail, given its slot, and returns it as it is stored.
    Bytes tail(std::uint32_t recnum, const Bytes &slot);

    // Checks the nodes, once all records have been seen.
    void finish();

    // The nodes seen until then.
    TailCounts counts();

  private:
    void take(std::uint32_t number);
    void checkPieces(const std::string &name, const std::vector<RemnantReader::Place> &places);
    void walkBuckets();
    void checkNode(std::uint32_t number, const RemnantNode &node);
    void checkSlots(const std::string &name, std::uint32_t number, const RemnantNode &node);

    const FileReader &in_;
    RemnantReader nodes_;
    Claim claim_;
    Problem problem_;
    std::map<std::uint32_t, std::vector<std::string>> owners_;  // per node and slot, who has the piece
    std::map<std::uint32_t, int> filed_;                        // per node, the bucket that holds it
};

}  // namespace testing_support

#endif
