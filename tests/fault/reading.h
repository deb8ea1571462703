// A file set read from one end to the other through the library.
#pragma once

#include "isam.h"

#include <string>
#include <vector>

namespace fault_testing {

struct Found {
    long number = 0;
    std::string image;
    unsigned mask = 0;
    int error = 0;  // not 0: it cannot be read
};

// In the order of an index, counted from 1, or with 0 in record-number order. Stops when more than most have come.
std::vector<Found> readAll(int fd, int index, std::size_t most);

// The library finds a record with this one's key in the index.
bool findsKey(int fd, int index, const std::string &image);

// Bytes that any record of the file fits in.
std::size_t recordRoom(int fd);

}  // namespace fault_testing
