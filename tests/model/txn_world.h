// A world of file sets, descriptors and transactions, as they should be, and the log that all of it should leave.
#ifndef TESTS_MODEL_TXN_WORLD_H
#define TESTS_MODEL_TXN_WORLD_H

#include "file_model.h"
#include "shape.h"

#include "support/log_reader.h"

#include <map>
#include <string>
#include <vector>

namespace model {

// An open descriptor of a file set. The model's handle of the same place in its list is its own.
struct Opened {
    int fd = -1;
    int serial = 0;  // tells it from those that had the number before
    int mode = 0;    // ISNOLOG also once changes have been undone through it
    bool parked = false;

    bool chained() const { return (mode & ISTRANS) != 0; }
    bool logged() const { return (mode & ISNOLOG) == 0; }
};

struct FileSet {
    std::string name;
    Shape shape;
    FileModel model;
    std::vector<Opened> opened;
    std::vector<KeyDesc> descs;  // of the model's indexes, in order
    bool neverLogged = false;    // opened with ISNOLOG only

    FileSet(const std::string &path, const Shape &like);
};

// What takes a change back.
struct Undo {
    char kind = 0;   // 'I' inserted, 'D' deleted, 'U' rewritten
    int serial = 0;  // of the descriptor
    long rec = 0;
    Buffer before;
};

// A descriptor's place in the world.
struct Place {
    std::size_t file = 0;
    std::size_t handle = 0;
};

// A record of the log, and whose transaction it tells of.
struct Logged {
    testing_support::LogContent content;
    std::uint32_t user = 0;
};

class World {
  public:
    std::vector<FileSet> files;
    std::vector<Logged> log;
    bool identified = false;  // callers have transactions of their own
    int who = 0;              // the caller

    FileSet &file(Place at) { return files[at.file]; }
    Opened &opened(Place at) { return files[at.file].opened[at.handle]; }
    Handle &handle(Place at) { return files[at.file].model.handle(at.handle); }
    Place find(int fd) const;
    int lowestFreeFd() const;
    bool isFull() const { return files.size() >= kMostFiles; }
    bool inTransaction() const { return transactions_.count(who) != 0; }
    // Has somebody else's transaction changes that only this descriptor can undo?
    bool neededByOther(int fd) const;
    bool anyTransaction() const { return !transactions_.empty(); }

    // Descriptors.
    Outcome open(std::size_t file, int mode, int *fd);
    // Would that take back a descriptor that was closed in the transaction?
    bool takesBack(std::size_t file, int mode) const;
    void addBuilt(const FileSet &file, int mode, int minimum);
    void close(int fd);
    void cleanUp();

    // The caller's transaction.
    void begin();
    // Both return what iserrno should be; of a rollback it is not 0 when a change cannot be undone.
    int commit();
    int rollBack();

    // Appends to the log, and to what rolling back would undo.
    void noteChange(char kind, Place at, long rec, const Buffer &before, const Buffer &after);
    void note(testing_support::LogContent content, const Opened *by);

  private:
    static constexpr std::size_t kMostFiles = 8;

    struct Transaction {
        std::vector<Undo> undo;   // in the order of the changes
        std::vector<int> parked;  // descriptors, -1 for a free place; filled from the last place down
    };

    // Place in the table of what is closed in the transaction, -1 for none.
    int parkingOf(std::size_t file, int mode) const;
    // Where the descriptor of a change is, the number of files when it has been closed.
    Place changedThrough(const Undo &undo) const;
    void forget(int fd);
    void releaseChanged();
    int undoAll();
    void end(const char *type);

    std::map<int, Transaction> transactions_;  // by caller
    int serials_ = 0;
};

}  // namespace model

#endif
