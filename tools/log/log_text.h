// Log records as the user reads them, and as programs do.
#pragma once

#include "base/json.h"
#include "log/log_record.h"
#include "log/log_story.h"

#include <string>

namespace tool {

// The columns' names; one record a line under them, and behind it, where asked for, what it holds.
std::string logHeading();
std::string logLine(const LogRecord &record, const LogStory::Place &place);
std::string logContents(const LogRecord &record);

Json logJson(const LogRecord &record, const LogStory::Place &place, bool contents);

}  // namespace tool
