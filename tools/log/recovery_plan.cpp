#include "log/recovery_plan.h"

#include "base/failure.h"
#include "base/hex_text.h"
#include "base/place.h"
#include "base/progress.h"
#include "log/log_file.h"
#include "log/log_summary.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

constexpr std::size_t kMostProblems = 20;

std::string normal(const std::string &name) { return std::filesystem::path(name).lexically_normal(); }

bool isThere(const std::string &name) {
    std::error_code ignored;
    return std::filesystem::exists(linkedPlace(name) + ".idx", ignored);
}

std::string counted(std::uint64_t count, const char *what) { return std::to_string(count) + " " + what; }

}  // namespace

RecoveryPlan::RecoveryPlan(const std::string &log) : log_(log) {
    LogFile file(log);
    Progress progress("checking " + log, static_cast<std::uint64_t>(file.size()));
    LogRecord record;
    LogFile::Found found;
    while ((found = file.next(record)) == LogFile::Found::kRecord) {
        take(record);
        progress.step(record.length);
    }
    progress.clear();
    if (found == LogFile::Found::kCutOff) cut_off_ = file.problem();
    if (found == LogFile::Found::kDamaged) problems_.push_back({file.offset(), "", file.problem()});
}

void RecoveryPlan::letGo() {
    for (const auto &file : files_)
        file->open.reset();
}

// Where one thing is wrong much else is: the first few of them will do.
void RecoveryPlan::object(const LogRecord &record, const std::string &file, const std::string &what) {
    if (problems_.size() < kMostProblems) problems_.push_back({record.offset, file, what});
}

void RecoveryPlan::take(const LogRecord &record) {
    ++records_;
    const LogStory::Place place = story_.take(record);
    // Recovery passes over what it does not know, and fails where it cannot take a record to pieces.
    if (record.type == LogType::kUnknown) return;
    if (!record.sound) return object(record, place.file, "the log's record is damaged");
    switch (record.type) {
    case LogType::kBuild: return build(record);
    case LogType::kOpen: return open(record);
    case LogType::kErase: return erase(record);
    case LogType::kRename: return rename(record);
    case LogType::kBegin: return;
    case LogType::kCommit:
    case LogType::kRollBack: return finish(record, place.transaction);
    default: break;
    }
    const auto found = handles_.find({record.process, record.fd});
    if (found == handles_.end()) {
        return object(record, "",
                      "belongs to a file that was opened before the log was begun: descriptor " +
                          std::to_string(record.fd) + " of process " + std::to_string(record.process));
    }
    File *file = found->second;
    if (record.type == LogType::kClose) handles_.erase(found);
    if (file == nullptr || !record.isChange()) return;
    if (place.transaction != 0) touched_[place.transaction].insert(file);
    change(record, *file);
}

RecoveryPlan::File *RecoveryPlan::named(const std::string &name) {
    const auto [place, fresh] = names_.try_emplace(normal(name), nullptr);
    if (fresh && isThere(name)) {
        auto file = std::make_unique<File>();
        file->name = name;
        file->there = true;
        place->second = file.get();
        files_.push_back(std::move(file));
    }
    return place->second;
}

void RecoveryPlan::build(const LogRecord &record) {
    if (named(record.name) != nullptr) object(record, record.name, "is to be built, but is there already");
    files_.push_back(std::make_unique<File>());
    files_.back()->name = record.name;
    names_[normal(record.name)] = files_.back().get();
}

void RecoveryPlan::open(const LogRecord &record) {
    File *file = named(record.name);
    handles_[{record.process, record.fd}] = file;
    if (file == nullptr) return object(record, record.name, "is to be opened, but is not there");
    if (!file->there || file->open != nullptr || !file->seen.empty()) return;
    try {
        file->open = std::make_unique<OpenFile>(OpenFile::alone(record.name));
    } catch (const Failure &) {
        file->seen.insert(0);
        object(record, record.name, iserrno == ISERR_FILEINUSE ? "is in use" : "cannot be opened: " + lastError());
    }
}

void RecoveryPlan::erase(const LogRecord &record) {
    File *file = named(record.name);
    if (file == nullptr) return object(record, record.name, "is to be erased, but is not there");
    names_[normal(record.name)] = nullptr;
}

void RecoveryPlan::rename(const LogRecord &record) {
    File *file = named(record.name);
    if (file == nullptr) return object(record, record.name, "is to be renamed, but is not there");
    if (named(record.newName) != nullptr) {
        return object(record, record.newName, "is to be the new name of " + record.name + ", but is there already");
    }
    names_[normal(record.newName)] = file;
    names_[normal(record.name)] = nullptr;
}

void RecoveryPlan::change(const LogRecord &record, File &file) {
    ++changes_;
    ++(record.type == LogType::kWrite     ? file.written
       : record.type == LogType::kRewrite ? file.rewritten
                                          : file.deleted);
    if (file.open != nullptr && file.seen.insert(record.number).second) compare(record, file);
}

void RecoveryPlan::compare(const LogRecord &record, File &file) {
    const std::string which = "record " + std::to_string(record.number);
    const OpenFile &open = *file.open;
    ByteString bytes(static_cast<std::size_t>(std::max(open.maximumLength(), 1)));
    const bool there = isdata(open.fd(), reinterpret_cast<char *>(bytes.data()), record.number) == 0;
    if (!there && iserrno != ISERR_NOTFOUND && iserrno != ISERR_ARGUMENT) {
        return object(record, file.name, which + " cannot be read: " + lastError());
    }
    if (record.type == LogType::kWrite) {
        if (there) object(record, file.name, which + " is to be written, but is there already");
        return;
    }
    const char *what = record.type == LogType::kRewrite ? " is to be rewritten" : " is to be deleted";
    if (!there) return object(record, file.name, which + what + ", but is not there");
    bytes.resize(static_cast<std::size_t>(open.variableLength() ? isreclen : open.maximumLength()));
    if (bytes != record.before) object(record, file.name, which + what + ", but is not as it was then");
}

// What a program does with a file behind a rollback may go past the log, and records that a rollback has written anew
// may have other numbers: from here on nothing can be told of the files that it undid changes of.
void RecoveryPlan::finish(const LogRecord &record, std::uint64_t transaction) {
    auto node = touched_.extract(transaction);
    if (record.type == LogType::kCommit) {
        ++committed_;
        return;
    }
    ++rolled_back_;
    if (transaction == 0 || node.empty()) return;
    for (File *file : node.mapped()) {
        file->open.reset();
        file->seen.insert(0);
    }
}

std::string RecoveryPlan::text() const {
    std::string text = log_ + ": " + counted(records_, "records, ") + counted(changes_, "changes") + "\n";
    for (const auto &file : files_) {
        text += "  " + printable(file->name) + (file->there ? " (there)" : " (built by the log)") + ": " +
                counted(file->written, "written, ") + counted(file->rewritten, "rewritten, ") +
                counted(file->deleted, "deleted\n");
    }
    const std::size_t open = story_.open().size();
    if (committed_ + rolled_back_ + open > 0) {
        text += "transactions: " + counted(committed_, "committed, ") + counted(rolled_back_, "rolled back, ") +
                counted(open, "without end\n");
    }
    if (open > 0) text += "changes of transactions without end are kept\n";
    return text;
}

Json RecoveryPlan::json() const {
    Json files = Json::array();
    for (const auto &file : files_) {
        files.push_back({{"file", file->name},
                         {"there", file->there},
                         {"written", file->written},
                         {"rewritten", file->rewritten},
                         {"deleted", file->deleted}});
    }
    Json problems = Json::array();
    for (const Problem &problem : problems_)
        problems.push_back({{"offset", problem.offset}, {"file", problem.file}, {"problem", problem.what}});
    return {{"log", log_},
            {"records", records_},
            {"changes", changes_},
            {"files", files},
            {"committed", committed_},
            {"rolledBack", rolled_back_},
            {"open", openJson(story_)},
            {"problems", problems},
            {"cutOff", cut_off_.empty() ? Json(nullptr) : Json(cut_off_)}};
}

}  // namespace tool
