// The stress file's records and indexes.
//
//    0 id, LONGTYPE: first index, unique
//    4 badge, LONGTYPE: second index, unique, descending; racers share theirs
//    8 name, 20 bytes: third index, duplicates, compressed in every way
//   28 group, INTTYPE: fourth index, duplicates, descending
//   30 version | 34 writer | 38 length | 42 checksum of all the rest
//   46 noise up to the length
#ifndef TESTS_STRESS_RECORD_H
#define TESTS_STRESS_RECORD_H

#include "image.h"

#include "isam.h"

#include <cstdint>
#include <string>

namespace stress {

// With status and tail pointer a slot has 128 bytes: it does not cross a page, so that a kill cannot tear it.
constexpr int kFixed = 121;
constexpr int kMaximum = kFixed + 3100;
constexpr int kIndexes = 4;
constexpr int kFifthForms = 3;
constexpr int kGroups = 12;
constexpr int kNames = 40;

struct Facts {
    int key = 0;
    int badge = 0;
    int name = 0;
    int group = 0;
    std::uint32_t version = 0;
    std::uint32_t writer = 0;
    int length = kFixed;
    std::uint32_t checksum = 0;  // of a record taken apart

    Image image() const { return {version, checksum}; }
};

// Puts a record together in a buffer of kMaximum bytes.
Image compose(const Facts &facts, char *record);

// Takes it apart. False where it is torn: checksum or length do not fit.
bool parse(const char *record, int length, Facts *facts);

std::string nameText(int name);

KeyDesc indexKey(int index);  // 1 .. kIndexes
KeyDesc fifthKey(int form);   // 1 .. kFifthForms

// The key of a record in an index, and the order of two such keys: below, equal to or above 0.
std::string keyBytes(const KeyDesc &key, const char *record);
int compareKeys(const KeyDesc &key, const std::string &a, const std::string &b);

}  // namespace stress

#endif
