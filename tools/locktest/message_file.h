// Messages from one machine to another through a file that both can see, without a lock: one after the other, each over
// the one before.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

class MessageFile {
  public:
    // purpose: a word that both sides must agree on, so that a file left over from before says nothing.
    MessageFile(std::string path, std::string purpose) : path_(std::move(path)), purpose_(std::move(purpose)) {}

    // Makes the file. With fresh, throws Failure where it is there.
    void make(bool fresh) const;
    void remove() const;
    const std::string &path() const { return path_; }

    void write(const std::string &message);
    // Waits for the next message. Throws Failure after so many seconds, and on SIGINT and SIGTERM where these are
    // blocked.
    std::string read(int seconds);

  private:
    bool tryRead(std::string &message) const;

    std::string path_;
    std::string purpose_;
    std::uint64_t number_ = 0;  // of the last message
};

}  // namespace tool
