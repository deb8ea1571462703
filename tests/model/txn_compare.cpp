// Comparing files, log and trails with the world, and recovery.
#include "txn_driver.h"

#include "file_compare.h"
#include "whole_file.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <unistd.h>
#include <utility>

namespace model {

namespace fs = std::filesystem;
using testing_support::LogRecord;

namespace {

constexpr std::size_t kLogLines = 60;

}  // namespace

void copyFiles(const std::string &from, const std::string &to) {
    fs::remove_all(to);
    fs::copy(from, to);
}

std::string endOfLog(const World &world) {
    std::string out = "end of the log:\n";
    for (std::size_t i = world.log.size() > kLogLines ? world.log.size() - kLogLines : 0; i < world.log.size(); ++i)
        out += "  " + std::to_string(i) + " user " + std::to_string(world.log[i].user) + " " +
               world.log[i].content.text() + "\n";
    return out;
}

bool TxnDriver::compareAll(const World &world, bool recovered) {
    std::size_t names = 0;
    for (const FileSet &set : world.files) {
        const FileSet *wanted = &set;
        if (recovered && set.neverLogged)
            for (const FileSet &before : initial_.files)
                if (before.name == set.name) wanted = &before;
        testing_support::FileReader reader(set.name);
        int fd = -1;
        for (const Opened &by : set.opened)
            if (!recovered && !by.parked) fd = by.fd;
        std::string wrong = compareSound(fd, &reader, wanted->model);
        if (fd >= 0) ++statistics_->checks;
        if (!wrong.empty()) {
            fail((recovered ? "recovered " : "") + set.name + ": " + wrong);
            return false;
        }
        names += 2;
    }
    auto found = static_cast<std::size_t>(std::distance(fs::directory_iterator(livePath_), fs::directory_iterator()));
    if (found != names) fail(std::to_string(found) + " files, should be " + std::to_string(names));
    return !failed_;
}

bool TxnDriver::compareLog() {
    std::vector<LogRecord> records;
    std::string wrong = testing_support::readLog(slurp(logPath_), &records);
    if (wrong.empty()) wrong = testing_support::checkLog(records);
    statistics_->logRecords += static_cast<long>(records.size());
    for (std::size_t i = 0; wrong.empty() && i < std::max(records.size(), world_.log.size()); ++i) {
        bool equal = i < records.size() && i < world_.log.size() && records[i].content == world_.log[i].content;
        if (!equal)
            wrong = "log record " + std::to_string(i) + " is " +
                    (i < records.size() ? records[i].content.text() : "missing") + ", should be " +
                    (i < world_.log.size() ? world_.log[i].content.text() : "missing");
        else if (records[i].process != (static_cast<std::uint32_t>(getpid()) & 0xffffU) ||
                 records[i].user != world_.log[i].user || records[i].time < since_ ||
                 records[i].time > static_cast<std::uint32_t>(std::time(nullptr)))
            wrong = "log record " + std::to_string(i) + ": writer or time";
    }
    if (!wrong.empty()) fail(wrong);
    return !failed_;
}

bool TxnDriver::compareTrails() {
    for (FileSet &set : world_.files) {
        std::vector<testing_support::AuditEntry> entries;
        for (Audited &audited : set.model.takeAudited())
            entries.push_back(std::move(audited.entry));
        if (!set.model.hasAudit()) continue;
        std::string wrong = testing_support::compareTrail(slurp(set.model.auditName()), entries, since_);
        if (!wrong.empty()) fail(set.name + ": " + wrong);
    }
    return !failed_;
}

// Reads the file in every order, forwards.
bool TxnDriver::scan(const FileSet &file) {
    testing_support::FileReader reader(file.name);
    int fd = isopen(file.name.c_str(), ISINPUT | ISVARAUTO);
    if (fd < 0) fail("recovered " + file.name + " cannot be opened: " + std::to_string(iserrno));
    std::string wrong = compareSound(fd, &reader, file.model);
    if (!wrong.empty()) fail("recovered " + file.name + ": " + wrong);
    ++statistics_->checks;
    for (std::size_t i = 0; i <= file.descs.size() && !failed_; ++i) {
        std::vector<long> order;
        KeyDesc key{};
        if (i < file.descs.size()) {
            key = file.descs[i];
            auto number = static_cast<std::size_t>(file.model.find(key));
            for (const Entry &entry : file.model.indexes()[number].entries)
                order.push_back(entry.rec);
        } else {
            for (long n = 1; n <= file.model.last(); ++n)
                if (file.model.live(n)) order.push_back(n);
        }
        Buffer record(static_cast<std::size_t>(file.shape.bufferLength));
        char *bytes = reinterpret_cast<char *>(record.data());
        std::string where = "recovered " + file.name + " in order " + std::to_string(i) + ": ";
        if (isstart(fd, &key, 0, bytes, ISFIRST) != 0) fail(where + "isstart");
        for (long rec : order) {
            const Buffer &wanted = file.model.records()[static_cast<std::size_t>(rec - 1)].bytes;
            if (isread(fd, bytes, ISNEXT) != 0 || isrecnum != rec || isreclen != static_cast<int>(wanted.size()) ||
                !std::equal(wanted.begin(), wanted.end(), record.begin())) {
                fail(where + "record " + std::to_string(isrecnum) + ", iserrno " + std::to_string(iserrno) +
                     ", should be record " + std::to_string(rec));
                break;
            }
        }
        if (!failed_ && (isread(fd, bytes, ISNEXT) != -1 || iserrno != 110)) fail(where + "too many records");
    }
    isclose(fd);
    return !failed_;
}

bool TxnDriver::recover(const Snapshot &snapshot) {
    ++statistics_->recoveries;
    if (snapshot.world.anyTransaction()) ++statistics_->unfinished;
    copyFiles(initialPath_, livePath_);
    std::string path = dir_.file("recover.log");
    spill(path, snapshot.log);
    if (islogopen(path.c_str()) != 0) fail("the log to recover from cannot be opened");
    int ret = isrecover();
    steps_.push_back("isrecover: result " + std::to_string(ret) + ", iserrno " + std::to_string(iserrno));
    if (ret != 0) fail(steps_.back() + " from this log\n" + endOfLog(snapshot.world));
    islogclose();
    if (slurp(path) != snapshot.log) fail("recovery changed the log");
    if (failed_ || !compareAll(snapshot.world, true)) return false;
    for (const FileSet &set : snapshot.world.files)
        if (!set.neverLogged && !scan(set)) return false;
    return true;
}

}  // namespace model
