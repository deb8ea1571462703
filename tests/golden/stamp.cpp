#include "stamp.h"

#include "golden_image.h"

#include <cstdint>
#include <cstdlib>
#include <unistd.h>

namespace golden {
namespace {

void replaceAll(std::string *text, std::string_view word, const std::string &by) {
    for (std::size_t at = text->find(word); at != std::string::npos; at = text->find(word, at + by.size()))
        text->replace(at, word.size(), by);
}

std::uint32_t timeAt(const std::string &all, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(all[offset + i]);
    return value;
}

constexpr uid_t kSame = static_cast<uid_t>(-1);

}  // namespace

OtherUser::OtherUser() : changed_(getuid() == 0 && setreuid(70000, kSame) == 0) {}

OtherUser::~OtherUser() {
    if (changed_ && setreuid(0, kSame) != 0) std::abort();
}

std::string stamped(std::string_view text, const std::string &actual, std::time_t since) {
    constexpr std::string_view kTime = "TIME";
    const auto first = static_cast<std::uint32_t>(since), last = static_cast<std::uint32_t>(std::time(nullptr));
    std::string rest(text);
    replaceAll(&rest, "PID", be16(static_cast<unsigned long>(getpid())));
    replaceAll(&rest, "USER", be16(static_cast<unsigned long>(getuid())));

    std::string result;
    for (std::size_t at = rest.find(kTime); at != std::string::npos; at = rest.find(kTime)) {
        result += bytes(rest.substr(0, at));
        rest.erase(0, at + kTime.size());
        std::uint32_t when = first;
        if (result.size() + 4 <= actual.size()) {
            const std::uint32_t stands = timeAt(actual, result.size());
            if (stands >= first && stands <= last) when = stands;
        }
        result += bytes(be32(when));
    }
    return result + bytes(rest);
}

}  // namespace golden
