#include "base/left_over.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

struct OldFile {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;
};

// What the handler looks at: nothing of it changes while the handler is in place.
std::array<std::string, 2> unfinished_files;
std::array<OldFile, 2> old_files;
std::size_t old_file_count = 0;

bool oldFilesStand() {
    for (std::size_t i = 0; i < old_file_count; ++i) {
        struct stat status;
        if (stat(old_files[i].path.c_str(), &status) != 0) return false;
        if (status.st_dev != old_files[i].device || status.st_ino != old_files[i].inode) return false;
    }
    return true;
}

// It never returns into the work that it has interrupted.
void removeUnfinished(int number) {
    if (oldFilesStand()) {
        for (const std::string &path : unfinished_files)
            unlink(path.c_str());
    }
    struct sigaction ends {};
    ends.sa_handler = SIG_DFL;
    sigaction(number, &ends, nullptr);
    raise(number);
}

}  // namespace

LeftOver::LeftOver(const std::string &place, const std::string &old) {
    unfinished_files = {place + ".idx", place + ".dat"};
    old_file_count = 0;
    for (const char *extension : {".idx", ".dat"}) {
        struct stat status;
        if (old.empty() || stat((old + extension).c_str(), &status) != 0) continue;
        old_files[old_file_count++] = {old + extension, status.st_dev, status.st_ino};
    }
    signals_.emplace(removeUnfinished);
}

}  // namespace tool
