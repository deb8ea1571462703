// Every error that a call can report, provoked: its result, the four globals and the position.
#include "table.h"

#include <cstring>

namespace api {
namespace {

class TableErrors : public Bench, public testing::WithParamInterface<Error> {};

TEST_P(TableErrors, AreReported) {
    setCode(GetParam().code);
    forgetRecovery();
    GetParam().provoke(*this);
    EXPECT_TRUE(done()) << "the row has called nothing";
}

// 107, EEXIST.
std::string nameOf(int code) {
    const char *name = code < ISERR_FIRST ? strerrorname_np(code) : nullptr;
    return name != nullptr ? name : std::to_string(code);
}

INSTANTIATE_TEST_SUITE_P(Calls, TableErrors, testing::ValuesIn(wholeTable().errors), [](const auto &instance) {
    const Error &error = instance.param;
    return std::string(error.call) + "_" + nameOf(error.code) + "_" + error.when;
});

}  // namespace
}  // namespace api
