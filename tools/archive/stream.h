// The bytes of an archive on their way out and in: numbers most significant byte first, and a SHA-256 of all of them at
// the end.
#pragma once

#include "base/sha256.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tool {

class ArchiveOut {
  public:
    // subject: the file that Failures are about.
    ArchiveOut(std::ostream &out, std::string subject) : out_(out), subject_(std::move(subject)) {}

    // The low bytes of a number.
    void put8(std::uint64_t value) { number(value, 1); }
    void put16(std::uint64_t value) { number(value, 2); }
    void put32(std::uint64_t value) { number(value, 4); }
    void put64(std::uint64_t value) { number(value, 8); }
    void bytes(std::string_view bytes);
    // Writes the digest, and all that waits.
    void finish();

  private:
    void number(std::uint64_t value, int size);
    void pass();
    void write(std::string_view bytes);

    std::ostream &out_;
    std::string subject_;
    std::string waiting_;
    Sha256 digest_;
};

class ArchiveIn {
  public:
    ArchiveIn(std::istream &in, std::string subject) : in_(in), subject_(std::move(subject)) {}

    // Each throws Failure where the archive ends before.
    unsigned get8() { return static_cast<unsigned>(number(1)); }
    unsigned get16() { return static_cast<unsigned>(number(2)); }
    std::uint32_t get32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t get64() { return number(8); }
    // The next bytes; good until the next call.
    const char *bytes(std::size_t count);
    // Throws Failure unless the digest follows, and nothing behind it.
    void finish();
    // Throws Failure: the archive is damaged, for this reason.
    [[noreturn]] void damaged(const std::string &why) const;

  private:
    std::uint64_t number(int size);
    bool fill(std::size_t count);

    std::istream &in_;
    std::string subject_;
    std::string buffer_;
    std::size_t at_ = 0;
    Sha256 digest_;
};

}  // namespace tool
