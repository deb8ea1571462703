#include "calls.h"

namespace api {

namespace {

Row scratch;
KeyDesc key;
DictInfo info;
char tenBytes[ISUSERINFOLEN];
char trailName[] = "trail";
int number;
long longNumber;

KeyDesc *chosen(KeyDesc made) {
    key = made;
    return &key;
}

}  // namespace

const std::vector<Call> &allCalls() {
    static const std::vector<Call> calls = {
        {"issetmode", Access::kAny,
         [](int fd) {
             return issetmode(fd, ISLOCKMANUAL);
         }},
        {"islockcheck", Access::kAny,
         [](int fd) {
             return islockcheck(fd, 0);
         }},
        {"isgoto", Access::kAny,
         [](int fd) {
             return isgoto(fd, 1);
         }},
        {"ispush", Access::kAny,
         [](int fd) {
             return ispush(fd, &number, &longNumber);
         }},
        {"isuserinfo", Access::kAny,
         [](int fd) {
             return isuserinfo(fd, 0, tenBytes);
         }},
        {"isread", Access::kRead,
         [](int fd) {
             return isread(fd, scratch, ISFIRST);
         }},
        {"isstart", Access::kRead,
         [](int fd) {
             return isstart(fd, chosen(idKey()), 0, scratch, ISFIRST);
         }},
        {"isindex", Access::kRead,
         [](int fd) {
             return isindex(fd, 1, 0);
         }},
        {"isdata", Access::kRead,
         [](int fd) {
             return isdata(fd, scratch, 1);
         }},
        {"ispop", Access::kRead,
         [](int fd) {
             return ispop(fd, 1, 1);
         }},
        {"isgetlastrec", Access::kRead,
         [](int fd) {
             return isgetlastrec(fd, &longNumber);
         }},
        {"islock", Access::kRead,
         [](int fd) {
             return islock(fd);
         }},
        {"isunlock", Access::kRead,
         [](int fd) {
             return isunlock(fd);
         }},
        {"isrelease", Access::kRead,
         [](int fd) {
             return isrelease(fd);
         }},
        {"isrelrec", Access::kRead,
         [](int fd) {
             return isrelrec(fd, 1);
         }},
        {"isrelcurr", Access::kRead,
         [](int fd) {
             return isrelcurr(fd);
         }},
        {"isindexinfo", Access::kRead,
         [](int fd) {
             return isindexinfo(fd, &key, 1);
         }},
        {"isisaminfo", Access::kRead,
         [](int fd) {
             return isisaminfo(fd, &info);
         }},
        {"isprecious", Access::kWrite,
         [](int fd) {
             return isprecious(fd, 0);
         }},
        {"isaddindex", Access::kWrite,
         [](int fd) {
             return isaddindex(fd, chosen(nameKey()));
         }},
        {"isdelindex", Access::kWrite,
         [](int fd) {
             return isdelindex(fd, chosen(nameKey()));
         }},
        {"issetlastrec", Access::kWrite,
         [](int fd) {
             return issetlastrec(fd, 3);
         }},
        {"islastrec", Access::kWrite,
         [](int fd) {
             return islastrec(fd, &longNumber);
         }},
        {"iswrite", Access::kWrite,
         [](int fd) {
             return iswrite(fd, row(91));
         }},
        {"iswrlock", Access::kWrite,
         [](int fd) {
             return iswrlock(fd, row(92));
         }},
        {"iswrcurr", Access::kWrite,
         [](int fd) {
             return iswrcurr(fd, row(93));
         }},
        {"isrewrite", Access::kWrite,
         [](int fd) {
             return isrewrite(fd, row(1));
         }},
        {"isrewrec", Access::kWrite,
         [](int fd) {
             return isrewrec(fd, 1, row(1));
         }},
        {"isrewcurr", Access::kWrite,
         [](int fd) {
             return isrewcurr(fd, row(1));
         }},
        {"isrewnxt", Access::kWrite,
         [](int fd) {
             return isrewnxt(fd, row(1));
         }},
        {"isdelete", Access::kWrite,
         [](int fd) {
             return isdelete(fd, row(91));
         }},
        {"isdelrec", Access::kWrite,
         [](int fd) {
             return isdelrec(fd, 1);
         }},
        {"isdelcurr", Access::kWrite,
         [](int fd) {
             return isdelcurr(fd);
         }},
        {"isaudit", Access::kWrite,
         [](int fd) {
             return isaudit(fd, trailName, ISAUDSETNAME);
         }},
        {"issetunique", Access::kWrite,
         [](int fd) {
             return issetunique(fd, 1);
         }},
        {"isuniqueid", Access::kWrite,
         [](int fd) {
             return isuniqueid(fd, &longNumber);
         }},
    };
    return calls;
}

const std::vector<NullCall> &nullCalls() {
    static const std::vector<NullCall> calls = {
        {"isgetmode", ISERR_ARGUMENT,
         [](int fd) {
             return isgetmode(fd, nullptr);
         }},
        {"isaddindex", ISERR_KEYDESC,
         [](int fd) {
             return isaddindex(fd, nullptr);
         }},
        {"isdelindex", ISERR_KEYDESC,
         [](int fd) {
             return isdelindex(fd, nullptr);
         }},
        {"isread first", ISERR_ARGUMENT,
         [](int fd) {
             return isread(fd, nullptr, ISFIRST);
         }},
        {"isread equal", ISERR_ARGUMENT,
         [](int fd) {
             return isread(fd, nullptr, ISEQUAL);
         }},
        {"isstart equal", ISERR_ARGUMENT,
         [](int fd) {
             return isstart(fd, nullptr, 0, nullptr, ISEQUAL);
         }},
        {"isdata", ISERR_ARGUMENT,
         [](int fd) {
             return isdata(fd, nullptr, 1);
         }},
        {"ispush index", ISERR_ARGUMENT,
         [](int fd) {
             return ispush(fd, nullptr, &longNumber);
         }},
        {"ispush recnum", ISERR_ARGUMENT,
         [](int fd) {
             return ispush(fd, &number, nullptr);
         }},
        {"isgetlastrec", ISERR_ARGUMENT,
         [](int fd) {
             return isgetlastrec(fd, nullptr);
         }},
        {"islastrec", ISERR_ARGUMENT,
         [](int fd) {
             return islastrec(fd, nullptr);
         }},
        {"iswrite", ISERR_ARGUMENT,
         [](int fd) {
             return iswrite(fd, nullptr);
         }},
        {"iswrlock", ISERR_ARGUMENT,
         [](int fd) {
             return iswrlock(fd, nullptr);
         }},
        {"iswrcurr", ISERR_ARGUMENT,
         [](int fd) {
             return iswrcurr(fd, nullptr);
         }},
        {"isrewrite", ISERR_ARGUMENT,
         [](int fd) {
             return isrewrite(fd, nullptr);
         }},
        {"isrewrec", ISERR_ARGUMENT,
         [](int fd) {
             return isrewrec(fd, 1, nullptr);
         }},
        {"isrewcurr", ISERR_ARGUMENT,
         [](int fd) {
             return isrewcurr(fd, nullptr);
         }},
        {"isrewnxt", ISERR_ARGUMENT,
         [](int fd) {
             return isrewnxt(fd, nullptr);
         }},
        {"isdelete", ISERR_ARGUMENT,
         [](int fd) {
             return isdelete(fd, nullptr);
         }},
        {"isaudit set name", ISERR_ARGUMENT,
         [](int fd) {
             return isaudit(fd, nullptr, ISAUDSETNAME);
         }},
        {"isaudit get name", ISERR_ARGUMENT,
         [](int fd) {
             return isaudit(fd, nullptr, ISAUDGETNAME);
         }},
        {"isuniqueid", ISERR_ARGUMENT,
         [](int fd) {
             return isuniqueid(fd, nullptr);
         }},
        {"isindexinfo", ISERR_ARGUMENT,
         [](int fd) {
             return isindexinfo(fd, nullptr, 1);
         }},
        {"isindexinfo file", ISERR_ARGUMENT,
         [](int fd) {
             return isindexinfo(fd, nullptr, 0);
         }},
        {"isisaminfo", ISERR_ARGUMENT,
         [](int fd) {
             return isisaminfo(fd, nullptr);
         }},
        {"isuserinfo read", ISERR_ARGUMENT,
         [](int fd) {
             return isuserinfo(fd, 0, nullptr);
         }},
        {"isuserinfo write", ISERR_ARGUMENT,
         [](int fd) {
             return isuserinfo(fd, 1, nullptr);
         }},
    };
    return calls;
}

}  // namespace api
