#include "library_checks.h"

#include "isam.h"

#include <array>

namespace model {

namespace {

using testing_support::TailCounts;

constexpr std::size_t kStatistics = 6;
using Statistics = std::array<long, kStatistics>;

struct Globals {
    int code = iserrno;
    int io = iserrio;
    long recnum = isrecnum;
    int reclen = isreclen;

    void restore() const {
        iserrno = code;
        iserrio = io;
        isrecnum = recnum;
        isreclen = reclen;
    }
    bool operator==(const Globals &other) const {
        return code == other.code && io == other.io && recnum == other.recnum && reclen == other.reclen;
    }
};

std::string text(const Statistics &statistics) {
    std::string out;
    for (long number : statistics)
        out += " " + std::to_string(number);
    return out;
}

std::string unequal(const std::string &call, int wanted, int result) {
    return result == wanted
               ? ""
               : call + " gives " + std::to_string(result) + ", should be " + std::to_string(wanted) + "\n";
}

std::string compareTailCheck(int fd, const TailCounts &counts) {
    Statistics found;
    found.fill(77);
    std::string wrong = unequal("ischeckvarlen", 0, ischeckvarlen(fd, found.data()));
    Statistics wanted = {counts.filed.nodes,       counts.filed.freeBytes, counts.unfiled.nodes,
                         counts.unfiled.freeBytes, counts.reached.nodes,   counts.reached.freeBytes};
    if (found != wanted) wrong += "ischeckvarlen counts" + text(found) + ", should be" + text(wanted) + "\n";
    return wrong + unequal("ischeckvarlen without statistics", 0, ischeckvarlen(fd, nullptr));
}

}  // namespace

std::string compareChecks(int fd, const testing_support::FileReader &reader,
                          const testing_support::CheckReport &report) {
    const Globals before;
    iserrno = iserrio = 77;
    isrecnum = isreclen = 78;
    const Globals odd;
    auto indexes = static_cast<int>(reader.indexes().size());
    std::string wrong = unequal("ischeckdata", reader.header().recordLength == 0 ? ISCHK_DATAREAD : 0, ischeckdata(fd));
    for (int index = 0; index <= indexes + 1; ++index) {
        int wanted = index >= 1 && index <= indexes ? 0 : ISCHK_INDEXREAD;
        wrong += unequal("ischeckindex " + std::to_string(index), wanted, ischeckindex(fd, index));
    }
    wrong += compareTailCheck(fd, report.tailCounts);
    if (!(Globals() == odd)) wrong += "the checks set globals\n";
    before.restore();
    return wrong;
}

}  // namespace model
