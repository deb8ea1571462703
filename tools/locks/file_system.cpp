#include "locks/file_system.h"

#include "base/failure.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/vfs.h>

namespace tool {

namespace {

struct Entry {
    unsigned long number;
    const char *name;
    bool network;
    const char *remark;
};

constexpr const char *kNfs =
    "locks reach other machines only without the mount options nolock and local_lock; what one "
    "machine writes the other sees under locks alone, and not through memory (ISMAPPED)";
constexpr const char *kCifs = "locks reach other machines only without the mount option nobrl";
constexpr const char *kFuse = "whether locks reach other machines, or work at all, is up to the program behind it";

constexpr std::array<Entry, 26> kKnown = {{
    {0xef53, "ext2, ext3 or ext4", false, ""},
    {0x58465342, "XFS", false, ""},
    {0x9123683e, "Btrfs", false, ""},
    {0xf2f52010, "F2FS", false, ""},
    {0x01021994, "tmpfs", false, "its files are gone after a restart"},
    {0x858458f6, "ramfs", false, "its files are gone after a restart"},
    {0x2fc12fc1, "ZFS", false, ""},
    {0xca451a4e, "bcachefs", false, ""},
    {0x3153464a, "JFS", false, ""},
    {0x52654973, "ReiserFS", false, ""},
    {0x794c7630, "overlayfs", false, "a file of the lower layer is copied when it is first opened for writing"},
    {0x4d44, "FAT", false, "it has no hard links"},
    {0x2011bab0, "exFAT", false, "it has no hard links"},
    {0x5346544e, "NTFS", false, ""},
    {0x7366746e, "NTFS", false, ""},
    {0x6969, "NFS", true, kNfs},
    {0xff534d42, "CIFS", true, kCifs},
    {0xfe534d42, "SMB", true, kCifs},
    {0x517b, "SMB", true, kCifs},
    {0x65735546, "FUSE", true, kFuse},
    {0x01021997, "9p", true, "locks may stay within this machine, by its mount options"},
    {0x00c36400, "Ceph", true, ""},
    {0x0bd00bd0, "Lustre", true, "locks reach other machines only with the mount option flock"},
    {0x01161970, "GFS2", true, "locks reach other machines only without the mount option localflocks"},
    {0x7461636f, "OCFS2", true, ""},
    {0x5346414f, "AFS", true, "locks of byte ranges stay within this machine"},
}};

}  // namespace

FileSystem fileSystemByNumber(unsigned long number) {
    const auto *entry =
        std::find_if(kKnown.begin(), kKnown.end(), [number](const Entry &e) { return e.number == number; });
    if (entry != kKnown.end()) return {entry->name, entry->network, entry->remark};
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "type 0x%lx", number);
    return {text.data(), false, ""};
}

FileSystem fileSystemOf(const std::string &path) {
    struct statfs status;
    if (statfs(path.c_str(), &status) != 0) failSystem(path, "its file system cannot be told");
    return fileSystemByNumber(static_cast<unsigned long>(status.f_type) & 0xffffffffUL);
}

}  // namespace tool
