#include "check_partner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace api {

namespace {

constexpr char kToken = 't';

}  // namespace

Partner::Partner(const std::function<void(Partner &other)> &steps) {
    int there[2], back[2];
    if (pipe(there) != 0 || pipe(back) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    std::fflush(nullptr);
    child_ = fork();
    in_ = child_ == 0 ? there[0] : back[0];
    out_ = child_ == 0 ? back[1] : there[1];
    close(child_ == 0 ? there[1] : there[0]);
    close(child_ == 0 ? back[0] : back[1]);
    if (child_ != 0) return;
    steps(*this);
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

Partner::~Partner() {
    close(out_);
    int status = -1;
    EXPECT_EQ(waitpid(child_, &status, 0), child_);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the other process ended with " << status;
    close(in_);
}

void Partner::tell() { EXPECT_EQ(write(out_, &kToken, 1), 1); }

bool Partner::await() {
    char token = 0;
    return read(in_, &token, 1) == 1;
}

bool Partner::told() const {
    pollfd one = {in_, POLLIN, 0};
    return poll(&one, 1, 0) > 0;
}

}  // namespace api
