// Where a command writes: standard output, or a file.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace tool {

// A file in the making, beside the place that it gets when it is whole: what stood there before stays until then. A
// device or a pipe is written into where it is.
class NewOutput {
  public:
    // Throws Failure where there can be none.
    explicit NewOutput(const std::string &path);
    // Removes what is not kept.
    ~NewOutput();
    NewOutput(const NewOutput &) = delete;
    NewOutput &operator=(const NewOutput &) = delete;

    // What to open and write.
    const std::string &work() const { return work_; }
    // What was written and closed gets its place; throws Failure.
    void keep();

  private:
    std::string path_;
    std::string target_;  // where links lead
    std::string work_;    // the same as target_ where it is written into
    bool kept_ = false;
};

class OutFile {
  public:
    // path: empty or "-" for standard output. Throws Failure.
    explicit OutFile(const std::string &path);
    ~OutFile();
    OutFile(const OutFile &) = delete;
    OutFile &operator=(const OutFile &) = delete;

    std::FILE *file() const { return file_; }
    // Everything is in the file; throws Failure where it is not. Standard output is the program's to look after.
    void close();

  private:
    std::string path_;
    std::optional<NewOutput> made_;
    std::FILE *file_;
};

}  // namespace tool
