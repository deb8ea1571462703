// SHA-256 of bytes that come piece by piece.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sha2.h>
#include <string>

namespace tool {

using Digest = std::array<std::uint8_t, 32>;

class Sha256 {
  public:
    Sha256() { SHA256Init(&state_); }
    void add(const void *bytes, std::size_t count) {
        SHA256Update(&state_, static_cast<const std::uint8_t *>(bytes), count);
    }
    // The digest of all that was added; nothing can be added behind it.
    Digest finish() {
        Digest digest;
        SHA256Final(digest.data(), &state_);
        return digest;
    }

  private:
    SHA2_CTX state_;
};

// 64 hexadecimal digits.
std::string hexadecimal(const Digest &digest);

}  // namespace tool
