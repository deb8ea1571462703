// File sets of every kind, filled, for the checks and the rebuilds.
#ifndef TESTS_API_CHECK_KINDS_H
#define TESTS_API_CHECK_KINDS_H

#include "../support/damage.h"
#include "logs.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace api {

using testing_support::Damage;
using testing_support::TreeEntry;
namespace field = testing_support::field;

struct Kind {
    const char *name;
    int mode;                   // for building and opening, beyond the access
    std::vector<KeyDesc> keys;  // the first one at build, the others added
    bool records = true;
    bool precious = false;

    int indexes() const;
    KeyDesc key(int index) const;  // of an index, counted from 1
    bool tails() const { return (mode & ISVARLEN) != 0; }
    bool masked() const { return (mode & ISMASK) != 0; }
    // Deleted records and entries together tell whether an index is complete.
    bool counted(int index) const;
};
void PrintTo(const Kind &kind, std::ostream *out);

std::vector<Kind> kindsWith(const std::function<bool(const Kind &)> &wanted);
std::vector<Kind> allKinds();
std::vector<Kind> recordKinds();
std::vector<Kind> indexKinds();  // with an index, records or not
std::vector<Kind> tailKinds();

// What all three checks say: the indexes' one by one.
struct Found {
    int data = 0;
    std::vector<int> indexes;
    int tails = 0;

    bool operator==(const Found &other) const {
        return data == other.data && indexes == other.indexes && tails == other.tails;
    }
};
void PrintTo(const Found &found, std::ostream *out);

// Runs all three checks; the globals must stay as they are.
Found checksOf(int fd, int indexes);

constexpr int kMany = 240;       // records that make trees of three levels
constexpr long kNumbers = 1000;  // the first number in a file without records

class CheckTest : public LogTest {
  protected:
    // Builds the file set of a kind and leaves it open. Of the records 1 to count every sixth is deleted again, every
    // tenth rewritten.
    int make(const Kind &kind, int count = kMany);
    int openKind(const Kind &kind, int access = ISINOUT) { return open(access | kind.mode); }
    void writeKind(int fd, const Kind &kind, int from, int to);
    void deleteKind(int fd, const Kind &kind, int n);
    void rewriteKind(int fd, const Kind &kind, int n, int as);

    // Record n, its tail included, and its mask.
    static Rec recordOf(const Kind &kind, int n);
    static long maskOf(const Kind &kind, int n);

    // What the checks say of a sound file.
    static Found sound(const Kind &kind);

    // The files of the set, open until the test is over.
    Damage &damage();
    // Damages the closed file set, opens it, looks at it, which must not change it, and closes it; then the files are
    // as they were before.
    void withDamage(const Kind &kind, const std::function<void()> &damages, const std::function<void(int fd)> &look,
                    int access = ISINOUT);

  private:
    std::unique_ptr<Damage> damage_;
};

class KindTest : public CheckTest, public ::testing::WithParamInterface<Kind> {
  protected:
    const Kind &kind() const { return GetParam(); }
    int make(int count = kMany) { return CheckTest::make(kind(), count); }
    int openKind(int access = ISINOUT) { return CheckTest::openKind(kind(), access); }
    Found sound() const { return CheckTest::sound(kind()); }
    Found found(int fd) const { return checksOf(fd, kind().indexes()); }
    // The same with one index's result replaced.
    Found withIndex(int index, int bits) const;
    Found withData(int bits) const;
    Found withTails(int bits) const;
    // Damages the closed file set, and gives what the checks say then. The files are sound again afterwards.
    Found foundAfter(const std::function<void()> &damages);
};

std::string kindName(const ::testing::TestParamInfo<Kind> &info);

}  // namespace api

#endif
