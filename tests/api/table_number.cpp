// Numbers in records, and the types that applications compare themselves.
#include "table.h"

namespace api {

namespace {

char room[16];
short null;

TableCall plain(const char *name, long (*run)(int), long good = 0) {
    return {.name = name, .run = run, .sets = Sets::kNothing, .good = good};
}

// The library's byte type, compared.
long bytes(int) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, BYTETYPE}});
    return isCustCmp(&key, 0, "b", "a") > 0 ? 1 : 0;
}

long nowhere(int) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, BYTETYPE}});
    return isCustCmp(nullptr, 0, "b", "a") | isCustCmp(&key, -1, "b", "a") | isCustCmp(&key, ISMAXPARTS, "b", "a") |
           isCustCmp(&key, 0, nullptr, "a") | isCustCmp(&key, 0, "b", nullptr);
}

}  // namespace

Family numberFamily() {
    Family family;
    family.calls = {
        plain(
            "ldint", [](int) -> long { return ldint("\x01\x02"); }, 258),
        plain("stint", [](int) -> long { return stint(258, room); }),
        plain(
            "ldlong", [](int) { return ldlong("\0\0\x01\x02"); }, 258),
        plain("stlong", [](int) -> long { return stlong(258, room); }),
        plain("ldchar", [](int) -> long { return ldchar("ab  ", 4, room); }),
        plain("stchar", [](int) -> long { return stchar("ab", room, 4); }),
        plain("stfloat", [](int) -> long { return stfloat(3.5F, room); }),
        plain(
            "ldfloat", [](int) { return static_cast<long>((stfloat(7, room), ldfloat(room))); }, 7),
        plain("stdbl", [](int) -> long { return stdbl(3.5, room); }),
        plain(
            "lddbl", [](int) { return static_cast<long>((stdbl(7, room), lddbl(room))); }, 7),
        plain("stfltnull", [](int) -> long { return stfltnull(3.5F, room, 1); }),
        plain(
            "ldfltnull", [](int) { return static_cast<long>((stfltnull(7, room, 0), ldfltnull(room, &null))); }, 7),
        plain("stdblnull", [](int) -> long { return stdblnull(3.5, room, 1); }),
        plain(
            "lddblnull", [](int) { return static_cast<long>((stdblnull(7, room, 0), lddblnull(room, &null))); }, 7),
        plain(
            "isCustLen", [](int) -> long { return isCustLen(RFATYPE); }, 6),
        plain("isCustCmp", bytes, 1),
        plain("isCustCmp", nowhere),
    };
    return family;
}

}  // namespace api
