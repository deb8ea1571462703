#include "log/log_story.h"

namespace tool {

std::string LogStory::fileOf(const LogRecord &record, bool &unknown) {
    if (record.fd < 0) return record.name;
    const std::pair key(record.process, record.fd);
    if (record.type == LogType::kOpen) return names_[key] = record.name;
    const auto found = names_.find(key);
    if (found == names_.end()) {
        unknown = record.name.empty();
        return record.name;
    }
    if (record.type != LogType::kClose) return found->second;
    names_.erase(found);
    return record.name;
}

// Each record of a transaction names the one before it; the begin names none.
std::uint64_t LogStory::transactionOf(const LogRecord &record, const std::string &file) {
    if (record.type == LogType::kBegin) {
        Transaction &begun = open_[record.offset];
        begun = {++begun_, record.process, record.user, record.offset, record.time, 0, {}};
        return begun.number;
    }
    if (!record.chained) return 0;
    auto node = open_.extract(record.previous);
    if (node.empty()) return 0;
    Transaction &transaction = node.mapped();
    const std::uint64_t number = transaction.number;
    if (record.isEnd()) return number;
    if (record.isChange()) {
        ++transaction.changes;
        transaction.files.insert(file);
    }
    node.key() = record.offset;
    open_.insert(std::move(node));
    return number;
}

LogStory::Place LogStory::take(const LogRecord &record) {
    Place place;
    place.file = fileOf(record, place.unknownFile);
    place.transaction = transactionOf(record, place.file);
    return place;
}

void LogStory::takeBack(const LogRecord &record) {
    if (record.type == LogType::kOpen) names_.erase({record.process, record.fd});
    if (record.type == LogType::kBegin && open_.erase(record.offset) > 0) --begun_;
    if (!record.chained) return;
    auto node = open_.extract(record.offset);
    if (node.empty()) return;
    if (record.isChange()) --node.mapped().changes;
    node.key() = record.previous;
    open_.insert(std::move(node));
}

}  // namespace tool
