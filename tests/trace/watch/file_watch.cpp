#include "trace/watch/file_watch.h"

#include "base/isfile.h"
#include "base/isglobal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace trace {

using shim::Arguments;
using shim::Call;

namespace {

constexpr int kFirstDescriptor = 3;
// Read by an open before it has any lock: does the set have a data file?
constexpr std::int64_t kRecordLengthOffset = 13;
constexpr std::size_t kRecordLengthSize = 2;

bool endsWith(const std::string &text, const char *tail) { return text.ends_with(tail); }

FileId idOf(int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) != 0) return {};
    return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
}

template <typename Holds> bool someHandle(Holds &&holds) {
    for (int i = 0; i < isProcess.admsize; ++i)
        if (const IsamFile *h = isProcess.adminfo[i].isam; h != nullptr && holds(h)) return true;
    return false;
}

// A handle without locks reads whatever is there, and beside others, whose descriptors it shares, it writes as well.
bool isUnlocked(int descriptor) {
    return someHandle([descriptor](const IsamFile *h) {
        return (h->mode & ISLOCKNONE) != 0 && (h->indexFd == descriptor || h->dataFd == descriptor);
    });
}

bool isOn(const IsamFile *h, const FileId &index) {
    return h->indexFile.device == index.first && h->indexFile.inode == index.second;
}

// A rollback takes the phase lock for each handle of a file, and lets go of it for each.
bool isPinned(const FileId &index) {
    return someHandle([&index](const IsamFile *h) { return h->phasePinned && isOn(h, index); });
}
bool isShared(const FileId &index) {
    int handles = 0;
    return someHandle([&](const IsamFile *h) { return isOn(h, index) && ++handles > 1; });
}

bool isTransferred(const Arguments &call, long result) {
    return call.call == Call::Truncate ? result == 0 : result > 0;
}

}  // namespace

std::string callText(const Arguments &call) {
    std::string text = shim::callName(call.call);
    if (call.lock != nullptr) {
        const char *const type = call.lock->l_type == F_UNLCK   ? "unlock"
                                 : call.lock->l_type == F_RDLCK ? "read lock"
                                                                : "write lock";
        char range[96];
        std::snprintf(range, sizeof range, " %s 0x%llx, length 0x%llx", type,
                      static_cast<unsigned long long>(call.lock->l_start),
                      static_cast<unsigned long long>(call.lock->l_len));
        return text + range;
    }
    if (call.offset >= 0) text += " at " + std::to_string(call.offset);
    if (call.length > 0) text += ", length " + std::to_string(call.length);
    return text;
}

const WatchedFile *FileWatch::file(int descriptor) const {
    if (descriptor < 0 || static_cast<std::size_t>(descriptor) >= files_.size()) return nullptr;
    const WatchedFile &file = files_[static_cast<std::size_t>(descriptor)];
    return file.open ? &file : nullptr;
}

WatchedFile &FileWatch::slot(int descriptor) {
    const auto index = static_cast<std::size_t>(descriptor);
    if (files_.size() <= index) files_.resize(index + 1);
    return files_[index];
}

void FileWatch::violation(const Arguments &call, const char *rule) {
    std::string text = std::string(rule) + ": " + callText(call);
    if (const WatchedFile *known = file(call.descriptor)) {
        text += " of " + known->path + "; its locks: ";
        const auto own = locks_.find(known->id), index = locks_.find(known->index);
        text += own != locks_.end() ? own->second.text() : "none";
        if (known->index != known->id)
            text += "; the index file's: " + (index != locks_.end() ? index->second.text() : "none");
    }
    report_(text + " (descriptor " + std::to_string(call.descriptor) + ")");
}

bool FileWatch::holds(const FileId &id, std::int64_t start, std::int64_t length, bool exclusive) const {
    const auto at = locks_.find(id);
    return at != locks_.end() && at->second.covers(start, length, exclusive);
}

bool FileWatch::holdsSomeWritePhase() const {
    for (const auto &[id, ranges] : locks_)
        if (ranges.covers(kPhaseStart, kAreaLength, true)) return true;
    return false;
}

void FileWatch::expectNoPhaseLock() {
    for (const WatchedFile &known : files_) {
        if (!known.open || known.kind != FileKind::Index) continue;
        const auto at = locks_.find(known.id);
        if (at == locks_.end() || !at->second.touches(kPhaseStart, kAreaLength)) continue;
        report_("a phase lock outlives its call: " + known.path + ", locks: " + at->second.text());
        at->second.set(F_UNLCK, kPhaseStart, kAreaLength);
    }
}

// The files of a handle are opened index first, under one spelling of the name.
FileId FileWatch::indexBeside(const std::string &dataPath) const {
    const std::string path = dataPath.substr(0, dataPath.size() - 4) + ".idx";
    const WatchedFile *newest = nullptr;
    for (const WatchedFile &known : files_)
        if (known.open && known.kind == FileKind::Index && known.path == path &&
            (newest == nullptr || known.serial > newest->serial))
            newest = &known;
    return newest != nullptr ? newest->id : FileId{};
}

void FileWatch::opened(const Arguments &call, int descriptor) {
    WatchedFile &now = slot(descriptor);
    now = {};
    now.open = true;
    now.path = call.path;
    now.id = now.index = idOf(descriptor);
    now.serial = ++openings_;
    now.made = (call.flags & O_EXCL) != 0;
    now.readOnly = (call.flags & O_ACCMODE) == O_RDONLY;
    if (endsWith(now.path, ".idx")) {
        now.kind = FileKind::Index;
        if (now.made) built_.insert(now.id);
    } else if (endsWith(now.path, ".dat")) {
        now.kind = FileKind::Data;
        now.index = indexBeside(now.path);
    } else if ((call.flags & O_APPEND) != 0) {
        // A trail is opened by an operation that changes its file, a log by no operation.
        now.kind = holdsSomeWritePhase() ? FileKind::Trail : FileKind::Log;
    }
}

void FileWatch::lifted(int from, int to) {
    WatchedFile &now = slot(to);
    now = slot(from);
    now.serial = ++openings_;
}

// Closing any descriptor of a file takes away all locks of the process on it.
void FileWatch::closed(int descriptor) {
    const WatchedFile *known = file(descriptor);
    if (known == nullptr) return;
    locks_.erase(known->id);
    slot(descriptor) = {};
}

void FileWatch::unlocked(const Arguments &call, const WatchedFile &file) {
    // All records are let go of at once, whether there are any or not; and when another handle of the process has done
    // so, single ones may be gone already.
    const bool again = call.lock->l_start == kPhaseStart && isShared(file.id);
    // A handle opened without locks may have been told to lock since.
    const bool never = call.lock->l_start == kOpenStart && file.readOnly;
    if (file.kind != FileKind::Data && !again && !never && !holds(file.id, call.lock->l_start, call.lock->l_len, false))
        violation(call, "nothing of the kind is locked");
    const auto at = locks_.find(file.id);
    if (at == locks_.end()) return;
    at->second.set(F_UNLCK, call.lock->l_start, call.lock->l_len);
}

void FileWatch::locked(const Arguments &call, const WatchedFile &file, bool granted) {
    const std::int64_t start = call.lock->l_start, length = call.lock->l_len;
    const bool exclusive = call.lock->l_type == F_WRLCK, waiting = call.command == F_SETLKW;
    const auto held = locks_.find(file.index);
    const bool inPhase = held != locks_.end() && held->second.touches(kPhaseStart, kAreaLength);
    switch (file.kind) {
    case FileKind::Index:
        if (start == kPhaseStart && length == kAreaLength) {
            if (!waiting) violation(call, "a phase lock waits");
            if (inPhase && !isPinned(file.id)) violation(call, "the phase lock of an earlier call is still held");
        } else if (start == kOpenStart && length == kAreaLength) {
            // Only giving up exclusiveness, which cannot wait, may say that it does.
            if (waiting && (exclusive || !holds(file.id, start, length, true)))
                violation(call, "an open lock does not wait");
        } else {
            violation(call, "no such range is locked");
        }
        break;
    case FileKind::Data:
        if (!exclusive || start < kRecordStart ||
            (length != 1 && (start != kRecordStart || length != kAllRecordsLength)))
            violation(call, "no such range is locked");
        if (waiting && inPhase) violation(call, "waits for a record with the phase lock in hand");
        break;
    case FileKind::Log:
        if (!exclusive || !waiting || start != 0 || length != kLogLength) violation(call, "no such range is locked");
        break;
    default: violation(call, "this file is not locked");
    }
    if (granted) locks_[file.id].set(call.lock->l_type, start, length);
}

// What a cluster makes and nobody else can open yet.
bool FileWatch::isOwnClone(const WatchedFile &file) const {
    return built_.contains(file.index) && holds(file.index, kOpenStart, kAreaLength, true);
}

void FileWatch::written(const Arguments &call, const WatchedFile &file) {
    if (file.made) return;
    switch (file.kind) {
    case FileKind::Index:
    case FileKind::Data:
        if (!unlockedAllowed_ && !holds(file.index, kPhaseStart, kAreaLength, true) && !isOwnClone(file) &&
            !isUnlocked(call.descriptor))
            violation(call, "written without the write phase lock");
        break;
    case FileKind::Log:
        if (!holds(file.id, 0, kLogLength, true)) violation(call, "log written without its lock");
        break;
    case FileKind::Trail:
        if (!holdsSomeWritePhase()) violation(call, "trail written without a write phase lock");
        break;
    case FileKind::Other: violation(call, "this file is not written");
    }
}

void FileWatch::wasRead(const Arguments &call, const WatchedFile &file) {
    if (unlockedAllowed_ || file.made || (file.kind != FileKind::Index && file.kind != FileKind::Data)) return;
    if (holds(file.index, kPhaseStart, kAreaLength, false) || holds(file.index, kOpenStart, kAreaLength, true)) return;
    if (file.kind == FileKind::Index && call.offset == kRecordLengthOffset && call.length == kRecordLengthSize) return;
    if (!isUnlocked(call.descriptor)) violation(call, "read without the phase lock");
}

void FileWatch::after(const Arguments &call, long result, int) {
    if (shim::isMemory(call.call)) return;
    if (call.call == Call::Open) {
        if (result >= 0) opened(call, static_cast<int>(result));
        return;
    }
    if (call.call == Call::Close) {
        // One that fails closes nevertheless, unless it was not open at all.
        if (result == 0 || fcntl(call.descriptor, F_GETFD) < 0) closed(call.descriptor);
        return;
    }
    if (call.call == Call::Control && call.lock == nullptr) {
        const bool lifting = call.command == F_DUPFD || call.command == F_DUPFD_CLOEXEC;
        if (lifting && result >= 0) lifted(call.descriptor, static_cast<int>(result));
        return;
    }
    if (call.descriptor >= 0 && call.descriptor < kFirstDescriptor)
        violation(call, "a standard stream's descriptor is used for a file");
    const WatchedFile *known = file(call.descriptor);
    if (known == nullptr) return;
    switch (call.call) {
    case Call::Read:
    case Call::PositionedRead:
        if (isTransferred(call, result)) wasRead(call, *known);
        break;
    case Call::Write:
    case Call::PositionedWrite:
    case Call::Truncate:
        if (isTransferred(call, result)) written(call, *known);
        break;
    case Call::Control:
        if (call.lock->l_type == F_UNLCK)
            unlocked(call, *known);
        else
            locked(call, *known, result == 0);
        break;
    default: break;
    }
}

}  // namespace trace
