#include "log/log_summary.h"

#include "base/hex_text.h"
#include "base/time_text.h"
#include "base/user_text.h"

#include <algorithm>
#include <vector>

namespace tool {

namespace {

std::vector<LogStory::Transaction> inOrder(const LogStory &story) {
    std::vector<LogStory::Transaction> all;
    for (const auto &[offset, transaction] : story.open())
        all.push_back(transaction);
    std::sort(all.begin(), all.end(), [](const auto &a, const auto &b) { return a.number < b.number; });
    return all;
}

std::string filesInWords(const LogStory::Transaction &transaction) {
    std::string words;
    for (const std::string &file : transaction.files)
        words += (words.empty() ? " in " : ", ") + (file.empty() ? "(unknown)" : printable(file));
    return words;
}

}  // namespace

void LogSummary::count(const LogRecord &record, const LogStory::Place &place) {
    if (records_ == 0) first_ = record.time;
    last_ = record.time;
    ++records_;
    bytes_ += record.length;
    ++types_[static_cast<std::size_t>(record.type)];
    if (!record.isChange()) return;
    File &file = files_[place.file];
    ++(record.type == LogType::kWrite ? file.writes : record.type == LogType::kRewrite ? file.rewrites : file.deletes);
}

std::string LogSummary::text() const {
    std::string text = std::to_string(records_) + " records, " + std::to_string(bytes_) + " bytes";
    if (records_ > 0) text += ", " + localTime(first_) + " to " + localTime(last_);
    text += "\n";
    for (int i = 0; i < kLogTypes; ++i) {
        const auto type = static_cast<LogType>(i);
        if (of(type) > 0) text += "  " + std::string(logTypeWord(type)) + " " + std::to_string(of(type)) + "\n";
    }
    for (const auto &[name, file] : files_) {
        text += (name.empty() ? "(files opened before the log)" : printable(name)) + ": " +
                std::to_string(file.writes) + " written, " + std::to_string(file.rewrites) + " rewritten, " +
                std::to_string(file.deletes) + " deleted\n";
    }
    return text;
}

Json LogSummary::json() const {
    Json types = Json::object();
    for (int i = 0; i < kLogTypes; ++i) {
        const auto type = static_cast<LogType>(i);
        if (of(type) > 0) types[logTypeWord(type)] = of(type);
    }
    Json files = Json::array();
    for (const auto &[name, file] : files_) {
        files.push_back({{"file", name.empty() ? Json(nullptr) : Json(name)},
                         {"written", file.writes},
                         {"rewritten", file.rewrites},
                         {"deleted", file.deletes}});
    }
    Json json = {{"records", records_}, {"bytes", bytes_}};
    if (records_ > 0) json.update({{"first", universalTime(first_)}, {"last", universalTime(last_)}});
    json["types"] = types;
    json["files"] = files;
    return json;
}

std::string openText(const LogStory &story) {
    std::string text;
    for (const LogStory::Transaction &transaction : inOrder(story)) {
        text += "transaction " + std::to_string(transaction.number) + " of process " +
                std::to_string(transaction.process) + " (" + printable(userName(transaction.user)) +
                ") has no end: " + "begun " + localTime(transaction.time) + " at offset " +
                std::to_string(transaction.offset) + ", " + std::to_string(transaction.changes) +
                (transaction.changes == 1 ? " change" : " changes") + filesInWords(transaction) + "\n";
    }
    return text;
}

Json openJson(const LogStory &story) {
    Json json = Json::array();
    for (const LogStory::Transaction &transaction : inOrder(story)) {
        json.push_back({{"transaction", transaction.number},
                        {"process", transaction.process},
                        {"user", transaction.user},
                        {"time", universalTime(transaction.time)},
                        {"offset", transaction.offset},
                        {"changes", transaction.changes},
                        {"files", transaction.files}});
    }
    return json;
}

}  // namespace tool
