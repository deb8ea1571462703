// A set of numbers, of records or nodes, for work on a whole file. A handle has
// room for one; who makes it frees it when the operation has ended.
#pragma once

#include "base/isfile.h"

// Makes an empty set for the numbers 1..last.
void isNumbersMake(IsamFile *h, std::uint32_t last);

// Adds a number, or takes one out. False when that changes nothing, as for a
// number that the set is not made for.
bool isNumbersAdd(IsamFile *h, std::uint32_t number);
bool isNumbersTake(IsamFile *h, std::uint32_t number);

bool isNumbersHas(const IsamFile *h, std::uint32_t number);

void isNumbersFree(IsamFile *h);
