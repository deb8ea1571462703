// What the library may ask of the system while it is fuzzed: the files of a directory "m" and of the current one.
#include "limits.h"
#include "memory/files.h"

#include <cerrno>
#include <climits>
#include <cstring>

namespace memory_files {

int Rules::judgePath(const char *path) {
    const std::size_t length = std::strlen(path);
    if (length == 0) return ENOENT;
    if (length >= PATH_MAX) return ENAMETOOLONG;
    const char *const slash = std::strrchr(path, '/');
    if (slash == nullptr) return length > NAME_MAX ? ENAMETOOLONG : 0;
    if (std::strlen(slash + 1) > NAME_MAX) return ENAMETOOLONG;
    if (slash[1] == '\0') return EISDIR;
    return slash == path + 1 && path[0] == 'm' ? 0 : ENOENT;
}

long Rules::mostCalls() { return fuzz::kMaxSystemCalls; }
void Rules::misbehaves(const char *what) { fuzz::misbehaves(what); }

}  // namespace memory_files
