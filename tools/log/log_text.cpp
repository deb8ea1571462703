#include "log/log_text.h"

#include "base/hex_text.h"
#include "base/key_text.h"
#include "base/time_text.h"
#include "base/user_text.h"

#include <array>
#include <cstdio>

namespace tool {

namespace {

std::string columns(const std::string &offset, const std::string &time, const std::string &process,
                    const std::string &user, const std::string &transaction, const std::string &type) {
    std::array<char, 256> line;
    std::snprintf(line.data(), line.size(), "%10s  %-19s  %7s  %-10s  %6s  %-9s", offset.c_str(), time.c_str(),
                  process.c_str(), user.c_str(), transaction.c_str(), type.c_str());
    return line.data();
}

std::string bytesInWords(std::size_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string keyInWords(const KeyDesc &key) {
    if (key.nparts == 0) return "record-number order";
    std::string words = flagsInWords(key) + ":";
    for (int i = 0; i < key.nparts; ++i)
        words += (i > 0 ? "; " : " ") + partInWords(key.parts[i]);
    return words;
}

std::string lengthsInWords(const LogRecord &record) {
    if (record.minimum == record.maximum) return "records of " + bytesInWords(static_cast<std::size_t>(record.maximum));
    return "records of " + std::to_string(record.minimum) + " to " +
           bytesInWords(static_cast<std::size_t>(record.maximum));
}

// What the record tells beside its file.
std::string detail(const LogRecord &record) {
    const std::string number = "record " + std::to_string(record.number) + ", ";
    switch (record.type) {
    case LogType::kOpen:
    case LogType::kClose:
        return "descriptor " + std::to_string(record.fd) + (record.variable ? ", variable-length records" : "");
    case LogType::kBuild: return lengthsInWords(record) + "; " + keyInWords(record.key);
    case LogType::kRename: return "to " + printable(record.newName);
    case LogType::kAddIndex:
    case LogType::kDropIndex: return keyInWords(record.key);
    case LogType::kSetUnique:
    case LogType::kUnique: return std::to_string(record.number);
    case LogType::kDelete: return number + bytesInWords(record.before.size());
    case LogType::kWrite: return number + bytesInWords(record.after.size());
    case LogType::kRewrite: {
        const std::size_t before = record.before.size();
        const std::size_t after = record.after.size();
        if (before == after) return number + bytesInWords(after);
        return number + std::to_string(before) + " to " + bytesInWords(after);
    }
    case LogType::kUnknown: return "type " + printable(record.letters);
    default: return "";
    }
}

std::string fileInWords(const LogRecord &record, const LogStory::Place &place) {
    if (!place.unknownFile) return printable(place.file);
    return "(descriptor " + std::to_string(record.fd) + ", opened before the log)";
}

std::string image(const char *what, const ByteString &bytes) {
    const std::string heading = *what != 0 ? std::string(12, ' ') + what + "\n" : "";
    return heading + hexDump(bytes, std::string(12, ' '));
}

Json keyJson(const KeyDesc &key) {
    Json parts = Json::array();
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        parts.push_back({{"start", part.start}, {"length", part.length}, {"type", part.type}});
    }
    return {{"flags", key.flags}, {"parts", parts}};
}

void addImage(Json &json, const char *length, const char *name, const ByteString &bytes, bool contents) {
    json[length] = bytes.size();
    if (contents) json[name] = hexText(bytes);
}

void addBody(Json &json, const LogRecord &record, bool contents) {
    switch (record.type) {
    case LogType::kBuild:
        json["mode"] = record.mode;
        json["minimum"] = record.minimum;
        json["maximum"] = record.maximum;
        json["key"] = keyJson(record.key);
        break;
    case LogType::kRename: json["newName"] = record.newName; break;
    case LogType::kAddIndex:
    case LogType::kDropIndex: json["key"] = keyJson(record.key); break;
    case LogType::kSetUnique:
    case LogType::kUnique: json["value"] = record.number; break;
    case LogType::kDelete:
    case LogType::kWrite:
    case LogType::kRewrite:
        json["record"] = record.number;
        if (record.type != LogType::kWrite) addImage(json, "oldLength", "old", record.before, contents);
        if (record.type != LogType::kDelete) addImage(json, "newLength", "new", record.after, contents);
        break;
    default: break;
    }
}

}  // namespace

std::string logHeading() {
    return columns("offset", "time", "process", "user", "trans.", "type") + " file and what was done to it\n";
}

std::string logLine(const LogRecord &record, const LogStory::Place &place) {
    std::string transaction;
    if (place.transaction != 0) {
        transaction = std::to_string(place.transaction);
    } else if (record.chained) {
        transaction = "?";  // its begin is not in this log
    }
    std::string line = columns(std::to_string(record.offset), localTime(record.time), std::to_string(record.process),
                               printable(userName(record.user)), transaction, logTypeWord(record.type));
    for (const std::string &words : {fileInWords(record, place), detail(record)}) {
        if (!words.empty()) line += " " + words;
    }
    if (!record.sound && record.type != LogType::kUnknown) line += " (damaged)";
    while (line.ends_with(' '))
        line.pop_back();
    return line + "\n";
}

std::string logContents(const LogRecord &record) {
    switch (record.type) {
    case LogType::kDelete: return image("", record.before);
    case LogType::kWrite: return image("", record.after);
    case LogType::kRewrite: return image("old", record.before) + image("new", record.after);
    default: return "";
    }
}

Json logJson(const LogRecord &record, const LogStory::Place &place, bool contents) {
    Json json = {{"offset", record.offset},
                 {"length", record.length},
                 {"time", universalTime(record.time)},
                 {"process", record.process},
                 {"user", record.user}};
    if (record.chained || place.transaction != 0) {
        json["transaction"] = place.transaction != 0 ? Json(place.transaction) : Json(nullptr);
    }
    json["type"] = record.type == LogType::kUnknown ? record.letters : logTypeWord(record.type);
    if (record.fd >= 0) json["descriptor"] = record.fd;
    if (!place.file.empty()) json["file"] = place.file;
    addBody(json, record, contents);
    if (!record.sound) json["damaged"] = true;
    return json;
}

}  // namespace tool
