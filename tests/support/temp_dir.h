// A fresh directory for one test, removed with everything in it when the object goes.
#ifndef TESTS_SUPPORT_TEMP_DIR_H
#define TESTS_SUPPORT_TEMP_DIR_H

#include <string>

namespace testing_support {

class TempDir {
  public:
    // Makes a directory under $TMPDIR, or under /tmp. Ends the process when that fails.
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return path_; }
    // Path of a name inside the directory.
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

}  // namespace testing_support

#endif
