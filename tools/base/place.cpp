#include "base/place.h"

#include "base/failure.h"
#include "lock/lock_layout.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace tool {

std::string linkedPlace(const std::string &base) {
    std::ifstream link(base + ".lnk", std::ios::binary);
    std::string line;
    if (!link || !std::getline(link, line) || line.empty()) return base;
    // As the library reads it: the line's last character is its end, there or not.
    if (link.eof()) line.pop_back();
    return line;
}

void refuseOwnFiles(const std::string &path, const std::string &base) {
    for (const char *extension : {".idx", ".dat"}) {
        std::error_code ignored;
        if (std::filesystem::equivalent(path, linkedPlace(base) + extension, ignored))
            throw Failure(path + ": belongs to " + base + " itself, which would be lost");
    }
}

bool othersHave(const std::string &base) {
    const int fd = open((linkedPlace(base) + ".idx").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = lockarea::kHighArea;
    lock.l_len = lockarea::kAreaLength;
    const bool held = fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(fd);
    return held;
}

}  // namespace tool
