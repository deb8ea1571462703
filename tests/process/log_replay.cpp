#include "log_replay.h"

#include "support/key_image.h"
#include "support/squash.h"

#include <utility>

namespace process_testing {

using testing_support::Bytes;
using testing_support::LogContent;
using testing_support::LogRecord;

namespace {

std::string inWords(const KeyDesc &key) { return testing_support::describe(testing_support::specOf(key)); }

}  // namespace

void LogReplay::start(const TxnFile &file, const Contents &contents) {
    File &made = files_[file.base];
    made = {file.minimum, file.compressed, contents.indexes};
    made.records.insert(contents.records.begin(), contents.records.end());
    made.uniqueId = contents.uniqueId;
}

std::string LogReplay::apply(const std::vector<LogRecord> &log) {
    for (const LogRecord &record : log) {
        const std::string wrong = applyOne(record);
        if (!wrong.empty())
            return "log record at " + std::to_string(record.offset) + ", " + record.content.text() + ": " + wrong;
    }
    return "";
}

std::map<std::string, Contents> LogReplay::files() const {
    std::map<std::string, Contents> out;
    for (const auto &[name, file] : files_)
        out[name] = {file.indexes, {file.records.begin(), file.records.end()}, file.uniqueId};
    return out;
}

std::string LogReplay::applyOne(const LogRecord &record) {
    const LogContent &content = record.content;
    const std::string &type = content.type;
    Applied &applied = applied_[record.offset];
    applied.record = &record;
    if (type == "BW" || type == "CW" || type == "RW") {
        openAtEnd_ += type == "BW" ? 1 : -1;
        return type == "RW" ? undo(record) : "";
    }
    if (type == "BU") {
        if (files_.count(content.name) != 0) return "the file exists";
        files_[content.name] = {content.minimum, (content.mode & ISCOMPRESS) != 0, {inWords(content.key)}};
        return "";
    }
    if (type == "ER") return files_.erase(content.name) == 1 ? "" : "no such file";
    if (type == "RE") {
        auto file = files_.extract(content.name);
        if (file.empty()) return "no such file";
        file.key() = content.newName;
        return files_.insert(std::move(file)).inserted ? "" : "the new name exists";
    }

    std::string &name = names_[{record.process, content.fd}];
    if (type == "FO") name = content.name;
    const auto file = files_.find(name);
    if (file == files_.end()) return "no such file";
    if (type == "CI") file->second.indexes.push_back(inWords(content.key));
    if (type == "DI" && std::erase(file->second.indexes, inWords(content.key)) != 1) return "no such index";
    if (type == "SU") file->second.uniqueId = content.number;
    if (type == "UN" && content.number != file->second.uniqueId++) return "another id";
    applied.name = name;
    return exchange(name, content.before, content.after) ? "" : "the file has no such record";
}

// The transaction that ends here: back along its chain.
std::string LogReplay::undo(const LogRecord &end) {
    for (const LogRecord *record = &end; record->content.type != "BW";) {
        const auto before = applied_.find(record->previous);
        if (before == applied_.end()) return "its chain leads nowhere";
        record = before->second.record;
        if (!exchange(before->second.name, record->content.after, record->content.before))
            return "undoing what is not there";
    }
    return "";
}

bool LogReplay::exchange(const std::string &name, const Bytes &out, const Bytes &in) {
    if (out.empty() && in.empty()) return true;
    File &file = files_.at(name);
    if (!out.empty()) {
        const auto found = file.records.find(stored(file, out));
        if (found == file.records.end()) return false;
        file.records.erase(found);
    }
    if (!in.empty()) file.records.insert(stored(file, in));
    return true;
}

// An image as it is read again after it was written.
std::string LogReplay::stored(const File &file, const Bytes &image) {
    const auto end = image.begin() + file.minimum;
    std::string out(image.begin(), end);
    const Bytes tail(end, image.end());
    const Bytes read = file.compressed && !tail.empty() ? testing_support::throughCompression(tail) : tail;
    return out.append(read.begin(), read.end());
}

}  // namespace process_testing
