// The line of a link file ends with its newline; without one its last character is dropped.
#include "steps.h"

#include <fstream>

namespace api {
namespace {

class LinkEnd : public ApiTest {
  protected:
    // Opens the file set through a link file that holds these bytes.
    int openThrough(const std::string &bytes) {
        iscleanup();
        std::ofstream(path("link.lnk")) << bytes;
        return isopen(path("link").c_str(), ISINOUT);
    }
};

TEST_F(LinkEnd, IsTheNewline) {
    ASSERT_OK(isclose(fill({7})));
    EXPECT_EQ(idsOf(openThrough(base() + std::string("\nanything"))), (Ids{7}));
}

TEST_F(LinkEnd, WithoutNewlineIsTheCharacterBefore) {
    ASSERT_OK(isclose(fill({7})));
    EXPECT_EQ(idsOf(openThrough(base() + std::string("x"))), (Ids{7}));
    EXPECT_FAILS(ENOENT, openThrough(base()));
}

}  // namespace
}  // namespace api
