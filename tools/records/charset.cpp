#include "records/charset.h"

#include "base/failure.h"

#include <array>
#include <cerrno>
#include <cstdint>

namespace tool {

namespace {

constexpr std::size_t kChunk = 4096;

iconv_t none() { return reinterpret_cast<iconv_t>(-1); }

// The lead byte of a character of `length` bytes, and the least character that needs so many.
struct Form {
    unsigned mask;
    unsigned lead;
    std::size_t length;
    std::uint32_t least;
};
constexpr std::array<Form, 4> kForms = {
    {{0x80, 0x00, 1, 0}, {0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}}};
constexpr std::uint32_t kLastCharacter = 0x10ffff;
constexpr std::uint32_t kFirstSurrogate = 0xd800;
constexpr std::uint32_t kLastSurrogate = 0xdfff;
constexpr unsigned kRestMask = 0xc0;
constexpr unsigned kRestLead = 0x80;
constexpr unsigned kRestBits = 6;

// Bytes of the character that `bytes` begins with, 0 where it is none.
std::size_t characterLength(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes.front());
    for (const Form &form : kForms) {
        if ((first & form.mask) != form.lead) continue;
        if (bytes.size() < form.length) return 0;
        std::uint32_t character = first & ~form.mask;
        for (std::size_t i = 1; i < form.length; ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            if ((byte & kRestMask) != kRestLead) return 0;
            character = (character << kRestBits) | (byte & ~kRestMask);
        }
        const bool surrogate = character >= kFirstSurrogate && character <= kLastSurrogate;
        return character < form.least || character > kLastCharacter || surrogate ? 0 : form.length;
    }
    return 0;
}

std::optional<std::string> convert(iconv_t conversion, std::string_view from) {
    iconv(conversion, nullptr, nullptr, nullptr, nullptr);
    std::string to;
    std::array<char, kChunk> chunk;
    char *in = const_cast<char *>(from.data());
    std::size_t left = from.size();
    for (bool flushing = false;;) {
        char *out = chunk.data();
        std::size_t room = chunk.size();
        const std::size_t result =
            flushing ? iconv(conversion, nullptr, nullptr, &out, &room) : iconv(conversion, &in, &left, &out, &room);
        to.append(chunk.data(), chunk.size() - room);
        if (result == static_cast<std::size_t>(-1)) {
            if (errno != E2BIG) return std::nullopt;
        } else if (result != 0) {
            return std::nullopt;
        } else if (flushing) {
            return to;
        } else {
            flushing = true;
        }
    }
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        if (length == 0) return false;
        bytes.remove_prefix(length);
    }
    return true;
}

Charset::Charset(const std::string &name)
    : plain_(name.empty()), in_(plain_ ? none() : iconv_open("UTF-8", name.c_str())),
      out_(plain_ ? none() : iconv_open(name.c_str(), "UTF-8")) {
    if (plain_) return;
    if (in_ == none() || out_ == none()) throw Failure("character set '" + name + "' is not known");
    blank_ = convert(out_, " ").value_or(" ");
}

Charset::~Charset() {
    if (in_ != none()) iconv_close(in_);
    if (out_ != none()) iconv_close(out_);
}

std::optional<std::string> Charset::toUtf8(std::string_view bytes) const {
    if (!plain_) return convert(in_, bytes);
    if (!isUtf8(bytes)) return std::nullopt;
    return std::string(bytes);
}

std::optional<std::string> Charset::fromUtf8(std::string_view text) const {
    if (!plain_) return convert(out_, text);
    if (!isUtf8(text)) return std::nullopt;
    return std::string(text);
}

}  // namespace tool
