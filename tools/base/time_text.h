// Times as the commands print and take them.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

// Seconds since the epoch as "2026-05-01 12:00:00" of the local time, and as "2026-05-01T10:00:00Z".
std::string localTime(std::int64_t seconds);
std::string universalTime(std::int64_t seconds);

// The seconds since the epoch that a user means by "2026-05-01", "2026-05-01 12:00", "2026-05-01 12:00:30" (with a
// blank or a T; local time) or by "30s", "15m", "2h", "7d" (so long ago). Throws Failure.
std::int64_t parseTime(const std::string &text);

}  // namespace tool
