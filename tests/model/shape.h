// Random file shapes: record fields, indexes over them, open modes and a mix of operations.
#ifndef TESTS_MODEL_SHAPE_H
#define TESTS_MODEL_SHAPE_H

#include "random.h"

#include "isam.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace model {

// A stretch of the record with values of one type. Fields do not overlap, so that no floating-point field
// ever holds anything but a plain number.
struct Field {
    int start = 0;
    int length = 0;
    int type = CHARTYPE;
    int domain = 1;    // number of different values
    int style = 0;     // where the changing bytes of a text lie
    int fill = 0;      // byte between both ends of a text of style 4
    int nullByte = 0;  // fills the field now and then
    bool nulls = false;
};

enum class Mix { kEven, kAscending, kDeleteHeavy, kReadHeavy, kNoDelete, kRewriteHeavy };

struct Shape {
    int number = 0;
    std::uint64_t seed = 0;
    int bufferLength = 0;   // of the record buffer: at least 1 even without records
    int recordLength = 0;   // of the fixed part, 0 for a file of keys alone
    int maximumLength = 0;  // 0 for records of one length
    bool compressed = false;
    std::vector<int> tailLengths;  // every other tail has one of these lengths
    bool audited = false;          // an audit trail is switched on and off
    bool masked = false;
    bool exclusive = false;
    int handles = 1;
    std::vector<Field> fields;
    std::vector<KeyDesc> indexes;     // the first one is given at build, the rest is added to the empty file
    std::vector<KeyDesc> candidates;  // added and dropped while the file is in use
    Mix mix = Mix::kEven;
    int target = 200;  // records that the growing phase aims at
    int maskBits = 2;
    bool precious = false;  // precious mode is switched now and then

    bool pure() const { return recordLength == 0; }
    bool variable() const { return maximumLength != 0; }
};

// Shape number n of a run. The first ones go through all compression flags with and without duplicates.
Shape makeShape(int number, std::uint64_t seed);

// The same with variable-length records.
Shape makeVariableShape(int number, std::uint64_t seed);

// Fills the record's fields with value number v of each.
void fillField(const Field &field, int value, std::uint8_t *record);

std::string describe(const Shape &shape);

// What is special about a shape, as short words: the features that a run should have met.
std::set<std::string> features(const Shape &shape);

}  // namespace model

#endif
