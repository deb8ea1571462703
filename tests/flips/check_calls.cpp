#include "flips/check_calls.h"

#include "flips/scenes.h"

namespace flips {

namespace {

constexpr int kMostIndexes = 10;

}  // namespace

Verdict askLibrary(Session &session) {
    Verdict verdict;
    const int fd = openIn(session);
    if (fd < 0) {
        verdict.openError = iserrno;
        verdict.openIo = iserrno < ISERR_FIRST ? iserrio : 0;
        return verdict;
    }
    const auto look = [&session](const char *name, auto check) {
        return static_cast<int>(session.look(name, check));
    };
    verdict.data = look("ischeckdata", [&] { return ischeckdata(fd); });
    // As many indexes as the catalogue has, whatever the header's count says.
    KeyDesc key;
    for (int index = 1; index <= kMostIndexes; ++index) {
        if (session.call("isindexinfo", Effect::Reads, [&] { return isindexinfo(fd, &key, index); }) != 0) break;
        verdict.indexes.push_back(look("ischeckindex", [&] { return ischeckindex(fd, index); }));
    }
    long stats[6];
    verdict.tails = look("ischeckvarlen", [&] { return ischeckvarlen(fd, stats); });
    verdict.tailsAlone = look("ischeckvarlen", [&] { return ischeckvarlen(fd, nullptr); });
    closeIn(session, fd);
    return verdict;
}

}  // namespace flips
