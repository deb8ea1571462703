// Plain looks into a handle, masks, and what needs no file at all.
#include "table.h"

namespace api {

namespace {

// A look sets no globals, whatever the descriptor.
TableCall look(const char *name, long (*run)(int fd), long good = 0, long bad = -1) {
    return {.name = name,
            .needs = Needs::kHandle,
            .run = run,
            .sets = Sets::kNothing,
            .good = good,
            .bad = bad,
            .badError = kPrimed.error};
}

long found(const void *pointer) { return pointer != nullptr ? 0 : -1; }
long own(const void *pointer, const void *global) { return pointer != nullptr && pointer != global ? 0 : -1; }
long open(int descriptor) { return descriptor >= 0 ? 0 : -1; }

}  // namespace

Family lookFamily() {
    Family family;
    family.calls = {
        look("isqv_name", [](int fd) { return found(isqv_name(fd)); }),
        look(
            "isqv_datlen", [](int fd) -> long { return isqv_datlen(fd); }, kRowLen),
        look("isqv_curidx", [](int fd) -> long { return isqv_curidx(fd); }),
        look("isqv_idxfd", [](int fd) { return open(isqv_idxfd(fd)); }),
        look("isqv_datfd", [](int fd) { return open(isqv_datfd(fd)); }),
        look("isqv_kdsc", [](int fd) { return found(isqv_kdsc(fd)); }),
        look("is_recnum", [](int fd) { return own(is_recnum(fd), &isrecnum); }),
        look("is_reclen", [](int fd) { return own(is_reclen(fd), &isreclen); }),
        look("is_errno", [](int fd) { return own(is_errno(fd), &iserrno); }),
        look("is_errio", [](int fd) { return own(is_errio(fd), &iserrio); }),
        look("isseekey", [](int fd) { return found(isseekey(fd)); }),
        look(
            "isgetmask", [](int fd) { return isgetmask(fd); }, 0, 0),
        look("issetmask", [](int fd) -> long { return issetmask(fd, 0); }),
        {.name = "isflush", .run = [](int) -> long { return isflush(0); }, .sets = Sets::kNothing},
        {.name = "isflush", .run = [](int) -> long { return isflush(-1); }, .sets = Sets::kNothing, .good = -1},
        {.name = "iscachelimit",
         .run = [](int) -> long { return iscachelimit(-1) > 0; },
         .sets = Sets::kNothing,
         .good = 1},
        {.name = "isfatal",
         .run = [](int) -> long {
             isfatal(nullptr);
             return 0;
         },
         .sets = Sets::kNothing},
        {.name = "isthreaded", .run = [](int) -> long { return isthreaded(); }, .sets = Sets::kNothing, .good = 1},
    };
    return family;
}

}  // namespace api
