// Text of a character set, to and from UTF-8. A conversion that loses anything is none.
#pragma once

#include <iconv.h>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

bool isUtf8(std::string_view bytes);

class Charset {
  public:
    // name: what iconv calls it, empty for UTF-8. Throws Failure where there is no such set.
    explicit Charset(const std::string &name);
    ~Charset();
    Charset(const Charset &) = delete;
    Charset &operator=(const Charset &) = delete;

    std::optional<std::string> toUtf8(std::string_view bytes) const;
    std::optional<std::string> fromUtf8(std::string_view text) const;
    // What a blank is in it.
    const std::string &blank() const { return blank_; }

  private:
    bool plain_;  // UTF-8, nothing to convert
    iconv_t in_;
    iconv_t out_;
    std::string blank_ = " ";
};

}  // namespace tool
