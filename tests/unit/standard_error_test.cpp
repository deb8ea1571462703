// A process that has closed its standard error alone: no file of the library takes that place.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

TEST(StandardError, WhenClosedIsNotUsedForFiles) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    const pid_t child = fork();
    if (child == 0) {
        close(2);
        KeyDesc key = charKey(4);
        const int fd = isbuild(base.c_str(), 20, &key, ISINOUT);
        if (fd < 0) _exit(1);
        if (islogopen(directory.file("log").c_str()) != 0) _exit(3);
        _exit(isqv_idxfd(fd) > 2 && isqv_datfd(fd) > 2 && fcntl(2, F_GETFD) == -1 ? 0 : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace
