// The library's calls as scenarios make them: each is put into the journal before it is made, with what it does to
// which records, and its outcome after it. All names are base names in the working directory.
#pragma once

#include "journal.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace fault_testing {

class World {
  public:
    // Takes over what the journal says until now.
    explicit World(Journal &journal);

    // Descriptor or -1; further calls on -1 are left out.
    int build(const std::string &file, const Shape &shape);
    int open(const std::string &file, int mode);
    bool close(int fd);

    bool write(int fd, const std::string &record);
    // Rewrites and deletes by the key in the record, by number, and of the current record.
    bool rewrite(int fd, const std::string &record);
    bool rewriteCurrent(int fd, const std::string &record);
    bool rewriteNumber(int fd, long number, const std::string &record);
    bool erase(int fd, const std::string &record);
    bool eraseCurrent(int fd, const std::string &record);
    bool eraseNumber(int fd, long number, const std::string &record);
    // The mask that following writes and rewrites through fd store.
    void mask(int fd, std::uint32_t mask);
    // Reads, its record when it succeeds. record holds the key where the mode wants one.
    bool read(int fd, std::string *record, int mode);

    bool addIndex(int fd, const KeyDesc &key);
    bool dropIndex(int fd, const KeyDesc &key);

    bool openLog(const std::string &path);
    bool begin();
    bool commit();
    bool rollback();
    // What each record shall be when recovery has been done: all that the log has.
    bool recover(const std::vector<Change> &changes);

    bool eraseFile(const std::string &file);
    bool rename(const std::string &from, const std::string &to);
    int clone(int fd, const std::string &file);
    bool copy(int to, int from, const KeyDesc *key);
    int cluster(int fd, const KeyDesc *key);

    // Any other call, with what it does; failed: its result is that of a failure.
    bool other(
        const std::string &call, const std::function<int()> &make, const std::vector<Change> &changes = {},
        const std::function<bool(int)> &failed = [](int result) { return result < 0; });
    // One that needs an open file.
    bool on(
        int fd, const std::string &call, const std::function<int()> &make, const std::vector<Change> &changes = {},
        const std::function<bool(int)> &failed = [](int result) { return result < 0; }) {
        return fd >= 0 && other(call, make, changes, failed);
    }

    // Called behind every call.
    std::function<void()> afterCall;

    // The records of a file, as the journal has them.
    const std::map<std::int32_t, Change> &records(const std::string &file) { return files_[file].records; }

  private:
    struct File {
        Shape shape;
        std::map<std::int32_t, Change> records;
        std::vector<KeyDesc> indexes;
    };
    void apply(const Change &change);
    void settle(const Change &change, bool done);
    bool make(const std::string &call, const std::vector<Change> &changes, const std::function<int()> &call_,
              const std::function<bool(int)> &failed, int *result = nullptr);
    bool change(int fd, const std::string &call, const std::string &record, bool present,
                const std::function<int(char *)> &call_);

    Journal &journal_;
    std::map<std::string, File> files_;
    std::map<int, std::string> names_;  // by descriptor
    std::map<int, std::uint32_t> masks_;
    std::vector<Event> sinceBegin_;
    std::map<std::string, File> atBegin_;
    // Changes of records that failed, and may have happened all the same, since the last one that did not.
    std::map<std::pair<std::string, std::int32_t>, std::vector<Change>> doubts_, doubtsAtBegin_;
    bool inTransaction_ = false;
};

}  // namespace fault_testing
