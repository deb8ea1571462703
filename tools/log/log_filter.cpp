#include "log/log_filter.h"

#include "base/failure.h"
#include "base/open_file.h"
#include "base/time_text.h"

#include <filesystem>

namespace tool {

namespace {

constexpr unsigned kLoggedBits = 0xffff;

std::filesystem::path normal(const std::string &name) { return std::filesystem::path(name).lexically_normal(); }

}  // namespace

void LogFilter::onlyFile(const std::string &name) { file_ = normal(basePath(name)); }

void LogFilter::onlyTypes(const std::vector<std::string> &words) {
    for (const std::string &word : words) {
        const LogType type = logTypeOf(word);
        if (type == LogType::kUnknown) {
            std::string known;
            for (int i = 0; i + 1 < kLogTypes; ++i)
                known += std::string(i > 0 ? ", " : "") + logTypeWord(static_cast<LogType>(i));
            throw Failure(word + ": is no type of record; these are: " + known);
        }
        types_.insert(type);
    }
}

// The log has the low half of a process id alone.
void LogFilter::onlyProcess(unsigned process) { process_ = process & kLoggedBits; }

void LogFilter::since(const std::string &time) { since_ = parseTime(time); }

void LogFilter::until(const std::string &time) { until_ = parseTime(time); }

// A name without a directory means the file of that name in whichever.
bool LogFilter::takesFile(const std::string &name) const {
    if (name.empty()) return false;
    const std::filesystem::path path = normal(name);
    return path == file_ || (file_.find('/') == std::string::npos && path.filename() == file_);
}

bool LogFilter::takes(const LogRecord &record, const LogStory::Place &place) const {
    if (!file_.empty() && !takesFile(place.file) && !takesFile(record.newName)) return false;
    if (!types_.empty() && !types_.contains(record.type)) return false;
    if (transaction_ && place.transaction != *transaction_) return false;
    if (process_ && record.process != *process_) return false;
    if (since_ && record.time < *since_) return false;
    return !until_ || record.time <= *until_;
}

}  // namespace tool
