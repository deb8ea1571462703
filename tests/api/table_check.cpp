// Checks: they report no errors, but find bits.
#include "table.h"

namespace api {

namespace {

long stats[6];

TableCall check(const char *name, long (*run)(int fd), long unread) {
    return {.name = name, .needs = Needs::kRead, .run = run, .sets = Sets::kNothing, .unread = unread};
}

}  // namespace

Family checkFamily() {
    Family family;
    family.calls = {
        check(
            "ischeckdata", [](int fd) -> long { return ischeckdata(fd); }, ISCHK_DATAREAD),
        check(
            "ischeckindex", [](int fd) -> long { return ischeckindex(fd, 1); }, ISCHK_INDEXREAD),
        check(
            "ischeckvarlen", [](int fd) -> long { return ischeckvarlen(fd, stats); }, ISCHK_INDEXREAD),
        check(
            "ischeckvarlen", [](int fd) -> long { return ischeckvarlen(fd, nullptr); }, ISCHK_INDEXREAD),
    };
    return family;
}

}  // namespace api
