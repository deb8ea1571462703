// A directory of files that can go back to an earlier state.
#ifndef TESTS_PROCESS_FILE_SHELF_H
#define TESTS_PROCESS_FILE_SHELF_H

#include "support/temp_dir.h"

#include <string>
#include <vector>

namespace process_testing {

class FileShelf {
  public:
    explicit FileShelf(const testing_support::TempDir &dir);

    // Where the files are worked on; the log is not among them.
    const std::string &path() const { return work_; }
    std::string file(const std::string &name) const { return work_ + "/" + name; }
    const std::string &log() const { return log_; }

    // Keeps the files as they are under a name; goes back to what a name stands for. The log stays as it is.
    void save(const std::string &name) const;
    void restore(const std::string &name) const;

    // Base paths of the files that there are.
    std::vector<std::string> bases() const;

  private:
    std::string saved_, work_, log_;
};

}  // namespace process_testing

#endif
