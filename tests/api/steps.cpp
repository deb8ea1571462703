#include "steps.h"

#include "../support/file_check.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace api {

long readId(int fd, int mode, Row record) {
    if (isread(fd, record, mode) == 0) return record.id();
    return -static_cast<long>(iserrno);
}

long position(int fd) {
    int index = 0;
    long number = -1;
    EXPECT_OK(ispush(fd, &index, &number));
    return number;
}

int currentIndex(int fd) {
    int index = -1;
    long number = 0;
    EXPECT_OK(ispush(fd, &index, &number));
    return index;
}

int indexCount(int fd) {
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    return info.keyCount;
}

int recordCount(int fd) {
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    return info.recordCount;
}

long put(int fd, Row record) {
    EXPECT_OK(iswrite(fd, record));
    return isrecnum;
}

void putIds(int fd, std::initializer_list<long> ids) {
    for (const long id : ids)
        put(fd, row(id, "n" + std::to_string(id), static_cast<int>(id)));
}

void add(int fd, KeyDesc key) { EXPECT_OK(isaddindex(fd, &key)); }

Image imageOf(const std::string &name) { return {contents(name + ".idx"), contents(name + ".dat")}; }

void expectRefused(const std::string &name, int code, const std::function<int()> &call) {
    const Image before = imageOf(name);
    iserrno = iserrio = 77;
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(iserrno, code);
    EXPECT_EQ(iserrio, 0);
    const Image after = imageOf(name);
    EXPECT_TRUE(before.index == after.index);
    EXPECT_TRUE(before.data == after.data);
}

void patchFile(const std::string &path, std::size_t offset, const std::string &bytes) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void cutFile(const std::string &path, std::size_t size) { std::filesystem::resize_file(path, size); }

unsigned long numberAt(const std::string &bytes, std::size_t offset, std::size_t width) {
    unsigned long value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value = value * 256 + static_cast<unsigned char>(bytes.at(offset + i));
    return value;
}

std::string nodeOf(const Image &image, unsigned long number) {
    const std::size_t size = numberAt(image.index, 6, 2) + 1;
    return image.index.substr((number - 1) * size, size);
}

unsigned long changeCounter(const Image &image) { return numberAt(image.index, 41, 4); }

std::vector<std::size_t> soundEntries(const std::string &name, bool membership) {
    testing_support::CheckOptions options;
    options.membership = membership;
    const testing_support::CheckReport report = testing_support::checkFiles(name, options);
    EXPECT_TRUE(report.clean()) << report.text();
    std::vector<std::size_t> counts;
    for (const auto &leaf : report.leaves)
        counts.push_back(leaf.size());
    return counts;
}

std::size_t freeNodes(const std::string &name) {
    const Image image = imageOf(name);
    std::size_t count = 0;
    // A list node counts itself and the numbers it lists.
    for (unsigned long node = numberAt(image.index, 29, 4); node != 0;) {
        const std::string bytes = nodeOf(image, node);
        const std::size_t used = numberAt(bytes, 0, 2);
        count += 1 + (used - 6) / 4;
        node = numberAt(bytes, 2, 4);
    }
    return count;
}

int inChild(const std::function<void()> &steps, std::string *output) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], 1);
        close(ends[0]);
        close(ends[1]);
        steps();
        std::fflush(nullptr);
        _exit(99);
    }
    close(ends[1]);
    std::string text;
    char piece[256];
    for (ssize_t got; (got = read(ends[0], piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<std::size_t>(got));
    close(ends[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return -1;
    if (output != nullptr) *output = text;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace api
