// Rebuilds of file sets of every kind, and what must be true of a mended one.
#ifndef TESTS_API_REBUILD_KINDS_H
#define TESTS_API_REBUILD_KINDS_H

#include "check_kinds.h"
#include "isam_maint.h"

#include <functional>
#include <string>
#include <vector>

namespace api {

// Runs a rebuild of an index, or of the list of free record numbers: true for success, with isErrno 0.
::testing::AssertionResult rebuilds(int fd, int index);
::testing::AssertionResult rebuildsFree(int fd);

// A way to damage one index, and whether its check must notice: some count no entries.
struct IndexDamage {
    const char *name;
    bool needsCount;
    bool needsBranch;
    std::function<void(Damage &, int index)> run;
};
const std::vector<IndexDamage> &indexDamages();

class RebuildTest : public KindTest {
  protected:
    // Every record is found through every index that it belongs to, all of it: in order forwards and backwards, and by
    // its key; the checks find nothing, nor does a look at the bytes.
    void expectMended(int fd);
    // The same, and after some more changes again.
    void expectUsable(int fd);

  private:
    void expectReachable(int fd, int index);
    int next_ = 300;  // number of the record that the next change writes
};

}  // namespace api

#endif
