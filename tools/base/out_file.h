// Where a command writes: standard output, or a file.
#pragma once

#include <cstdio>
#include <string>

namespace tool {

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
    std::FILE *file_;
};

}  // namespace tool
