// The records that every engine stores, and the order in which they come.
//
//   offset  bytes  meaning
//        0     16  primary key: the record's number in decimal digits
//       16      8  second field: a value that about ten records share
//       24      8  stamp: drawn from the number, its lowest byte the version
//       32     16  a second unique key, in no order that the first one knows
//       48      *  text
//   last 8      8  the stamp once more: half a record shows
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

inline constexpr int kKey = 16;
inline constexpr int kSecond = 8;
inline constexpr int kRecord = 100;
inline constexpr int kSecondOffset = 16;
inline constexpr int kStampOffset = 24;
inline constexpr int kOtherOffset = 32;
inline constexpr int kOther = 16;

// Record i of a prepared file has the number kSpacing * i: there is room to insert between them. Numbers kNever above a
// multiple are those of no record.
inline constexpr std::uint64_t kSpacing = 16;
inline constexpr std::uint64_t kNever = 15;

// A number that looks drawn by lot; different ones for different numbers.
std::uint64_t mixed(std::uint64_t number);

// Every number below size once, in an order that looks drawn by lot, without a table.
class Permutation {
  public:
    explicit Permutation(std::uint64_t size);
    std::uint64_t operator()(std::uint64_t index) const;

  private:
    std::uint64_t size_;
    unsigned half_ = 1;  // bits of half a number
};

// What an operation works on.
struct Step {
    std::uint64_t number = 0;
    char key[kKey];
    char second[kSecond];  // the second field in the version that is to be written
    int version = 0;
};

Step stepOf(std::uint64_t number, std::uint64_t population, int version = 0);

// A record on its way in.
class Draft {
  public:
    explicit Draft(int length);
    char *with(const Step &step);
    char *data() { return bytes_.data(); }
    int length() const { return length_; }

  private:
    int length_;
    std::vector<char> bytes_;
};

// Is it the step's record, whole, whatever its version?
bool holds(const char *record, int length, const Step &step);

// Are its two stamps one? Cheap enough for every record of a scan.
bool whole(const char *record, int length);

// Does the stamp belong to the key?
bool genuine(const char *record, int length);

std::uint64_t numberOf(const char *key);

}  // namespace bench
