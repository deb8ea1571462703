#include "golden_image.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace golden {
namespace {

[[noreturn]] void malformed(std::string_view text, const char *why) {
    std::fprintf(stderr, "golden image: %s: %.*s\n", why, static_cast<int>(text.size()), text.data());
    std::abort();
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string row(const std::string &all, std::size_t from, std::size_t to) {
    std::string text;
    std::string letters;
    char pair[4];
    for (std::size_t i = from; i < to && i < all.size(); ++i) {
        const auto byte = static_cast<unsigned char>(all[i]);
        std::snprintf(pair, sizeof pair, "%02X ", static_cast<unsigned>(byte));
        text += pair;
        letters += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
    }
    return text + " " + letters;
}

}  // namespace

std::string bytes(std::string_view text) {
    std::string result;
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        std::string unit;
        if (text[i] == '\'') {
            const std::size_t end = text.find('\'', i + 1);
            if (end == std::string_view::npos || end == i + 1) malformed(text, "open or empty quotes");
            unit = text.substr(i + 1, end - i - 1);
            i = end + 1;
        } else {
            const int high = digitValue(text[i]);
            const int low = i + 1 < text.size() ? digitValue(text[i + 1]) : -1;
            if (high < 0 || low < 0) malformed(text, "no hex byte");
            unit.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        }
        std::size_t times = 1;
        if (i < text.size() && text[i] == '*') {
            times = 0;
            for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
                times = times * 10 + static_cast<std::size_t>(text[i] - '0');
            if (times == 0) malformed(text, "repeated no times");
        }
        while (times-- > 0)
            result += unit;
    }
    return result;
}

std::string be32(unsigned long value) {
    char text[16];
    std::snprintf(text, sizeof text, "%02lX %02lX %02lX %02lX", value >> 24 & 0xff, value >> 16 & 0xff,
                  value >> 8 & 0xff, value & 0xff);
    return text;
}

std::string be16(unsigned long value) { return be32(value).substr(6); }

NodeImage &NodeImage::put(std::string_view text) {
    const std::string value = bytes(text);
    if (next_ + value.size() > kNodeSize) malformed(text, "past the end of the node");
    image_.give(start_ + next_, value);
    next_ += value.size();
    return *this;
}

NodeImage &NodeImage::at(std::size_t offset, std::string_view text) {
    const std::string value = bytes(text);
    if (offset + value.size() > kNodeSize) malformed(text, "past the end of the node");
    image_.give(start_ + offset, value);
    return *this;
}

NodeImage Image::node(std::size_t number) {
    if (number == 0 || number * kNodeSize > bytes_.size()) malformed(std::to_string(number), "no such node");
    return NodeImage(*this, (number - 1) * kNodeSize);
}

NodeImage Image::header() {
    NodeImage head = node(1);
    head.at(0, "FE 'S' 02 02 04 04")  // fixed
        .at(6, "03 FF")               // node size - 1
        .at(10, "07")                 // fixed
        .at(11, "04")                 // bytes of a duplicate serial
        .at(15, "00 00 00 02")        // first description node
        .at(54, "08")                 // fixed
        .at(1020, "'kjsk'");          // trailer
    return head;
}

NodeImage Image::description() {
    NodeImage node2 = node(2);
    node2.at(1021, "FF FE");  // mark, kind 254
    return node2;
}

NodeImage Image::freeList(std::size_t number) {
    NodeImage list = node(number);
    list.at(1021, "FF 7F");  // mark, kind 127
    return list;
}

NodeImage Image::remnant(std::size_t number) {
    NodeImage tails = node(number);
    tails.put("00 00 7E 26").at(1021, "'|'");  // magic number, mark
    return tails;
}

void Image::give(std::size_t offset, const std::string &value) {
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (given_[offset + i]) malformed(std::to_string(offset + i), "byte given twice at file offset");
        given_[offset + i] = true;
        bytes_[offset + i] = value[i];
    }
}

std::string difference(const std::string &expected, const std::string &actual, std::size_t unit) {
    constexpr std::size_t kRow = 16;
    constexpr int kRowsShown = 12;
    std::string text;
    if (expected.size() != actual.size())
        text = "size: expected " + std::to_string(expected.size()) + ", is " + std::to_string(actual.size()) + "\n";
    const std::size_t end = std::max(expected.size(), actual.size());
    int shown = 0;
    for (std::size_t start = 0; start < end; start += unit)
        for (std::size_t from = start; from < std::min(start + unit, end); from += kRow) {
            const std::size_t to = std::min(from + kRow, start + unit);
            const std::string a = from < expected.size() ? expected.substr(from, to - from) : std::string();
            const std::string b = from < actual.size() ? actual.substr(from, to - from) : std::string();
            if (a == b) continue;
            if (++shown > kRowsShown) return text + "...\n";
            text += "number " + std::to_string(start / unit + 1) + ", offset " + std::to_string(from - start) +
                    "\n  expected " + row(expected, from, to) + "\n  is       " + row(actual, from, to) + "\n";
        }
    return text;
}

}  // namespace golden
