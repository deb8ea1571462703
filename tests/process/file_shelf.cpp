#include "file_shelf.h"

#include <algorithm>
#include <filesystem>

namespace process_testing {

FileShelf::FileShelf(const testing_support::TempDir &dir)
    : saved_(dir.file("saved-")), work_(dir.file("work")), log_(dir.file("log")) {
    std::filesystem::create_directory(work_);
}

void FileShelf::save(const std::string &name) const {
    std::filesystem::remove_all(saved_ + name);
    std::filesystem::copy(work_, saved_ + name);
}

void FileShelf::restore(const std::string &name) const {
    std::filesystem::remove_all(work_);
    std::filesystem::copy(saved_ + name, work_);
}

std::vector<std::string> FileShelf::bases() const {
    std::vector<std::string> out;
    for (const auto &entry : std::filesystem::directory_iterator(work_))
        if (entry.path().extension() == ".idx") out.push_back(file(entry.path().stem().string()));
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace process_testing
