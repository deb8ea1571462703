// The customary names: what they stand for, a program that is written with them, and how to be without them.
#include "project/dialects.h"

#include "isam.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

namespace {

std::string textOf(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(ISAM_SOURCE_DIR "/" + path).rdbuf();
    return text.str();
}

// The macros that the header of the names defines.
std::set<std::string> definedNames() {
    static const std::regex kDefinition("\n#define (\\w+) ");
    const std::string header = textOf("include/isam_names.h");
    std::set<std::string> names;
    for (std::sregex_iterator i(header.begin(), header.end(), kDefinition), end; i != end; ++i)
        names.insert((*i)[1]);
    return names;
}

// Preprocessor lines that fail for each name that is a macro.
std::string noneIsDefined() {
    std::string lines;
    for (const std::string &name : definedNames())
        lines += "#ifdef " + name + "\n#error " + name + "\n#endif\n";
    return lines;
}

class NamesDialects : public testing::TestWithParam<Dialect> {};

constexpr Dialect kBoth[] = {{"C", false, "gnu17"}, {"Cpp", true, "gnu++20"}};

const char *const kSystemHeaders = R"(
#include <assert.h>
#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <float.h>
#include <limits.h>
#include <locale.h>
#include <math.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <pwd.h>
#include <setjmp.h>
#include <signal.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/param.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/times.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <syslog.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>
#ifdef __cplusplus
#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>
#endif
)";

}  // namespace

TEST(Names, ErrorsAreTheCodesInTheirOrder) {
    constexpr int kCodes[] = {EDUPL,    ENOTOPEN, EBADARG,  EBADKEY,  ETOOMANY, EBADFILE, ENOTEXCL, ELOCKED, EKEXISTS,
                              EPRIMKEY, EENDFILE, ENOREC,   ENOCURR,  EFLOCKED, EFNAME,   ENOLOK,   EBADMEM, EBADCOLL,
                              ELOGREAD, EBADLOG,  ELOGOPEN, ELOGWRIT, ENOTRANS, ENOSHMEM, ENOBEGIN, ENONFS,  EBADROWID,
                              ENOPRIM,  ENOLOG,   EUSER,    ENODBS,   ENOFREE,  EROWSIZE, EAUDIT,   ENOLOCKS};
    static_assert(sizeof kCodes / sizeof *kCodes == ISERR_LAST - ISERR_FIRST + 1);
    int code = ISERR_FIRST;
    for (const int value : kCodes)
        EXPECT_EQ(value, code++);
}

TEST(Names, ModesAndFlagsHaveTheNumbersThatProgramsHaveStored) {
    EXPECT_EQ(ISFIXLEN, 0);
    EXPECT_EQ(ISAUTOLOCK, 0x200);
    EXPECT_EQ(ISMANULOCK, 0x400);
    EXPECT_EQ(ISEXCLLOCK, 0x800);
    EXPECT_EQ(ISLCKW, 0x500);
    EXPECT_EQ(ISSKIPLOCK, 0x200);
    EXPECT_EQ(DCOMPRESS, 0x02);
    EXPECT_EQ(LCOMPRESS, 0x04);
    EXPECT_EQ(TCOMPRESS, 0x08);
    EXPECT_EQ(COMPRESS, 0x0e);
    EXPECT_EQ(NPARTS, 10);
    EXPECT_EQ(-COMPRESS * 2, -0x1c) << "a name stands for one number wherever it is put";
    EXPECT_EQ(-ISLCKW * 2, -0xa00);
}

TEST(Names, MembersAreThoseOfTheStructs) {
    KeyDesc key = {};
    key.k_flags = 1;
    key.k_nparts = 2;
    key.k_start = 3;
    key.k_leng = 4;
    key.k_type = 5;
    key.k_part[1].kp_start = 6;
    key.k_part[1].kp_leng = 7;
    key.k_part[1].kp_type = 8;
    key.k_len = 9;
    key.k_rootnode = 10;
    const std::vector<long> members = {key.flags,           key.nparts,
                                       key.parts[0].start,  key.parts[0].length,
                                       key.parts[0].type,   key.parts[1].start,
                                       key.parts[1].length, key.parts[1].type,
                                       key.keyLength,       static_cast<long>(key.rootNode)};
    EXPECT_EQ(members, (std::vector<long>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));

    DictInfo info = {};
    info.di_nkeys = 1;
    info.di_recsize = 2;
    info.di_idxsize = 3;
    info.di_nrecords = 4;
    EXPECT_EQ((std::vector<int>{info.keyCount, info.recordLength, info.nodeSize, info.recordCount}),
              (std::vector<int>{1, 2, 3, 4}));
}

TEST(Names, AreAllThatTheHeaderDefines) { EXPECT_EQ(definedNames().size(), 8U + 3 + 4 + 1 + 6 + 4 + 35); }

TEST_P(NamesDialects, ProgramInTheCustomaryNamesCompilesAndRuns) {
    EXPECT_EQ(buildAndRunIn(GetParam(), textOf("tests/project/stock_list.c")), 0);
}

INSTANTIATE_TEST_SUITE_P(All, NamesDialects, testing::ValuesIn(kDialects),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(Names, CanBeLeftOut) {
    const std::string headers = "#define ISAM_NO_NAMES\n#include \"isam.h\"\n#include \"isam_maint.h\"\n";
    for (const Dialect &dialect : kBoth) {
        EXPECT_EQ(complaintsIn(dialect, headers + noneIsDefined()), "");
        EXPECT_NE(complaintsIn(dialect, "#include \"isam.h\"\n" + noneIsDefined()), "");
        // All of them are free for the program's own use.
        std::string own = headers + "enum own { none";
        for (const std::string &name : definedNames())
            own += ", " + name;
        EXPECT_EQ(complaintsIn(dialect, own + " };\n"), "");
    }
}

TEST(Names, AreNoneOfTheSystems) {
    const std::string names = "#include \"isam.h\"\n";
    for (const Dialect &dialect : kBoth) {
        EXPECT_EQ(complaintsIn(dialect, kSystemHeaders + noneIsDefined() + names), "");
        EXPECT_EQ(complaintsIn(dialect, names + kSystemHeaders), "");
    }
}

TEST(Names, MayComeBeforeOrBehindTheInterface) {
    const std::string use = "int leng(const KeyDesc *key);\nint leng(const KeyDesc *key) { return key->k_leng; }\n";
    for (const Dialect &dialect : kBoth) {
        EXPECT_EQ(complaintsIn(dialect, "#include \"isam_names.h\"\n#include \"isam_maint.h\"\n" + use), "");
        EXPECT_EQ(
            complaintsIn(dialect, "#define ISAM_NO_NAMES\n#include \"isam.h\"\n#include \"isam_names.h\"\n" + use), "");
    }
}
