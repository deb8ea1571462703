// Watches every system call of the library and keeps, for each file, the locks that the process holds on it. Reports
// what breaks a rule (README.md has them all).
#pragma once

#include "shim/system_calls.h"
#include "trace/watch/lock_ranges.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace trace {

enum class FileKind : std::uint8_t { Index, Data, Log, Trail, Other };

using FileId = std::pair<std::uint64_t, std::uint64_t>;  // device, inode

struct WatchedFile {
    bool open = false;
    bool made = false;      // through this descriptor: a build at work
    bool readOnly = false;  // opened by a handle without locks
    FileKind kind = FileKind::Other;
    FileId id{};
    FileId index{};  // of the index file that it belongs to; its own for that
    std::string path;
    long serial = 0;  // of its opening
};

class FileWatch : public shim::Observer {
  public:
    using Report = void (*)(const std::string &text);
    explicit FileWatch(Report report) : report_(report) {}

    void after(const shim::Arguments &call, long result, int error) override;

    // In a child: locks are not inherited.
    void forgetLocks() { locks_.clear(); }
    // Tests of single modules work below the frame that takes the locks.
    void allowUnlocked() { unlockedAllowed_ = true; }
    // Between calls: reports phase locks that are still held.
    void expectNoPhaseLock();

    // Null for a descriptor that the library has not opened.
    const WatchedFile *file(int descriptor) const;

  private:
    void opened(const shim::Arguments &call, int descriptor);
    void lifted(int from, int to);
    void closed(int descriptor);
    void locked(const shim::Arguments &call, const WatchedFile &file, bool granted);
    void unlocked(const shim::Arguments &call, const WatchedFile &file);
    void written(const shim::Arguments &call, const WatchedFile &file);
    void wasRead(const shim::Arguments &call, const WatchedFile &file);

    WatchedFile &slot(int descriptor);
    FileId indexBeside(const std::string &dataPath) const;
    bool holds(const FileId &id, std::int64_t start, std::int64_t length, bool exclusive) const;
    bool holdsSomeWritePhase() const;
    bool isOwnClone(const WatchedFile &file) const;
    void violation(const shim::Arguments &call, const char *rule);

    Report report_;
    bool unlockedAllowed_ = false;
    long openings_ = 0;
    std::vector<WatchedFile> files_;  // by descriptor
    std::map<FileId, LockRanges> locks_;
    std::set<FileId> built_;  // index files that this process has made
};

// A call in words: name, file, offset, length.
std::string callText(const shim::Arguments &call);

}  // namespace trace
