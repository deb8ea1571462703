#include "start_files.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fault_testing {

Files readFiles(const std::string &directory) {
    Files files;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        files[entry.path().filename().string()] = bytes.str();
    }
    return files;
}

void putFiles(const std::string &directory, const Files &files) {
    std::filesystem::create_directories(directory);
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        std::filesystem::remove_all(entry.path());
    for (const auto &[name, bytes] : files) {
        std::ofstream out(directory + "/" + name, std::ios::binary);
        out << bytes;
    }
}

}  // namespace fault_testing
