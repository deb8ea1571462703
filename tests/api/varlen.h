// Variable-length records in tests: a row as the fixed part, and a tail behind it.
#ifndef TESTS_API_VARLEN_H
#define TESTS_API_VARLEN_H

#include "steps.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace api {

constexpr int kVarMax = 5000;

// Letters, no two neighbours equal: coding does not shorten them.
std::string letters(std::size_t size, unsigned seed = 1);

// The bytes of a record; messages show its row and the length and sum of its tail.
struct Rec : std::string {
    using std::string::string;
    Rec(const std::string &bytes) : std::string(bytes) {}
};
void PrintTo(const Rec &record, std::ostream *out);

// A record of a row and a tail, of a row and so many letters, of an id and so many letters.
Rec rec(const Row &fixed, const std::string &tail);
Rec rec(const Row &fixed, std::size_t tail = 0);
Rec rec(long id, std::size_t tail = 0);

// Hands a record over with its length in isreclen. The caller's bytes must stay as they are.
int send(int (*call)(int, char *), int fd, const std::string &record);
int sendTo(int fd, long recnum, const std::string &record);  // isrewrec
// The same with a length of one's own; the record has at least that many bytes.
int sendAs(int length, int (*call)(int, char *), int fd, const std::string &record);

// The record read, or "error " and the code. What lies behind the record in the buffer must stay as it is.
Rec take(int fd, int mode, const Row &key = row(-1));
Rec takeNumber(int fd, long recnum);  // isdata
Rec error(int code);

// All records of the current order, from one end to the other.
using Records = std::vector<Rec>;
Records allOf(int fd, int edge = ISFIRST);
// The same in the order of another index, which stays current.
Records allBy(int fd, KeyDesc key, int edge = ISFIRST);

class VarTest : public ApiTest {
  protected:
    // Builds a file set of variable-length records with idKey; the minimum is a row.
    int buildVar(int mode = ISINOUT, KeyDesc key = idKey(), int maximum = kVarMax);
    int buildVarNamed(const std::string &name, int mode = ISINOUT, KeyDesc key = idKey(), int maximum = kVarMax);
    int openVar(int mode = ISINOUT) { return open(mode | ISVARLEN); }
    // Record numbers 1, 2, .. with these tails and ids of ten times the number.
    int fillVar(std::initializer_list<std::size_t> tails, int mode = ISINOUT);
};

// What the data file says of the tail of a record: length as stored, slot and node of the first piece.
struct TailPointer {
    unsigned long length, slot, node;
    bool operator==(const TailPointer &other) const {
        return length == other.length && slot == other.slot && node == other.node;
    }
};
TailPointer tailPointer(const std::string &name, long recnum, std::size_t behind = 0);

// Head of hash bucket 0 to 4; free bytes of a remnant node.
unsigned long bucketHead(const std::string &name, std::size_t bucket);
unsigned long freeBytesOf(const std::string &name, unsigned long node);
unsigned long lastNode(const std::string &name);

}  // namespace api

#endif
