// The public headers as their users have them: alone, in every dialect of C and C++, with fixed layouts, installed.
#include "project/dialects.h"
#include "project/program_output.h"
#include "support/temp_dir.h"

#include "isam.h"

#include <cstddef>
#include <gtest/gtest.h>

static_assert(sizeof(KeyPart) == 6);
static_assert(offsetof(KeyPart, start) == 0);
static_assert(offsetof(KeyPart, length) == 2);
static_assert(offsetof(KeyPart, type) == 4);
static_assert(sizeof(KeyDesc) == 72);
static_assert(offsetof(KeyDesc, flags) == 0);
static_assert(offsetof(KeyDesc, nparts) == 2);
static_assert(offsetof(KeyDesc, parts) == 4);
static_assert(offsetof(KeyDesc, keyLength) == 64);
static_assert(offsetof(KeyDesc, rootNode) == 68);
static_assert(sizeof(DictInfo) == 12);
static_assert(offsetof(DictInfo, keyCount) == 0);
static_assert(offsetof(DictInfo, recordLength) == 2);
static_assert(offsetof(DictInfo, nodeSize) == 4);
static_assert(offsetof(DictInfo, recordCount) == 8);

namespace {

// Good in every dialect from C89 and C++98 on. Builds a file, writes and reads back; uses tags and macros.
const char *const kProgram = R"(
#include "isam.h"
#if !defined(ISINOUT) || !defined(ISERR_FIRST) || !defined(CHARTYPE)
#error constants are macros
#endif
int main(int argc, char **argv)
{
    struct keydesc key;
    struct keypart part;
    struct dictinfo info;
    char record[4];
    int fd, i;
    if (argc != 2 || sizeof(struct keydesc) != 72 || sizeof(struct keypart) != 6)
        return 2;
    for (i = 0; i < (int)sizeof key; ++i)
        ((char *)&key)[i] = 0;
    part.start = 0;
    part.length = 4;
    part.type = LONGTYPE;
    key.nparts = 1;
    key.parts[0] = part;
    if ((fd = isbuild(argv[1], 4, &key, ISINOUT)) < 0)
        return 3;
    stlong(4711L, record);
    if (iswrite(fd, record) != 0 || isrecnum != 1)
        return 4;
    stlong(0L, record);
    if (isread(fd, record, ISFIRST) != 0 || ldlong(record) != 4711L || iserrno != 0 || isreclen != 4)
        return 5;
    if (isisaminfo(fd, &info) != 0 || info.recordCount != 1 || info.keyCount != 1)
        return 6;
    if (isread(fd, record, ISNEXT) != -1 || iserrno != ISERR_ENDOFFILE)
        return 7;
    return isclose(fd) == 0 ? 0 : 8;
}
)";

// The same for a maintenance tool: its header alone gives it both.
const char *const kTool = R"(
#include "isam_maint.h"
#if !defined(ISINOUT) || !defined(ISFREE_INDEX) || !defined(ISFREE_DATA)
#error constants are macros
#endif
int main(int argc, char **argv)
{
    struct keydesc key;
    struct IsamFile *file;
    char record[4], mole[4], bear[4];
    long stats[6], last;
    int fd, i;
    if (argc != 2)
        return 2;
    stchar("mole", mole, 4);
    stchar("bear", bear, 4);
    for (i = 0; i < (int)sizeof key; ++i)
        ((char *)&key)[i] = 0;
    key.nparts = 1;
    key.parts[0].length = 4;
    if ((fd = isbuild(argv[1], 4, &key, ISINOUT)) < 0 || iswrite(fd, mole) != 0 || iswrite(fd, bear) != 0)
        return 3;
    file = isAdmItoD(fd);
    if (file == 0 || isAdmItoD(fd + 1) != 0 || isErrno(file) != 0 || isErrio(file) != 0)
        return 4;
    if (isRecnum(file) != 2 || isReclen(file) != isreclen || isRecnum(0) != -1 || isReclen(0) != -1)
        return 5;
    if (isdelrec(fd, 1) != 0 || isRebuildFree(file, ISFREE_DATA) != 1 || ischeckdata(fd) != 0)
        return 6;
    if (isRebuildFree(file, ISFREE_INDEX) != 0 || isErrno(file) != ISERR_ARGUMENT)
        return 7;
    if (isRebuildIdx(file, 1) != 1 || ischeckindex(fd, 1) != 0 || ischeckvarlen(fd, stats) != 0)
        return 8;
    if (isread(fd, record, ISFIRST) != 0 || record[0] != 'b' || isgetlastrec(fd, &last) != 0 || last != 2)
        return 9;
    return isclose(fd) == 0 ? 0 : 10;
}
)";

class HeaderDialects : public testing::TestWithParam<Dialect> {};

}  // namespace

TEST_P(HeaderDialects, CompilesAloneAndServesAProgram) { EXPECT_EQ(buildAndRunIn(GetParam(), kProgram), 0); }

TEST_P(HeaderDialects, MaintenanceHeaderCompilesAloneAndServesATool) { EXPECT_EQ(buildAndRunIn(GetParam(), kTool), 0); }

TEST_P(HeaderDialects, BothCompileWithoutTheCustomaryNames) {
    for (const char *source : {kProgram, kTool})
        EXPECT_EQ(complaintsIn(GetParam(), std::string("#define ISAM_NO_NAMES\n") + source), "");
}

INSTANTIATE_TEST_SUITE_P(All, HeaderDialects, testing::ValuesIn(kDialects),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(Header, ServesTheSharedLibraryToCAndCpp) {
    const std::string library = "'" ISAM_SHARED_LIBRARY "' -Wl,-rpath,\"$(dirname '" ISAM_SHARED_LIBRARY "')\"";
    EXPECT_EQ(buildAndRun(ISAM_C_COMPILE " -std=c99", "program.c", kProgram, library), 0);
    EXPECT_EQ(buildAndRun(ISAM_CXX_COMPILE " -std=c++20", "program.cpp", kProgram, library), 0);
}

TEST(Header, TwoUnitsOfOneProgramMayIncludeItTwice) {
    const std::string twice = std::string("#include \"isam.h\"\n") + kProgram;
    EXPECT_EQ(buildAndRun(ISAM_C_COMPILE " -std=c99", "program.c", twice, "'" ISAM_STATIC_LIBRARY "'"), 0);
    const std::string both = std::string("#include \"isam.h\"\n#include \"isam_maint.h\"\n") + kTool;
    EXPECT_EQ(buildAndRun(ISAM_C_COMPILE " -std=c99", "program.c", both, "'" ISAM_STATIC_LIBRARY "'"), 0);
}

TEST(Header, AllAreInstalledWithTheLibrary) {
    testing_support::TempDir dir;
    const ProgramOutput output =
        runProgram("cmake --install \"$(dirname '" ISAM_SHARED_LIBRARY "')\" --component development --prefix '" +
                   dir.path() + "' >/dev/null");
    EXPECT_EQ(output.status, 0) << output.text;
    for (const char *name : {"isam.h", "isam_names.h", "isam_maint.h"}) {
        const ProgramOutput compared = runProgram("cmp '" ISAM_SOURCE_DIR "/include/" + std::string(name) + "' '" +
                                                  dir.file("include/" + std::string(name)) + "'");
        EXPECT_EQ(compared.status, 0) << compared.text;
    }
}
