// Rewriting a file in the order of an index.
#include "table.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

namespace api {

namespace {

constexpr int kAlone = ISINOUT | ISLOCKEXCL;

long clusterBy(int fd, KeyDesc key) { return iscluster(fd, &key); }

// The base path of the temporary file.
std::string temporary(Bench &t) {
    char name[32];
    std::snprintf(name, sizeof name, "ist%05ld", static_cast<long>(getpid()));
    return t.path(name);
}

int refusal(int access, int lock) {
    if (lock != ISLOCKEXCL) return ISERR_NEEDEXCL;
    return access == ISINOUT ? 0 : ISERR_ARGUMENT;
}

}  // namespace

Family clusterFamily() {
    Family family;
    family.calls = {
        {.name = "iscluster",
         .needs = Needs::kBoth,
         .run = [](int fd) -> long { return iscluster(fd, nullptr); },
         .sets = Sets::kOpened,
         .good = kDescriptor,
         .recnum = 1,
         .reclen = 0,
         .refusal = refusal},
    };
    family.errors = {
        {"iscluster", 100, "TwoRecordsShareAKey",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.dat"), kRowLen + 1, std::string(row(1).bytes, 4));
             const int fd = t.again(kAlone);
             t.fails(fd, [fd] { return clusterBy(fd, noKey()); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", 114, "TemporaryNameTooLong",
         [](Bench &t) {
             std::string directory = t.directory();
             for (std::size_t room; (room = 249 - directory.size()) > 1;) {
                 directory += '/' + std::string(std::min<std::size_t>(room - 1, 100), 'd');
                 ASSERT_TRUE(std::filesystem::create_directory(directory));
             }
             const int fd = t.buildNamed(directory + "/f", kAlone);
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
         }},
        {"iscluster", 102, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(kAlone, idKey(), 0);
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
         }},
        {"iscluster", 103, "NoSuchIndex",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.fails(fd, [fd] { return clusterBy(fd, groupKey()); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", 105, "IndexLeadsToADeletedRecord",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.dat"), kRowLen, std::string(1, '\0'));
             const int fd = t.again(kAlone);
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", 106, "NotAlone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
         }},
        {"iscluster", 113, "InATransaction",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.startLog();
             const int fd = t.usual(kAlone | ISTRANS);
             EXPECT_OK(isbegin());
             EXPECT_OK(isrewrec(fd, 1, row(1)));
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
         }},
        {"iscluster", EEXIST, "TemporaryIndexFileExists",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.touch(temporary(t) + ".idx");
             t.fails(fd, {.io = 0x21}, [fd] { return iscluster(fd, nullptr); });
         }},
        {"iscluster", EEXIST, "TemporaryDataFileExists",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.touch(temporary(t) + ".dat");
             t.fails(fd, {.io = 0x22}, [fd] { return iscluster(fd, nullptr); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", ENOENT, "IndexFileIsElsewhere",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.dontCheck();
             EXPECT_EQ(std::rename(t.path("file.idx").c_str(), t.path("elsewhere.idx").c_str()), 0);
             t.fails(fd, {.io = 1}, [fd] { return iscluster(fd, nullptr); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", ENOENT, "DataFileIsElsewhere",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.dontCheck();
             EXPECT_EQ(std::rename(t.path("file.dat").c_str(), t.path("elsewhere.dat").c_str()), 0);
             t.fails(fd, {.io = 2}, [fd] { return iscluster(fd, nullptr); });
             EXPECT_FALSE(exists(temporary(t) + ".idx"));
         }},
        {"iscluster", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual(kAlone);
             t.startLog();
             t.fillLog();
             t.fails(fd, [fd] { return iscluster(fd, nullptr); });
         }},
    };
    return family;
}

}  // namespace api
