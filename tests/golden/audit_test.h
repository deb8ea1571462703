// A file set with an audit trail, whose name is "trail".
#ifndef TESTS_GOLDEN_AUDIT_TEST_H
#define TESTS_GOLDEN_AUDIT_TEST_H

#include "golden_test.h"
#include "stamp.h"

#include <ctime>
#include <string>
#include <string_view>

namespace golden {

class AuditTest : public GoldenTest {
  protected:
    void setName(std::string_view name);
    void switchOn();
    void switchOff();
    // Compares all bytes of the trail. Text as for stamped().
    void expectTrail(std::string_view text);
    // Text of an entry: type, record number of four bytes, image; user is what stands for the user.
    static std::string entry(std::string_view type, std::string_view number, std::string_view image = "",
                             std::string_view user = "USER");

  private:
    WorkDir dir_;
    std::time_t start_ = std::time(nullptr);
};

}  // namespace golden

#endif
