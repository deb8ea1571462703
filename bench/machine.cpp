#include "machine.h"

#include <cstdio>
#include <fstream>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <sys/vfs.h>
#include <thread>

namespace bench {
namespace {

std::string processor() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
    return "unknown";
}

std::string fileSystem(const std::string &directory) {
    struct statfs status;
    if (statfs(directory.c_str(), &status) != 0) return "unknown";
    switch (static_cast<unsigned long>(status.f_type)) {
    case 0xef53: return "ext4";
    case 0x58465342: return "xfs";
    case 0x9123683e: return "btrfs";
    case 0x01021994: return "tmpfs";
    case 0x794c7630: return "overlay";
    case 0x2fc12fc1: return "zfs";
    case 0x6969: return "nfs";
    default: return "unknown";
    }
}

std::string kernel() {
    struct utsname names;
    if (uname(&names) != 0) return "unknown";
    const std::string release = names.release;
    return std::string(names.sysname) + " " + release.substr(0, release.find('-')) + " " + names.machine;
}

std::string memory() {
    struct sysinfo info;
    if (sysinfo(&info) != 0) return "unknown";
    const unsigned long long bytes = static_cast<unsigned long long>(info.totalram) * info.mem_unit;
    return std::to_string((bytes + (1ULL << 29)) >> 30) + " GiB";
}

}  // namespace

Facts machineFacts(const std::string &directory) {
    return {{"processor", processor()},
            {"cores", std::to_string(std::thread::hardware_concurrency())},
            {"memory", memory()},
            {"kernel", kernel()},
            {"file system", fileSystem(directory)},
            {"compiler", std::string("g++ ") + __VERSION__ + ", -O2"}};
}

std::string packageVersion(const std::string &package) {
    const std::string command = "dpkg-query -W -f '${Version}' " + package + " 2>/dev/null";
    std::string version;
    if (FILE *out = popen(command.c_str(), "r")) {
        char text[128];
        while (std::fgets(text, sizeof text, out) != nullptr)
            version += text;
        pclose(out);
    }
    return version;
}

}  // namespace bench
