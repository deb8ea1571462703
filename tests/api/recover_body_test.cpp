// Records of a log whose bodies end too early: the closing of a file, and unique numbers.
#include "recovery.h"

namespace api {
namespace {

using RecoverBody = RecoveryTest;

TEST_F(RecoverBody, ThatEndsTooEarlyIsAnErrorAndChangesNothing) {
    EXPECT_OK(isclose(fill({10, 20})));
    const LogWriter opened = LogWriter().add("FO", fileBody(5, base()));
    const struct {
        const char *type;
        std::string body;
    } cases[] = {
        {"FC", ""}, {"FC", int2(5) + int2(0)}, {"FC", int2(5) + int2(0) + "name without end"},
        {"UN", ""}, {"UN", int2(5)},           {"UN", int2(5) + int2(0)},
    };
    const Image before = imageOf(base());
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.type) + " " + std::to_string(c.body.size()));
        EXPECT_FAILS(ISERR_BADLOG, recoverFrom(LogWriter(opened).add(c.type, c.body)));
        EXPECT_TRUE(imageOf(base()) == before);
    }
    EXPECT_OK(recoverFrom(LogWriter(opened).add("UN", uniqueBody(5, 1)).add("FC", fileBody(5, base()))));
}

}  // namespace
}  // namespace api
