// A header that is damaged while the file is open: the next call sees it.
#include "steps.h"

#include <fcntl.h>
#include <unistd.h>

namespace api {
namespace {

struct Field {
    const char *name;
    int offset;
    long number;
};

class HeaderSeen : public ApiTest, public testing::WithParamInterface<Field> {};

TEST_P(HeaderSeen, AsDamageByTheNextCall) {
    const int fd = fill({1, 2});
    dontCheck();
    char bytes[4];
    stlong(GetParam().number, bytes);
    const int file = ::open(path("file.idx").c_str(), O_WRONLY);
    ASSERT_GE(file, 0);
    EXPECT_EQ(pwrite(file, bytes, sizeof bytes, GetParam().offset), 4);
    ::close(file);
    long last = 0;
    EXPECT_FAILS(ISERR_CORRUPT, isgetlastrec(fd, &last));
}

INSTANTIATE_TEST_SUITE_P(Fields, HeaderSeen,
                         testing::Values(Field{"RecordNumber", 33, -1}, Field{"NodeNumber", 37, -1},
                                         Field{"NoNode", 37, 0}),
                         [](const auto &info) { return info.param.name; });

}  // namespace
}  // namespace api
