#include "base/time_text.h"

#include "base/failure.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace tool {

namespace {

constexpr int kTmYears = 1900;

std::string formatted(const std::tm &broken, const char *between, const char *end) {
    std::array<char, 128> text;
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%s%02d:%02d:%02d%s", broken.tm_year + kTmYears,
                  broken.tm_mon + 1, broken.tm_mday, between, broken.tm_hour, broken.tm_min, broken.tm_sec, end);
    return text.data();
}

// Seconds of "15m"; -1 where the text is none such.
std::int64_t span(const std::string &text) {
    std::int64_t count = 0;
    const char *end = text.data() + text.size();
    const auto [unit, error] = std::from_chars(text.data(), end, count);
    constexpr std::int64_t kMost = std::int64_t{1} << 32U;
    if (error != std::errc() || unit + 1 != end || count < 0 || count > kMost) return -1;
    switch (*unit) {
    case 's': return count;
    case 'm': return count * 60;
    case 'h': return count * 60 * 60;
    case 'd': return count * 24 * 60 * 60;
    default: return -1;
    }
}

}  // namespace

std::string localTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm broken{};
    localtime_r(&time, &broken);
    return formatted(broken, " ", "");
}

std::string universalTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm broken{};
    gmtime_r(&time, &broken);
    return formatted(broken, "T", "Z");
}

std::int64_t parseTime(const std::string &text) {
    if (const std::int64_t before = span(text); before >= 0) return std::time(nullptr) - before;
    for (const char *format :
         {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"}) {
        std::tm broken{};
        broken.tm_isdst = -1;
        const char *end = strptime(text.c_str(), format, &broken);
        if (end != nullptr && *end == 0) return std::mktime(&broken);
    }
    throw Failure(text + ": is no time; '2026-05-01', '2026-05-01 12:00' and '2h' (ago) are");
}

}  // namespace tool
