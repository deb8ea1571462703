#include "records.h"

#include <cstdio>

namespace fault_testing {

namespace {

std::string letters(std::size_t count, unsigned seed) {
    std::string text(count, ' ');
    for (char &letter : text) {
        seed = seed * 1103515245U + 12345U;
        letter = static_cast<char>('a' + (seed >> 16) % 26);
    }
    return text;
}

std::string padded(std::string text) {
    text.resize(kWide, ' ');
    return text;
}

std::string number4(int number) {
    std::string bytes(4, '\0');
    stlong(number, bytes.data());
    return bytes;
}

}  // namespace

std::string text(int number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%06d", number);
    return padded(digits + letters(84, static_cast<unsigned>(number)));
}

std::string group(int number) { return padded("group " + letters(80, static_cast<unsigned>(number) + 1000)); }

std::string record(int ident, int number) { return number4(ident) + text(number) + group(number % 4) + "  "; }

std::string tailed(int ident, std::size_t tail, bool runs) {
    std::string bytes = letters(tail, static_cast<unsigned>(ident) + 77);
    if (runs)
        for (std::size_t at = 20; at + 40 < tail; at += 100)
            bytes.replace(at, 40, 40, ' ');
    return number4(ident) + text(ident) + bytes;
}

void makeFile(World &world, const std::string &file, const Shape &shape, const std::vector<KeyDesc> &indexes, int first,
              int end, int step) {
    const int fd = world.build(file, shape);
    for (const KeyDesc &key : indexes)
        world.addIndex(fd, key);
    for (int i = first; i < end; i += step)
        world.write(fd, shape.variable()
                            ? tailed(i, static_cast<std::size_t>(i % 5) * 400, (shape.mode & ISCOMPRESS) != 0)
                            : record(i));
    world.close(fd);
}

void readSome(World &world, int fd) {
    std::string found;
    world.read(fd, &found, ISFIRST);
    world.read(fd, &found, ISNEXT);
}

}  // namespace fault_testing
