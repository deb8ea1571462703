#include "trace/trace_recorder.h"

#include "trace/watch/lock_ranges.h"

#include <unistd.h>

#include <cstdio>

namespace trace {

using shim::Arguments;
using shim::Call;

namespace {

constexpr std::size_t kWidths[] = {9, 7, 26};

std::string columns(const std::string &verb, const std::string &file, const std::string &place,
                    const std::string &rest = "") {
    std::string text;
    const std::string *const parts[] = {&verb, &file, &place};
    for (int i = 0; i < 3; ++i)
        text += *parts[i] + std::string(parts[i]->size() < kWidths[i] ? kWidths[i] - parts[i]->size() : 1, ' ');
    text += rest;
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string kindOfPath(const std::string &path) {
    const std::size_t dot = path.rfind('.');
    const std::string tail = dot != std::string::npos ? path.substr(dot) : "";
    if (tail == ".idx") return "index";
    if (tail == ".dat") return "data";
    return tail.empty() ? "file" : tail.substr(1);
}

// The file behind a descriptor, by the end of its name.
std::string fileOf(int descriptor) {
    if (descriptor < 0) return "";
    char path[512];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
    return length > 0 ? kindOfPath(std::string(path, static_cast<std::size_t>(length))) : "nothing";
}

std::string bytes(std::size_t length) { return std::to_string(length) + (length == 1 ? " byte" : " bytes"); }

std::string range(const struct flock &lock, const std::string &file) {
    const std::int64_t start = lock.l_start, length = lock.l_len;
    if (file == "index" && length == kAreaLength && start == kPhaseStart) return "phase";
    if (file == "index" && length == kAreaLength && start == kOpenStart) return "open";
    if (file == "data" && length == kAllRecordsLength && start == kRecordStart) return "all records";
    if (file == "data" && length == 1 && start > kRecordStart) return "record " + std::to_string(start - kRecordStart);
    if (start == 0 && length == kLogLength) return "first byte";
    return std::to_string(start) + " length " + std::to_string(length);
}

}  // namespace

TraceRecorder::TraceRecorder(long nodeSize, long slotSize) : nodeSize_(nodeSize), slotSize_(slotSize) {
    beneath_ = shim::observe(this);
}

TraceRecorder::~TraceRecorder() { shim::observe(beneath_); }

std::string TraceRecorder::place(const Arguments &call, const std::string &file) const {
    if (call.offset < 0) return "at the end";
    const bool inIndex = file == "index";
    const long size = inIndex ? nodeSize_ : slotSize_;
    if (!inIndex && file != "data") return "at " + std::to_string(call.offset);
    const long number = static_cast<long>(call.offset / size) + 1, within = static_cast<long>(call.offset % size);
    std::string text =
        inIndex ? (number == 1 ? "header" : "node " + std::to_string(number)) : "record " + std::to_string(number);
    return within == 0 ? text : text + " from " + std::to_string(within);
}

std::string TraceRecorder::line(const Arguments &call, const std::string &file) const {
    switch (call.call) {
    case Call::Control: {
        if (call.lock == nullptr) return columns("control", file, std::to_string(call.command));
        const std::string where = range(*call.lock, file);
        if (call.lock->l_type == F_UNLCK) return columns("unlock", file, where);
        return columns("lock", file, where,
                       std::string(call.lock->l_type == F_WRLCK ? "write" : "read") +
                           (call.command == F_SETLKW ? ", waits" : ""));
    }
    case Call::Read:
    case Call::PositionedRead: return columns("read", file, place(call, file), bytes(call.length));
    case Call::Write:
    case Call::PositionedWrite: return columns("write", file, place(call, file), bytes(call.length));
    case Call::Truncate: return columns("truncate", file, std::to_string(call.offset));
    case Call::Seek: return columns("size", file, "");
    case Call::FileStatus: return columns("status", file, "");
    case Call::Close: return columns("close", file, "");
    case Call::Open:
    case Call::Status:
    case Call::Unlink:
    case Call::Link: return columns(shim::callName(call.call), kindOfPath(call.path), "");
    default: return shim::callName(call.call);
    }
}

shim::Answer TraceRecorder::before(const Arguments &call) {
    if (!shim::isMemory(call.call)) lines_.push_back(line(call, fileOf(call.descriptor)));
    return beneath_ != nullptr ? beneath_->before(call) : shim::Answer{};
}

void TraceRecorder::after(const Arguments &call, long result, int error) {
    if (beneath_ != nullptr) beneath_->after(call, result, error);
    if (result < 0 && !shim::isMemory(call.call)) lines_.back() += ", refused";
}

}  // namespace trace
