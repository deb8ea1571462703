// Entries that cannot be read back stop the process before they can do harm.
#include "steps.h"

#include <cstdio>
#include <unistd.h>

namespace api {
namespace {

class FatalStop : public ApiTest {
  protected:
    static constexpr int kLength = 140;

    int wide(int key_length, int flags) { return build(ISINOUT, keyDesc(flags, {{0, key_length}}), kLength); }
    static void writeBlanks(int fd) {
        std::string blanks(kLength, ' ');
        if (iswrite(fd, blanks.data()) != 0) _exit(50);
        // Read anew, so that the counts are looked at.
        if (isread(fd, blanks.data(), ISFIRST) != 0) _exit(51);
        _exit(0);
    }
};

TEST_F(FatalStop, AllBlankKeyOf128BytesCannotBeCounted) {
    EXPECT_OK(isclose(wide(128, ISNODUPS | ISTRAILCOMP)));
    dontCheck();
    std::string output;
    EXPECT_EQ(inChild([this] { writeBlanks(open()); }, &output), 1);
    EXPECT_EQ(output.substr(0, 17), "fatal isam error ");
    EXPECT_EQ(output.back(), '\n');
}

TEST_F(FatalStop, CallbackGetsTheMessageInstead) {
    EXPECT_OK(isclose(wide(128, ISNODUPS | ISTRAILCOMP)));
    dontCheck();
    std::string output;
    const int status = inChild(
        [this] {
            isfatal([](char *message) { std::printf("<%s>", message); });
            writeBlanks(open());
        },
        &output);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output.substr(0, 18), "<fatal isam error ");
    EXPECT_EQ(output.back(), '>');
}

TEST_F(FatalStop, AllBlankKeyOf127BytesIsFine) {
    const int fd = wide(127, ISNODUPS | ISTRAILCOMP);
    std::string blanks(kLength, ' ');
    EXPECT_OK(iswrite(fd, blanks.data()));
    std::string got(kLength, '?');
    EXPECT_OK(isread(fd, got.data(), ISFIRST));
    EXPECT_EQ(got, blanks);
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{1}));
}

TEST_F(FatalStop, LongBlankKeyWithoutTrailingCompressionIsFine) {
    const int fd = wide(128, ISNODUPS);
    std::string blanks(kLength, ' ');
    EXPECT_OK(iswrite(fd, blanks.data()));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{1}));
}

}  // namespace
}  // namespace api
