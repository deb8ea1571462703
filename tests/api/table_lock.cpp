// Locks on the caller's demand.
#include "table.h"

#include <cerrno>

namespace api {

Family lockFamily() {
    Family family;
    family.calls = {
        {.name = "islock",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return islock(fd);
         }},
        {.name = "isunlock",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isunlock(fd);
         }},
        {.name = "isrelease",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isrelease(fd);
         }},
        {.name = "isrelrec",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isrelrec(fd, 1);
         }},
        {.name = "isrelcurr",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isrelcurr(fd);
         }},
    };
    family.errors = {
        {"islock", 107, "AnotherHandleLocksARecord",
         [](Bench &t) {
             const int fd = t.usual();
             t.hold(t.again(), 1);
             t.fails(fd, [fd] { return islock(fd); });
         }},
        {"islock", 107, "AnotherProcessLocksARecord",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return readId(t.again(), ISFIRST | ISLOCK) == 1; });
             const int fd = t.usual();
             t.fails(fd, [fd] { return islock(fd); });
         }},
        {"islock", EBADF, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             t.fails(fd, {.io = 0x62}, [fd] { return islock(fd); });
         }},
        {"isrelrec", 102, "NumberOfNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isrelrec(fd, 0); });
         }},
        {"isrelrec", 102, "NumberBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isrelrec(fd, -1); });
         }},
    };
    return family;
}

}  // namespace api
