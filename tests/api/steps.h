// Steps through a file in short, and looks at what the files hold.
#ifndef TESTS_API_STEPS_H
#define TESTS_API_STEPS_H

#include "api_test.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace api {

// The id inside the record that was read, or the error code below 0. With a row: the key to look for.
long readId(int fd, int mode, Row record = row(-1));

// Record number of the position, current index as applications count it.
long position(int fd);
int currentIndex(int fd);

int indexCount(int fd);
int recordCount(int fd);

// Writes a row and returns its record number.
long put(int fd, Row record);
void putIds(int fd, std::initializer_list<long> ids);
void add(int fd, KeyDesc key);

// The bytes of both files of a set.
struct Image {
    std::string index;
    std::string data;
    bool operator==(const Image &other) const { return index == other.index && data == other.data; }
};
Image imageOf(const std::string &name);

// The call fails with a code, iserrio 0, and no byte of either file of a set changes.
void expectRefused(const std::string &name, int code, const std::function<int()> &call);

// Overwrites bytes of a file, or cuts it off.
void patchFile(const std::string &path, std::size_t offset, const std::string &bytes);
void cutFile(const std::string &path, std::size_t size);

// Number at a byte offset, most significant byte first.
unsigned long numberAt(const std::string &bytes, std::size_t offset, std::size_t width);
// The bytes of node n, counted from 1.
std::string nodeOf(const Image &image, unsigned long number);
unsigned long changeCounter(const Image &image);

// Number of leaf entries of each index; the structure must be sound. Without membership, entries are not compared
// with the records: for masks that say something else than what was indexed.
std::vector<std::size_t> soundEntries(const std::string &name, bool membership = true);
// Nodes on the list of free index nodes.
std::size_t freeNodes(const std::string &name);

// Runs steps in a child process that ends by itself; returns its exit status, or -1 when it did not exit. *output
// receives what it wrote to the standard output.
int inChild(const std::function<void()> &steps, std::string *output = nullptr);

}  // namespace api

// All four results of a success on an open file.
#define EXPECT_RESULTS(recnum, reclen)                                                                                 \
    do {                                                                                                               \
        EXPECT_EQ(0, iserrno);                                                                                         \
        EXPECT_EQ(0, iserrio);                                                                                         \
        EXPECT_EQ((recnum), isrecnum);                                                                                 \
        EXPECT_EQ((reclen), isreclen);                                                                                 \
    } while (false)

#endif
