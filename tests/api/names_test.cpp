// Names: link files, names that are too long.
#include "steps.h"

#include <cerrno>
#include <fstream>
#include <sys/stat.h>

namespace api {
namespace {

class FileNames : public ApiTest {
  protected:
    // One line beside the base name.
    void link(const std::string &line, const std::string &name = "file") { std::ofstream(path(name + ".lnk")) << line; }
};

TEST_F(FileNames, LinkFileSendsTheFilesElsewhere) {
    ASSERT_EQ(mkdir(path("elsewhere").c_str(), 0777), 0);
    link(path("elsewhere/other") + "\n");
    KeyDesc key = idKey();
    const int fd = isbuild(base(), kRowLen, &key, ISINOUT);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(exists(path("elsewhere/other.idx")));
    EXPECT_TRUE(exists(path("elsewhere/other.dat")));
    EXPECT_FALSE(exists(path("file.idx")));
    EXPECT_STREQ(isqv_name(fd), base());
    putIds(fd, {1});
    EXPECT_OK(isclose(fd));
    const int direct = isopen(path("elsewhere/other").c_str(), ISINOUT);
    EXPECT_EQ(idsOf(direct), (Ids{1}));
    const int linked = open();
    EXPECT_EQ(idsOf(linked), (Ids{1}));
    soundEntries(path("elsewhere/other"));
}

TEST_F(FileNames, LaterLinesOfALinkFileDoNotCount) {
    EXPECT_OK(isclose(fill({1, 2})));
    link(path("file") + "\nsomething else\n", "alias");
    const int fd = isopen(path("alias").c_str(), ISINOUT);
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
}

TEST_F(FileNames, LinkFilesAreNotFollowedTwice) {
    EXPECT_OK(isclose(fill({1})));
    link(path("middle") + "\n", "start");
    link(path("file") + "\n", "middle");
    EXPECT_FAILS(ENOENT, isopen(path("start").c_str(), ISINOUT));
    EXPECT_EQ(iserrio, 0x11);
}

TEST_F(FileNames, LinkToAMissingPlaceFails) {
    link(path("nowhere/other") + "\n");
    KeyDesc key = idKey();
    EXPECT_FAILS(ENOENT, open());
    EXPECT_EQ(iserrio, 0x11);
    EXPECT_FAILS(ENOENT, isbuild(base(), kRowLen, &key, ISINOUT));
    EXPECT_EQ(iserrio, 0x21);
    EXPECT_FALSE(exists(path("file.idx")));
}

TEST_F(FileNames, LinkWithATooLongLineIsRefused) {
    for (const std::size_t length : {252U, 253U, 254U, 255U, 300U, 1000U}) {
        SCOPED_TRACE(length);
        link("/" + std::string(length - 1, 'x') + "\n");
        KeyDesc key = idKey();
        const int before = openDescriptors();
        EXPECT_FAILS(ISERR_NAMETOOLONG, open());
        EXPECT_FAILS(ISERR_NAMETOOLONG, isbuild(base(), kRowLen, &key, ISINOUT));
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(FileNames, TooLongNamesAreRefusedAtBuildAndOpen) {
    KeyDesc key = idKey();
    for (const std::size_t length : {252U, 253U, 256U, 257U, 1000U, 70000U}) {
        SCOPED_TRACE(length);
        const std::string name = "/" + std::string(length - 1, 'x');
        EXPECT_FAILS(ISERR_NAMETOOLONG, isopen(name.c_str(), ISINOUT));
        EXPECT_FAILS(ISERR_NAMETOOLONG, isbuild(name.c_str(), kRowLen, &key, ISINOUT));
    }
}

TEST_F(FileNames, LongestNameWorks) {
    // Slashes count, so that the last component stays short enough for the system.
    std::string name = directory();
    while (name.size() < 251 - 5)
        name += '/';
    name += std::string(251 - name.size(), 'y');
    ASSERT_EQ(name.size(), 251U);
    KeyDesc key = idKey();
    const int fd = isbuild(name.c_str(), kRowLen, &key, ISINOUT);
    ASSERT_GE(fd, 0) << iserrno;
    putIds(fd, {1});
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(idsOf(isopen(name.c_str(), ISINOUT)), (Ids{1}));
}

TEST_F(FileNames, NameOfTheCallerIsCopied) {
    std::string name = path("copied");
    const int fd = buildNamed(name);
    const std::string same = name;
    name.assign(name.size(), '?');
    EXPECT_EQ(isqv_name(fd), same);
}

}  // namespace
}  // namespace api
