// Goes through the records of a file, without locks, while others may be at work on it.
#pragma once

#include "base/open_file.h"
#include "layout/layout.h"
#include "records/columns.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

class Walk {
  public:
    // index: 1 for the first, 0 for record-number order. Throws Failure where there is no such index.
    Walk(const OpenFile &file, const Layout &layout, int index);

    // Stand before the first record, behind the last one. One of these calls comes before the first read.
    void toFirst();
    void toLast();
    // Stand before the first record whose key is not below the first `length` bytes of the key in the record `image`;
    // behind the last one whose key is not above them.
    void toKey(const std::string &image, int length);
    void behindKey(const std::string &image, int length);
    // The same in record-number order.
    void toNumber(long number);
    void behindNumber(long number);

    // The record to come in that direction, false at the end.
    bool next(Record &record) { return read(record, ISNEXT); }
    bool previous(Record &record) { return read(record, ISPREV); }

    int index() const { return index_; }
    const KeyDesc &key() const { return key_; }

  private:
    void select();
    bool read(Record &record, int mode);
    bool start(const std::string &image, int length, int mode);
    bool stand(long number);
    void bound();

    const OpenFile &file_;
    bool keys_alone_;
    bool masks_;
    int index_;
    KeyDesc key_ = {};
    int first_mode_ = ISFIRST;
    bool ended_ = false;
    std::uint64_t count_ = 0;
    std::uint64_t most_ = 0;
    std::string buffer_;  // has room for the longest record
};

// Every record, in the order of an index; those that it leaves out, for their masks or as null keys, follow by number.
class WholeWalk {
  public:
    WholeWalk(const OpenFile &file, const Layout &layout, int index);
    bool next(Record &record);

  private:
    Walk walk_;
    Walk rest_;
    bool leaves_out_;
    bool in_rest_ = false;
    std::vector<bool> seen_;  // by number
};

}  // namespace tool
