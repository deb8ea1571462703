// File sets that are damaged in one place, for calls that read them whole.
#ifndef TESTS_API_CLUSTER_DAMAGE_H
#define TESTS_API_CLUSTER_DAMAGE_H

#include "cluster_kinds.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace api {

// A set of ids 1 to 60 whose numbers run the other way, with idKey in node 3 and nameKey in node 4. Of variable-length
// records each has a tail that fills a node.
constexpr int kDamagedCount = 60;

struct FileDamage {
    const char *name;
    bool variable;
    int byId;      // so many records come before a copy by id fails with 105; -1: it does not fail
    int byNumber;  // the same by record number
    int found;     // records that a copy by number finds when it does not fail
    void (*inflict)(const std::string &base);
};

const std::vector<FileDamage> &fileDamages();
void PrintTo(const FileDamage &damage, std::ostream *out);
std::string fileDamageName(const testing::TestParamInfo<FileDamage> &info);

class DamageTest : public WholeTest, public testing::WithParamInterface<FileDamage> {
  protected:
    // Builds the set, damages it and opens it.
    int makeDamaged(int locking);
    // A set of the same shape without records.
    int makeTarget(const std::string &name);
    // The ids of a set's records by number, with all that belongs to each; the set must be sound.
    Ids intact(const std::string &name) const;

    KeyDesc id = idKey(), number = noKey();
};

}  // namespace api

#endif
