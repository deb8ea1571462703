// A log that ends with the whole head of a record and nothing of its body: a record that cannot be read.
#include "steps.h"

#include <fstream>

namespace api {
namespace {

class TornHead : public ApiTest {
  protected:
    // Recovers from a log of so many bytes of a record of 40.
    int recoverFrom(std::size_t bytes) {
        std::string record(40, '\0');
        record.replace(1, 3,
                       "\x28"
                       "IN");
        std::ofstream(path("log"), std::ios::binary) << record.substr(0, bytes);
        EXPECT_OK(islogopen(path("log").c_str()));
        const int code = isrecover() == 0 ? 0 : iserrno;
        EXPECT_OK(islogclose());
        return code;
    }
};

TEST_F(TornHead, IsAnErrorLessOfItIsNone) {
    EXPECT_EQ(recoverFrom(0), 0);
    EXPECT_EQ(recoverFrom(17), 0);
    EXPECT_EQ(recoverFrom(18), ISERR_LOGREAD);
    EXPECT_EQ(recoverFrom(39), ISERR_LOGREAD);
}

}  // namespace
}  // namespace api
