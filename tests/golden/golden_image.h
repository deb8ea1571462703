// Expected file contents, written down byte by byte.
//
// Bytes are given as text: two hex digits for a byte, 'text' for characters, either followed by *n to repeat it,
// with or without blanks between: "00 06 'ab' 00*4 'x'*20". What is not given is zero. Nothing here knows the library.
#ifndef TESTS_GOLDEN_GOLDEN_IMAGE_H
#define TESTS_GOLDEN_GOLDEN_IMAGE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace golden {

constexpr std::size_t kNodeSize = 1024;

// The bytes that text stands for. Ends the process when text is malformed.
std::string bytes(std::string_view text);

// "00 00 00 2A": a number as the text of four bytes, most significant first; for rows made in a loop. be16 of two.
std::string be32(unsigned long value);
std::string be16(unsigned long value);

class Image;

// Fills one node of an image. A byte that is given twice, or lies outside the node, ends the process: such a test is
// wrong in itself.
class NodeImage {
  public:
    // Puts bytes behind those of the put before it; the first ones at the node's start.
    NodeImage &put(std::string_view text);
    // Puts bytes at an offset in the node. Leaves alone where the next put goes.
    NodeImage &at(std::size_t offset, std::string_view text);

  private:
    friend class Image;
    NodeImage(Image &image, std::size_t start) : image_(image), start_(start) {}

    Image &image_;
    std::size_t start_;
    std::size_t next_ = 0;
};

// An index file of a known number of nodes, all zero at first.
class Image {
  public:
    explicit Image(std::size_t nodes) : bytes_(nodes * kNodeSize, '\0'), given_(nodes * kNodeSize, false) {}

    // Node number 1..
    NodeImage node(std::size_t number);
    // Node 1 with the bytes that are alike in every file. Left to the caller: number of indexes (8), record length
    // (13), free lists and counters (25), user information (1008), flags (1018).
    NodeImage header();
    // Node 2 with the mark of a description node.
    NodeImage description();
    // A node with the mark of a free-list node.
    NodeImage freeList(std::size_t number);
    // A node with the number and mark of a remnant node. The next put goes behind the number, to the links.
    NodeImage remnant(std::size_t number);

    const std::string &bytes() const { return bytes_; }

  private:
    friend class NodeImage;
    void give(std::size_t offset, const std::string &value);

    std::string bytes_;
    std::vector<bool> given_;
};

// Empty when both are the same in every byte, otherwise the sizes and the first rows that differ. unit is the length
// that offsets are told in: a node's or a slot's.
std::string difference(const std::string &expected, const std::string &actual, std::size_t unit);

}  // namespace golden

#endif
