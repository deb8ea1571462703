#include "rows.h"

namespace api {
namespace {

TEST(Messages, EveryCodeHasItsText) {
    static const char *const expected[] = {
        "Duplicate record",
        "File not open",
        "Illegal argument",
        "Bad key descriptor",
        "Too many files",
        "Corrupted isam file",
        "Need exclusive access",
        "Record or file locked",
        "Index already exists",
        "Illegal primary key operation",
        "End of file",
        "Record not found",
        "No current record",
        "File is in use",
        "File name too long",
        "Bad lock device",
        "Can't allocate memory",
        "Bad collating table",
        "Can't read log record",
        "Bad log record",
        "Can't open log file",
        "Can't write log record",
        "No transaction",
        "No shared memory",
        "No begin work yet",
        "Can't use nfs",
        "Bad rowid",
        "No primary key",
        "No logging",
        "Too many users",
        "No such dbspace",
        "No free disk space",
        "Rowsize too big",
        "Audit trail exists",
        "No more locks",
    };
    static_assert(sizeof expected / sizeof *expected == ISERR_LAST - ISERR_FIRST + 1);
    static_assert(sizeof is_errlist == sizeof expected);
    for (int code = ISERR_FIRST; code <= ISERR_LAST; ++code)
        EXPECT_STREQ(is_errlist[code - ISERR_FIRST], expected[code - ISERR_FIRST]) << code;
}

TEST(Messages, VersionAndBannerAreThere) {
    EXPECT_STREQ(isversnumber, "6.11");
    ASSERT_NE(iscopyright, nullptr);
    EXPECT_STRNE(iscopyright, "");
}

TEST(Messages, CheckMessagesAreAllThereAndThreeAreEmpty) {
    for (int bit = 0; bit < 16; ++bit)
        ASSERT_NE(isCheckMsg[bit], nullptr) << bit;
    for (const int bit : {8, 9, 10})
        EXPECT_STREQ(isCheckMsg[bit], "") << bit;
}

}  // namespace
}  // namespace api
