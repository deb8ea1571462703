// An open file set that closes itself, and what every command asks of one.
#pragma once

#include <isam.h>
#include <string>
#include <vector>

namespace tool {

// The base path of a file set, there or not yet, from what the user typed: "orders.idx" and "orders.dat" mean "orders",
// but for a set that is called so itself.
std::string basePath(const std::string &typed);

class OpenFile {
  public:
    // Opens `name` for reading, records of whichever kind; without locks where it may only be read and nobody has it.
    // Throws Failure.
    static OpenFile forReading(const std::string &name);
    // The same to change records as well.
    static OpenFile forChanging(const std::string &name);
    // The same with nobody beside it.
    static OpenFile alone(const std::string &name);
    // Makes a new set, open alone where `mode` says so; `first` is its first key. Leaves nothing behind where it fails.
    static OpenFile built(const std::string &name, int minimum, int maximum, KeyDesc first, int mode);
    // Takes over a descriptor, such as isbuild's.
    OpenFile(int fd, std::string name);

    OpenFile(OpenFile &&other) noexcept;
    OpenFile &operator=(OpenFile &&other) noexcept;
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    ~OpenFile();

    int fd() const { return fd_; }
    const std::string &name() const { return name_; }

    // Closes it; throws Failure where that fails, as when the log cannot be written.
    void close();
    // The descriptor is another one now, or none (-1): iscluster closes the one that it is given.
    void replace(int fd) { fd_ = fd; }

    bool variableLength() const { return variable_; }
    bool hasMasks() const;
    bool compressesTails() const;
    bool hasRecords() const { return maximumLength() != 0; }
    // Bytes of a record without its tail, and with the longest.
    int minimumLength() const { return minimum_; }
    int maximumLength() const { return maximum_; }
    long recordCount() const;
    // Without one, record-number order comes first; indexes may have been added.
    bool hasPrimaryKey() const;
    // The descriptions of all indexes, number 1 first.
    std::vector<KeyDesc> indexes() const;

  private:
    static OpenFile withoutLocks(const std::string &name);
    static OpenFile open(const std::string &name, int mode);
    void learn();
    bool hasMode(int bit) const;

    int fd_ = -1;
    std::string name_;
    bool variable_ = false;
    int minimum_ = 0;
    int maximum_ = 0;
};

}  // namespace tool
