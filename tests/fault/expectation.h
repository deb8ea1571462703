// What may stand in the files of a scenario, by what its process was told until it ended.
#pragma once

#include "journal.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace fault_testing {

// A record as it may be found.
struct Value {
    bool present = false;
    std::string image;
    std::uint32_t mask = 0;

    bool operator==(const Value &) const = default;
};

struct ExpectedIndex {
    KeyDesc key{};
    bool certain = true;  // false: it may be there or not
};

struct ExpectedFile {
    Shape shape;
    std::vector<ExpectedIndex> indexes;
    std::map<std::int32_t, std::vector<Value>> records;  // by ident: the values that it may have
    std::vector<std::string> names;                      // under one of them it is whole
    bool mayBeMissing = false;                           // it was being made or removed
    // Records changed after a call had failed in the middle of a change: what that left of their entries may stay.
    std::set<std::int32_t> changedLater;

    bool mayBeAbsent(std::int32_t ident) const;
};

class Expectation {
  public:
    explicit Expectation(const std::vector<Event> &events);

    const std::vector<ExpectedFile> &files() const { return files_; }
    // The call that was under way, nothing when there was none.
    const std::string &interrupted() const { return interrupted_; }

  private:
    ExpectedFile *find(const std::string &name);
    void apply(const Change &change);
    void admit(const Change &change);

    std::vector<ExpectedFile> files_;
    std::string interrupted_;
    bool failed_ = false;  // some change so far
};

bool sameKey(const KeyDesc &a, const KeyDesc &b);

}  // namespace fault_testing
