// What a process meant to do to its file sets and what it was told, in memory that outlives the process.
#pragma once

#include "isam.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fault_testing {

// How a file set was made.
struct Shape {
    int minimum = 0;  // record length; 0 for a file that keeps keys alone
    int maximum = 0;  // 0 for records of one length
    int mode = 0;     // as given to isbuild
    KeyDesc key{};    // the first index

    bool variable() const { return maximum != 0; }
};

// One thing that a call does when it succeeds. Names are base names in the scenario's directory.
//
// Every record begins with four bytes that tell it from all others of its file for good, whatever else is rewritten (in
// a file without records the key does): its ident, as stlong stores it.
struct Change {
    enum class Kind : std::uint8_t {
        MakeFile,   // file comes to be, empty, of this shape
        EraseFile,  // file is gone
        Rename,     // file gets the name other
        Cluster,    // file is made anew under the name other, which then takes its place; contents stay
        Record,     // the record with this ident has this image from now on, or is gone
        AddIndex,   // key
        DropIndex,  // key
    };
    Kind kind{};
    std::string file;
    std::string other;       // Rename, Cluster
    Shape shape{};           // MakeFile
    std::int32_t ident = 0;  // Record
    bool present = false;    // Record: it is there
    std::string image;       // Record: its bytes, of a variable-length one as many as it has
    std::uint32_t mask = 0;  // Record: bit i set keeps it out of index i
    KeyDesc key{};           // AddIndex, DropIndex
    bool certain = true;     // false: even when the call succeeds the change may be missing
};

// A call. While it is under way, and for good when it has failed, every record has the value it had before, or the one
// that any of the changes gives it; the same goes for indexes and names. After a success the changes are done, in
// order.
struct Event {
    enum class State : std::uint8_t { UnderWay, Succeeded, Failed };
    std::string call;
    std::vector<Change> changes;
    State state{};
    int error = 0;  // iserrno and iserrio of a failure
    int io = 0;
    bool prepared = false;  // made by prepare
};

// The first four bytes of a record.
std::int32_t identOf(const std::string &image);

// Append-only. Made before the fork; what children append is seen by all, also when they are killed.
class Journal {
  public:
    explicit Journal(std::size_t room = std::size_t{1} << 22);
    ~Journal();
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    // The call is about to be made.
    void begin(const std::string &call, const std::vector<Change> &changes = {});
    // It has returned.
    void succeeded();
    void failed(int error, int io);

    // Everything until now belongs to prepare; restart forgets all that came after it.
    void markPrepared();
    void restart();

    std::vector<Event> events() const;
    std::size_t count() const;  // of events

  private:
    struct Head;

    Head *head_;
    std::size_t room_;
};

}  // namespace fault_testing
