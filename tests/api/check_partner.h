// A second process that takes its steps in turn with the test, or beside it.
#ifndef TESTS_API_CHECK_PARTNER_H
#define TESTS_API_CHECK_PARTNER_H

#include <functional>
#include <sys/types.h>

namespace api {

// Starts the steps in a process of their own; the files that they work on must not be open yet. Failed
// expectations there make the expectation of this one's end fail.
class Partner {
  public:
    explicit Partner(const std::function<void(Partner &other)> &steps);
    ~Partner();
    Partner(const Partner &) = delete;
    Partner &operator=(const Partner &) = delete;

    // Lets the other side's await return. It may be told before it waits.
    void tell();
    // Waits to be told; false when the other side has ended.
    bool await();
    // Has the other side told something, or ended?
    bool told() const;

  private:
    pid_t child_ = -1;
    int in_ = -1;
    int out_ = -1;
};

}  // namespace api

#endif
