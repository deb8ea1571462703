// Runs inputs from files, and those of directories, one after the other.
#include "execution.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<std::filesystem::path> filesIn(const std::filesystem::path &path) {
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::is_directory(path)) return {path};
    for (const auto &entry : std::filesystem::recursive_directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "%s cannot be read\n", path.c_str());
        return false;
    }
    // Said beforehand: an input that ends the process is the last one named.
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    fuzz::execute(fuzz::decode(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()));
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    long count = 0;
    for (int i = 1; i < argc; ++i)
        for (const auto &path : filesIn(argv[i])) {
            if (!replay(path)) return 1;
            ++count;
        }
    fuzz::printTotals();
    std::printf("%ld inputs replayed\n", count);
    return count != 0 ? 0 : 1;
}
